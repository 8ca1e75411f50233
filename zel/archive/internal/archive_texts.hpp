// The archive's own words: names in the table of contents and the texts of
// its errors. Every one of them is part of the format or of a message that
// callers may compare, so each stands here once.
#pragma once

#include <string_view>

namespace vorn::zela::texts {

// The table of contents.
inline constexpr const char* index_element = "zelindex";
inline constexpr const char* entry_element = "zelentry";
inline constexpr const char* version_attribute = "version";
inline constexpr const char* name_attribute = "name";
inline constexpr const char* type_attribute = "type";
inline constexpr const char* unit_attribute = "unit";
inline constexpr const char* tag_attribute = "tag";
inline constexpr const char* offset_element = "off";
inline constexpr const char* stored_size_element = "csize";
inline constexpr const char* payload_size_element = "dsize";
inline constexpr const char* hash_element = "hash";

// Reading a header and a table of contents.
inline constexpr std::string_view bad_magic = "magic value incompatible... not a zel archive";
inline constexpr std::string_view version_prefix = "zel archive version ";
inline constexpr std::string_view version_refused = " cannot read an archived file of version ";
inline constexpr std::string_view toc_inside_header =
    "table of contents offset falls inside of header";
inline constexpr std::string_view toc_hash_mismatch =
    "Hash value for the archive table of contents does not match";
inline constexpr std::string_view index_parse_error = "Index parse error: ";
inline constexpr std::string_view index_parse_where = " at: ";
inline constexpr std::string_view duplicate_entry = " is a duplicate entry";
inline constexpr std::string_view missing_index = "table of contents has no zelindex element";
inline constexpr std::string_view entry_without_name = "zelentry without a name";
inline constexpr std::string_view entry_lacks_prefix = "zelentry \"";
inline constexpr std::string_view entry_lacks_element = "\" lacks its element ";
inline constexpr std::string_view element_without_type = "\" has an element without a type: ";
inline constexpr std::string_view toc_too_deep_prefix =
    "table of contents nests elements deeper than ";
inline constexpr std::string_view toc_too_deep_suffix = " levels";

// Between a message and the system's text for its cause.
inline constexpr std::string_view cause_separator = ": ";

// Finding and adding entries.
inline constexpr std::string_view cannot_find_entry = "Can't find entry with name \"";
inline constexpr std::string_view cannot_add_entry = "Can't add entry with name \"";
inline constexpr std::string_view entry_exists = "\": entry already exists";
inline constexpr std::string_view empty_entry_name = "Can't add an entry with an empty name";
inline constexpr std::string_view entry_name_holds_nul =
    "Can't add an entry whose name holds a NUL byte";
inline constexpr std::string_view entry_bytes_at_null = "\": its bytes are at a null pointer";
inline constexpr std::string_view cannot_add_param = "Can't add parameter \"";
inline constexpr std::string_view param_to_entry = "\" to entry \"";
inline constexpr std::string_view param_name_not_xml = "\": a parameter name must be an XML name";
inline constexpr std::string_view param_text_holds_nul =
    "\": a parameter's value, type, unit and tag must hold no NUL byte";
inline constexpr std::string_view cannot_open_for_write = "unable to open file for write: ";
inline constexpr std::string_view cannot_open_for_update = "unable to open file for read+write: ";
inline constexpr std::string_view file_missing = " does not exist for archive open";
inline constexpr std::string_view cannot_read_file = "unable to read file ";
inline constexpr std::string_view cannot_write = "unable to write zel file ";

// Opening an archive for reading and reading its entries.
inline constexpr std::string_view reader_file_prefix = "zel file ";
inline constexpr std::string_view reader_file_missing = " not found on local filesystem";
inline constexpr std::string_view reader_cannot_map =
    "could not create memory mapping to zel file ";
inline constexpr std::string_view incomplete_header = "incomplete zel header";
inline constexpr std::string_view truncated_before_toc = "zel file truncated before the TOC";
inline constexpr std::string_view closing_quote = "\"";
inline constexpr std::string_view entry_outside_prefix =
    "stored bytes lie outside the archive: offset ";
inline constexpr std::string_view entry_outside_size = ", stored size ";
inline constexpr std::string_view entry_outside_archive = ", archive size ";

}  // namespace vorn::zela::texts
