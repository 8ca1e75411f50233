#include "zel/archive/system/file_mapping.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>

#include "zel/foundation/exception.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace vorn::system::mmap {
namespace {

using vorn::testing::scratch_directory;

bool is_open_descriptor(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) != -1;
}

std::size_t open_descriptor_count() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// The message and code of the mmap_error that opening path raises.
std::pair<std::string, std::uint32_t> open_failure(const std::filesystem::path& path, int mode) {
    try {
        file_mapping file(path, mode);
    } catch (const mmap_error& error) {
        return {error.message(), error.error_code()};
    }
    ADD_FAILURE() << "opening " << path << " in mode " << mode << " did not fail";
    return {};
}

TEST(FileMappingTest, RefusesEveryModeButReadOnlyBeforeOpening) {
    const scratch_directory scratch;
    const auto existing = scratch.write("file", "bytes");
    const std::size_t descriptors = open_descriptor_count();
    for (const int mode : {1, 2, -1}) {
        // A missing file would fail with ENOENT if anything were opened.
        for (const auto& path : {existing, scratch.path() / "missing"}) {
            const auto [message, code] = open_failure(path, mode);
            EXPECT_EQ(message, "file_mapping: unsupported, non-read only mode");
            EXPECT_EQ(code, 0u);
        }
    }
    EXPECT_EQ(open_descriptor_count(), descriptors);
}

TEST(FileMappingTest, FailureNamesThePathAndTheSystemError) {
    const scratch_directory scratch;
    const auto file = scratch.write("file", "bytes");
    struct row {
        std::filesystem::path path;
        int error_number;
    };
    const row rows[] = {
        {scratch.path() / "missing", ENOENT},
        {scratch.path() / "missing" / "file", ENOENT},
        {file / "file", ENOTDIR},
        {scratch.path(), EISDIR},
    };
    const std::size_t descriptors = open_descriptor_count();
    for (const row& r : rows) {
        const auto [message, code] = open_failure(r.path, file_mapping::read_only);
        EXPECT_EQ(message, "Could not create file mapping for \"" + r.path.string() +
                               "\": " + system_error_text(r.error_number));
        EXPECT_EQ(code, static_cast<std::uint32_t>(r.error_number));
    }
    EXPECT_EQ(open_descriptor_count(), descriptors);
}

// A write lease is the POSIX way for a process to keep others from opening a
// file for now. The holder learns of an attempt by SIGIO; this one gives the
// file up at once.
int lease_holder = file_mapping::invalid_handle;

void give_up_lease(int) {
    const int saved = errno;
    ::fcntl(lease_holder, F_SETLEASE, F_UNLCK);
    errno = saved;
}

TEST(FileMappingTest, RetriesOnlyWhileTheFileIsNotShared) {
    const scratch_directory scratch;
    const auto path = scratch.write("file", "bytes");
    lease_holder = ::open(path.c_str(), O_RDWR);
    struct sigaction give_up = {};
    struct sigaction previous;
    give_up.sa_handler = give_up_lease;
    ::sigaction(SIGIO, &give_up, &previous);
    if (::fcntl(lease_holder, F_SETLEASE, F_WRLCK) != 0) {
        ::close(lease_holder);
        ::sigaction(SIGIO, &previous, nullptr);
        GTEST_SKIP() << "no file leases here";
    }
    // The first attempt fails and breaks the lease, so only a retry succeeds.
    EXPECT_TRUE(file_mapping(path, file_mapping::read_only).is_open());

    // A holder that keeps the file outlasts every attempt.
    ::signal(SIGIO, SIG_IGN);
    ASSERT_EQ(::fcntl(lease_holder, F_SETLEASE, F_WRLCK), 0);
    const auto failure = open_failure(path, file_mapping::read_only);
    ::fcntl(lease_holder, F_SETLEASE, F_UNLCK);
    ::close(lease_holder);
    ::sigaction(SIGIO, &previous, nullptr);
    EXPECT_EQ(failure.first, "Could not create file mapping for \"" + path.string() +
                                 "\": " + system_error_text(EWOULDBLOCK));
    EXPECT_EQ(failure.second, static_cast<std::uint32_t>(EWOULDBLOCK));
}

TEST(FileMappingTest, OwnershipOfTheDescriptorMovesAndEndsOnce) {
    const scratch_directory scratch;
    const auto path = scratch.write("file", "bytes");

    file_mapping closed;
    closed.close();
    EXPECT_EQ(closed.native_handle(), file_mapping::invalid_handle);

    file_mapping first(path, file_mapping::read_only);
    const int descriptor = first.native_handle();
    ASSERT_TRUE(is_open_descriptor(descriptor));
    file_mapping second(std::move(first));
    EXPECT_FALSE(first.is_open());
    EXPECT_EQ(second.native_handle(), descriptor);

    // Assignment closes the target's own descriptor and empties the source.
    file_mapping third(path, file_mapping::read_only);
    const int replaced = third.native_handle();
    third = std::move(second);
    EXPECT_FALSE(is_open_descriptor(replaced));
    EXPECT_EQ(third.native_handle(), descriptor);
    EXPECT_FALSE(second.is_open());

    auto& same = third;
    third = std::move(same);
    EXPECT_TRUE(is_open_descriptor(descriptor));

    third.close();
    third.close();
    EXPECT_FALSE(is_open_descriptor(descriptor));

    const int scoped = file_mapping(path, file_mapping::read_only).native_handle();
    EXPECT_FALSE(is_open_descriptor(scoped));
}

}  // namespace
}  // namespace vorn::system::mmap
