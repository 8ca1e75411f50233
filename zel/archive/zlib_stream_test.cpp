#include "zel/archive/zlib_stream.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn {
namespace {

using testing::deflated;
using testing::inflated;
using testing::read_file;

const std::filesystem::path vectors = std::filesystem::path(ZEL_TEST_DATA_DIR) / "deflate";

struct vector_row {
    std::string name;
    std::uint64_t input_size;
    std::uint64_t stream_size;
    std::uint64_t stream_hash;
};

std::vector<vector_row> read_vector_table() {
    std::istringstream table(read_file(vectors / "expected.tsv"));
    std::string header;
    std::getline(table, header);
    std::vector<vector_row> rows;
    vector_row row;
    while (table >> row.name >> row.input_size >> row.stream_size >> row.stream_hash) {
        rows.push_back(row);
    }
    return rows;
}

// Every reference stream is reproduced to the byte; a mismatch names the
// first differing offset, which tells the block that went wrong.
TEST(ZlibStreamTest, DeflateReproducesEveryReferenceStream) {
    const std::vector<vector_row> rows = read_vector_table();
    ASSERT_GE(rows.size(), 29u);
    for (const vector_row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string input = read_file(vectors / "inputs" / row.name);
        const std::string expected = read_file(vectors / "streams" / (row.name + ".z"));
        ASSERT_EQ(input.size(), row.input_size);
        const std::string stream = deflated(input);
        const auto differ =
            std::mismatch(stream.begin(), stream.end(), expected.begin(), expected.end());
        EXPECT_EQ(stream.size(), expected.size());
        EXPECT_TRUE(differ.first == stream.end() && differ.second == expected.end())
            << "first difference at offset " << (differ.first - stream.begin());
        EXPECT_EQ(stream.size(), row.stream_size);
        EXPECT_EQ(hash_bytes(stream.data(), stream.size()), row.stream_hash);
        EXPECT_EQ(inflated(stream), input);
    }
}

std::string random_bytes(std::size_t size, std::uint32_t seed) {
    std::string out(size, '\0');
    for (char& c : out) {
        seed = seed * 1103515245u + 12345u;
        c = static_cast<char>(seed >> 23);
    }
    return out;
}

std::vector<std::size_t> deflate_chunk_sizes(const std::string& input) {
    std::vector<std::size_t> sizes;
    zlib_deflate([&](const char*, std::size_t n) { sizes.push_back(n); }, input.data(),
                 input.size());
    return sizes;
}

TEST(ZlibStreamTest, EmptyInputGivesTheStreamOfAnEmptyPayload) {
    const std::string stream = deflated("");
    EXPECT_EQ(stream, std::string("\x78\x01\x03\x00\x00\x00\x00\x01", 8));
    std::vector<std::size_t> calls;
    zlib_inflate([&](const char*, std::size_t n) { calls.push_back(n); }, stream.data(),
                 stream.size());
    for (std::size_t n : calls) {
        EXPECT_EQ(n, 0u);
    }
}

TEST(ZlibStreamTest, InflateOfAnEmptyRangeCallsNothing) {
    int calls = 0;
    zlib_inflate([&](const char*, std::size_t) { ++calls; }, nullptr, 0);
    EXPECT_EQ(calls, 0);
}

TEST(ZlibStreamTest, OutputOfAWholeNumberOfChunksEndsWithAnEmptyCall) {
    // Incompressible bytes go into one stored block: 11 bytes of framing.
    const std::string input = random_bytes(8192 - 11, 7);
    EXPECT_EQ(deflate_chunk_sizes(input), (std::vector<std::size_t>{4096, 4096, 0}));
    EXPECT_EQ(inflated(deflated(input)), input);
}

TEST(ZlibStreamTest, DamagedStreamsRaiseAndCutStreamsEndQuietly) {
    const std::string input = read_file(vectors / "inputs" / "code-35k.txt");
    const std::string stream = deflated(input);

    std::string wrong_check = stream;
    wrong_check.back() ^= 0x01;
    std::string garbage = stream;
    for (std::size_t i = 100; i < 140; ++i) {
        garbage[i] = static_cast<char>(0xFF);
    }
    std::string wrong_header = stream;
    wrong_header[0] = 0x79;
    for (const std::string* damaged : {&wrong_check, &garbage, &wrong_header}) {
        try {
            inflated(*damaged);
            ADD_FAILURE() << "a damaged stream was accepted";
        } catch (const zlib_runtime_exception& e) {
            EXPECT_STREQ(e.what(), "unknown zlib stream error during inflate");
        }
    }

    const std::string front = inflated(stream.substr(0, stream.size() / 2));
    EXPECT_GT(front.size(), 0u);
    EXPECT_LT(front.size(), input.size());
    EXPECT_EQ(front, input.substr(0, front.size()));

    // Bytes behind the end of the stream are not looked at.
    EXPECT_EQ(inflated(stream + "trailing bytes"), input);
}

TEST(ZlibStreamTest, SinkFailuresPassThrough) {
    const std::string input = random_bytes(10000, 3);
    const zlib_sink empty;
    EXPECT_THROW(zlib_deflate(empty, input.data(), input.size()), std::bad_function_call);
    const std::string stream = deflated(input);
    EXPECT_THROW(zlib_inflate(empty, stream.data(), stream.size()), std::bad_function_call);

    struct sink_failure {};
    const zlib_sink refusing = [](const char*, std::size_t) { throw sink_failure{}; };
    EXPECT_THROW(zlib_deflate(refusing, input.data(), input.size()), sink_failure);
    EXPECT_THROW(zlib_inflate(refusing, stream.data(), stream.size()), sink_failure);

    // Nothing is left behind: the next streams are whole again.
    EXPECT_EQ(deflated(input), stream);
    EXPECT_EQ(inflated(stream), input);
}

}  // namespace
}  // namespace vorn
