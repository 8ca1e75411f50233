#include "zel/foundation/hash.hpp"

#include <cstring>

namespace vorn {

namespace {

constexpr std::uint32_t rotate(std::uint32_t x, int k) {
    return (x << k) | (x >> (32 - k));
}

inline std::uint32_t load_le32(const unsigned char* p) {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

inline void mix(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) {
    a -= c, a ^= rotate(c, 4), c += b;
    b -= a, b ^= rotate(a, 6), a += c;
    c -= b, c ^= rotate(b, 8), b += a;
    a -= c, a ^= rotate(c, 16), c += b;
    b -= a, b ^= rotate(a, 19), a += c;
    c -= b, c ^= rotate(b, 4), b += a;
}

inline void final_mix(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) {
    c ^= b, c -= rotate(b, 14);
    a ^= c, a -= rotate(c, 11);
    b ^= a, b -= rotate(a, 25);
    c ^= b, c -= rotate(b, 16);
    a ^= c, a -= rotate(c, 4);
    b ^= a, b -= rotate(a, 14);
    c ^= b, c -= rotate(b, 24);
}

}  // namespace

std::uint64_t hash_bytes(const char* data, std::uint64_t size) noexcept {
    constexpr std::uint32_t primary_seed = 33;
    constexpr std::uint32_t secondary_seed = 0;
    std::uint32_t a = 0xDEADBEEFu + static_cast<std::uint32_t>(size) + primary_seed;
    std::uint32_t b = a;
    std::uint32_t c = a + secondary_seed;

    const auto* k = reinterpret_cast<const unsigned char*>(data);
    while (size > 12) {
        a += load_le32(k);
        b += load_le32(k + 4);
        c += load_le32(k + 8);
        mix(a, b, c);
        size -= 12;
        k += 12;
    }
    if (size == 0) {
        return std::uint64_t(c) << 32 | b;
    }
    // The last 1 to 12 bytes, zero-padded to three words.
    unsigned char tail[12] = {};
    std::memcpy(tail, k, size);
    a += load_le32(tail);
    b += load_le32(tail + 4);
    c += load_le32(tail + 8);
    final_mix(a, b, c);
    return std::uint64_t(c) << 32 | b;
}

}  // namespace vorn
