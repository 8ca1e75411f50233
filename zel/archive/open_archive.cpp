#include "zel/archive/open_archive.hpp"

#include <algorithm>
#include <cctype>

#include "zel/archive/file_reader.hpp"
#include "zel/archive/internal/range_client.hpp"
#include "zel/archive/range_reader.hpp"

namespace vorn::zela {

namespace {

bool starts_with_no_case(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(), [](char lower, char c) {
               return std::tolower(static_cast<unsigned char>(c)) == lower;
           });
}

}  // namespace

bool is_url(std::string_view location) {
    return starts_with_no_case(location, "http://") || starts_with_no_case(location, "https://");
}

std::string shown_location(std::string_view location) {
    return is_url(location) ? http::shown_url(location) : std::string(location);
}

std::shared_ptr<zel_archive_reader> open_archive_reader(const std::string& location,
                                                        const remote_options& options) {
    if (is_url(location)) {
        return std::make_shared<zel_archive_range_reader>(location, options);
    }
    return std::make_shared<zel_archive_file_reader>(location);
}

}  // namespace vorn::zela
