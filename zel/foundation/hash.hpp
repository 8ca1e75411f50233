// The one 64-bit hash of the system.
//
// lookup3 hashlittle2 over the bytes, seeded with 33 and 0, the primary result
// in the upper half. It is stored in archive headers and tables of contents, so
// it must not change: the bytes are read as little-endian words whatever their
// alignment, and the result is the same on every platform.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn {

std::uint64_t hash_bytes(const char* data, std::uint64_t size) noexcept;

// Mixes two words into one, for a table keyed by a pair of numbers that come
// from files: every bit of either word reaches every bit of the result, so
// pairs with a pattern between their words (equal words, say) spread over
// the table like any others. Nothing stored depends on it.
constexpr std::uint64_t hash_words(std::uint64_t first, std::uint64_t second) noexcept {
    // The finaliser of MurmurHash3: a bijection that mixes all 64 bits.
    const auto mixed = [](std::uint64_t x) {
        x ^= x >> 33;
        x *= 0xFF51AFD7ED558CCDu;
        x ^= x >> 33;
        x *= 0xC4CEB9FE1A85EC53u;
        return x ^ (x >> 33);
    };
    return mixed(first ^ mixed(second + 0x9E3779B97F4A7C15u));
}

// Function objects over the system hash, for the tables keyed by text or bytes.
template <class T>
struct hash;

template <>
struct hash<std::string_view> {
    std::uint64_t operator()(std::string_view text) const noexcept {
        return hash_bytes(text.data(), text.size());
    }
};

template <>
struct hash<std::string> {
    std::uint64_t operator()(const std::string& text) const noexcept {
        return hash_bytes(text.data(), text.size());
    }
};

}  // namespace vorn
