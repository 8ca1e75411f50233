// Writes, through the C++ writer, the scene that test_writing.py writes
// through zel.Writer with the same calls, so that the two packages can be
// compared byte for byte: every kind of value, arrays, units, tags, links,
// binaries and attributes.
//
//   every_kind_writer PACKAGE atomized|plain
#include <cstdio>
#include <exception>
#include <string>

#include "zel/writer/file_writer.hpp"

namespace {

using vorn::generic_param;

generic_param with(generic_param param, const std::string& unit, const std::string& tag) {
    param.set_unit(unit);
    param.set_tag(tag);
    return param;
}

void write(const char* path, bool atomize) {
    vorn::zel::zel_file_writer writer(path, /*allowDup=*/false, atomize);

    vorn::zel::zel_block& scalars = writer.add_block("values", "scalars");
    scalars.add_parameter("count", generic_param(42LL));
    scalars.add_parameter("negative", generic_param(-7LL));
    scalars.add_parameter("huge", generic_param(18446744073709551615ULL));
    scalars.add_parameter("gain", with(generic_param(1.5), "mm", ""));
    scalars.add_parameter("third", generic_param(1.0 / 3));
    scalars.add_parameter("tiny", generic_param(1.5e-7));
    scalars.add_parameter("on", generic_param(true));
    scalars.add_parameter("label", with(generic_param(std::string("oak & iron")), "", "t1"));
    scalars.add_parameter("count", generic_param(43LL));

    vorn::zel::zel_block& arrays = writer.add_block("values", "arrays");
    const long long ints[] = {1, -2, 3};
    arrays.add_parameter("ints", generic_param(ints, 3));
    const double rgb[] = {0.25, 0.5, 1, 2};
    arrays.add_parameter("rgb", with(generic_param(rgb, 4), "m", "colour"));
    const bool flags[] = {true, false};
    arrays.add_parameter("flags", generic_param(flags, 2));
    const std::string words[] = {"oak", "iron"};
    arrays.add_parameter("words", generic_param(words, 2));
    generic_param matrix;
    matrix.create("1 0 0 1", "matrix2");
    arrays.add_parameter("matrix", with(matrix, "m", ""));
    arrays.add_extra_attribute("note", "first");
    arrays.add_extra_attribute("note", "second");

    vorn::zel::zel_block& links = writer.add_block("links", "links");
    links.add_link("local", "scalars", "");
    links.add_link("base", "wood_01", "library");
    const std::string pixels(4096, '\x7f');
    links.add_binary_link_with_data("texture", "textures/plate.raw", pixels.data(), pixels.size());
    const std::string stored =
        writer.add_binary_data("data/copy.raw", pixels.data(), pixels.size());
    links.add_binary_link("copy", stored, "");
    links.add_binary_link("shared", "meshes/cube.bin", "library");

    writer.close();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: every_kind_writer PACKAGE atomized|plain\n");
        return 2;
    }
    try {
        write(argv[1], std::string(argv[2]) == "atomized");
    } catch (const std::exception& e) {
        std::fprintf(stderr, "every_kind_writer: %s\n", e.what());
        return 1;
    }
    return 0;
}
