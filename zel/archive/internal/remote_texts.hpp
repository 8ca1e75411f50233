// The words of the reader over HTTP. Every message starts with the object's
// URL as shown: without its query string and fragment, where presigned URLs
// carry their signature, and without credentials.
#pragma once

#include <string_view>

namespace vorn::zela::texts {

inline constexpr std::string_view url_separator = ": ";
inline constexpr std::string_view remote_changed = "the package changed while it was read";
inline constexpr std::string_view remote_status = "the server answered HTTP status ";
inline constexpr std::string_view remote_transfer_failed = "transfer failed: ";
inline constexpr std::string_view remote_wrong_range_prefix = "the server answered with bytes \"";
inline constexpr std::string_view remote_wrong_range_middle = "\" to a request for bytes=";
inline constexpr std::string_view remote_no_range = "a partial answer without a Content-Range";
inline constexpr std::string_view remote_longer_prefix = "the answer is longer than the ";
inline constexpr std::string_view remote_shorter_prefix = "the answer holds ";
inline constexpr std::string_view remote_shorter_middle = " bytes, not ";
inline constexpr std::string_view remote_bytes_asked = " bytes asked for";
inline constexpr std::string_view remote_whole_over_prefix = "the whole object of ";
inline constexpr std::string_view remote_whole_over_middle = " bytes is over the limit of ";
inline constexpr std::string_view remote_bytes = " bytes";
inline constexpr std::string_view remote_no_curl = "could not set up a transfer";
inline constexpr std::string_view remote_no_curl_library =
    "reading over HTTP needs libcurl, which could not be loaded: ";
inline constexpr std::string_view remote_curl_too_old =
    "reading over HTTP needs libcurl 7.85 or later; ";
inline constexpr std::string_view remote_curl_lacks = " lacks ";
inline constexpr std::string_view remote_curl_is = " is ";

}  // namespace vorn::zela::texts
