// Writes an archive file in one forward pass.
//
// Entries are written as they arrive, each at the next multiple of 16; the
// table of contents and then the 48-byte header are written by close(), or
// by the destructor if nobody closed: the file is a valid archive only after
// that. Equal stored bytes are kept once. The appender knows stored bytes by
// their size and hash, and for bytes it has seen answers with the name of the
// entry that holds them, so callers must go on with the returned name. The
// bytes themselves are not compared.
//
// A new archive never destroys the file it replaces before it is complete:
// it is written beside the target under a temporary name and the close
// renames it over the target once the header is written and the file synced
// to the disk (output_file.hpp). A failed write, an abandoned appender, a
// crash or a kill leave the target as it was; a crash or a kill can leave a
// stray temporary beside it ("<name>.<hex digits>.tmp"), which nothing reads.
//
// An existing archive opened to be extended is written in place: the new
// entries overwrite its table of contents, and the header on disk goes on
// pointing there until the close. An extension that is abandoned, or fails
// or dies after its first new entry and before its header is written, leaves
// a file that every reader refuses (the table of contents no longer matches
// its hash); one that wrote nothing yet leaves the archive as it was.
//
// Entry names and parameters must be such that the table of contents can
// carry them: what it could not read back is refused when it is added.
//
// With the spin and std policies, entries may be added from several threads:
// compression and hashing run outside all locks; the content, table and file
// locks are then taken one after the other.
//
// A write that fails is not reported at the call that made it, but by the
// close: close() raises it, and a file with a failed write never receives
// its table of contents and header.
#pragma once

#include <google/dense_hash_map>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/system/file_system_calls.hpp"
#include "zel/archive/system/output_file.hpp"
#include "zel/archive/zel_archive.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/hash.hpp"

namespace vorn::zela {

template <class traits>
class zel_archive_file_appender : public zel_archive<traits> {
  public:
    // Opens the archive at path: a new, empty one if the file does not exist
    // or truncate is set, otherwise the existing archive, to be extended.
    zel_archive_file_appender(const std::filesystem::path& path, bool truncate);
    // The same, with every file written and read through calls, which must
    // outlive the appender.
    zel_archive_file_appender(const std::filesystem::path& path, bool truncate,
                              system::file_system_calls& calls);
    // Builds the tables and opens no file; entries added to it go nowhere.
    zel_archive_file_appender();
    // Closes the file if nobody did, as close() does, but reports nothing: a
    // failure leaves a new archive's target as it was, and an extended
    // archive refused by every reader.
    ~zel_archive_file_appender() override;

    // Writes the table of contents and the header, closes the file and, for
    // a new archive, puts it in its target's place. Any write, seek, sync,
    // close or rename that failed, now or at an earlier addition, raises
    // zel_archive_exception with the path and the system's text; the table
    // of contents and the header are then not written, and a new archive's
    // target stays as it was. The appender counts as closed after the call
    // either way; a second call does nothing. No other thread may use the
    // appender during the call.
    void close();
    // Gives the archive up: no table of contents and no header are written.
    // A new archive's target stays as it was; an extended archive is left as
    // a killed extension leaves it. Does nothing after a close.
    void abandon() noexcept;

    // Stores size bytes at data under name, deflated if compress is set, and
    // returns the name under which those stored bytes can be read: name
    // itself, or the name of an earlier entry with the same stored bytes
    // unless allowDup is set. Throws if name is taken, empty or holds a NUL
    // byte. data may be null when size is 0.
    std::string add_entry(const std::string& name, const char* data, std::uint64_t size,
                          bool compress, bool allowDup);
    // The same for the whole contents of the file at path. Throws with the
    // path and the system's text if the file cannot be opened or read whole.
    std::string add_file_entry(const std::string& name, const std::filesystem::path& path,
                               bool compress, bool allowDup);
    // Adds one parameter to an entry. Throws unless param_name is an XML name
    // and the parameter's four texts hold no NUL byte: the table of contents
    // could not be read back otherwise.
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
    // Both words, mixed: keys read from an archive's table of contents are
    // whatever that file says, and a plain combination of the two lets
    // crafted keys (a hash equal to its size, say) fall into one probe chain.
    // The table is never iterated, so its hash decides no bytes of a file.
    struct content_key_hash {
        std::size_t operator()(const content_key& key) const {
            return static_cast<std::size_t>(hash_words(key.csize, key.hash));
        }
    };
    using content_table_type = google::dense_hash_map<content_key, std::string, content_key_hash>;

    // Builds the tables; opens no file.
    explicit zel_archive_file_appender(system::file_system_calls& calls);

    void open_new(const std::filesystem::path& path);
    void open_existing(const std::filesystem::path& path);
    // Writes the bytes at the write position; returns their offset.
    std::uint64_t place(const char* data, std::uint64_t size);
    void write_toc_and_header();
    // Raises unless the table of contents can carry the parameter.
    static void check_param(const std::string& entry_name, const std::string& param_name,
                            const generic_param& param);
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
    system::file_system_calls* calls_;
    system::output_file file_;
    [[no_unique_address]] typename traits::mutex file_lock_;
    [[no_unique_address]] typename traits::mutex content_lock_;
};

extern template class zel_archive_file_appender<parallel::mutex_traits_no_op>;
extern template class zel_archive_file_appender<parallel::mutex_traits_spin>;
extern template class zel_archive_file_appender<parallel::mutex_traits_std>;

}  // namespace vorn::zela
