#include "zel/archive/internal/deflate/block_writer.hpp"

#include "zel/archive/internal/deflate/block_coder.hpp"

namespace vorn::deflate {

namespace {

// Blocks of fewer input bytes than this use the fixed codes.
constexpr std::uint32_t fixed_code_limit = 48;

}  // namespace

std::span<const std::uint8_t> block_writer::end_block(bool final_block, const stored_runs& input,
                                                      std::uint32_t adler) {
    bits_.reset(output_.data(), output_.data() + output_.size() - output_margin);
    block_.seal();

    if (block_index_ == 0) {
        bits_.put(0x78, 8);  // deflate, 32 KiB window
        bits_.put(0x01, 8);  // no dictionary, check bits
    }
    bits_.put(final_block ? 1 : 0, 1);

    const bit_writer::mark before = bits_.save();
    const std::uint32_t total = block_.total_bytes();
    const bool coded = total < fixed_code_limit ? write_fixed_block(bits_, block_)
                                                : write_dynamic_block(bits_, block_);
    const std::size_t coded_size = static_cast<std::size_t>(bits_.next() - before.next);
    if (total != 0 && coded_size + 1 >= total && input.present) {
        bits_.restore(before);
        write_stored_block(input);
    } else if (!coded) {
        bits_.restore(before);
        write_fixed_block(bits_, block_);
    }

    if (final_block) {
        bits_.align();
        for (int shift = 24; shift >= 0; shift -= 8) {
            bits_.put((adler >> shift) & 0xFF, 8);
        }
    }

    block_.clear();
    ++block_index_;
    return {output_.data(), bits_.written()};
}

void block_writer::write_stored_block(const stored_runs& input) {
    const std::uint32_t total = block_.total_bytes();
    bits_.put(0, 2);
    bits_.align();
    bits_.put(total & 0xFFFF, 16);
    bits_.put(~total & 0xFFFF, 16);
    for (const std::span<const std::uint8_t> run : {input.first, input.second}) {
        if (!run.empty()) {
            bits_.put_bytes(run.data(), run.size());
        }
    }
}

}  // namespace vorn::deflate
