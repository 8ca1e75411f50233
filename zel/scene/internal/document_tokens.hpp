// The tokens of the atomized scene document: an atom's number in base 64,
// least significant digit first, at least one and at most six digits, in
// the alphabet ".0-9A-Z_a-z" (digit values 0 to 63). 0 is ".", 63 is "z",
// 64 is ".0", 4096 is "..0".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vorn::zel::tokens {

inline constexpr std::string_view alphabet =
    ".0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
inline constexpr std::size_t max_digits = 6;

// Writes the token of number to out and returns its length.
inline std::size_t encode(std::uint32_t number, char (&out)[max_digits]) noexcept {
    std::size_t length = 0;
    do {
        out[length++] = alphabet[number & 63];
        number >>= 6;
    } while (number != 0);
    return length;
}

// The number of a token, read from its last character to its first. A
// character outside the alphabet counts as the digit 0xFF, ORed in as it
// stands, so a damaged token gives some number, never a failure; callers
// check the number against their table. The empty token is 0.
std::uint32_t decode(std::string_view token) noexcept;

}  // namespace vorn::zel::tokens
