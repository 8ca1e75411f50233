#include "zel/facade/file_in_memory.hpp"

#include <gtest/gtest.h>

#include <string>

#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace Tessaly::Corvane::DB::ZEL {
namespace {

// Whatever keeps the whole file from being read gives a size of 0, and no
// exception.
TEST(FileInMemoryTest, ReadsAWholeFileOrNothing) {
    vorn::testing::scratch_directory scratch;
    const std::string bytes = vorn::testing::numbered_bytes(5000);
    struct row {
        std::filesystem::path path;
        std::string contents;
    };
    const row rows[] = {
        {scratch.write("whole.bin", bytes), bytes},
        {scratch.write("empty.bin", ""), ""},
        {scratch.path() / "missing.bin", ""},
        {scratch.path(), ""},  // a directory
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.path.string());
        const FileInMemory file(r.path.wstring());
        ASSERT_EQ(file.contentSize(), static_cast<std::int32_t>(r.contents.size()));
        EXPECT_EQ(std::string(file.contents(), file.contents() + file.contentSize()), r.contents);
    }
}

}  // namespace
}  // namespace Tessaly::Corvane::DB::ZEL
