// The in-memory archive: its header, the table from entry name to entry
// record, and the pools that own the records and their parameters.
//
// The appender and the readers derive from it. It is a template over a
// locking policy (mutex_traits.hpp) so that single-threaded use pays nothing
// for locks while the same code serves parallel appenders. Records come from
// a pool and keep their addresses for the archive's life; entries are never
// removed.
//
// The name table iterates in an order that depends on the hash of the names
// and on the table's history; that order is the order of list_entries and of
// the table of contents. It carries no meaning, but it is what the bytes of
// a written table of contents are made of, so the table is kept exactly as it
// is: 32 buckets at first, growing by doubling above half full.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zel/archive/binary_identity.hpp"
#include "zel/archive/entry_params.hpp"
#include "zel/archive/mutex_traits.hpp"
#include "zel/archive/package_id.hpp"
#include "zel/archive/reader_limits.hpp"
#include "zel/archive/zel_archive_entry.hpp"
#include "zel/archive/zel_archive_header.hpp"

namespace rapidxml {
template <class Ch>
class xml_node;
}

namespace vorn::zela {

template <class traits>
struct archive_tables;

template <class traits>
class zel_archive {
  public:
    using entry = zel_archive_entry<traits>;

    zel_archive();
    virtual ~zel_archive();
    zel_archive(const zel_archive&) = delete;
    zel_archive& operator=(const zel_archive&) = delete;

    // Clears names, then appends every entry name in table order.
    void list_entries(std::vector<std::string>& names) const;
    // The identity of the entry's stored bytes; (0, 0) if there is no such
    // entry. Never throws for an unknown name.
    binary_identity get_entry_key(const std::string& name) const;
    // The table of contents' hash and end, as the header gives them.
    package_id get_package_id() const;

    const zel_archive_header& header() const { return header_; }

  protected:
    // Takes the 48 header bytes and tests magic, version and table offset.
    void read_header(const char* bytes);
    // Takes the header's toc_csize stored bytes of the table of contents:
    // tests their hash, inflates them to exactly toc_dsize - 1 bytes of text,
    // parses the text and adds every entry. Refuses a text that is beyond the
    // limits before it allocates for it.
    void read_toc(const char* stored, const zel_archive_reader_limits& limits = {});
    // Adds the entry of one zelentry element; refuses a name already there.
    void read_toc_entry(const rapidxml::xml_node<char>* node);

    // The record of that name, or null; takes no lock.
    entry* find_entry(const std::string& name) const;

    zel_archive_header header_;
    // The pools, the name table and its lock (internal/archive_tables.hpp).
    std::unique_ptr<archive_tables<traits>> tables_;
};

extern template class zel_archive<parallel::mutex_traits_no_op>;
extern template class zel_archive<parallel::mutex_traits_spin>;
extern template class zel_archive<parallel::mutex_traits_std>;

}  // namespace vorn::zela
