#include "tools/remote_arguments.hpp"

#include <charconv>
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "tools/command.hpp"
#include "zel/archive/open_archive.hpp"

namespace vorn::zel_tool {

const char* const remote_options_help =
    "\nA package or contents file may be given as an http:// or https:// URL, read\n"
    "with range requests; then\n"
    "  --cache DIR         keeps the entries fetched in the node cache DIR, shared\n"
    "                      by every process that names it\n"
    "  --timeout SECONDS   gives up a request that takes longer (default 30)\n"
    "  --cacert FILE       verifies HTTPS servers against the certificates in FILE\n"
    "                      instead of the system's\n";

namespace {

// The one value of a valued option, or null if it is not given.
const std::string* single_value(const arguments& parsed, const char* option,
                                std::vector<std::string>& values) {
    values = parsed.values(option);
    if (values.size() > 1) {
        throw usage_error(std::string(option) + " given twice");
    }
    return values.empty() ? nullptr : &values.front();
}

std::chrono::milliseconds timeout_of(const std::string& text) {
    double seconds = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds);
    // Below a millisecond is no bound at all; beyond a day is no bound either.
    if (error != std::errc() || stop != end || !(seconds >= 0.001 && seconds <= 86400)) {
        throw usage_error(std::string(timeout_option) +
                          " takes a number of seconds from 0.001 to 86400, not \"" + text + "\"");
    }
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

}  // namespace

zela::remote_options remote_options_of(const arguments& parsed) {
    zela::remote_options options;
    std::vector<std::string> values;
    if (const std::string* dir = single_value(parsed, cache_option, values)) {
        options.cache_directory = *dir;
    }
    if (const std::string* seconds = single_value(parsed, timeout_option, values)) {
        options.timeout = timeout_of(*seconds);
    }
    if (const std::string* file = single_value(parsed, cacert_option, values)) {
        options.ca_file = *file;
    }
    return options;
}

std::string shown_location(const std::string& location) {
    return zela::is_url(location) ? location.substr(0, location.find_first_of("?#")) : location;
}

}  // namespace vorn::zel_tool
