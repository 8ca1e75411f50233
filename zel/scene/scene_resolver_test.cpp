#include "zel/scene/scene_resolver.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "zel/archive/reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {
namespace {

using testing::numbered_bytes;
using testing::what_of;

const std::string stored_payload = numbered_bytes(3000);
const std::string text_bytes(5000, 'q');

// A reader over an archive image in memory that counts the reads of stored
// bytes, so that a test can tell a cache hit from a read.
class counting_reader : public zela::zel_archive_reader {
  public:
    explicit counting_reader(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        image_ = std::make_shared<std::string>(std::istreambuf_iterator<char>(in),
                                               std::istreambuf_iterator<char>());
        load_image(image_->data(), image_->size());
    }
    void get_entry_data(std::shared_ptr<void>& holder, const char*& data, std::uint64_t& size,
                        const entry& e) const override {
        ++reads;
        data = stored_bytes(image_->data(), image_->size(), e);
        size = e.csize;
        holder = image_;
    }
    mutable std::atomic<int> reads{0};

  private:
    std::shared_ptr<std::string> image_;
};

class SceneResolverTest : public ::testing::Test {
  protected:
    // Two blocks, one stored binary and one deflated.
    std::filesystem::path write_package(const std::string& name) const {
        const std::filesystem::path path = scratch_.path() / name;
        zel_file_writer writer(path, false, true);
        writer.add_uncompressed_extension(".raw");
        zel_block& plate = writer.add_block("material", "plate");
        plate.add_binary_link_with_data("image", "s.raw", stored_payload.data(),
                                        stored_payload.size());
        plate.add_binary_link_with_data("notes", "c.txt", text_bytes.data(), text_bytes.size());
        writer.add_block("light", "lamp");
        writer.close();
        return path;
    }

    // The scene of a package read through a counting reader.
    std::pair<std::shared_ptr<zel_file_index>, std::shared_ptr<counting_reader>> counted_scene() {
        auto reader = std::make_shared<counting_reader>(write_package("counted.zel"));
        auto index = std::make_shared<zel_file_index>(reader, "__zel_index__.xml");
        return {index, reader};
    }

