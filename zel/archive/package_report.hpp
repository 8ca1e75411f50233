// What a check of a package found, as data: the report that `zel verify`
// and `zel check` print, as text or as JSON, and that the Python module
// hands out.
//
// A finding has a stable code (a word that a program may test, which never
// changes with the wording of the message), a severity, where it is and the
// message in words, as the text form prints it behind the place. Places are
// of four kinds besides the package as a whole: a file beside the package;
// an entry of the archive with the file offset of its stored bytes; a
// parameter of a block (of the metadata table or the ordinary one) with the
// link it holds; a library by its alias.
//
// The JSON form, documented in doc/package_report.md, is one object:
//   {"command": ..., "package": ..., "errors": N, "warnings": N,
//    "counts": {...}, ["external_refs": [...],] "findings": [...]}
// Keys come in this order, findings in the order they were found, counts in
// the order they were added. Texts are escaped so that the output is UTF-8
// whatever bytes a damaged package holds: a byte that is not part of valid
// UTF-8 becomes the character of its value (\u0080 to \u00ff).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::zela {

enum class finding_severity { error, warning };

enum class finding_place { package, file, entry, parameter, library };

struct finding {
    std::string code;
    finding_severity severity = finding_severity::error;
    finding_place place = finding_place::package;
    std::string file;  // a file beside the package
    std::string entry;
    std::uint64_t offset = 0;
    std::string block;
    bool metadata = false;  // the block is one of the metadata table
    std::string parameter;
    std::string link;  // the parameter's value
    std::string library;
    std::string message;
};

struct package_report {
    std::string command;  // the check that made it: "verify" or "check"
    std::string package;
    // What the check looked at, by name, in the order of the text form.
    std::vector<std::pair<std::string, std::uint64_t>> counts;
    // The libraries the package names, for a check of its links.
    std::optional<std::vector<std::string>> external_refs;
    std::vector<finding> findings;

    std::size_t errors() const noexcept;
    std::size_t warnings() const noexcept;
    bool sound() const noexcept { return errors() == 0; }
    // The count of that name; 0 if there is none.
    std::uint64_t count(std::string_view name) const noexcept;
};

// The codes of the findings that the library's checks make.
namespace finding_codes {
inline constexpr std::string_view package_unreadable = "package-unreadable";
inline constexpr std::string_view stray_temporary_file = "stray-temporary-file";
inline constexpr std::string_view entry_unreadable = "entry-unreadable";
inline constexpr std::string_view entry_hash_mismatch = "entry-hash-mismatch";
inline constexpr std::string_view entry_inflate_failed = "entry-inflate-failed";
inline constexpr std::string_view broken_link = "broken-link";
inline constexpr std::string_view unlisted_library = "unlisted-library";
}  // namespace finding_codes

// The JSON form, on one line, without a line feed at the end.
std::string to_json(const package_report& report);

// A report of a package that could not be opened at all: one error finding
// with the failure's message.
package_report unreadable_package_report(const std::string& command, const std::string& package,
                                         const std::string& message);

}  // namespace vorn::zela
