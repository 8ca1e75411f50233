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
inline constexpr std::string_view not_stored_bytes_of = "not the stored bytes of the entry ";
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

// Where an entry's stored bytes lie; each text follows the subject.
inline constexpr std::string_view entry_subject = "entry \"";
inline constexpr std::string_view entry_misaligned_prefix = ": offset ";
inline constexpr std::string_view entry_misaligned_suffix = " is not a multiple of 16";
inline constexpr std::string_view entry_overlaps_entry = ": stored bytes overlap those of entry \"";
inline constexpr std::string_view entry_overlaps_header = ": stored bytes overlap the header";
inline constexpr std::string_view entry_overlaps_toc =
    ": stored bytes overlap the table of contents";

// Inflating a stream against its record; each text follows the subject, an
// entry's or the table of contents'.
inline constexpr std::string_view toc_subject = "table of contents";
inline constexpr std::string_view size_beyond_bound_prefix = ": recorded size ";
inline constexpr std::string_view size_beyond_bound_middle = " is more than ";
inline constexpr std::string_view size_beyond_bound_suffix = " stored bytes can inflate to";
inline constexpr std::string_view stream_longer = ": zlib stream yields more than the recorded ";
inline constexpr std::string_view stream_shorter_prefix = ": zlib stream yields ";
inline constexpr std::string_view stream_shorter_middle = " bytes, not the recorded ";
inline constexpr std::string_view stream_cut_prefix = ": its ";
inline constexpr std::string_view stream_cut_suffix =
    " stored bytes end before its zlib stream does";
inline constexpr std::string_view stream_trailing_prefix = ": zlib stream ends after ";
inline constexpr std::string_view stream_trailing_middle = " of its ";
inline constexpr std::string_view stream_trailing_suffix = " stored bytes";
inline constexpr std::string_view bytes_suffix = " bytes";
inline constexpr std::string_view toc_size_without_terminator =
    ": recorded size 0 leaves no room for the terminator";

// A reader's limits on a table of contents (zel_archive_reader_limits).
inline constexpr std::string_view toc_text_over_limit_prefix = ": text of ";
inline constexpr std::string_view toc_text_over_limit_middle =
    " bytes is over the reader's limit of ";
inline constexpr std::string_view toc_elements_over_limit_prefix =
    ": more elements than the reader's limit of ";
inline constexpr std::string_view toc_attributes_over_limit_prefix =
    ": more attributes than the reader's limit of ";

// The compression streams; raised as zlib_runtime_exception, without prefix.
inline constexpr std::string_view deflate_init_failed =
    "could not initialize the stream for deflate";
inline constexpr std::string_view inflate_init_failed =
    "could not initialize the stream for inflate";
inline constexpr std::string_view deflate_failed = "unknown zlib stream error during deflate";
inline constexpr std::string_view deflate_incomplete =
    "stream is not complete at the end of deflate";
inline constexpr std::string_view inflate_failed = "unknown zlib stream error during inflate";

}  // namespace vorn::zela::texts
