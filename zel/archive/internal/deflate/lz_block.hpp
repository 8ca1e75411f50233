// The literals and matches of one deflate block, before they are coded.
//
// Records are packed as the encoder has always kept them: a flag byte for
// each group of eight records (bit i set when record i is a match), then one
// byte per literal and three per match (length - 3, distance - 1 in two
// bytes). The packed size decides when a block ends, so it is part of the
// output format in effect.
#pragma once

#include <array>
#include <cstdint>

#include "zel/archive/internal/deflate/deflate_tables.hpp"

namespace vorn::deflate {

class lz_block {
  public:
    static constexpr std::uint32_t capacity = 64 * 1024;

    lz_block() { clear(); }

    void clear() {
        codes_[0] = 0;
        next_ = 1;
        flags_at_ = 0;
        flags_left_ = 8;
        total_bytes_ = 0;
        literal_counts_.fill(0);
        distance_counts_.fill(0);
    }

    void add_literal(std::uint8_t literal) {
        ++total_bytes_;
        codes_[next_++] = literal;
        codes_[flags_at_] = static_cast<std::uint8_t>(codes_[flags_at_] >> 1);
        end_record();
        ++literal_counts_[literal];
    }

    void add_match(std::uint32_t length, std::uint32_t distance) {
        total_bytes_ += length;
        const std::uint32_t d = distance - 1;
        codes_[next_] = static_cast<std::uint8_t>(length - min_match);
        codes_[next_ + 1] = static_cast<std::uint8_t>(d & 0xFF);
        codes_[next_ + 2] = static_cast<std::uint8_t>(d >> 8);
        next_ += 3;
        codes_[flags_at_] = static_cast<std::uint8_t>((codes_[flags_at_] >> 1) | 0x80);
        end_record();
        ++distance_counts_[distance_symbol(d).symbol];
        ++literal_counts_[length_symbols[length - min_match].symbol];
    }

    // True when the block must be coded now: the buffer is nearly full, or
    // more than 31 KiB have been recorded and they pack so poorly that
    // coding them is not worth waiting for.
    bool should_end() const {
        return next_ > capacity - 8 ||
               (total_bytes_ > 31 * 1024 && ((next_ * 115) >> 7) >= total_bytes_);
    }

    // Aligns the last, partial flag byte and drops it when it holds nothing.
    void seal() {
        codes_[flags_at_] = static_cast<std::uint8_t>(codes_[flags_at_] >> flags_left_);
        if (flags_left_ == 8) {
            --next_;
        }
    }

    // Input bytes covered by the records.
    std::uint32_t total_bytes() const { return total_bytes_; }
    const std::uint8_t* begin() const { return codes_.data(); }
    const std::uint8_t* end() const { return codes_.data() + next_; }
    std::array<std::uint16_t, literal_symbols>& literal_counts() { return literal_counts_; }
    std::array<std::uint16_t, distance_symbols>& distance_counts() { return distance_counts_; }

  private:
    void end_record() {
        if (--flags_left_ == 0) {
            flags_left_ = 8;
            flags_at_ = next_++;
            codes_[flags_at_] = 0;
        }
    }

    std::array<std::uint8_t, capacity> codes_;
    std::uint32_t next_;
    std::uint32_t flags_at_;
    std::uint32_t flags_left_;
    std::uint32_t total_bytes_;
    std::array<std::uint16_t, literal_symbols> literal_counts_;
    std::array<std::uint16_t, distance_symbols> distance_counts_;
};

}  // namespace vorn::deflate
