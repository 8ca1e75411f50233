// The private record of zel_file_index, for the code that reads and writes
// the scene document over its tables.
#pragma once

#include <google/dense_hash_map>

#include <functional>
#include <memory>
#include <vector>

#include "zel/foundation/atom_table.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/foundation/object_pool.hpp"
#include "zel/foundation/recycling_allocator.hpp"
#include "zel/scene/block.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/scene/internal/parameter_arena.hpp"

namespace vorn::zel {

using block_table =
    google::dense_hash_map<intrusive_string, zel_block*, hash<intrusive_string>,
                           std::equal_to<intrusive_string>,
                           recycling_allocator<std::pair<const intrusive_string, zel_block*>>>;

struct zel_file_index::state {
    using type_list = std::vector<block_ref>;

    state();

    // Adds a block under name to table, or raises if the name is there.
    // Interns the name, then the type.
    zel_block* add(block_table& table, std::string_view type, std::string_view name);
    // Enters block under name unless the table holds the name; the first
    // block of a name wins. name must be a non-empty atom.
    bool enter(block_table& table, intrusive_string name, zel_block* block);

    std::shared_ptr<zela::zel_archive_reader> reader;
    std::shared_ptr<appender_type> appender;
    // The parameters of the blocks that reading and copying make; it outlives
    // the blocks.
    parameter_arena parameter_memory;
    object_pool<zel_block, parallel::mutex_traits_no_op> block_pool;
    block_table blocks;
    block_table metadata_blocks;
    object_pool<type_list, parallel::mutex_traits_no_op> list_pool;
    google::dense_hash_map<intrusive_string, type_list*, hash<intrusive_string>> type_lists;
    const type_list empty_list;
    atom_table atoms;
    // Whether the document read had an atom table.
    bool atomized = false;
};

class file_index_access {
  public:
    static zel_file_index::state& of(zel_file_index& index) { return *index.state_; }
    static const zel_file_index::state& of(const zel_file_index& index) { return *index.state_; }
    // Empties the index again: a fresh record that keeps the package.
    static void clear(zel_file_index& index) {
        auto fresh = std::make_unique<zel_file_index::state>();
        fresh->reader = index.state_->reader;
        fresh->appender = index.state_->appender;
        index.state_ = std::move(fresh);
    }
};

}  // namespace vorn::zel
