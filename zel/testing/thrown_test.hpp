// What a call throws, as text, for tests that pin exact messages.
#pragma once

#include <exception>
#include <functional>
#include <string>

#include "zel/foundation/exception.hpp"

namespace vorn::testing {

// The what() of the exception f throws, or "nothing thrown".
inline std::string what_of(const std::function<void()>& f) {
    try {
        f();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing thrown";
}

// The whole text of an archive error with this message.
inline std::string archive_message(const std::string& message) {
    return zela::zel_archive_exception(message).what();
}

}  // namespace vorn::testing