    testing::scratch_directory scratch_;
};

TEST_F(SceneResolverTest, KeepsAScenePricedByItsBlocksAndReadsAgainWhatItCannotKeep) {
    const std::filesystem::path path = write_package("scene.zel");
    // Two ordinary blocks and the document's own metadata block.
    const std::uint64_t blocks = 3;
    const struct {
        std::uint64_t budget;
        bool kept;
    } cases[] = {{0, false}, {blocks - 1, false}, {blocks, true}, {blocks + 100, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.budget);
        zel_scene_resolver resolver(c.budget, 0, 0);
        const auto first = resolver.open_file_index(path);
        ASSERT_EQ(first->block_count(), blocks);
        EXPECT_NE(first->get_block("plate"), nullptr);
        const auto second = resolver.open_file_index(path);
        EXPECT_EQ(first == second, c.kept);
        EXPECT_EQ(resolver.file_index_usage().elements, c.kept ? 1u : 0u);
        EXPECT_EQ(resolver.file_index_usage().cost, c.kept ? blocks : 0u);
    }
}

TEST_F(SceneResolverTest, AMissingFileFailsUntilItAppears) {
    zel_scene_resolver resolver(100, 0, 0);
    const std::filesystem::path kept = write_package("kept.zel");
    resolver.open_file_index(kept);
    const std::filesystem::path later = scratch_.path() / "later.zel";
    EXPECT_EQ(
        what_of([&] { resolver.open_file_index(later); }),
        zel_exception("zel file " + later.string() + " not found on local filesystem").what());
    EXPECT_EQ(resolver.file_index_usage().elements, 1u);

    write_package("later.zel");
    EXPECT_EQ(resolver.open_file_index(later)->block_count(), 3u);
    EXPECT_EQ(resolver.file_index_usage().elements, 2u);
}

TEST_F(SceneResolverTest, ADamagedPackageFailsAndIsNotCached) {
    zel_scene_resolver resolver(100, 0, 0);
    const std::filesystem::path path = scratch_.write("junk.zel", numbered_bytes(200));
    EXPECT_THROW(resolver.open_file_index(path), zela::zel_archive_exception);
    EXPECT_EQ(resolver.file_index_usage().elements, 0u);
}

TEST_F(SceneResolverTest, AStoredBinaryIsOneBufferForBothRoads) {
    auto [index, reader] = counted_scene();
    zel_scene_resolver resolver(0, 1 << 20, 1 << 20);
    const int before = reader->reads;

    const auto raw = resolver.get_cached_binary(index, "s.raw", true);
    EXPECT_EQ(reader->reads, before + 1);
    EXPECT_EQ(std::string(raw->data(), raw->size()), stored_payload);
    EXPECT_EQ(resolver.get_cached_binary(index, "s.raw", true), raw);
    // The stored bytes are the payload: answered from the raw cache.
    EXPECT_EQ(resolver.get_cached_binary(index, "s.raw", false), raw);
    EXPECT_EQ(reader->reads, before + 1);
    EXPECT_EQ(resolver.decoded_binary_usage().elements, 0u);
    EXPECT_EQ(resolver.raw_binary_usage().cost, stored_payload.size());
}

TEST_F(SceneResolverTest, ADecodedRequestForAStoredBinaryFillsTheRawCache) {
    auto [index, reader] = counted_scene();
    zel_scene_resolver resolver(0, 1 << 20, 1 << 20);
    const int before = reader->reads;
    const auto payload = resolver.get_cached_binary(index, "s.raw", false);
    EXPECT_FALSE(payload->decoded());
    EXPECT_EQ(resolver.raw_binary_usage().elements, 1u);
    EXPECT_EQ(resolver.get_cached_binary(index, "s.raw", true), payload);
    EXPECT_EQ(reader->reads, before + 1);
}

TEST_F(SceneResolverTest, ACompressedBinaryIsInflatedOnceIntoTheDecodedCache) {
    auto [index, reader] = counted_scene();
    zel_scene_resolver resolver(0, 1 << 20, 1 << 20);
    const int before = reader->reads;

    const auto raw = resolver.get_cached_binary(index, "c.txt", true);
    EXPECT_NE(raw->pending_size(), 0u);
    // The raw hit is of no use for the payload, which needs a read.
    const auto payload = resolver.get_cached_binary(index, "c.txt", false);
    EXPECT_EQ(reader->reads, before + 2);
    EXPECT_TRUE(payload->decoded());
    EXPECT_EQ(std::string(payload->data(), payload->size()), text_bytes);
    EXPECT_EQ(payload->identity(), raw->identity());
    EXPECT_EQ(resolver.get_cached_binary(index, "c.txt", false), payload);
    EXPECT_EQ(reader->reads, before + 2);
    EXPECT_EQ(resolver.decoded_binary_usage().cost, text_bytes.size());
    EXPECT_EQ(resolver.raw_binary_usage().cost, raw->size());
}

TEST_F(SceneResolverTest, BuffersOverBudgetAreReturnedButNotKept) {
    auto [index, reader] = counted_scene();
    zel_scene_resolver resolver(0, 10, 10);
    const int before = reader->reads;
    const auto first = resolver.get_cached_binary(index, "c.txt", false);
    const auto second = resolver.get_cached_binary(index, "c.txt", false);
    EXPECT_NE(first, second);
    EXPECT_EQ(std::string(second->data(), second->size()), text_bytes);
    EXPECT_EQ(reader->reads, before + 2);
    EXPECT_EQ(resolver.decoded_binary_usage().elements, 0u);
}

TEST_F(SceneResolverTest, EqualBytesInTwoPackagesShareOneBuffer) {
    zel_scene_resolver resolver(100, 1 << 20, 1 << 20);
    const auto one = resolver.open_file_index(write_package("one.zel"));
    const auto two = resolver.open_file_index(write_package("two.zel"));
    EXPECT_EQ(resolver.get_cached_binary(one, "c.txt", false),
              resolver.get_cached_binary(two, "c.txt", false));
}

TEST_F(SceneResolverTest, AMissingEntryRaisesTheArchiveError) {
    zel_scene_resolver resolver(100, 1 << 20, 1 << 20);
    const auto index = resolver.open_file_index(write_package("scene.zel"));
    for (const bool raw : {true, false}) {
        EXPECT_EQ(what_of([&] { resolver.get_cached_binary(index, "no/such", raw); }),
                  testing::archive_message("Can't find entry with name \"no/such\""));
    }
    const auto in_memory = std::make_shared<zel_file_index>();
    EXPECT_THROW(resolver.get_cached_binary(in_memory, "s.raw", true), std::invalid_argument);
}

}  // namespace
}  // namespace vorn::zel
