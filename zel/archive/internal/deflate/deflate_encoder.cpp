#include "zel/archive/internal/deflate/deflate_encoder.hpp"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <span>

#include "zel/archive/internal/deflate/block_writer.hpp"
#include "zel/archive/internal/deflate/greedy_parse.hpp"
#include "zel/archive/internal/deflate/lz_window.hpp"

namespace vorn::deflate {

namespace {

enum class step_status { okay, done, bad_call };

}  // namespace

struct deflate_encoder::state {
    lz_window window;
    block_writer blocks;

    std::uint32_t block_start = 0;  // window position of the first byte of the block
    std::uint32_t adler = 1;
    // Coded bytes of the last block that did not fit the caller's space.
    std::span<const std::uint8_t> pending;
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
    void deliver(std::span<const std::uint8_t> bytes);
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

        const lz_window::match m = greedy_choice(window);
        lz_block& block = blocks.block();
        std::uint32_t advance = 1;
        if (m.distance == 0) {
            block.add_literal(window.byte_at(window.position()));
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
    const std::uint32_t total = blocks.block().total_bytes();
    // The block's bytes are still in the window, in at most two runs, when
    // the history reaches back to its start.
    block_writer::stored_runs input;
    input.present = window.position() - block_start <= window.history();
    if (input.present) {
        std::uint32_t first = total;
        const std::uint8_t* run = window.run_at(block_start, first);
        input.first = {run, first};
        std::uint32_t second = total - first;
        run = window.run_at(block_start + first, second);
        input.second = {run, second};
    }
    deliver(blocks.end_block(final_block, input, adler));
    block_start += total;
    return !pending.empty();
}

void deflate_encoder::state::deliver(std::span<const std::uint8_t> bytes) {
    const std::size_t n = std::min(bytes.size(), dst_left);
    if (n != 0) {
        std::memcpy(dst, bytes.data(), n);
    }
    dst += n;
    dst_left -= n;
    pending = bytes.subspan(n);
}

step_status deflate_encoder::state::deliver_pending() {
    deliver(pending);
    return finished && pending.empty() ? step_status::done : step_status::okay;
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
    if (!pending.empty() || finished) {
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
    if (finish && window.lookahead() == 0 && src_left == 0 && pending.empty()) {
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
