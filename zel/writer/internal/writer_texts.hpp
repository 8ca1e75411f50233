// The writer's own words: the names of the blocks it adds and the texts of
// its errors.
#pragma once

#include <string_view>

namespace vorn::zel::texts {

inline constexpr std::string_view library_refs_type = "librefs";
inline constexpr std::string_view library_refs_name = "external_refs";
inline constexpr std::string_view library_ref_parameter = "ref";
inline constexpr std::string_view entry_name_used = " name already used in zel_file_writer!";
inline constexpr std::string_view contents_for_library = "contents for library name \"";
inline constexpr std::string_view library_not_found = "\" was not found";

}  // namespace vorn::zel::texts
