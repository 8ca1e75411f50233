// The sliding window of the deflate encoder: 32 KiB of history, the bytes
// ahead of the coding position (the lookahead, at most 258), and hash chains
// over every position by its next three bytes.
//
// The layout is part of the output: chain links are 16-bit positions, a link
// of 0 ends a chain (so positions that are multiples of 65536 are never found
// again), and the first 257 bytes are mirrored behind the window so that a
// match can be compared across its end without wrapping. The matches found,
// and thereby the compressed bytes, depend on every one of these details.
//
// Nothing is cleared when a window is made: 96 KiB of stores would cost a
// small payload more than coding it. Window bytes are only looked at where
// they have been written, or masked off; chain links are written before they
// are read; and the chain heads are cleared by begin(), all of them or, when
// the whole input is known and short, the ones it will index. (A head never
// written would only lengthen a chain past its true end, where no longer
// match can lie; the heads are cleared so that nothing undefined is read.)
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "zel/archive/internal/deflate/deflate_tables.hpp"

namespace vorn::deflate {

class lz_window {
  public:
    static constexpr std::uint32_t size = 32768;
    static constexpr std::uint32_t mask = size - 1;

    struct match {
        std::uint32_t distance = 0;  // 0: no match
        std::uint32_t length = min_match - 1;
    };

    // Must be called once before the first fill, with all the input of that
    // call; whole tells that no more input will follow. A short input that
    // is whole must then be taken in before any other: it is, since no block
    // can end within it, so the stream ends in the same call.
    void begin(const std::uint8_t* input, std::size_t size, bool whole);

    // Sets the window up as an encoder that was handed the whole input at
    // once has it after filling at coding position `at`, as far as the
    // matches it finds from there on can tell. The positions from `indexed`
    // on are indexed again from cleared heads, so where the encoder's link
    // leads to a position before `indexed`, this one reads 0 and ends the
    // chain. With indexed a window or more before at, that changes no match:
    // every position of the history with the same three bytes as the coding
    // position lies on its chain before such a link, and past the link the
    // encoder only reaches positions of the history again (by a 16-bit
    // distance that wrapped) that were seen already or have other three
    // bytes, neither of which gives a longer match. Used instead of begin()
    // and the first fill.
    void resume(const std::uint8_t* input, std::size_t input_size, std::size_t at,
                std::size_t indexed);

    // Moves up to (max_match - lookahead) bytes from src into the lookahead
    // and indexes the positions whose three bytes are now known. Returns the
    // number of bytes taken.
    std::size_t fill(const std::uint8_t* src, std::size_t available);

    // The longest match of at least three bytes for the coding position,
    // within the history, searching at most a fixed number of rounds of three
    // chain links.
    match find_match() const;

    // Moves the coding position forward by n bytes of the lookahead.
    void advance(std::uint32_t n) {
        position_ += n;
        lookahead_ -= n;
        history_ = std::min(history_ + n, size);
    }

    std::uint8_t byte_at(std::uint32_t position) const { return bytes_[position & mask]; }
    // The bytes from position up to the end of the window, at most count.
    const std::uint8_t* run_at(std::uint32_t position, std::uint32_t& count) const {
        const std::uint32_t at = position & mask;
        count = std::min(count, size - at);
        return &bytes_[at];
    }
    std::uint32_t position() const { return position_; }
    std::uint32_t lookahead() const { return lookahead_; }
    std::uint32_t history() const { return history_; }

  private:
    // Rounds of the chain search, three links a round: the setting for 128
    // probes. The count is spent before the first round, so 43 are made.
    static constexpr std::uint32_t search_rounds = 44;
    static constexpr std::uint32_t hash_bits = 15;
    static constexpr std::uint32_t hash_shift = 5;
    static constexpr std::uint32_t hash_mask = (1u << hash_bits) - 1;
    static constexpr std::uint32_t mirror = max_match - 1;
    static constexpr std::uint32_t compare_slack = 16;
    // Up to this many input bytes, clearing the heads one by one is cheaper
    // than clearing all of them.
    static constexpr std::size_t short_input = 1024;

    static std::uint32_t hash_of(const std::uint8_t* p) {
        return ((p[0] << (hash_shift * 2)) ^ (p[1] << hash_shift) ^ p[2]) & hash_mask;
    }

    void put(std::uint32_t at, std::uint8_t c) {
        bytes_[at] = c;
        if (at < mirror) {
            bytes_[size + at] = c;
        }
    }
    void link(std::uint32_t at, std::uint32_t hash) {
        chain_links_[at & mask] = chain_heads_[hash];
        chain_heads_[hash] = static_cast<std::uint16_t>(at);
    }
    static std::uint16_t load16(const std::uint8_t* p) {
        std::uint16_t v;
        std::memcpy(&v, p, 2);
        return v;
    }
    // Number of equal bytes at a and b, at most limit.
    static std::uint32_t common_length(const std::uint8_t* a, const std::uint8_t* b,
                                       std::uint32_t limit);

