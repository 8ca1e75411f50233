// Writes a small scene package: two blocks with typed parameters, a link
// between them, a link into a content library and a binary payload.
//
//   write_scene scene.zel && zel scene scene.zel
#include <cstdio>
#include <exception>
#include <string>

#include "zel/zel.hpp"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: write_scene PACKAGE\n");
        return 2;
    }
    try {
        vorn::zel::zel_file_writer writer(argv[1], /*allowDup=*/false, /*atomize=*/true);

        vorn::zel::zel_block& plate = writer.add_block("material", "plate");
        plate.add_parameter("count", vorn::generic_param(3));
        vorn::generic_param gain(1.5f);
        gain.set_unit("mm");
        plate.add_parameter("gain", gain);
        const double rgb[] = {0.25, 0.5, 1};
        plate.add_parameter("rgb", vorn::generic_param(rgb, 3));
        plate.add_parameter("label", vorn::generic_param(std::string("oak & iron")));
        plate.add_link("albedo", "lamp", "");          // the block "lamp" of this scene
        plate.add_link("base", "wood_01", "library");  // a block of the library "library"
        const std::string pixels(64, '\x7f');
        plate.add_binary_link_with_data("texture", "textures/plate.raw", pixels.data(),
                                        pixels.size());

        vorn::zel::zel_block& lamp = writer.add_block("light", "lamp");
        lamp.add_parameter("on", vorn::generic_param(true));

        writer.close();  // the destructor would close it too, but could not say why it failed
    } catch (const std::exception& e) {
        std::fprintf(stderr, "write_scene: %s\n", e.what());
        return 1;
    }
    return 0;
}
