// The archive reader over a file: the whole file is mapped read-only once, so
// an entry stored as given is handed out as a view of the mapping with no
// copy at all.
//
// Opening, in this order, each with its message:
//  1. a path that does not exist: "zel file <path> not found on local
//     filesystem";
//  2. a file that cannot be opened: "could not create memory mapping to zel
//     file <path>: " and the mapping error's text;
//  3. a file shorter than the header: "incomplete zel header";
//  4. the mapping of the whole file; its errors pass unchanged;
//  5. the header's tests (zel_archive);
//  6. a table of contents that ends past the file: "zel file truncated before
//     the TOC";
//  7. the table of contents' tests (zel_archive), and the limits the caller
//     gives (reader_limits.hpp, whose defaults every real package passes).
// The file itself is closed once mapped; the mapping lives on without it.
//
// Every view handed out holds a share of the mapping, so it stays valid after
// the reader is gone; the mapping ends with the last of them. Bytes behind
// the table of contents, as an appender can leave them, are ignored.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "zel/archive/reader.hpp"
#include "zel/archive/system/mapped_region.hpp"

namespace vorn::zela {

class zel_archive_file_reader final : public zel_archive_reader {
  public:
    // An empty reader: no mapping and no entries.
    zel_archive_file_reader();
    explicit zel_archive_file_reader(const std::filesystem::path& path,
                                     const zel_archive_reader_limits& limits = {});
    ~zel_archive_file_reader() override;

    // Points into the mapping at the entry's offset, for csize bytes, with the
    // mapping as holder.
    void get_entry_data(std::shared_ptr<void>& holder, const char*& data, std::uint64_t& size,
                        const entry& e) const override;

    // The size of the mapped file; 0 for an empty reader.
    std::uint64_t file_size() const noexcept { return region_ ? region_->size() : 0; }

  private:
    std::shared_ptr<system::mmap::mapped_region> region_;
};

}  // namespace vorn::zela
