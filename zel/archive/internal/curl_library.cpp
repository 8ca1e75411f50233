#include "zel/archive/internal/curl_library.hpp"

#include <dlfcn.h>

#include <array>

#include "zel/archive/internal/remote_texts.hpp"

namespace vorn::zela::http {

namespace {

// The names under which distributions install libcurl's one stable ABI: the
// OpenSSL build first, then the GnuTLS one.
constexpr std::array<const char*, 2> library_names = {"libcurl.so.4", "libcurl-gnutls.so.4"};

// 7.85, the first to take the protocols allowed as a text.
constexpr unsigned oldest_version = 0x075500;

struct loaded_curl {
    curl_library functions;
    std::string failure;  // empty once loaded
};

struct opened_library {
    void* handle = nullptr;
    const char* name = nullptr;
};

template <class Function>
bool resolve(const opened_library& library, const char* name, Function& function,
             std::string& failure) {
    function = reinterpret_cast<Function>(::dlsym(library.handle, name));
    if (function == nullptr) {
        failure = std::string(texts::remote_curl_too_old)
                      .append(library.name)
                      .append(texts::remote_curl_lacks)
                      .append(name);
        return false;
    }
    return true;
}

loaded_curl load() {
    loaded_curl loaded;
    opened_library library;
    std::string first_refusal;  // why the first name could not be loaded
    for (const char* name : library_names) {
        library = {::dlopen(name, RTLD_NOW | RTLD_LOCAL), name};
        if (library.handle != nullptr) {
            break;
        }
        const char* why = ::dlerror();
        if (first_refusal.empty() && why != nullptr) {
            first_refusal = why;
        }
    }
    if (library.handle == nullptr) {
        loaded.failure = std::string(texts::remote_no_curl_library).append(first_refusal);
        return loaded;
    }
    curl_library& f = loaded.functions;
    decltype(&::curl_global_init) global_init = nullptr;
    decltype(&::curl_version_info) version_info = nullptr;
    std::string& failure = loaded.failure;
    const bool resolved =
        resolve(library, "curl_version_info", version_info, failure) &&
        resolve(library, "curl_global_init", global_init, failure) &&
        resolve(library, "curl_easy_init", f.easy_init, failure) &&
        resolve(library, "curl_easy_setopt", f.easy_setopt, failure) &&
        resolve(library, "curl_easy_getinfo", f.easy_getinfo, failure) &&
        resolve(library, "curl_easy_cleanup", f.easy_cleanup, failure) &&
        resolve(library, "curl_easy_strerror", f.easy_strerror, failure) &&
        resolve(library, "curl_multi_init", f.multi_init, failure) &&
        resolve(library, "curl_multi_setopt", f.multi_setopt, failure) &&
        resolve(library, "curl_multi_add_handle", f.multi_add_handle, failure) &&
        resolve(library, "curl_multi_remove_handle", f.multi_remove_handle, failure) &&
        resolve(library, "curl_multi_perform", f.multi_perform, failure) &&
        resolve(library, "curl_multi_info_read", f.multi_info_read, failure) &&
        resolve(library, "curl_multi_poll", f.multi_poll, failure) &&
        resolve(library, "curl_multi_cleanup", f.multi_cleanup, failure) &&
        resolve(library, "curl_slist_append", f.slist_append, failure) &&
        resolve(library, "curl_slist_free_all", f.slist_free_all, failure);
    if (!resolved) {
        return loaded;
    }
    // An older libcurl ignores the option that keeps redirects to http and
    // https, which must never be lost silently.
    const curl_version_info_data* version = version_info(CURLVERSION_NOW);
    if (version == nullptr || version->version_num < oldest_version) {
        failure = std::string(texts::remote_curl_too_old)
                      .append(library.name)
                      .append(texts::remote_curl_is)
                      .append(version != nullptr && version->version != nullptr ? version->version
                                                                                : "unknown");
        return loaded;
    }
    if (global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        failure = std::string(texts::remote_no_curl);
    }
    return loaded;
}

}  // namespace

const curl_library* load_curl(std::string& failure) {
    // Loaded once, by the first caller; the others wait for it.
    static const loaded_curl loaded = load();
    if (!loaded.failure.empty()) {
        failure = loaded.failure;
        return nullptr;
    }
    return &loaded.functions;
}

}  // namespace vorn::zela::http
