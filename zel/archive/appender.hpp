// Writes an archive file in one forward pass.
//
// Entries are written as they arrive, each at the next multiple of 16; the
// table of contents and then the 48-byte header are written when the
// appender is destroyed, and at no other moment: the file is a valid archive
// only after the destructor has run. An existing archive can be opened and
// extended; its old table of contents is overwritten by what is added next.
//
// Equal stored bytes are kept once. The appender knows stored bytes by their
// size and hash, and for bytes it has seen answers with the name of the entry
// that holds them, so callers must go on with the returned name. The bytes
// themselves are not compared.
//
// With the spin and std policies, entries may be added from several threads:
// compression and hashing run outside all locks; the content, table and file
// locks are then taken one after the other.
//
// A write that fails is not reported at the call that made it, but by the
// close: close() raises it, and a file with a failed write never receives
// its table of contents and header, so every reader refuses it.
#pragma once

#include <google/dense_hash_map>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/system/output_file.hpp"
#include "zel/archive/zel_archive.hpp"
#include "zel/foundation/generic_param.hpp"

namespace vorn::zela {

template <class traits>
class zel_archive_file_appender : public zel_archive<traits> {
  public:
    // Opens the archive at path: a new, empty one if the file does not exist
    // or truncate is set, otherwise the existing archive, to be extended.
    zel_archive_file_appender(const std::filesystem::path& path, bool truncate);
    // Builds the tables and opens no file; entries added to it go nowhere.
    zel_archive_file_appender();
    // Closes the file if nobody did, as close() does, but reports nothing: a
    // failure leaves a file that every reader refuses.
    ~zel_archive_file_appender() override;

    // Writes the table of contents and the header, and closes the file. Any
    // write, seek or close that failed, now or at an earlier addition,
    // raises zel_archive_exception with the path and the system's text; the
    // table of contents and the header are then not written. The appender
    // counts as closed after the call either way; a second call does
    // nothing. No other thread may use the appender during the call.
    void close();

    // Stores size bytes at data under name, deflated if compress is set, and
    // returns the name under which those stored bytes can be read: name
    // itself, or the name of an earlier entry with the same stored bytes
    // unless allowDup is set. Throws if name is taken.
    std::string add_entry(const std::string& name, const char* data, std::uint64_t size,
                          bool compress, bool allowDup);
    // The same for the whole contents of the file at path.
    std::string add_file_entry(const std::string& name, const std::filesystem::path& path,
                               bool compress, bool allowDup);
    // Adds one parameter to an entry.
    void add_entry_param(const std::string& entry_name, const std::string& param_name,
                         const generic_param& param);

  private:
    using base = zel_archive<traits>;
    using entry = typename base::entry;

    struct content_key {
        std::uint64_t csize = 0;
        std::uint64_t hash = 0;
        friend bool operator==(const content_key&, const content_key&) = default;
    };
    // The key's hash word already spreads the bytes; hashing the size alone
    // would put every entry of one size into one probe chain.
    struct content_key_hash {
        std::size_t operator()(const content_key& key) const {
            return static_cast<std::size_t>(key.hash ^ key.csize);
        }
    };
    using content_table_type = google::dense_hash_map<content_key, std::string, content_key_hash>;

    void open_new(const std::filesystem::path& path);
    void open_existing(const std::filesystem::path& path);
    // Writes the bytes at the write position; returns their offset.
    std::uint64_t place(const char* data, std::uint64_t size);
    void write_toc_and_header();
    // Raises the file's failure, if it has one.
    void check_file() const;

    std::unique_ptr<content_table_type> content_table_;
    std::uint64_t write_position_ = 0;
    // Where the file stands: the end of the last bytes placed, up to 15
    // bytes before write_position_. The gap is crossed when the next bytes
    // come, so nothing follows the table of contents.
    std::uint64_t stream_position_ = 0;
    // Bytes from here on were not in the file when it was opened. A gap
    // there is filled with zeros, which reads as if it were left unwritten
    // and keeps the file from seeking (and flushing) for every entry; a
    // gap before it is seeked over, so bytes of an old table of contents
    // stay where they are.
    std::uint64_t fresh_from_ = 0;
    std::filesystem::path path_;
    system::output_file file_;
    [[no_unique_address]] typename traits::mutex file_lock_;
    [[no_unique_address]] typename traits::mutex content_lock_;
};

extern template class zel_archive_file_appender<parallel::mutex_traits_no_op>;
extern template class zel_archive_file_appender<parallel::mutex_traits_spin>;
extern template class zel_archive_file_appender<parallel::mutex_traits_std>;

}  // namespace vorn::zela