    std::array<std::uint8_t, size + mirror + compare_slack> bytes_;
    std::array<std::uint16_t, 1u << hash_bits> chain_heads_;
    std::array<std::uint16_t, size> chain_links_;
    std::uint32_t position_ = 0;   // the coding position, counted from the start
    std::uint32_t lookahead_ = 0;  // bytes at and behind position_ that are known
    std::uint32_t history_ = 0;    // bytes before position_ that may be referred to
};

inline void lz_window::begin(const std::uint8_t* input, std::size_t size, bool whole) {
    if (!whole || size > short_input) {
        chain_heads_.fill(0);
        return;
    }
    for (std::size_t at = 0; at + min_match <= size; ++at) {
        chain_heads_[hash_of(input + at)] = 0;
    }
}

inline void lz_window::resume(const std::uint8_t* input, std::size_t input_size, std::size_t at,
                              std::size_t indexed) {
    const auto ahead =
        static_cast<std::uint32_t>(std::min<std::size_t>(max_match, input_size - at));
    const std::size_t end = at + ahead;
    chain_heads_.fill(0);
    // Positions are counted modulo 2^32 as in fill(); links keep their low
    // 16 bits.
    for (std::size_t i = indexed; i + min_match <= end; ++i) {
        link(static_cast<std::uint32_t>(i), hash_of(input + i));
    }
    for (std::size_t i = end > size ? end - size : 0; i < end; ++i) {
        put(static_cast<std::uint32_t>(i) & mask, input[i]);
    }
    position_ = static_cast<std::uint32_t>(at);
    lookahead_ = ahead;
    history_ = static_cast<std::uint32_t>(std::min<std::size_t>(at, size - ahead));
}

inline std::size_t lz_window::fill(const std::uint8_t* src, std::size_t available) {
    std::size_t taken = 0;
    if (lookahead_ + history_ >= min_match - 1) {
        std::uint32_t at = (position_ + lookahead_) & mask;
        std::uint32_t insert = position_ + lookahead_ - 2;
        std::uint32_t hash = (bytes_[insert & mask] << hash_shift) ^ bytes_[(insert + 1) & mask];
        taken = std::min<std::size_t>(available, max_match - lookahead_);
        lookahead_ += static_cast<std::uint32_t>(taken);
        for (std::size_t i = 0; i < taken; ++i) {
            const std::uint8_t c = src[i];
            put(at, c);
            hash = ((hash << hash_shift) ^ c) & hash_mask;
            link(insert, hash);
            at = (at + 1) & mask;
            ++insert;
        }
    } else {
        // The first bytes of the stream: nothing to index before the third.
        while (taken < available && lookahead_ < max_match) {
            const std::uint8_t c = src[taken++];
            put((position_ + lookahead_) & mask, c);
            if (++lookahead_ + history_ >= min_match) {
                const std::uint32_t insert = position_ + lookahead_ - 1 - 2;
                const std::uint8_t three[3] = {bytes_[insert & mask], bytes_[(insert + 1) & mask],
                                               c};
                const std::uint32_t hash = hash_of(three);
                link(insert, hash);
            }
        }
    }
    history_ = std::min(size - lookahead_, history_);
    return taken;
}

// Compares a word at a time; the bytes of the last word that lie past limit
// may never have been written and are masked off before they are looked at.
inline std::uint32_t lz_window::common_length(const std::uint8_t* a, const std::uint8_t* b,
                                              std::uint32_t limit) {
    for (std::uint32_t n = 0;; n += 8) {
        std::uint64_t x;
        std::uint64_t y;
        std::memcpy(&x, a + n, 8);
        std::memcpy(&y, b + n, 8);
        std::uint64_t differ = x ^ y;
        const std::uint32_t left = limit - n;
        if (left < 8) {
            differ &= (std::uint64_t{1} << (left * 8)) - 1;
            return differ == 0 ? limit
                               : n + static_cast<std::uint32_t>(std::countr_zero(differ)) / 8;
        }
        if (differ != 0) {
            return n + static_cast<std::uint32_t>(std::countr_zero(differ)) / 8;
        }
    }
}

inline lz_window::match lz_window::find_match() const {
    match best;
    const std::uint32_t max_length = lookahead_;
    if (max_length <= best.length) {
        return best;
    }
    const std::uint32_t pos = position_ & mask;
    std::uint32_t probe = pos;
    std::uint32_t length = best.length;
    std::uint32_t rounds = search_rounds;
    // The two bytes that a longer match must have at the end of the best one.
    std::uint16_t tail = load16(&bytes_[pos + length - 1]);
    for (;;) {
        std::uint32_t distance = 0;
        bool candidate = false;
        while (!candidate) {
            if (--rounds == 0) {
                return best;
            }
            for (int step = 0; step < 3; ++step) {
                const std::uint32_t next = chain_links_[probe];
                if (next == 0) {
                    return best;
                }
                distance = static_cast<std::uint16_t>(position_ - next);
                if (distance > history_) {
                    return best;
                }
                probe = next & mask;
                if (load16(&bytes_[probe + length - 1]) == tail) {
                    candidate = true;
                    break;
                }
            }
        }
        if (distance == 0) {
            return best;
        }
        const std::uint32_t found = common_length(&bytes_[pos], &bytes_[probe], max_length);
        if (found > length) {
            best = {distance, found};
            length = found;
            if (length == max_length) {
                return best;
            }
            tail = load16(&bytes_[pos + length - 1]);
        }
    }
}

}  // namespace vorn::deflate
