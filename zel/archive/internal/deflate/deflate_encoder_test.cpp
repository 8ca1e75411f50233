#include "zel/archive/internal/deflate/deflate_encoder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <string>
#include <vector>

#include "zel/archive/internal/deflate/huffman_code.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::deflate {
namespace {

std::string sample_input() {
    // Text, runs and noise, so that the stream has coded, fixed and stored
    // blocks and matches at every distance.
    std::string input;
    std::uint32_t seed = 1;
    for (int i = 0; i < 3000; ++i) {
        input +=
            "block " + std::to_string(i % 97) + " param value=" + std::to_string(i * 31) + "\n";
    }
    input.append(70000, 'r');
    for (int i = 0; i < 50000; ++i) {
        seed = seed * 1103515245u + 12345u;
        input.push_back(static_cast<char>(seed >> 24));
    }
    input += input.substr(1000, 40000);
    return input;
}

struct split {
    std::size_t in_piece;
    std::size_t out_space;
};

std::string deflated_in_pieces(const std::string& input, split s) {
    deflate_encoder encoder;
    std::string out;
    std::vector<std::uint8_t> space(s.out_space);
    const auto* next = reinterpret_cast<const std::uint8_t*>(input.data());
    const auto* const end = next + input.size();
    stream_status status = stream_status::ok;
    while (status != stream_status::stream_end) {
        std::size_t in_size = std::min<std::size_t>(s.in_piece, end - next);
        const bool finish = next + in_size == end;
        std::uint8_t* out_next = space.data();
        std::size_t out_size = space.size();
        status = encoder.deflate(next, in_size, out_next, out_size, finish);
        if (status == stream_status::stream_error) {
            ADD_FAILURE() << "stream error";
            break;
        }
        out.append(reinterpret_cast<const char*>(space.data()), space.size() - out_size);
    }
    return out;
}

// The stream must not depend on how input arrives or on the output space.
TEST(DeflateEncoderTest, StreamIsIndependentOfInputSplitAndOutputSpace) {
    const std::string input = sample_input();
    const std::string expected = testing::deflated(input);
    for (const split s : {split{1, 1}, split{7, 3}, split{257, 4096}, split{4096, 100000},
                          split{65536, 13}, split{input.size(), 1}}) {
        SCOPED_TRACE(std::to_string(s.in_piece) + "/" + std::to_string(s.out_space));
        EXPECT_EQ(deflated_in_pieces(input, s), expected);
    }
}

// A short input handed in whole clears only the chain heads it uses; handed
// in pieces, all of them.
TEST(DeflateEncoderTest, ShortInputGivesTheSameStreamWholeOrInPieces) {
    const std::string text = sample_input().substr(0, 6000);
    for (const std::size_t size : {0, 1, 2, 3, 4, 47, 48, 300, 1023, 1024, 1025, 5000}) {
        SCOPED_TRACE(size);
        const std::string input = text.substr(0, size);
        const std::string whole = testing::deflated(input);
        EXPECT_EQ(deflated_in_pieces(input, split{1, 4096}), whole);
        EXPECT_EQ(testing::inflated(whole), input);
    }
}

// Bytes whose high four bits are geometric (half of them 0, a quarter 1, and
// so on up to 15) and whose low four bits are uniform: one block whose rare
// bytes take 15-bit codes, and twice a record that would fill the record
// coder's bit buffer to its last bit. The stream is the one the encoder has
// always made for them, known by its size and hash.
TEST(DeflateEncoderTest, RecordsThatFillTheBitBufferGiveTheKnownStream) {
    std::string input;
    std::uint32_t s = 72;
    for (int i = 0; i < 22000; ++i) {
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        const int high = std::min(15, std::countr_zero(s | 0x80000000u));
        input.push_back(static_cast<char>((high << 4) | (s >> 28)));
    }
    const std::string stream = testing::deflated(input);
    EXPECT_EQ(stream.size(), 16986u);
    EXPECT_EQ(hash_bytes(stream.data(), stream.size()), 1976212000970950372u);
    EXPECT_EQ(testing::inflated(stream), input);
}

TEST(DeflateEncoderTest, CallsAfterFinishingMustFinish) {
    deflate_encoder encoder;
    const std::uint8_t data[3] = {1, 2, 3};
    const std::uint8_t* in = data;
    std::size_t in_size = 3;
    std::uint8_t space[64];
    std::uint8_t* out = space;
    std::size_t out_size = sizeof space;
    EXPECT_EQ(encoder.deflate(in, in_size, out, out_size, true), stream_status::stream_end);
    out = space;
    out_size = sizeof space;
    EXPECT_EQ(encoder.deflate(in, in_size, out, out_size, true), stream_status::stream_end);
    EXPECT_EQ(out_size, sizeof space);
    EXPECT_EQ(encoder.deflate(in, in_size, out, out_size, false), stream_status::buffer_error);
    out_size = 0;
    EXPECT_EQ(encoder.deflate(in, in_size, out, out_size, true), stream_status::buffer_error);
}

// Frequencies that grow like the Fibonacci numbers make the unlimited code
// deeper than the format allows.
TEST(HuffmanCodeTest, LengthsStayWithinTheLimitAndFormACompleteCode) {
    std::array<std::uint16_t, 30> frequencies{};
    std::uint32_t a = 1, b = 1;
    for (auto& f : frequencies) {
        f = static_cast<std::uint16_t>(std::min<std::uint32_t>(a, 60000));
        const std::uint32_t c = a + b;
        a = b;
        b = std::min<std::uint32_t>(c, 60000);
    }
    for (const int limit : {7, 15}) {
        std::array<std::uint8_t, 30> lengths{};
        std::array<std::uint16_t, 30> codes{};
        build_code(frequencies.data(), 30, limit, lengths.data(), codes.data());
        std::uint64_t kraft = 0;
        for (const std::uint8_t l : lengths) {
            ASSERT_GE(l, 1);
            ASSERT_LE(l, limit);
            kraft += std::uint64_t{1} << (limit - l);
        }
        EXPECT_EQ(kraft, std::uint64_t{1} << limit);
        std::array<std::uint16_t, 30> canonical{};
        assign_codes(lengths.data(), 30, canonical.data());
        EXPECT_EQ(codes, canonical);
    }
}

TEST(HuffmanCodeTest, SingleAndAbsentSymbols) {
    const std::uint16_t one[4] = {0, 0, 5, 0};
    std::uint8_t lengths[4];
    std::uint16_t codes[4];
    build_code(one, 4, 15, lengths, codes);
    EXPECT_EQ(std::vector<int>(lengths, lengths + 4), (std::vector<int>{0, 0, 1, 0}));

    // Equal frequencies: the higher symbol takes the shorter code.
    const std::uint16_t three[3] = {4, 4, 4};
    build_code(three, 3, 15, lengths, codes);
    EXPECT_EQ(std::vector<int>(lengths, lengths + 3), (std::vector<int>{2, 2, 1}));
    // Canonical codes 10, 11 and 0, sent least significant bit first.
    EXPECT_EQ(std::vector<int>(codes, codes + 3), (std::vector<int>{1, 3, 0}));
}

}  // namespace
}  // namespace vorn::deflate
