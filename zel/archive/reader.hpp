// The read side of an archive: finds entries by name and hands out their
// bytes as shared read_buffers.
//
// Where the stored bytes lie is left to the one virtual operation,
// get_entry_data; everything else is done here for every kind of storage. An
// entry stored as given comes back as a view of its stored bytes, with no
// copy; a compressed entry is inflated in one call into a buffer of exactly
// its dsize bytes, which does not keep the storage alive. The hash of an entry
// is not tested on reading: it is the entry's identity, and only the table of
// contents is protected.
//
// What comes back is always what the table of contents records: csize stored
// bytes, or a payload of dsize bytes from a stream of exactly csize bytes.
// Every file is treated as hostile, whatever its hash, so an entry is refused
// with zel_archive_exception when it is fetched, by get_entry and
// get_raw_entry alike, if
//  - its offset is not a multiple of 16, or its stored bytes overlap the
//    header, the table of contents or another entry's (found when the archive
//    is opened, before anything is inflated);
//  - its stored bytes do not lie within the storage;
//  - it is compressed and its dsize is more than csize bytes can inflate to;
//  - its stream yields more or fewer than dsize bytes, ends before its
//    stored bytes do or after them, or lacks its Adler-32 trailer.
// A stream that is damaged otherwise raises zlib_runtime_exception. Listing,
// get_entry_key and get_entry_params still answer for such an entry.
//
// A reader's table is fully loaded when its constructor returns and never
// changes after that. Any number of threads may read entries at once; the
// file reader takes no locks, and each call makes its own buffer, so two
// threads fetching the same compressed entry inflate it twice. Sharing is
// the business of caches above. (The reader over HTTP, range_reader.hpp,
// fetches stored bytes when they are asked for.)
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "zel/archive/entry_params.hpp"
#include "zel/archive/mutex_traits.hpp"
#include "zel/archive/reader_limits.hpp"
#include "zel/archive/system/read_buffer.hpp"
#include "zel/archive/zel_archive.hpp"

namespace vorn::zela {

class zel_archive_reader : public zel_archive<parallel::mutex_traits_no_op> {
  public:
    ~zel_archive_reader() override;

    // Where the stored bytes of e lie: size bytes at data, which holder keeps
    // alive. Raises zel_archive_exception for bytes outside the storage.
    virtual void get_entry_data(std::shared_ptr<void>& holder, const char*& data,
                                std::uint64_t& size, const entry& e) const = 0;

    // The entry's stored bytes, compressed or not, as a view: its identity is
    // (hash, csize) and its pending size the entry's dsize.
    std::shared_ptr<const read_buffer> get_raw_entry(const std::string& name) const;
    // The entry's payload: a view of the stored bytes if the entry is stored
    // as given (dsize 0), else the inflated stream in a buffer of its own. The
    // identity is that of the stored bytes in both cases.
    std::shared_ptr<const read_buffer> get_entry(const std::string& name) const;
    // The same for many entries at once, in the order of names: a kind of
    // storage that can fetch them together (over the network, one request
    // for neighbouring entries and several requests in flight) does so.
    // Every name is looked up before any byte is fetched, and the first
    // unknown or misplaced one raises as get_entry would.
    std::vector<std::shared_ptr<const read_buffer>> get_raw_entries(
        const std::vector<std::string>& names) const;
    std::vector<std::shared_ptr<const read_buffer>> get_entries(
        const std::vector<std::string>& names) const;
    // The entry's payload from the stored bytes that get_raw_entry gave for
    // it, as get_entry gives it, without fetching them again: a reader that
    // checks the stored bytes before inflating them fetches them once.
    // Raises std::invalid_argument if raw has another identity than the
    // entry's stored bytes.
    std::shared_ptr<const read_buffer> get_entry(
        const std::string& name, const std::shared_ptr<const read_buffer>& raw) const;
    // The entry's parameters, owned by the reader; after loading from a table
    // of contents they hold at least "off", "csize", "dsize" and "hash".
    const entry_params* get_entry_params(const std::string& name) const;
    // The entry's record as its table of contents gives it, or null if there
    // is no entry of that name.
    const entry* get_entry_record(const std::string& name) const;

  protected:
    zel_archive_reader();

    // Reads the header and the table of contents of an archive whose whole
    // image is size bytes at image. Refuses an image shorter than a header, a
    // table of contents that does not lie within the image, and one beyond
    // the limits. Then finds the entries that are misplaced.
    void load_image(const char* image, std::uint64_t size,
                    const zel_archive_reader_limits& limits = {});
    // Refuses a file of size bytes that cannot hold a header.
    static void require_header(std::uint64_t size);
    // The stored bytes of e in an image of size bytes; refuses bytes that do
    // not lie wholly within it, as a damaged table could place them anywhere.
    static const char* stored_bytes(const char* image, std::uint64_t size, const entry& e);
    // The test of stored_bytes alone, for storage that holds no whole image.
    static void require_within(std::uint64_t size, const entry& e);
    // The two halves of load_image, for storage that fetches the header and
    // the table of contents apart: the header, with the table's place tested
    // against a file of size bytes; then the table's toc_csize stored bytes.
    void load_header(const char* bytes, std::uint64_t size);
    void load_toc(const char* stored, const zel_archive_reader_limits& limits);

    // Where the stored bytes of one entry lie, as get_entry_data gives them.
    struct stored_data {
        std::shared_ptr<void> holder;
        const char* data = nullptr;
        std::uint64_t size = 0;
    };
    // get_entry_data for many entries, into stored (as many as entries); the
    // default asks for one after the other.
    virtual void get_entries_data(std::vector<stored_data>& stored,
                                  const std::vector<const entry*>& entries) const;

  private:
    // The entry of that name, which is not misplaced; raises "Can't find
    // entry with name \"<name>\"" or the entry's misplacement.
    const entry& entry_named(const std::string& name) const;
    std::vector<const entry*> entries_named(const std::vector<std::string>& names) const;
    // The entries of those names fetched together, each made a buffer by
    // make(position, record, stored bytes).
    template <class MakeBuffer>
    std::vector<std::shared_ptr<const read_buffer>> entries_as(
        const std::vector<std::string>& names, MakeBuffer make) const;
    static std::shared_ptr<const read_buffer> raw_buffer(const entry& e, stored_data stored);
    // Inflates a compressed entry, checked against its record.
    static std::shared_ptr<const read_buffer> payload_buffer(const std::string& name,
                                                             const entry& e, stored_data stored);
    // Records every entry that does not start at a multiple of 16 or whose
    // bytes overlap the header, the table of contents or another entry's.
    void find_misplaced_entries();

    // The refusal of each misplaced entry; empty for a sound archive.
    std::unordered_map<const entry*, std::string> misplaced_;
};

}  // namespace vorn::zela
