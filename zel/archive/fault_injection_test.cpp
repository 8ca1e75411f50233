// Writes small archives through system calls that fail, are interrupted or
// are cut short at every position in turn, and checks what each run leaves:
// a run with a failure raises it, and leaves the package that was there as it
// was (a new archive) or a file that every reader refuses (an extension); a
// run whose calls were only interrupted or cut short writes the very bytes of
// a clean run.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zela {
namespace {

namespace fs = std::filesystem;
using appender = zel_archive_file_appender<parallel::mutex_traits_no_op>;
using testing::archive_message;
using testing::numbered_bytes;
using testing::read_file;
using testing::what_of;

// What happens to the call that is struck.
enum class fault {
    fail,       // it fails and does nothing: ENOSPC for a write, EIO otherwise
    interrupt,  // a write or sync fails with EINTR and does nothing
    shorten,    // a write takes half of its bytes
};

// System calls that strike the n-th call on the archive's file (write, seek,
// sync, close) or rename; n = 0 strikes none. Only writes and syncs can be
// interrupted or cut short: the callers repeat only those.
class faulty_calls : public system::file_system_calls {
  public:
    faulty_calls(std::size_t strike_at, fault kind) : strike_at_(strike_at), kind_(kind) {}

    // Calls counted so far.
    std::size_t counted() const { return counted_; }
    // The error number the struck call failed with; 0 if none failed.
    int injected() const { return injected_; }

    int open(const char* path, int flags, mode_t mode) override {
        const int descriptor = file_system_calls::open(path, flags, mode);
        if ((flags & (O_WRONLY | O_RDWR)) != 0) {
            archive_ = descriptor;
        }
        return descriptor;
    }
    ssize_t write(int descriptor, const void* data, std::size_t size) override {
        if (strikes(descriptor)) {
            switch (kind_) {
                case fault::fail:
                    return failure(ENOSPC);
                case fault::interrupt:
                    errno = EINTR;
                    return -1;
                case fault::shorten:
                    return file_system_calls::write(descriptor, data,
                                                    std::max<std::size_t>(size / 2, 1));
            }
        }
        return file_system_calls::write(descriptor, data, size);
    }
    off_t lseek(int descriptor, off_t offset, int whence) override {
        if (strikes(descriptor) && kind_ == fault::fail) {
            return failure(EIO);
        }
        return file_system_calls::lseek(descriptor, offset, whence);
    }
    int fsync(int descriptor) override {
        if (strikes(descriptor) && kind_ != fault::shorten) {
            if (kind_ == fault::interrupt) {
                errno = EINTR;
                return -1;
            }
            return failure(EIO);
        }
        return file_system_calls::fsync(descriptor);
    }
    int close(int descriptor) override {
        // The descriptor is gone even when close fails.
        const bool struck = strikes(descriptor) && kind_ == fault::fail;
        const int result = file_system_calls::close(descriptor);
        return struck ? failure(EIO) : result;
    }
    int rename(const char* from, const char* to) override {
        if (strikes(archive_) && kind_ == fault::fail) {
            return failure(EIO);
        }
        return file_system_calls::rename(from, to);
    }

  private:
    bool strikes(int descriptor) { return descriptor == archive_ && ++counted_ == strike_at_; }
    int failure(int error) {
        injected_ = error;
        errno = error;
        return -1;
    }

