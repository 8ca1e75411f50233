// The fixed tables of the deflate format: length and distance symbols with
// their extra bits, and the order in which code-length code sizes are sent.
#pragma once

#include <array>
#include <cstdint>

namespace vorn::deflate {

inline constexpr std::uint32_t min_match = 3;
inline constexpr std::uint32_t max_match = 258;
inline constexpr int literal_symbols = 288;  // literals, end of block, lengths
inline constexpr int distance_symbols = 32;
inline constexpr int code_length_symbols = 19;
inline constexpr int end_of_block = 256;

struct symbol_info {
    std::uint16_t symbol;
    std::uint8_t extra_bits;
};

namespace detail {

inline constexpr std::array<std::uint16_t, 29> length_base = {
    3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
    31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
inline constexpr std::array<std::uint8_t, 29> length_extra = {
    0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
inline constexpr std::array<std::uint16_t, 30> distance_base = {
    1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
    193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
inline constexpr std::array<std::uint8_t, 30> distance_extra = {
    0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
    6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

constexpr std::array<symbol_info, 256> make_length_table() {
    std::array<symbol_info, 256> table{};
    for (int code = 0; code < 29; ++code) {
        const int first = length_base[code] - 3;
        const int last = code == 28 ? 255 : length_base[code + 1] - 4;
        for (int i = first; i <= last; ++i) {
            table[i] = {static_cast<std::uint16_t>(257 + code), length_extra[code]};
        }
    }
    // Length 258 has a code of its own; 227 + 31 would otherwise reach it.
    table[255] = {285, 0};
    return table;
}

constexpr symbol_info distance_code(int distance_minus_one) {
    int code = 0;
    while (code < 29 && distance_base[code + 1] - 1 <= distance_minus_one) {
        ++code;
    }
    return {static_cast<std::uint16_t>(code), distance_extra[code]};
}

// Distances up to 256 by their own entry; from 257 on every code begins at a
// multiple of 128 past 1 and spans whole multiples of 128, so the distance
// minus one shifted right by 7 decides the code.
constexpr std::array<symbol_info, 256> make_near_distances() {
    std::array<symbol_info, 256> table{};
    for (int i = 0; i < 256; ++i) {
        table[i] = distance_code(i);
    }
    return table;
}

// Entries 0 and 1 stand for distances that the near table serves.
constexpr std::array<symbol_info, 256> make_far_distances() {
    std::array<symbol_info, 256> table{};
    for (int i = 2; i < 256; ++i) {
        table[i] = distance_code(i << 7);
    }
    return table;
}

inline constexpr std::array<symbol_info, 256> near_distances = make_near_distances();
inline constexpr std::array<symbol_info, 256> far_distances = make_far_distances();

}  // namespace detail

// Indexed by match length minus 3.
inline constexpr std::array<symbol_info, 256> length_symbols = detail::make_length_table();

// The code and extra bits of a match distance, given as distance minus 1
// (0 to 32767).
constexpr symbol_info distance_symbol(std::uint32_t distance_minus_one) {
    return distance_minus_one < 256 ? detail::near_distances[distance_minus_one]
                                    : detail::far_distances[distance_minus_one >> 7];
}

namespace detail {

// The full table of all 32768 distances, made from the ranges of the codes;
// only the check below uses it.
constexpr std::array<symbol_info, 32768> make_distance_table() {
    std::array<symbol_info, 32768> table{};
    for (int code = 0; code < 30; ++code) {
        const int first = distance_base[code] - 1;
        const int last = code == 29 ? 32767 : distance_base[code + 1] - 2;
        for (int i = first; i <= last; ++i) {
            table[i] = {static_cast<std::uint16_t>(code), distance_extra[code]};
        }
    }
    return table;
}

// The two small tables give for every distance what the full table gives.
constexpr bool distance_tables_agree() {
    const std::array<symbol_info, 32768> full = make_distance_table();
    for (int d = 0; d < 32768; ++d) {
        const symbol_info expected = full[d];
        const symbol_info found = distance_symbol(static_cast<std::uint32_t>(d));
        if (found.symbol != expected.symbol || found.extra_bits != expected.extra_bits) {
            return false;
        }
    }
    return true;
}
static_assert(distance_tables_agree());

}  // namespace detail

// The order in which the sizes of the code-length code are transmitted.
inline constexpr std::array<std::uint8_t, 19> code_length_order = {
    16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

}  // namespace vorn::deflate
