// The texts of a table's atoms in number order, for tests that pin numbering.
#pragma once

#include <string>
#include <vector>

#include "zel/foundation/atom_table.hpp"

namespace vorn::testing {

inline std::vector<std::string> texts_of(const atom_table& table) {
    std::vector<std::string> texts;
    for (const intrusive_string& atom : table) {
        texts.push_back(atom.str());
    }
    return texts;
}

}  // namespace vorn::testing
