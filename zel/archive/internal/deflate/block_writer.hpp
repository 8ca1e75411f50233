// Codes the blocks of one zlib stream one after the other: the stream's
// header goes before the first block and the Adler-32 of the input after the
// last.
//
// Each block is coded with the fixed codes when it covers fewer than 48
// input bytes and with codes of its own otherwise, and is stored instead
// whenever the coded form would not be smaller than its input and the input
// is still at hand. Bits of a partial byte carry over from block to block.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "zel/archive/internal/deflate/bit_writer.hpp"
#include "zel/archive/internal/deflate/lz_block.hpp"

namespace vorn::deflate {

class block_writer {
  public:
    // The input bytes of a block, in at most two runs, for its stored form;
    // absent when they are no longer at hand.
    struct stored_runs {
        bool present = false;
        std::span<const std::uint8_t> first;
        std::span<const std::uint8_t> second;
    };

    // The records of the block being gathered.
    lz_block& block() { return block_; }

    // Codes the block, and the trailer after the final one, and clears the
    // block. The bytes returned stay valid until the next call.
    std::span<const std::uint8_t> end_block(bool final_block, const stored_runs& input,
                                            std::uint32_t adler);

  private:
    // Room for the worst coded block of a full record buffer; 16 bytes at
    // its end are kept free as a margin for the last word stored.
    static constexpr std::size_t output_size = lz_block::capacity * 13 / 10;
    static constexpr std::size_t output_margin = 16;

    void write_stored_block(const stored_runs& input);

    lz_block block_;
    bit_writer bits_;
    std::array<std::uint8_t, output_size> output_;
    std::uint32_t block_index_ = 0;
};

}  // namespace vorn::deflate
