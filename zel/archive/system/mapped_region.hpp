// A read-only view of a file opened by file_mapping.
//
// base() is the byte at the requested file offset and size() the number of
// bytes asked for; both are fixed for the object's life, which has no remap
// and no resize. The view does not depend on the file_mapping after
// construction. The object is neither copied nor moved: it is shared through
// shared_ptr by everything that points into it.
//
// The operating system maps from offsets that are multiples of its page size
// (the allocation granularity, read once per process). The view therefore
// starts page_offset bytes before base, and both the mapping and its release
// use that start and a length of size + page_offset.
//
// Steps, with the failure of each (all mmap_error):
//  1. A mode other than read_only: "mapped_region: unsupported, non-read only
//     mode", no code.
//  2. fstat of the descriptor for the file's size: errno and "could not get
//     file handle size". POSIX has no separate mapping object for the whole
//     file; the descriptor serves in its place, so the step that creates one
//     elsewhere has nothing to fail here and "Could not create file mapping"
//     is never raised by this class.
//  3. size 0 asks for the rest of the file: an offset beyond the file's end
//     gives "Mapping exceeds user memory space", no code. An explicit size
//     that reaches beyond the file's end gives ENXIO and "Could not create
//     mapped region", the answer POSIX gives for a range the file does not
//     have, instead of a view whose last pages would fault when read.
//  4. mmap with PROT_READ and MAP_SHARED: errno and "Could not create mapped
//     region". A length of 0 is refused with EINVAL; this is how the refusal
//     to map an empty file shows here, and it is also the answer for size 0
//     at an offset equal to a page-aligned file size. At an unaligned offset
//     equal to the file's size the length is page_offset, and the result is a
//     valid view of 0 bytes.
#pragma once

#include <cstdint>

#include "zel/archive/system/file_mapping.hpp"

namespace vorn::system::mmap {

class mapped_region {
  public:
    static constexpr int read_only = 0;

    // Maps [offset, offset + size) of the file; size 0 maps from offset to
    // the end of the file.
    mapped_region(const file_mapping& file, int mode, std::uint64_t offset, std::uint64_t size);
    mapped_region(const mapped_region&) = delete;
    mapped_region& operator=(const mapped_region&) = delete;
    ~mapped_region();

    const char* base() const noexcept { return base_; }
    std::uint64_t size() const noexcept { return size_; }

    // The operating system's alignment of view offsets, a power of two.
    static std::uint64_t allocation_granularity() noexcept;

  private:
    const char* base_ = nullptr;
    std::uint64_t size_ = 0;
    std::uint64_t page_offset_ = 0;
};

}  // namespace vorn::system::mmap
