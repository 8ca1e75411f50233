// The records of a parse of any length, kept to be put into blocks later.
//
// A flag byte for each group of eight records (bit i set when record i is a
// match), then three bytes for each match (length - 3, distance - 1 in two
// bytes). Literals take no bytes of their own: the caller knows the input.
// A parse thus costs at most about one byte per input byte, reached by
// three-byte matches only, and an eighth of a byte for literals.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zel/archive/internal/deflate/deflate_tables.hpp"

namespace vorn::deflate {

class lz_records {
  public:
    struct record {
        std::uint32_t length;    // input bytes covered: 1 for a literal
        std::uint32_t distance;  // 0 for a literal
    };

    void reserve(std::size_t bytes) { codes_.reserve(bytes); }

    void add(record r) {
        if (count_ % 8 == 0) {
            flags_at_ = codes_.size();
            codes_.push_back(0);
        }
        if (r.distance != 0) {
            codes_[flags_at_] |= static_cast<std::uint8_t>(1u << (count_ % 8));
            const std::uint32_t d = r.distance - 1;
            codes_.push_back(static_cast<std::uint8_t>(r.length - min_match));
            codes_.push_back(static_cast<std::uint8_t>(d & 0xFF));
            codes_.push_back(static_cast<std::uint8_t>(d >> 8));
        }
        ++count_;
    }

    std::size_t size() const { return count_; }

    // Reads the records in order; next() must be called at most size() times.
    class reader {
      public:
        explicit reader(const lz_records& records) : at_(records.codes_.data()) {}

        record next() {
            if (index_ % 8 == 0) {
                flags_ = *at_++;
            }
            const bool is_match = (flags_ >> (index_++ % 8)) & 1;
            if (!is_match) {
                return {1, 0};
            }
            const record r{at_[0] + min_match, (at_[1] | (std::uint32_t{at_[2]} << 8)) + 1u};
            at_ += 3;
            return r;
        }

      private:
        const std::uint8_t* at_;
        std::uint8_t flags_ = 0;
        std::size_t index_ = 0;
    };

  private:
    std::vector<std::uint8_t> codes_;
    std::size_t flags_at_ = 0;
    std::size_t count_ = 0;
};

}  // namespace vorn::deflate
