// The small scene of two blocks that the scene document's description walks
// through, and the two documents it prints as.
#pragma once

#include <string>

#include "zel/foundation/generic_param.hpp"
#include "zel/scene/block.hpp"

namespace vorn::testing {

// The calls, given the two blocks as the writer makes them: "plate" of type
// "material", then "lamp" of type "light".
inline void fill_example_plate(zel::zel_block& plate) {
    plate.add_parameter("count", generic_param(3));
    generic_param gain(1.5f);
    gain.set_unit("mm");
    plate.add_parameter("gain", gain);
    generic_param label(std::string("a&b"));
    label.set_tag("t1");
    plate.add_parameter("label", label);
    const double rgb[] = {0.25, 0.5, 1};
    plate.add_parameter("rgb", generic_param(rgb, 3));
    plate.add_parameter("size", generic_param(true));
    plate.add_link("albedo", "lamp", "");
}

inline std::string example_atomized_document() {
    std::string atoms;
    for (const char* atom : {"name",
                             "unit",
                             "type",
                             "tag",
                             "plate",
                             "material",
                             "lamp",
                             "light",
                             "3",
                             "integer",
                             "count",
                             "1.5",
                             "double",
                             "mm",
                             "gain",
                             "a&amp;b",
                             "string",
                             "t1",
                             "label",
                             "0.25 0.5 1.0",
                             "double3",
                             "rgb",
                             "true",
                             "boolean",
                             "size",
                             "link",
                             "#lamp",
                             "albedo",
                             "__internal_use__",
                             "internal_use_block",
                             "2",
                             "num"}) {
        atoms += std::string("<a>") + atom + "</a>";
    }
    return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>") +
           "<zelfile version=\"0.1\"><zel>" + "<4 .=\"3\">" + "<9 1=\"8\">7</9>" +
           "<D 1=\"B\" 0=\"C\">A</D>" + "<H 1=\"F\" 2=\"G\">E</H>" + "<K 1=\"J\">I</K>" +
           "<N 1=\"M\">L</N>" + "<Q 1=\"O\">P</Q>" + "</4>" + "<6 .=\"5\"/>" + "</zel><metazel>" +
           "<S .=\"R\"><U 1=\"8\">T</U></S>" + "</metazel><atom_table>" + atoms +
           "</atom_table></zelfile>";
}

inline std::string example_plain_document() {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<zelfile version=\"0.1\">\n"
           "\t<zel>\n"
           "\t\t<material name=\"plate\">\n"
           "\t\t\t<count type=\"integer\">3</count>\n"
           "\t\t\t<gain type=\"double\" unit=\"mm\">1.5</gain>\n"
           "\t\t\t<label type=\"string\" tag=\"t1\">a&amp;b</label>\n"
           "\t\t\t<rgb type=\"double3\">0.25 0.5 1.0</rgb>\n"
           "\t\t\t<size type=\"boolean\">true</size>\n"
           "\t\t\t<albedo type=\"link\">#lamp</albedo>\n"
           "\t\t</material>\n"
           "\t\t<light name=\"lamp\"/>\n"
           "\t</zel>\n"
           "\t<metazel>\n"
           "\t\t<internal_use_block name=\"__internal_use__\">\n"
           "\t\t\t<num type=\"integer\">2</num>\n"
           "\t\t</internal_use_block>\n"
           "\t</metazel>\n"
           "</zelfile>\n";
}

}  // namespace vorn::testing
