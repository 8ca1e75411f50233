#include "zel/archive/internal/deflate/deflate_encoder.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "zel/archive/internal/deflate/bit_writer.hpp"
#include "zel/archive/internal/deflate/block_coder.hpp"
#include "zel/archive/internal/deflate/lz_block.hpp"
#include "zel/archive/internal/deflate/lz_window.hpp"

namespace vorn::deflate {

namespace {

// Room for the worst coded block of a full record buffer; 16 bytes at its
// end are kept free as a margin for the last word stored.
constexpr std::size_t block_output_size = lz_block::capacity * 13 / 10;
constexpr std::size_t block_output_margin = 16;
// Blocks of fewer input bytes than this use the fixed codes.
constexpr std::uint32_t fixed_code_limit = 48;
// Three-byte matches farther than this cost more than three literals.
constexpr std::uint32_t far_short_match = 8 * 1024;

enum class step_status { okay, done, bad_call };

}  // namespace

struct deflate_encoder::state {
    lz_window window;
    lz_block block;
    bit_writer bits;
    std::array<std::uint8_t, block_output_size> output;

    std::uint32_t block_start = 0;  // window position of the first byte of the block
    std::uint32_t block_index = 0;
    std::uint32_t adler = 1;
    // Coded bytes of the last block that did not fit the caller's space.
    std::size_t pending_offset = 0;
    std::size_t pending_size = 0;
    bool begun = false;
    bool finishing = false;
    bool finished = false;
    step_status last = step_status::okay;

    // The caller's ranges during one step.
    const std::uint8_t* src = nullptr;
    std::size_t src_left = 0;
    std::uint8_t* dst = nullptr;
    std::size_t dst_left = 0;

