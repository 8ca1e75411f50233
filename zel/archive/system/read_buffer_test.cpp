#include "zel/archive/system/read_buffer.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "zel/archive/system/file_mapping.hpp"
#include "zel/archive/system/mapped_region.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace vorn {
namespace {

using system::mmap::file_mapping;
using system::mmap::mapped_region;
using vorn::testing::numbered_bytes;
using vorn::testing::scratch_directory;

std::string_view view_of(const read_buffer& buffer) {
    return {buffer.data(), static_cast<std::size_t>(buffer.size())};
}

TEST(ReadBufferTest, ViewKeepsItsMappingAliveAfterEveryOtherOwner) {
    const scratch_directory scratch;
    const std::string bytes = numbered_bytes(5000);
    std::shared_ptr<const read_buffer> buffer;
    std::weak_ptr<mapped_region> watch;
    {
        // As the archive reader does: the file closes, the region is shared.
        const file_mapping file(scratch.write("archive", bytes), file_mapping::read_only);
        auto region = std::make_shared<mapped_region>(file, mapped_region::read_only, 0, 0);
        watch = region;
        buffer = read_buffer::make_view({0x1234, 100}, region, region->base() + 4096, 100, 300);
    }
    ASSERT_FALSE(watch.expired());
    EXPECT_EQ(buffer->identity(), (binary_identity{0x1234, 100}));
    EXPECT_EQ(view_of(*buffer), std::string_view(bytes).substr(4096, 100));
    EXPECT_FALSE(buffer->decoded());
    EXPECT_EQ(buffer->pending_size(), 300u);

    buffer.reset();
    EXPECT_TRUE(watch.expired());
}

TEST(ReadBufferTest, DecodedBytesAreTakenOverAndAligned) {
    for (const std::size_t size : {0, 1, 15, 16, 17, 4099}) {
        aligned_bytes bytes;
        for (std::size_t i = 0; i < size; ++i) {
            bytes.push_back(static_cast<char>(i));  // grows as an inflating sink would
        }
        const char* storage = bytes.data();
        const auto buffer = read_buffer::make_decoded({7, 3}, std::move(bytes));
        EXPECT_EQ(buffer->identity(), (binary_identity{7, 3}));
        EXPECT_EQ(buffer->size(), size);
        EXPECT_EQ(buffer->data(), storage);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->data()) % 16, 0u) << size;
        EXPECT_TRUE(buffer->decoded());
        EXPECT_EQ(buffer->pending_size(), 0u);
    }
}

TEST(ReadBufferTest, ExternalBytesHaveNoIdentityAndAreShared) {
    bool freed = false;
    std::shared_ptr<char> bytes(new char[3]{'a', 'b', 'c'}, [&freed](char* p) {
        freed = true;
        delete[] p;
    });
    auto buffer = read_buffer::make_external(bytes, 3);
    EXPECT_EQ(buffer->identity(), (binary_identity{0, 0}));
    EXPECT_EQ(buffer->data(), bytes.get());
    EXPECT_EQ(view_of(*buffer), "abc");
    EXPECT_TRUE(buffer->decoded());
    EXPECT_EQ(buffer->pending_size(), 0u);

    bytes.reset();
    EXPECT_FALSE(freed);
    buffer.reset();
    EXPECT_TRUE(freed);
}

}  // namespace
}  // namespace vorn
