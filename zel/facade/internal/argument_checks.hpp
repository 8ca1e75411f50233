// The argument checks that ZELFile and ZELBlock share: each raises the host's
// exception with the check's text given to its one-string constructor.
#pragma once

#include <cstdint>
#include <string_view>

#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/host_string.hpp"

namespace Tessaly::Corvane::DB::ZEL {

inline void check_not_empty(const System::String& text, std::u16string_view failure) {
    if (text.empty()) {
        throw System::ArgumentNullException(System::String(failure));
    }
}

inline void check_present(const System::BoxedIntPtr& data, std::u16string_view failure) {
    if (!data.has_value()) {
        throw System::ArgumentNullException(System::String(failure));
    }
}

inline void check_positive(std::int32_t size, std::u16string_view failure) {
    if (size <= 0) {
        throw System::ArgumentException(System::String(failure));
    }
}

}  // namespace Tessaly::Corvane::DB::ZEL
