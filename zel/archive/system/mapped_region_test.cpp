#include "zel/archive/system/mapped_region.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "zel/archive/system/file_mapping.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace vorn::system::mmap {
namespace {

using vorn::testing::numbered_bytes;
using vorn::testing::scratch_directory;

const std::uint64_t page = mapped_region::allocation_granularity();

std::string_view view_of(const mapped_region& region) {
    return {region.base(), static_cast<std::size_t>(region.size())};
}

// The message and code of the mmap_error that mapping the range raises.
std::pair<std::string, std::uint32_t> map_failure(const file_mapping& file, int mode,
                                                  std::uint64_t offset, std::uint64_t size) {
    try {
        mapped_region region(file, mode, offset, size);
    } catch (const mmap_error& error) {
        return {error.message(), error.error_code()};
    }
    ADD_FAILURE() << "mapping " << size << " bytes at " << offset << " did not fail";
    return {};
}

class MappedRegionTest : public ::testing::Test {
  protected:
    const scratch_directory scratch;
    const std::string bytes = numbered_bytes(3 * page + 100);
    const file_mapping file{scratch.write("file", bytes), file_mapping::read_only};
};

TEST_F(MappedRegionTest, RefusesEveryModeButReadOnly) {
    for (const int mode : {1, 2, -1}) {
        const auto [message, code] = map_failure(file, mode, 0, 0);
        EXPECT_EQ(message, "mapped_region: unsupported, non-read only mode");
        EXPECT_EQ(code, 0u);
    }
}

TEST_F(MappedRegionTest, BaseIsTheByteAtTheRequestedOffset) {
    struct row {
        std::uint64_t offset;
        std::uint64_t size;  // 0: the rest of the file
    };
    const row rows[] = {{0, 0},
                        {0, 1},
                        {1, 0},
                        {1, page},
                        {page - 1, 2},
                        {page, 0},
                        {page, page},
                        {page + 7, 0},
                        {2 * page + 13, page + 87},
                        {bytes.size() - 1, 0},
                        {bytes.size() - 1, 1}};
    for (const row& r : rows) {
        SCOPED_TRACE("offset " + std::to_string(r.offset) + ", size " + std::to_string(r.size));
        const mapped_region region(file, mapped_region::read_only, r.offset, r.size);
        const std::uint64_t expected_size = r.size != 0 ? r.size : bytes.size() - r.offset;
        ASSERT_EQ(region.size(), expected_size);
        EXPECT_EQ(view_of(region), std::string_view(bytes).substr(r.offset, expected_size));
    }
}

TEST_F(MappedRegionTest, RangesOutsideTheFileAreRefused) {
    const std::uint64_t end = bytes.size();
    for (const std::uint64_t offset : {end + 1, end + page, UINT64_MAX}) {
        const auto [message, code] = map_failure(file, mapped_region::read_only, offset, 0);
        EXPECT_EQ(message, "Mapping exceeds user memory space");
        EXPECT_EQ(code, 0u);
    }
    struct row {
        std::uint64_t offset;
        std::uint64_t size;
    };
    const row rows[] = {{0, end + 1}, {end - 1, 2}, {end, 1}, {end + 1, 1}, {1, UINT64_MAX}};
    for (const row& r : rows) {
        const auto [message, code] = map_failure(file, mapped_region::read_only, r.offset, r.size);
        EXPECT_EQ(message, "Could not create mapped region: " + system_error_text(ENXIO));
        EXPECT_EQ(code, static_cast<std::uint32_t>(ENXIO));
    }
}

TEST_F(MappedRegionTest, NothingLeftToMapIsTheSystemsCall) {
    // A view of length 0 is refused, which is also what an empty file gives.
    const std::string refused = "Could not create mapped region: " + system_error_text(EINVAL);
    const file_mapping empty(scratch.write("empty", ""), file_mapping::read_only);
    EXPECT_EQ(map_failure(empty, mapped_region::read_only, 0, 0).first, refused);

    const std::string aligned = numbered_bytes(2 * page);
    const file_mapping whole_pages(scratch.write("pages", aligned), file_mapping::read_only);
    EXPECT_EQ(map_failure(whole_pages, mapped_region::read_only, aligned.size(), 0),
              std::make_pair(refused, std::uint32_t{EINVAL}));

    // At an unaligned end the view still covers the start of the last page.
    const mapped_region at_end(file, mapped_region::read_only, bytes.size(), 0);
    EXPECT_NE(at_end.base(), nullptr);
    EXPECT_EQ(at_end.size(), 0u);
}

TEST_F(MappedRegionTest, ClosedFileHasNoSize) {
    const file_mapping closed;
    EXPECT_EQ(map_failure(closed, mapped_region::read_only, 0, 0),
              std::make_pair("could not get file handle size: " + system_error_text(EBADF),
                             std::uint32_t{EBADF}));
}

TEST_F(MappedRegionTest, ViewOutlivesTheFileAndItsName) {
    file_mapping own(scratch.path() / "file", file_mapping::read_only);
    const mapped_region region(own, mapped_region::read_only, page + 3, 0);
    own.close();
    std::filesystem::remove(scratch.path() / "file");
    EXPECT_EQ(view_of(region), std::string_view(bytes).substr(page + 3));
}

}  // namespace
}  // namespace vorn::system::mmap
