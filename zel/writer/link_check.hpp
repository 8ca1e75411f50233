// Proves every link of a written package against the package itself and the
// contents files of its libraries.
//
// A parameter of type "link" or "binary" holds location + "#" + target. A
// local link (empty location) must name a block of the package's scene, a
// local binary link an entry of its archive; a link into a library must name
// a block of that library's scene, or a binary of its catalogue, and its
// alias must be one of the libraries given. Both block tables are walked, in
// table order, and each parameter in block order, so a report is the same on
// every run. The package's "external_refs" are listed, and an alias that
// links use but that list lacks is reported too: the writer records every
// alias, so its absence means the package was not written by it.
//
// This is what `zel check` runs; a writer proves the same links as they are
// added when its validation is on.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/package_report.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/writer/contents_file.hpp"

namespace vorn::zel {

struct broken_link {
    std::string block;
    bool metadata = false;  // the block is in the metadata table
    std::string parameter;
    std::string value;
    std::string problem;  // what is missing, in words
};

struct link_report {
    std::size_t local_links = 0;     // of type "link" with an empty location
    std::size_t local_binaries = 0;  // of type "binary" with an empty location
    std::size_t library_links = 0;   // links and binary links into libraries
    std::vector<broken_link> broken;
    // The "ref" values of the package's "external_refs", in their order.
    std::vector<std::string> external_refs;
    // Aliases that links use but "external_refs" lacks, in order of first use.
    std::vector<std::string> unlisted_aliases;

    std::size_t links() const noexcept { return local_links + local_binaries + library_links; }
    bool sound() const noexcept { return broken.empty() && unlisted_aliases.empty(); }
};

class link_checker {
  public:
    // Makes contents the library of alias. Raises zel_exception "a library
    // alias must not be empty", or "library alias <alias> given twice".
    void add_library(const std::string& alias, std::shared_ptr<const zel_contents_file> contents);

    // Checks the scene of a package read from its archive; local binary
    // links are looked up in scene.archive_reader(), and without one they
    // all count as broken.
    link_report check(const zel_file_index& scene) const;

  private:
    struct library {
        std::string alias;
        std::shared_ptr<const zel_contents_file> contents;
    };
    const zel_contents_file* find(std::string_view alias) const;

    // Few, so a list serves.
    std::vector<library> libraries_;
};

// The report as zel check prints it: command "check"; counts "links",
// "local_links", "local_binaries" and "library_links"; the external_refs;
// an error "broken-link" on the parameter of each broken link, with what is
// missing as its message, then an error "unlisted-library" for each alias
// that the external_refs lack.
zela::package_report package_report_of(const link_report& report, const std::string& package);

}  // namespace vorn::zel
