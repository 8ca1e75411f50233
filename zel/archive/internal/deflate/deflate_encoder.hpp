// A deflate encoder that writes zlib streams (header, deflate blocks,
// Adler-32 trailer) and is driven like a zlib stream: the caller hands in
// input and output space and calls again until the stream has ended.
//
// The output is fixed byte for byte, because stored bytes are identified by
// their hash: a 32 KiB window, hash chains searched for at most 43 rounds of
// three links, greedy parsing that drops three-byte matches farther than
// 8 KiB, blocks ended by how well their records pack, a fixed-code block for
// fewer than 48 bytes and a block with its own codes otherwise, and a stored
// block whenever the coded one would not be smaller than its input. The
// stream depends neither on how the input is split nor on the output space.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vorn::deflate {

enum class stream_status {
    ok,            // progress made, more to come
    stream_end,    // the whole stream has been delivered
    buffer_error,  // no progress was possible
    stream_error,  // the call was not valid in this state
};

class deflate_encoder {
  public:
    // Takes about 310 KiB of state from the heap.
    deflate_encoder();
    ~deflate_encoder();
    deflate_encoder(const deflate_encoder&) = delete;
    deflate_encoder& operator=(const deflate_encoder&) = delete;

    // Consumes input and produces output, advancing both ranges. With finish
    // set, the input handed in is the last; once finishing, every further
    // call must finish too.
    stream_status deflate(const std::uint8_t*& in, std::size_t& in_size, std::uint8_t*& out,
                          std::size_t& out_size, bool finish);

  private:
    struct state;
    std::unique_ptr<state> state_;
};

}  // namespace vorn::deflate
