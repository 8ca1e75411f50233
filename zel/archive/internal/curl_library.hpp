// libcurl, loaded when the first URL is opened instead of linked. A process
// that reads only local packages (a host application's add-in, the tool on a
// file) then never loads curl with the TLS, name service and authentication
// libraries it brings, and runs on a machine that has none of them.
#pragma once

#include <curl/curl.h>

#include <string>

namespace vorn::zela::http {

// The functions of libcurl that the range client calls.
struct curl_library {
    decltype(&::curl_easy_init) easy_init = nullptr;
    decltype(&::curl_easy_setopt) easy_setopt = nullptr;
    decltype(&::curl_easy_getinfo) easy_getinfo = nullptr;
    decltype(&::curl_easy_cleanup) easy_cleanup = nullptr;
    decltype(&::curl_easy_strerror) easy_strerror = nullptr;
    decltype(&::curl_multi_init) multi_init = nullptr;
    decltype(&::curl_multi_setopt) multi_setopt = nullptr;
    decltype(&::curl_multi_add_handle) multi_add_handle = nullptr;
    decltype(&::curl_multi_remove_handle) multi_remove_handle = nullptr;
    decltype(&::curl_multi_perform) multi_perform = nullptr;
    decltype(&::curl_multi_info_read) multi_info_read = nullptr;
    decltype(&::curl_multi_poll) multi_poll = nullptr;
    decltype(&::curl_multi_cleanup) multi_cleanup = nullptr;
    decltype(&::curl_slist_append) slist_append = nullptr;
    decltype(&::curl_slist_free_all) slist_free_all = nullptr;
};

// Loads libcurl and sets it up, once for the process; null, with the reason
// in failure, when it cannot be loaded or is older than 7.85. It stays
// loaded until the process ends.
const curl_library* load_curl(std::string& failure);

}  // namespace vorn::zela::http
