// Writes a scene the way a host's rendering add-in does: one ZELFile,
// validated against the content libraries, filled through ZELBlock.
//
// usage: host_scene PACKAGE CONTENT_DIR SCENE_DIR
//   CONTENT_DIR holds library.zelc and oblis_library.zelc;
//   SCENE_DIR holds textures/checker.png.
#include <clocale>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/host_text.hpp"
#include "zel/facade/zel_file.hpp"

using namespace Tessaly::Corvane::DB::ZEL;
using System::String;

namespace {

String host(const std::filesystem::path& path) {
    return String(path.u16string());
}

void print(const String& text) {
    std::printf("%s", utf8_of(text.view()).c_str());
}

// A floor of n by n quads as x, y, z floats: geometry the add-in makes in
// memory rather than reading from a file.
std::vector<float> floor_grid(int n, float size) {
    std::vector<float> vertices;
    for (int i = 0; i <= n; ++i) {
        for (int k = 0; k <= n; ++k) {
            vertices.insert(vertices.end(), {size * i / n, 0.0f, size * k / n});
        }
    }
    return vertices;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: host_scene PACKAGE CONTENT_DIR SCENE_DIR\n");
        return 2;
    }
    std::setlocale(LC_ALL, "");  // names are narrowed in the user's code page
    const std::filesystem::path scene_dir = argv[3];
    try {
        String log;
        std::unique_ptr<ZELFile> file = ZELFile::Create(host(argv[1]), host(argv[2]), log);
        print(log);

        // Materials: one of this scene with a texture from a file, one that
        // uses the same file again (stored once), one from the material library.
        const String checker = host(scene_dir / "textures/checker.png");
        ZELBlock board = file->AddBlock(u"material", u"chess_board");
        board.AddParameter(u"roughness", 0.35f);
        board.AddBinaryLinkWithData(u"texture", checker, u"textures/checker.png");
        const String tiles = file->AddBinaryData(u"textures/tiles.png", checker);
        std::printf("textures/tiles.png is stored as %s\n", utf8_of(tiles.view()).c_str());
        ZELBlock floor_material = file->AddBlock(u"material", u"floor_tiles");
        floor_material.AddParameter(u"tiling", u"double2", u"8 8", u"");
        floor_material.AddBinaryLink(u"texture", tiles, u"");
        ZELBlock cushion = file->AddBlock(u"material", u"cushion");
        cushion.AddLink(u"base", u"linen", u"FerraneLibrary");
        cushion.AddBinaryLink(u"texture", u"textures/linen.png", u"FerraneLibrary");

        // Lights.
        ZELBlock sun = file->AddBlock(u"light", u"sun");
        sun.AddParameter(u"kind", String(u"directional"));
        sun.AddParameter(u"intensity", u"double", u"3.5", u"lx");
        sun.AddParameter(u"direction", u"double3", u"-0.3 -1 -0.2", u"");
        ZELBlock lamp = file->AddBlock(u"light", u"reading_lamp");
        lamp.AddParameter(u"power", 60);
        lamp.AddLink(u"shade", u"lamp_shade", u"OblisLibrary");

        // Meshes: a floor made in memory, furniture from the libraries.
        const std::vector<float> grid = floor_grid(8, 4.0f);
        ZELBlock floor = file->AddBlock(u"mesh", u"floor");
        floor.AddBinaryLinkWithData(u"vertices", u"meshes/floor.bin", grid.data(),
                                    static_cast<std::int32_t>(grid.size() * sizeof(float)));
        floor.AddLink(u"material", u"floor_tiles");
        for (const char16_t* name : {u"chair_left", u"chair_right"}) {
            ZELBlock chair = file->AddBlock(u"instance", name);
            chair.AddLink(u"mesh", u"chair", u"OblisLibrary");
            chair.AddLink(u"material", u"oak", u"FerraneLibrary");
            chair.AddLinkWithTag(u"seat", u"cushion", u"fabric");
        }
        ZELBlock table = file->AddBlock(u"instance", u"table");
        table.AddLink(u"mesh", u"table", u"OblisLibrary");
        table.AddLink(u"material", u"oak", u"FerraneLibrary");
        table.AddExtraAttribute(u"layer", u"furniture");

        // Validation at work: the furniture library has no such binary, so
        // the link is refused and taken back.
        try {
            table.AddBinaryLink(u"vertices_lod1", u"meshes/table_lod1.bin", u"OblisLibrary");
        } catch (const System::InvalidOperationException& e) {
            const std::string why = e.what();
            std::printf("refused, as it should be: %s\n",
                        why.substr(0, why.find(" from context of")).c_str());
        }

        file->CloseFile();
        std::printf("wrote %s\n", argv[1]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "host_scene: %s\n", e.what());
        return 1;
    }
    return 0;
}
