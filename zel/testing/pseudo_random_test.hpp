// Bytes that look random and are the same on every machine and every run,
// for tests, benchmarks and the programs that make fuzzing seeds. Inputs
// made from them stay reproducible, so a stored seed or a known hash in a
// test keeps meaning the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vorn::testing {

// A 64-bit xorshift generator (shifts 13, 7, 17). Its state must not be zero.
class pseudo_random {
  public:
    explicit pseudo_random(std::uint64_t state) noexcept : state_(state) {}
    // A different generator for every number.
    static pseudo_random numbered(std::uint64_t number) noexcept {
        return pseudo_random(number * 0x9E3779B97F4A7C15 + 1);
    }

    std::uint64_t next() noexcept {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return state_;
    }
    // The high byte of the next number.
    char next_byte() noexcept { return static_cast<char>(next() >> 56); }

  private:
    std::uint64_t state_;
};

// size bytes of the generator; the default is the one that stored fuzzing
// seeds were made with.
inline std::string pseudo_random_bytes(std::size_t size,
                                       pseudo_random random = pseudo_random(0x9E3779B97F4A7C15)) {
    std::string bytes(size, '\0');
    for (char& b : bytes) {
        b = random.next_byte();
    }
    return bytes;
}

// Bytes that depend on their offset alone, so that a view which starts at
// the wrong offset does not compare equal to the right bytes.
inline std::string numbered_bytes(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(((i + 1) * std::uint64_t{0x9E3779B97F4A7C15}) >> 56);
    }
    return bytes;
}

}  // namespace vorn::testing
