#include "zel/archive/system/mapped_region.hpp"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "zel/foundation/exception.hpp"

namespace vorn::system::mmap {

namespace {

std::uint64_t file_size(const file_mapping& file) {
    struct stat status;
    if (::fstat(file.native_handle(), &status) != 0) {
        throw mmap_error(static_cast<std::uint32_t>(errno), "could not get file handle size");
    }
    return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace

std::uint64_t mapped_region::allocation_granularity() noexcept {
    // The page size is a value every POSIX system must report, so sysconf
    // does not fail for it. A function-local static is initialised once,
    // under the guard the language gives it.
    static const std::uint64_t granularity = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    return granularity;
}

mapped_region::mapped_region(const file_mapping& file, int mode, std::uint64_t offset,
                             std::uint64_t size) {
    if (mode != read_only) {
        throw mmap_error("mapped_region: unsupported, non-read only mode");
    }
    const std::uint64_t page_offset = offset % allocation_granularity();
    const std::uint64_t available = file_size(file);
    if (size == 0) {
        if (available < offset) {
            throw mmap_error("Mapping exceeds user memory space");
        }
        size = available - offset;
    } else if (offset > available || size > available - offset) {
        throw mmap_error(ENXIO, "Could not create mapped region");
    }
    // offset and size lie within a file whose size fits off_t, so neither the
    // start nor the length can overflow.
    void* view = ::mmap(nullptr, static_cast<std::size_t>(size + page_offset), PROT_READ,
                        MAP_SHARED, file.native_handle(), static_cast<off_t>(offset - page_offset));
    if (view == MAP_FAILED) {
        throw mmap_error(static_cast<std::uint32_t>(errno), "Could not create mapped region");
    }
    base_ = static_cast<const char*>(view) + page_offset;
    size_ = size;
    page_offset_ = page_offset;
}

mapped_region::~mapped_region() {
    if (base_ != nullptr) {
        // munmap fails only for a range that was never mapped, which this
        // object cannot hold; a destructor has nobody to report to anyway.
        ::munmap(const_cast<char*>(base_ - page_offset_),
                 static_cast<std::size_t>(size_ + page_offset_));
        base_ = nullptr;
    }
}

}  // namespace vorn::system::mmap
