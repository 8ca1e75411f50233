#include "zel/facade/host_text.hpp"

#include <climits>
#include <cstddef>

#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/internal/code_page.hpp"
#include "zel/facade/internal/facade_texts.hpp"
#include "zel/foundation/text_conversion.hpp"

namespace Tessaly::Corvane::DB::ZEL {

namespace {

constexpr std::size_t host_size_limit = INT_MAX;

void check_not_null(const System::String& text) {
    if (text.is_null()) {
        throw System::ArgumentNullException(texts::null_conversion);
    }
}

}  // namespace

std::string to_narrow(const System::String& text) {
    check_not_null(text);
    return code_page::narrow(text.view(), code_page::thread_charset(), host_size_limit);
}

std::wstring to_wide(const System::String& text) {
    check_not_null(text);
    const std::u16string_view units = text.view();
    std::wstring wide;
    wide.reserve(units.size());
    // An unpaired surrogate stays as it is.
    for (std::size_t i = 0; i < units.size();) {
        wide.push_back(static_cast<wchar_t>(vorn::decode_utf16(units, i)));
    }
    return wide;
}

std::filesystem::path to_path(const System::String& text) {
    return path_of(to_wide(text));
}

std::filesystem::path path_of(const std::wstring& wide) {
    // The standard library would narrow wide text in the process's locale,
    // which fails on anything but ASCII in the "C" locale.
    return std::filesystem::path(code_page::utf8_of_wide(wide));
}

System::String to_host(std::string_view narrow) {
    return System::String(code_page::widen(narrow, code_page::thread_charset(), host_size_limit));
}

std::string utf8_of(std::u16string_view text) {
    return code_page::narrow(text, "UTF-8", static_cast<std::size_t>(-1));
}

}  // namespace Tessaly::Corvane::DB::ZEL
