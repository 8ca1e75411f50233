// The writer's own words: the entries and blocks of a contents file, and
// the texts of its errors. The words of the scene document, the metadata
// block of library references among them, are the scene's (scene_texts.hpp).
#pragma once

#include <string_view>

namespace vorn::zel::texts {

inline constexpr std::string_view entry_name_used = " name already used in zel_file_writer!";

// Libraries.
inline constexpr std::string_view contents_for_library = "contents for library name \"";
inline constexpr std::string_view library_not_found = "\" was not found";
inline constexpr std::string_view no_binary_named = "\" could not find a binary named ";
inline constexpr std::string_view no_block_named = "\" could not find a block named ";
inline constexpr std::string_view re_registered =
    "re-registered exactly the same alias contents_file: ";
inline constexpr std::string_view register_with_alias = "Tried to register contents with alias ";
inline constexpr std::string_view with_different_contents = " with different contents";
inline constexpr std::string_view empty_alias = "a library alias must not be empty";
inline constexpr std::string_view data_in_library = "added binary data available in alias ";
inline constexpr std::string_view data_in_library_as = " as ";
inline constexpr std::string_view library_binary_file = "library binary file ";
inline constexpr std::string_view local_file = "file ";
inline constexpr std::string_view not_on_filesystem = " not found on local filesystem";

// Contents files.
inline constexpr std::string_view catalogue_entry = "__zel_binaries__.xml";
inline constexpr std::string_view binary_block_type = "binary";
inline constexpr std::string_view hash_attribute = "hash";
inline constexpr std::string_view size_attribute = "size";
inline constexpr std::string_view package_info_type = "packageinfo";
inline constexpr std::string_view package_info_name = "original_zel_package";
inline constexpr std::string_view package_id_parameter = "id";
inline constexpr std::string_view contents_file_prefix = "File ";
inline constexpr std::string_view not_a_contents_file = " is not a contents file!";
inline constexpr std::string_view binary_block_prefix = ": binary block ";
inline constexpr std::string_view lacks_identity = " lacks its attributes \"hash\" and \"size\"";
inline constexpr std::string_view bad_identity_number = " has a hash or size that is no number: ";
inline constexpr std::string_view bad_package_id =
    ": \"id\" of original_zel_package does not hold two numbers";
inline constexpr std::string_view unlisted_library =
    "used by links but not among the external_refs";

}  // namespace vorn::zel::texts
