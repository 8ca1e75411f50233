// Bits into a fixed output buffer, least significant bit first.
//
// Bytes that would land past the end mark are dropped rather than written;
// the caller learns from overflowed() that the buffer was too small and codes
// the block another way. The buffer must extend at least 8 bytes past the
// end mark: whole words are stored there while the writer is short of it.
#pragma once

#include <cstdint>
#include <cstring>

namespace vorn::deflate {

class bit_writer {
  public:
    void reset(std::uint8_t* begin, std::uint8_t* end_mark) {
        begin_ = begin;
        next_ = begin;
        end_ = end_mark;
    }

    // Appends the low `count` bits of `bits` (count at most 32).
    void put(std::uint32_t bits, std::uint32_t count) {
        buffer_ |= static_cast<std::uint64_t>(bits) << pending_;
        pending_ += count;
        if (pending_ < 8) {
            return;
        }
        if (end_ - next_ >= 8) {
            // Room for a whole word: store it and keep only the partial byte.
            std::memcpy(next_, &buffer_, 8);
            const std::uint32_t whole = pending_ / 8;
            next_ += whole;
            buffer_ >>= whole * 8;
            pending_ -= whole * 8;
            return;
        }
        while (pending_ >= 8) {
            if (next_ < end_) {
                *next_++ = static_cast<std::uint8_t>(buffer_);
            }
            buffer_ >>= 8;
            pending_ -= 8;
        }
    }

    // Appends whole bytes; the writer must be at a byte boundary.
    void put_bytes(const std::uint8_t* bytes, std::size_t count) {
        const std::size_t room = next_ < end_ ? static_cast<std::size_t>(end_ - next_) : 0;
        const std::size_t n = count < room ? count : room;
        std::memcpy(next_, bytes, n);
        next_ += n;
    }

    // Pads with zero bits up to the next byte boundary.
    void align() {
        if (pending_ != 0) {
            put(0, 8 - pending_);
        }
    }

    struct mark {
        std::uint8_t* next;
        std::uint64_t buffer;
        std::uint32_t pending;
    };
    mark save() const { return {next_, buffer_, pending_}; }
    void restore(const mark& m) {
        next_ = m.next;
        buffer_ = m.buffer;
        pending_ = m.pending;
    }

    std::uint8_t* next() const { return next_; }
    std::uint8_t* end_mark() const { return end_; }
    std::size_t written() const { return static_cast<std::size_t>(next_ - begin_); }
    bool overflowed() const { return next_ >= end_; }

  private:
    std::uint8_t* begin_ = nullptr;
    std::uint8_t* next_ = nullptr;
    std::uint8_t* end_ = nullptr;
    std::uint64_t buffer_ = 0;
    std::uint32_t pending_ = 0;
};

}  // namespace vorn::deflate
