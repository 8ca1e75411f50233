#include "zel/facade/internal/code_page.hpp"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>

#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/internal/facade_texts.hpp"
#include "zel/foundation/text_conversion.hpp"

namespace Tessaly::Corvane::DB::ZEL::code_page {

namespace {

using vorn::append_utf16;
using vorn::append_utf8;
using vorn::decode_utf16;
using vorn::decode_utf8;
using vorn::replacement_character;

constexpr char default_character = '?';

// One iconv descriptor, closed with its owner. Descriptors are kept per
// thread for the last character set used, since opening one loads tables.
class converter {
  public:
    converter() = default;
    converter(const converter&) = delete;
    converter& operator=(const converter&) = delete;
    ~converter() { reset(); }

    // False if iconv knows no conversion between the two sets.
    bool open(const char* to, const char* from) {
        if (handle_ != invalid() && to_ == to && from_ == from) {
            ::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
            return true;
        }
        reset();
        handle_ = ::iconv_open(to, from);
        if (handle_ == invalid()) {
            return false;
        }
        to_ = to;
        from_ = from;
        return true;
    }

    iconv_t get() const noexcept { return handle_; }

  private:
    static iconv_t invalid() noexcept { return reinterpret_cast<iconv_t>(-1); }
    void reset() noexcept {
        if (handle_ != invalid()) {
            ::iconv_close(handle_);
            handle_ = invalid();
        }
    }

    iconv_t handle_ = invalid();
    std::string to_;
    std::string from_;
};

bool is_utf8(const char* charset) {
    return ::strcasecmp(charset, "UTF-8") == 0 || ::strcasecmp(charset, "UTF8") == 0;
}

[[noreturn]] void throw_too_long() {
    throw System::ArgumentOutOfRangeException(texts::size_exceeds_int_max);
}

// UTF-8 of the units, with an unpaired surrogate written as `lone`.
std::string utf8_from_units(std::u16string_view text, char32_t lone) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char32_t c = decode_utf16(text, i);
        append_utf8(out, vorn::is_unencodable(c) ? lone : c);
    }
    return out;
}

// UTF-16 of UTF-8 bytes; each byte that starts no valid sequence becomes
// U+FFFD. The limit counts units.
std::u16string units_from_utf8(std::string_view text, std::size_t size_limit) {
    std::u16string out;
    out.reserve(text.size() < size_limit ? text.size() : size_limit);
    for (std::size_t i = 0; i < text.size();) {
        const vorn::utf8_sequence sequence = decode_utf8(text, i);
        append_utf16(out, sequence.valid ? sequence.code : replacement_character);
        if (out.size() > size_limit) {
            throw_too_long();
        }
        i += sequence.valid ? sequence.length : 1;
    }
    return out;
}

// Runs iconv over the whole input. A sequence it cannot convert is skipped
// by skip(input) bytes and written as `substitute` in the output set.
template <class Skip>
std::string run_iconv(iconv_t handle, std::string_view input, std::string_view substitute,
                      std::size_t size_limit, Skip skip) {
    std::string out;
    char buffer[4096];
    char* in = const_cast<char*>(input.data());
    std::size_t in_left = input.size();
    while (true) {
        char* next = buffer;
        std::size_t out_left = sizeof buffer;
        const std::size_t result = in_left == 0
                                       ? ::iconv(handle, nullptr, nullptr, &next, &out_left)
                                       : ::iconv(handle, &in, &in_left, &next, &out_left);
        const int error = errno;
        out.append(buffer, next);
        if (out.size() > size_limit) {
            throw_too_long();
        }
        if (result != static_cast<std::size_t>(-1)) {
            if (in_left == 0) {
                return out;
            }
            continue;
        }
        if (error == E2BIG) {
            continue;
        }
        // EILSEQ or EINVAL (a sequence cut off at the end).
        const std::size_t skipped = std::min(in_left, std::max<std::size_t>(1, skip(in, in_left)));
        in += skipped;
        in_left -= skipped;
        out.append(substitute);
    }
}

}  // namespace

std::string utf8_of_wide(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (const wchar_t unit : text) {
        const auto c = static_cast<char32_t>(unit);
        append_utf8(out, vorn::is_unencodable(c) ? static_cast<char32_t>(default_character) : c);
    }
    return out;
}

const char* thread_charset() {
    const locale_t current = ::uselocale(nullptr);
    if (current == LC_GLOBAL_LOCALE) {
        return ::nl_langinfo(CODESET);
    }
    return ::nl_langinfo_l(CODESET, current);
}

std::string narrow(std::u16string_view text, const char* charset, std::size_t size_limit) {
    // Unpaired surrogates become the default character before iconv sees them.
    std::string utf8 = utf8_from_units(text, static_cast<char32_t>(default_character));
    if (is_utf8(charset)) {
        if (utf8.size() > size_limit) {
            throw_too_long();
        }
        return utf8;
    }
    thread_local converter to_charset;
    if (!to_charset.open(charset, "UTF-8")) {
        throw System::ArgumentException(texts::to_narrow_failed);
    }
    return run_iconv(to_charset.get(), utf8, std::string_view(&default_character, 1), size_limit,
                     [](const char* at, std::size_t left) {
                         return decode_utf8(std::string_view(at, left), 0).length;
                     });
}

std::u16string widen(std::string_view text, const char* charset, std::size_t size_limit) {
    try {
        if (is_utf8(charset)) {
            return units_from_utf8(text, size_limit);
        }
        thread_local converter from_charset;
        if (!from_charset.open("UTF-8", charset)) {
            throw System::ArgumentException(texts::to_host_failed);
        }
        std::string replacement;
        append_utf8(replacement, replacement_character);
        const std::string utf8 =
            run_iconv(from_charset.get(), text, replacement, static_cast<std::size_t>(-1),
                      [](const char*, std::size_t) { return std::size_t{1}; });
        return units_from_utf8(utf8, size_limit);
    } catch (const std::bad_alloc&) {
        throw System::InsufficientMemoryException();
    }
}

}  // namespace Tessaly::Corvane::DB::ZEL::code_page