    step_status step(const std::uint8_t* in, std::size_t& in_size, std::uint8_t* out,
                     std::size_t& out_size, bool finish);
    void compress(bool finish);
    bool end_block(bool final_block);
    void write_stored_block();
    void deliver(std::size_t size);
    step_status deliver_pending();
};

void deflate_encoder::state::compress(bool finish) {
    while (src_left != 0 || (finish && window.lookahead() != 0)) {
        const std::size_t taken = window.fill(src, src_left);
        src += taken;
        src_left -= taken;
        if (!finish && window.lookahead() < max_match) {
            break;
        }

        const std::uint32_t position = window.position() & lz_window::mask;
        lz_window::match m = window.find_match();
        // A match whose distance equals the position within the window is
        // dropped as well; the stream has always been made that way.
        if ((m.length == min_match && m.distance >= far_short_match) || position == m.distance) {
            m.distance = 0;
        }
        std::uint32_t advance = 1;
        if (m.distance == 0) {
            block.add_literal(window.byte_at(position));
        } else {
            block.add_match(m.length, m.distance);
            advance = m.length;
        }
        window.advance(advance);

        if (block.should_end() && end_block(false)) {
            return;  // the caller's output is full
        }
    }
}

// Codes the block and hands its bytes to the caller. Returns true when some
// of them are left for the next call.
bool deflate_encoder::state::end_block(bool final_block) {
    bits.reset(output.data(), output.data() + output.size() - block_output_margin);
    pending_offset = 0;
    pending_size = 0;
    block.seal();

    if (block_index == 0) {
        bits.put(0x78, 8);  // deflate, 32 KiB window
        bits.put(0x01, 8);  // no dictionary, check bits
    }
    bits.put(final_block ? 1 : 0, 1);

    const bit_writer::mark before = bits.save();
    const std::uint32_t total = block.total_bytes();
    const bool coded = total < fixed_code_limit ? write_fixed_block(bits, block)
                                                : write_dynamic_block(bits, block);
    const std::size_t coded_size = static_cast<std::size_t>(bits.next() - before.next);
    const bool in_window = window.position() - block_start <= window.history();
    if (total != 0 && coded_size + 1 >= total && in_window) {
        bits.restore(before);
        write_stored_block();
    } else if (!coded) {
        bits.restore(before);
        write_fixed_block(bits, block);
    }

    if (final_block) {
        bits.align();
        for (int shift = 24; shift >= 0; shift -= 8) {
            bits.put((adler >> shift) & 0xFF, 8);
        }
    }

    block_start += total;
    block.clear();
    ++block_index;

    deliver(bits.written());
    return pending_size != 0;
}

void deflate_encoder::state::write_stored_block() {
    const std::uint32_t total = block.total_bytes();
    bits.put(0, 2);
    bits.align();
    bits.put(total & 0xFFFF, 16);
    bits.put(~total & 0xFFFF, 16);
    // The block's bytes are still in the window, in at most two runs.
    for (std::uint32_t done = 0; done < total;) {
        std::uint32_t count = total - done;
        const std::uint8_t* run = window.run_at(block_start + done, count);
        bits.put_bytes(run, count);
        done += count;
    }
}

void deflate_encoder::state::deliver(std::size_t size) {
    const std::size_t n = std::min(size, dst_left);
    std::memcpy(dst, output.data(), n);
    dst += n;
    dst_left -= n;
    if (n < size) {
        pending_offset = n;
        pending_size = size - n;
    }
}

step_status deflate_encoder::state::deliver_pending() {
    const std::size_t n = std::min(pending_size, dst_left);
    std::memcpy(dst, output.data() + pending_offset, n);
    dst += n;
    dst_left -= n;
    pending_offset += n;
    pending_size -= n;
    return finished && pending_size == 0 ? step_status::done : step_status::okay;
}

step_status deflate_encoder::state::step(const std::uint8_t* in, std::size_t& in_size,
                                         std::uint8_t* out, std::size_t& out_size, bool finish) {
    src = in;
    src_left = in_size;
    dst = out;
    dst_left = out_size;
    auto report = [&](step_status status) {
        in_size = static_cast<std::size_t>(src - in);
        out_size = static_cast<std::size_t>(dst - out);
        return last = status;
    };
    if (last != step_status::okay || (finishing && !finish)) {
        in_size = 0;
        out_size = 0;
        return last = step_status::bad_call;
    }
    finishing = finishing || finish;
    if (pending_size != 0 || finished) {
        return report(deliver_pending());
    }

    if (!begun) {
        window.begin(in, in_size, finish);
        begun = true;
    }
    compress(finish);
    if (src != in) {
        adler = static_cast<std::uint32_t>(adler32_z(adler, in, static_cast<z_size_t>(src - in)));
    }
    if (finish && window.lookahead() == 0 && src_left == 0 && pending_size == 0) {
        end_block(true);
        finished = true;
    }
    return report(deliver_pending());
}

// Default-initialised: what needs clearing is cleared when the stream begins.
deflate_encoder::deflate_encoder() : state_(std::make_unique_for_overwrite<state>()) {}

deflate_encoder::~deflate_encoder() = default;

stream_status deflate_encoder::deflate(const std::uint8_t*& in, std::size_t& in_size,
                                       std::uint8_t*& out, std::size_t& out_size, bool finish) {
    if (out_size == 0) {
        return stream_status::buffer_error;
    }
    if (state_->last == step_status::done) {
        return finish ? stream_status::stream_end : stream_status::buffer_error;
    }
    bool progress = false;
    for (;;) {
        std::size_t consumed = in_size;
        std::size_t produced = out_size;
        const step_status status = state_->step(in, consumed, out, produced, finish);
        in += consumed;
        in_size -= consumed;
        out += produced;
        out_size -= produced;
        progress = progress || consumed != 0 || produced != 0;
        if (status == step_status::bad_call) {
            return stream_status::stream_error;
        }
        if (status == step_status::done) {
            return stream_status::stream_end;
        }
        if (out_size == 0) {
            return stream_status::ok;
        }
        if (in_size == 0 && !finish) {
            return progress ? stream_status::ok : stream_status::buffer_error;
        }
    }
}

}  // namespace vorn::deflate
