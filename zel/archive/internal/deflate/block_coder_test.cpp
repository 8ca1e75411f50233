#include "zel/archive/internal/deflate/block_coder.hpp"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vorn::deflate {
namespace {

// One record of a block: a literal when length is 0.
struct record {
    std::uint32_t length;
    std::uint32_t distance;
    std::uint8_t literal;
};

// History in front of the block, so that matches may reach 32768 back.
std::string history() {
    std::string bytes(32768, '\0');
    std::uint32_t seed = 7;
    for (char& c : bytes) {
        seed = seed * 1103515245u + 12345u;
        c = static_cast<char>(seed >> 23);
    }
    return bytes;
}

// What the records stand for, following the history.
std::string expand(const std::string& before, const std::vector<record>& records) {
    std::string bytes = before;
    for (const record& r : records) {
        if (r.length == 0) {
            bytes.push_back(static_cast<char>(r.literal));
        }
        for (std::uint32_t i = 0; i < r.length; ++i) {
            bytes.push_back(bytes[bytes.size() - r.distance]);
        }
    }
    return bytes.substr(before.size());
}

// The records as one final block with its own codes, as raw deflate data.
std::string coded_block(const std::vector<record>& records) {
    auto block = std::make_unique<lz_block>();
    for (const record& r : records) {
        if (r.length == 0) {
            block->add_literal(r.literal);
        } else {
            block->add_match(r.length, r.distance);
        }
    }
    block->seal();
    std::vector<std::uint8_t> space(2 * lz_block::capacity + 16);
    bit_writer bits;
    bits.reset(space.data(), space.data() + space.size() - 16);
    bits.put(1, 1);
    EXPECT_TRUE(write_dynamic_block(bits, *block));
    bits.align();
    return std::string(reinterpret_cast<const char*>(space.data()), bits.written());
}

// Raw deflate data decoded after the history; empty when zlib rejects it.
std::string decoded(const std::string& before, const std::string& data) {
    z_stream stream{};
    if (inflateInit2(&stream, -15) != Z_OK) {
        return {};
    }
    std::string bytes(1 << 22, '\0');
    inflateSetDictionary(&stream, reinterpret_cast<const Bytef*>(before.data()),
                         static_cast<uInt>(before.size()));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    const int status = inflate(&stream, Z_FINISH);
    bytes.resize(stream.total_out);
    inflateEnd(&stream);
    return status == Z_STREAM_END ? bytes : std::string();
}

// Symbols 0, 1, ... each as often as counts says, in a fixed shuffled order.
std::vector<int> shuffled_symbols(const std::vector<std::uint32_t>& counts, std::uint32_t seed) {
    std::vector<int> symbols;
    for (std::size_t symbol = 0; symbol < counts.size(); ++symbol) {
        symbols.insert(symbols.end(), counts[symbol], static_cast<int>(symbol));
    }
    for (std::size_t i = symbols.size() - 1; i > 0; --i) {
        seed = seed * 1103515245u + 12345u;
        std::swap(symbols[i], symbols[(seed >> 8) % (i + 1)]);
    }
    return symbols;
}

// The Fibonacci numbers from the index first (1, 1, 2, 3, 5, ...) up to 987.
std::vector<std::uint32_t> fibonacci_from(int first) {
    std::vector<std::uint32_t> numbers = {1, 1};
    while (numbers.back() < 987) {
        numbers.push_back(numbers[numbers.size() - 1] + numbers[numbers.size() - 2]);
    }
    return {numbers.begin() + first, numbers.end()};
}

// Frequencies 1, 1, 2, 3, 5, ... up to 987 make the deepest code that 16
// symbols can have: its two rarest symbols take 15 bits, the most the format
// allows. The end-of-block code (once) and the rare record below (once) are
// those two.
//
// Literals: bytes 1 to 14 as often as 2, 3, 5, ... 987, byte 0 once.
std::vector<record> skewed_literals() {
    std::vector<record> records = {record{0, 0, 0}};
    for (const int symbol : shuffled_symbols(fibonacci_from(2), 3)) {
        records.push_back(record{0, 0, static_cast<std::uint8_t>(1 + symbol)});
    }
    return records;
}

// Matches: 14 length codes as often as 2, 3, 5, ... 988 and 15 distance codes
// as often as 1, 2, 3, ... 987, so the distance of 13 extra bits is one of
// the two rarest; once a length of 5 extra bits at that distance.
std::vector<record> skewed_matches() {
    std::vector<std::uint32_t> length_counts = fibonacci_from(2);
    ++length_counts.back();
    const std::vector<int> lengths = shuffled_symbols(length_counts, 5);
    const std::vector<int> distances = shuffled_symbols(fibonacci_from(1), 11);
    std::vector<record> records = {record{257, 32768, 0}};
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        records.push_back(
            record{detail::length_base[1 + lengths[i]], detail::distance_base[distances[i]], 0});
    }
    return records;
}

// The record coder gathers bits in a 64-bit word and stores it whole when the
// next record might not fit. Its longest records, a 15-bit literal or a match
// of 15 + 5 + 15 + 13 bits, are moved along the first records of a block so
// that they start at every bit count the word can hold before them; among
// them is the one where a record would fill the word to its last bit.
TEST(BlockCoderTest, LongestRecordsDecodeWhereverTheyFallInTheWord) {
    const std::string before = history();
    for (const auto& [name, base] :
         {std::pair{"literal", skewed_literals()}, std::pair{"match", skewed_matches()}}) {
        for (std::size_t at = 0; at < 200; ++at) {
            SCOPED_TRACE(std::string(name) + " at record " + std::to_string(at));
            std::vector<record> records = base;
            std::rotate(records.begin(), records.begin() + 1, records.begin() + 1 + at);
            const std::string bytes = decoded(before, coded_block(records));
            ASSERT_EQ(bytes.size(), expand(before, records).size());
            ASSERT_TRUE(bytes == expand(before, records));
        }
    }
}

}  // namespace
}  // namespace vorn::deflate
