// The options with which every reading command reads packages and contents
// files behind http:// and https:// URLs:
//
//   --cache DIR         keep the entries fetched in a node cache in DIR
//   --timeout SECONDS   give up a request that takes longer
//   --cacert FILE       trust the certificates in FILE for HTTPS
//
// A local path ignores them.
#pragma once

#include <string>

#include "tools/arguments.hpp"
#include "zel/archive/remote_options.hpp"

namespace vorn::zel_tool {

// The three option names, for the list of valued options of a command.
inline constexpr const char* cache_option = "--cache";
inline constexpr const char* timeout_option = "--timeout";
inline constexpr const char* cacert_option = "--cacert";

// The help text that describes them, for the end of a command's description.
extern const char* const remote_options_help;

// The options given, over the library's defaults; raises usage_error for a
// timeout that is not a positive number of seconds or an option given twice.
zela::remote_options remote_options_of(const arguments& parsed);

// A package's location as the tool prints it: a URL without its query string
// and fragment, since a presigned URL carries its signature there; a path as
// it is.
std::string shown_location(const std::string& location);

}  // namespace vorn::zel_tool
