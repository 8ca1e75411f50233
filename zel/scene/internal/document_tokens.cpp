#include "zel/scene/internal/document_tokens.hpp"

#include <array>

namespace vorn::zel::tokens {

namespace {

constexpr std::array<std::uint8_t, 256> digit_values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(0xFF);
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return values;
}();

}  // namespace

std::uint32_t decode(std::string_view token) noexcept {
    std::uint32_t number = 0;
    for (std::size_t i = token.size(); i-- > 0;) {
        number = digit_values[static_cast<unsigned char>(token[i])] | (number << 6);
    }
    return number;
}

}  // namespace vorn::zel::tokens
