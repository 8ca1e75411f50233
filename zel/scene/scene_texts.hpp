// The scene model's own words: the element and attribute names of the scene
// document, the names of the blocks the library keeps for itself, and the
// texts of its errors. Each is part of the format or of a message that
// callers may compare, so each stands here once.
#pragma once

#include <string_view>

namespace vorn::zel::texts {

// Names.
inline constexpr std::string_view empty_name = "the empty string is not a valid xml/zel name";
inline constexpr std::string_view name_quote = "\"";
inline constexpr std::string_view name_has_space =
    "\" isn't a valid xml/zel name (no spaces allowed)";
inline constexpr std::string_view unicode_error_marker = "-> unicode_ERROR";
inline constexpr std::string_view binaries_prefix = "binaries/";
inline constexpr std::string_view no_working_directory =
    "current_path(): can't get current working directory";
inline constexpr std::string_view cannot_make_canonical = "canonical(p1, p2): invalid arguments";
inline constexpr std::string_view modified_from = "_modified_from_";
inline constexpr std::string_view pound_word = "(POUND)";
inline constexpr char link_separator = '#';

// Type words of parameters that point elsewhere.
inline constexpr std::string_view link_type = "link";
inline constexpr std::string_view binary_type = "binary";

// Blocks.
inline constexpr std::string_view in_memory_scene =
    "Cannot add a new binary to an in-memory zel scene";
inline constexpr std::string_view empty_block_name = "\"name\" of block must not be empty";
inline constexpr std::string_view empty_block_type = "block type must not be empty";
inline constexpr std::string_view block_named = "Block named ";
inline constexpr std::string_view metadata_block_named = "Metadata Block named ";
inline constexpr std::string_view already_exists = " already exists in add_block()";
inline constexpr std::string_view not_found = " was not found";

// The scene document.
inline constexpr std::string_view index_entry = "__zel_index__.xml";
inline constexpr std::string_view version_attribute = "version";
inline constexpr std::string_view declaration_version = "1.0";
inline constexpr std::string_view encoding_attribute = "encoding";
inline constexpr std::string_view declaration_encoding = "utf-8";
inline constexpr std::string_view root_element = "zelfile";
inline constexpr std::string_view root_version = "0.1";
inline constexpr std::string_view scene_element = "zel";
inline constexpr std::string_view metadata_element = "metazel";
inline constexpr std::string_view atom_table_element = "atom_table";
inline constexpr std::string_view atom_element = "a";
inline constexpr std::string_view name_attribute = "name";
inline constexpr std::string_view type_attribute = "type";
inline constexpr std::string_view unit_attribute = "unit";
inline constexpr std::string_view tag_attribute = "tag";
inline constexpr std::string_view internal_use_type = "internal_use_block";
inline constexpr std::string_view internal_use_name = "__internal_use__";
inline constexpr std::string_view block_count_parameter = "num";
// The metadata block that lists every library alias a link names, one
// parameter "ref" each.
inline constexpr std::string_view library_refs_type = "librefs";
inline constexpr std::string_view library_refs_name = "external_refs";
inline constexpr std::string_view library_ref_parameter = "ref";

// Reading the scene document.
inline constexpr std::string_view zero_length_block_name = "block name of zero length read";
inline constexpr std::string_view too_deep_prefix = "scene document nests elements deeper than ";
inline constexpr std::string_view too_deep_suffix = " levels";
inline constexpr std::string_view lacks_element = "scene document has no element ";
inline constexpr std::string_view block_without_name =
    "scene document has a block without a name: ";
inline constexpr std::string_view token_beyond_table =
    "scene document token beyond the atom table: ";
inline constexpr std::string_view token_unfit = "scene document token fits no atom number: ";

// Reading scenes across packages.
inline constexpr std::string_view file_prefix = "zel file ";
inline constexpr std::string_view file_not_found = " not found on local filesystem";
inline constexpr std::string_view failed_binary = "Failed to get binary: ";
inline constexpr std::string_view invalid_position = "invalid string position";
inline constexpr std::string_view invalid_file_name = "invalid char filename argument";
inline constexpr std::string_view no_archive = "the scene has no archive to read binaries from";
inline constexpr std::string_view empty_redirect = "a file redirect needs a file name";

}  // namespace vorn::zel::texts
