// What an archive holds besides its header: the pools that own the entry
// records and their parameters, and the table from entry name to record with
// its lock. The archive keeps it behind one pointer, so that the public
// headers need neither the pools nor the hash table.
//
// Members are destroyed in reverse order: the name table first, then the
// parameter maps, then the records.
#pragma once

#include <google/dense_hash_map>

#include <string>

#include "zel/archive/entry_params.hpp"
#include "zel/archive/internal/gate_shared_mutex.hpp"
#include "zel/archive/mutex_traits.hpp"
#include "zel/archive/zel_archive_entry.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/foundation/object_pool.hpp"
#include "zel/foundation/spin_mutex.hpp"

namespace vorn::zela {

template <class traits>
struct archive_tables {
    using entry = zel_archive_entry<traits>;
    // The name table iterates in an order that depends on the hash of the
    // names and on the table's history; that order is the order of
    // list_entries and of the table of contents, so the table is kept
    // exactly as it is: 32 buckets at first, growing by doubling above half
    // full, the empty name as its empty key.
    using name_table_type = google::dense_hash_map<std::string, entry*, vorn::hash<std::string>>;

    archive_tables() { name_table.set_empty_key(std::string()); }

    object_pool<entry, traits> entry_pool;
    object_pool<entry_params, traits> params_pool;
    name_table_type name_table;
    [[no_unique_address]] typename traits::shared_mutex table_lock;
};

}  // namespace vorn::zela
