#include "zel/archive/zlib_stream.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "zel/archive/hash.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn {
namespace {

const std::filesystem::path vectors = std::filesystem::path(ZEL_TEST_DATA_DIR) / "deflate";

std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string deflate_text(const std::string& text) {
    std::string out;
    zlib_deflate([&](const char* p, std::size_t n) { out.append(p, n); }, text.data(), text.size());
    return out;
}

std::string inflate_text(const std::string& stream) {
    std::string out;
    zlib_inflate([&](const char* p, std::size_t n) { out.append(p, n); }, stream.data(),
                 stream.size());
    return out;
}

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
        const std::string stream = deflate_text(input);
        const auto differ =
            std::mismatch(stream.begin(), stream.end(), expected.begin(), expected.end());
        EXPECT_EQ(stream.size(), expected.size());
        EXPECT_TRUE(differ.first == stream.end() && differ.second == expected.end())
            << "first difference at offset " << (differ.first - stream.begin());
        EXPECT_EQ(stream.size(), row.stream_size);
        EXPECT_EQ(hash_bytes(stream.data(), stream.size()), row.stream_hash);
        EXPECT_EQ(inflate_text(stream), input);
    }
}

}  // namespace
}  // namespace vorn
