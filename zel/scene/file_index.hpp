// The in-memory form of one scene: its blocks, its metadata blocks and the
// atom table that all their texts are interned into, with the archive it
// came from or goes to.
//
// Two block tables with separate name spaces: ordinary blocks are the scene,
// metadata blocks describe the package. A block name is any non-empty text;
// block types are checked by the writer, not here. The tables are hash tables
// of the system hash with 32 buckets at first that grow beyond half full,
// and their iteration order is the order of blocks in the written document.
// Nothing is ever erased from them.
//
// Blocks live in a pool and keep their addresses for the life of the index;
// all are destroyed with it. Atoms likewise. The index is a small handle on
// a private record, shared through std::shared_ptr; it is not thread-safe,
// and a read index may be shared by readers only as long as nobody interns
// or asks blocks_of_type for the first time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/mutex_traits.hpp"
#include "zel/archive/package_id.hpp"
#include "zel/archive/reader.hpp"
#include "zel/archive/remote_options.hpp"
#include "zel/foundation/atom_table.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/scene/block.hpp"

namespace vorn::zel {

// The text of a scene document, to be read as a file index. The bytes need
// no terminating NUL and are copied before parsing.
struct document_text {
    std::string_view text;
};

class zel_file_index {
  public:
    using appender_type = zela::zel_archive_file_appender<parallel::mutex_traits_no_op>;
    // A block of the ordinary table, as blocks_of_type lists it.
    using block_ref = std::pair<intrusive_string, zel_block*>;
    using block_visitor = std::function<void(intrusive_string name, zel_block& block)>;

    // An empty scene with no archive behind it.
    zel_file_index();
    // An empty scene for writing: creates a new archive at path, replacing
    // any file there.
    explicit zel_file_index(const std::filesystem::path& path);
    // The scene document of the entry of that name, in the atomized, the
    // plain or the rootless form. Errors: the reader's for a missing entry,
    // rapidxml::parse_error for text that is not well formed, zel_exception
    // for a document that breaks the grammar in a way that matters (a block
    // without a name, a token beyond the atom table, no "zel" or "metazel",
    // nesting far deeper than the grammar's).
    zel_file_index(std::shared_ptr<zela::zel_archive_reader> reader, const std::string& entry_name);
    // The same for a document in memory, with no archive behind it.
    explicit zel_file_index(document_text document);
    // A modifiable scene with source's content, sharing source's archive.
    // If the caller's pointer is the only owner of source, the content is
    // taken over and source is left empty; otherwise it is copied, with the
    // atom numbers kept.
    explicit zel_file_index(const std::shared_ptr<zel_file_index>& source);
    zel_file_index(const zel_file_index&) = delete;
    zel_file_index& operator=(const zel_file_index&) = delete;
    ~zel_file_index();

    // Adds an empty block; raises zel_exception "Block named <name> already
    // exists in add_block()" if the table holds the name. The name is
    // interned first, then the type, even when the call fails.
    zel_block* add_block(const std::string& type, const std::string& name);
    zel_block* add_metadata_block(const std::string& type, const std::string& name);
    // Adds a copy of source as an ordinary block. A block of this index is
    // copied handle by handle; a block of another index has its texts
    // interned here, since atom numbers of two scenes mean different words.
    // While the name is taken, an "x" is appended to it; name holds the final
    // name.
    zel_block* add_block_copy(std::string& name, const zel_block& source);

    bool exists_block(std::string_view name) const noexcept;
    bool exists_metadata_block(std::string_view name) const noexcept;
    // Raise zel_exception "Block named <name> was not found", or "Metadata
    // Block named <name> was not found".
    zel_block* get_block(std::string_view name) const;
    zel_block* get_block(intrusive_string name) const;
    zel_block* get_metadata_block(std::string_view name) const;
    zel_block* get_metadata_block(intrusive_string name) const;

    // The ordinary blocks of a type. The lists are built at the first call
    // that finds the index holding blocks and are not updated after that:
    // they serve complete, read-only scenes.
    const std::vector<block_ref>& blocks_of_type(std::string_view type);
    const std::vector<block_ref>& blocks_of_type(intrusive_string type);

    // Calls visit for every block of a table, in table order.
    void visit_blocks(const block_visitor& visit) const;
    void visit_metadata_blocks(const block_visitor& visit) const;
    // Sizes the ordinary table for count blocks ahead of a bulk load.
    void reserve_blocks(std::size_t count);
    // Ordinary plus metadata blocks.
    std::size_t block_count() const noexcept;

    atom_table& atoms() noexcept;
    const atom_table& atoms() const noexcept;
    intrusive_string intern(intrusive_string text);
    intrusive_string intern(std::string_view text) { return intern(intrusive_string(text)); }
    intrusive_string intern(const char* text, std::uint32_t size) {
        return intern(intrusive_string(text, size));
    }
    std::int32_t intern_index(intrusive_string text);
    void append(const char* text, std::uint32_t size);
    // The atom of that number; the unset handle for intrusive_string::no_index.
    // No other bounds check.
    intrusive_string at(std::uint32_t index) const noexcept;

    // The reader of a read index, or null.
    const std::shared_ptr<zela::zel_archive_reader>& archive_reader() const noexcept;
    // The appender of an index for writing, or null.
    const std::shared_ptr<appender_type>& appender() const noexcept;
    // Whether the scene was read from a document in the atomized form; false
    // for a scene that was not read.
    bool read_atomized() const noexcept;

    // The reader's package id; zeros without a reader.
    package_id get_package_id() const;

    // Appends the scene document to out: the atomized form, or the plain one
    // with tabs and line feeds. Adds the metadata block "__internal_use__"
    // with the number of ordinary blocks, unless it exists already, and, for
    // the atomized form, the atoms of "name", "type", "unit" and "tag".
    void write_document(std::string& out, bool atomize);

    // The private record; defined for the library's own code only.
    struct state;

  private:
    // Gives the document reader and writer the tables.
    friend class file_index_access;

    std::unique_ptr<state> state_;
};

// Opens the package at path and appends the scene document of its entry
// entry_name to out, as a reader sees it: the plain form, or the atomized
// one. For inspection; the errors of opening and reading pass. The path may
// be an http:// or https:// URL, read with the remote options.
void append_package_document(const std::filesystem::path& path, std::string& out, bool atomize,
                             const std::string& entry_name = "__zel_index__.xml",
                             const zela::remote_options& remote = {});

}  // namespace vorn::zel