    std::size_t strike_at_;
    fault kind_;
    int archive_ = -1;
    std::size_t counted_ = 0;
    int injected_ = 0;
};

// A small archive of every kind of entry: deflated, stored, empty, larger
// than the file's buffer, read from a file, and one with a parameter.
void write_small_archive(const fs::path& path, bool truncate, system::file_system_calls& calls,
                         bool close_explicitly, const fs::path& source) {
    appender a(path, truncate, calls);
    const std::string text(3000, 'x');
    a.add_entry("scene.xml", text.data(), text.size(), true, false);
    const std::string bytes = numbered_bytes(1000);
    a.add_entry("stored.bin", bytes.data(), bytes.size(), false, false);
    a.add_entry("empty", nullptr, 0, false, false);
    const std::string big = numbered_bytes((1 << 20) + 100);
    a.add_entry("big.bin", big.data(), big.size(), false, false);
    a.add_file_entry("file.bin", source, true, false);
    a.add_entry_param("file.bin", "width", generic_param(2.5));
    if (close_explicitly) {
        a.close();
    }
}

// True if the file at path is refused by the reader and by an appender
// that would extend it.
bool refused_by_every_reader(const fs::path& path) {
    const auto refused = [](const std::function<void()>& open) {
        try {
            open();
        } catch (const vorn_exception&) {
            return true;
        }
        return false;
    };
    return refused([&] { zel_archive_file_reader reader(path); }) &&
           refused([&] { appender a(path, false); });
}

std::vector<std::string> files_in(const fs::path& dir) {
    std::vector<std::string> names;
    for (const auto& item : fs::directory_iterator(dir)) {
        names.push_back(item.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class FaultInjectionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        source_ = dir_.write("source.bin", numbered_bytes(5000));
        target_ = dir_.path() / "package.zel";
        appender a(target_, true);
        a.add_entry("old", "old bytes", 9, false, false);
        a.close();
        old_package_ = read_file(target_);
    }

    // The bytes of a clean run, and the number of calls it makes that can
    // be struck.
    std::pair<std::string, std::size_t> clean_run(bool truncate) {
        const fs::path copy = dir_.path() / "clean.zel";
        fs::copy_file(target_, copy);
        faulty_calls counting(0, fault::fail);
        write_small_archive(copy, truncate, counting, true, source_);
        std::string bytes = read_file(copy);
        fs::remove(copy);
        return {bytes, counting.counted()};
    }

    std::string raised_by_run(faulty_calls& calls, bool truncate, bool close_explicitly) {
        try {
            write_small_archive(target_, truncate, calls, close_explicitly, source_);
        } catch (const zel_archive_exception& e) {
            return e.what();
        }
        return "";
    }

    void restore_old_package() {
        fs::remove(target_);
        dir_.write("package.zel", old_package_);
    }

    testing::scratch_directory dir_;
    fs::path source_;
    fs::path target_;
    std::string old_package_;
};

TEST_F(FaultInjectionTest, FailedNewArchiveRaisesAndLeavesTheOldPackage) {
    const auto [clean, calls] = clean_run(true);
    ASSERT_GE(calls, 6u);  // the seek to the first entry, writes, sync, close, rename
    for (const bool close_explicitly : {true, false}) {
        for (std::size_t n = 1; n <= calls; ++n) {
            SCOPED_TRACE("call " + std::to_string(n) + (close_explicitly ? ", closed" : ""));
            faulty_calls failing(n, fault::fail);
            const std::string raised = raised_by_run(failing, true, close_explicitly);
            ASSERT_NE(failing.injected(), 0);
            EXPECT_EQ(raised,
                      close_explicitly
                          ? archive_message("unable to write zel file " + target_.string() + ": " +
                                            system::mmap::system_error_text(
                                                static_cast<std::uint32_t>(failing.injected())))
                          : "");
            EXPECT_EQ(read_file(target_), old_package_);
            EXPECT_EQ(files_in(dir_.path()),
                      (std::vector<std::string>{"package.zel", "source.bin"}));
        }
    }
}

TEST_F(FaultInjectionTest, FailedExtensionRaisesAndLeavesAFileThatIsRefused) {
    const auto [clean, calls] = clean_run(false);
    ASSERT_GE(calls, 5u);
    for (std::size_t n = 1; n <= calls; ++n) {
        SCOPED_TRACE("call " + std::to_string(n));
        faulty_calls failing(n, fault::fail);
        EXPECT_NE(raised_by_run(failing, false, true), "");
        // A failed close comes after the last write: the file may be whole.
        if (n < calls && read_file(target_) != old_package_) {
            EXPECT_TRUE(refused_by_every_reader(target_));
        }
        restore_old_package();
    }
    faulty_calls none(0, fault::fail);
    EXPECT_EQ(raised_by_run(none, false, true), "");
    EXPECT_EQ(read_file(target_), clean);
    EXPECT_EQ(zel_archive_file_reader(target_).get_entry("old")->size(), 9u);
}

// Interrupted and short calls are repeated or continued, and the archive is
// the same to the byte.
TEST_F(FaultInjectionTest, InterruptedAndShortCallsWriteTheSameBytes) {
    for (const bool truncate : {true, false}) {
        const auto [clean, calls] = clean_run(truncate);
        for (const fault kind : {fault::interrupt, fault::shorten}) {
            for (std::size_t n = 1; n <= calls; ++n) {
                SCOPED_TRACE("call " + std::to_string(n) + (truncate ? ", new" : ", extended"));
                faulty_calls striking(n, kind);
                EXPECT_EQ(raised_by_run(striking, truncate, true), "");
                EXPECT_EQ(read_file(target_), clean);
                restore_old_package();
            }
        }
    }
}

// A system layer whose reads of the source fail at the n-th call.
class failing_reads : public system::file_system_calls {
  public:
    explicit failing_reads(std::size_t fail_at) : fail_at_(fail_at) {}
    ssize_t read(int descriptor, void* data, std::size_t size) override {
        if (++reads_ == fail_at_) {
            errno = EIO;
            return -1;
        }
        return file_system_calls::read(descriptor, data, size);
    }

  private:
    std::size_t fail_at_;
    std::size_t reads_ = 0;
};

// A file that fails half way is no file read whole: it is refused, and the
// archive goes on without it.
TEST_F(FaultInjectionTest, FileThatFailsToReadIsRefusedAndTheArchiveGoesOn) {
    for (const std::size_t n : {1, 2}) {
        SCOPED_TRACE(n);
        failing_reads calls(n);
        {
            appender a(target_, true, calls);
            EXPECT_EQ(what_of([&] { a.add_file_entry("file.bin", source_, false, false); }),
                      archive_message("unable to read file " + source_.string() +
                                      ": Input/output error"));
            a.add_entry("after", "after", 5, false, false);
        }
        const zel_archive_file_reader reader(target_);
        std::vector<std::string> names;
        reader.list_entries(names);
        EXPECT_EQ(names, std::vector<std::string>{"after"});
    }
}

// A new archive that cannot be created leaves the target alone.
TEST_F(FaultInjectionTest, ArchiveThatCannotBeCreatedLeavesTheTarget) {
    struct refusing_open : system::file_system_calls {
        int open(const char*, int, mode_t) override {
            errno = EACCES;
            return -1;
        }
    } calls;
    EXPECT_EQ(what_of([&] { appender a(target_, true, calls); }),
              archive_message("unable to open file for write: " + target_.string()));
    EXPECT_EQ(read_file(target_), old_package_);
    EXPECT_EQ(files_in(dir_.path()), (std::vector<std::string>{"package.zel", "source.bin"}));
}

}  // namespace
}  // namespace vorn::zela
