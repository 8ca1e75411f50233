// The text rules of the scene model.
//
// Which strings may become element names of the scene document, how the path
// of a local file becomes the entry name of its binary, how a link value
// splits into its two parts, and how a block copied out of another file is
// named. All are pure functions of their input, apart from the file system
// status that binary_entry_name asks for.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vorn::zel {

// Refuses with std::invalid_argument the empty name and a name with a byte
// that the global locale's ctype<char> classes as space; in the classic
// locale that is tab, line feed, vertical tab, form feed, carriage return
// and blank. Nothing else is tested: "1a", "a<b" and bytes above 0x7F pass.
// Parameter names, attribute names and block types must pass, because they
// are copied into the document as element and attribute names.
void check_xml_name(std::string_view name);

// The path's text as UTF-8. Paths are narrow here, so valid UTF-8 comes back
// as it is; an empty path, invalid UTF-8, or text holding U+FFFD gets
// "-> unicode_ERROR" appended. The marker is the whole report: no exception.
std::string path_to_utf8(const std::filesystem::path& path);

// The entry name under which the binary at path is stored:
//   "binaries/" + MD5 of the directory part, with its trailing slash, in the
//   groups 8-4-4-4-12 of lower-case hex digits + the last slash and the file
//   name.
// A path that exists is first made absolute and lexically normal against the
// working directory (links are not followed); one that does not exist is
// taken as given. Backslashes count as slashes. A text without any slash is
// its own entry name. Only the directory is digested, never the contents.
// Raises std::filesystem::filesystem_error if the working directory is
// unknown or the absolute form cannot be made.
std::string binary_entry_name(const std::filesystem::path& path);

// The parts of a link value, split at its first "#": what stands before it
// is a library alias or package name (empty for this scene), what stands
// behind it the block or binary. A "#" in the target survives.
struct link_parts {
    std::string_view location;
    std::string_view target;
    // False if the text has no "#": location is then empty and target the
    // whole text.
    bool has_separator = false;
};

link_parts split_link_value(std::string_view link);

// location + "#" + target, unchecked.
std::string make_link_value(std::string_view location, std::string_view target);

// The name of a copy of a block taken from another file for modification:
// resolved_block + "_modified_from_" + requested_file + "(POUND)" +
// requested_block. The word stands for the "#" that a link to the copy would
// otherwise hold twice.
std::string modified_block_name(std::string_view resolved_block, std::string_view requested_file,
                                std::string_view requested_block);

}  // namespace vorn::zel
