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

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/system/file_system_calls.hpp"
#include "zel/archive/zel_archive.hpp"
#include "zel/foundation/generic_param.hpp"

namespace vorn::zela {

template <class traits>
struct appender_state;

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

    // The content table, the file and its positions, and the two locks
    // (internal/appender_state.hpp).
    std::unique_ptr<appender_state<traits>> state_;
};

extern template class zel_archive_file_appender<parallel::mutex_traits_no_op>;
extern template class zel_archive_file_appender<parallel::mutex_traits_spin>;
extern template class zel_archive_file_appender<parallel::mutex_traits_std>;

}  // namespace vorn::zela
