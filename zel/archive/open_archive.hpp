// Opening a package by its location: a path on the local file system or an
// http:// or https:// URL.
//
// A path opens zel_archive_file_reader exactly as that reader's constructor
// does, with the same messages; the options do not apply to it. A URL opens a
// reader over HTTP range requests, with the options given.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "zel/archive/reader.hpp"
#include "zel/archive/remote_options.hpp"

namespace vorn::zela {

// True for a location that starts with http:// or https://, in any case.
bool is_url(std::string_view location);

// The location as messages show it: a URL without its query string, its
// fragment and its credentials, where a signature or a password may stand;
// a path as it is.
std::string shown_location(std::string_view location);

std::shared_ptr<zel_archive_reader> open_archive_reader(const std::string& location,
                                                        const remote_options& options = {});

}  // namespace vorn::zela
