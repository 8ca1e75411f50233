// Length-limited Huffman codes for one deflate block.
//
// The code lengths are those of a minimum-redundancy code computed in place
// over the symbols sorted by frequency (ties by symbol number), then limited
// to max_bits by moving codes down from the longest length. The compressed
// bytes are identified by their hash, so which of several optimal codes is
// chosen matters: symbols of equal frequency are ranked by symbol number and
// the higher number gets the shorter code.
#pragma once

#include <cstdint>

namespace vorn::deflate {

// Fills lengths[0..count) from the frequencies, and codes[0..count) with the
// codes that assign_codes gives for those lengths; symbols of frequency 0 get
// length and code 0.
void build_code(const std::uint16_t* frequencies, int count, int max_bits, std::uint8_t* lengths,
                std::uint16_t* codes);

// Canonical codes for the lengths (at most 16), bit-reversed so that they
// can be written least significant bit first.
void assign_codes(const std::uint8_t* lengths, int count, std::uint16_t* codes);

}  // namespace vorn::deflate
