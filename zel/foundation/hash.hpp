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
