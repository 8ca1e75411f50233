// Writes one scene package, from its creation to its close.
//
// The constructor creates the package file at once. Blocks and binaries are
// added in any order: binaries go to the archive as they are added, and
// equal stored bytes are kept once unless allowDup is set, so the entry name
// that add_binary_data returns is the one to link to. The scene stays in
// memory until the close, which turns it into the document
// "__zel_index__.xml" (atomized or plain) with its terminating NUL, then
// writes the table of contents and the header. Only then is the file a
// package.
//
// Closing. close() is the checked form: it raises what went wrong, above all
// a write that did not reach the disk, which never passes for a complete
// package. The destructor closes a writer that nobody closed and raises the
// same way, unless it runs while another exception unwinds the stack: then
// it closes quietly, and a failed close leaves a file that readers refuse.
// After a close, whether it raised or not, the writer and every block it
// handed out are finished with; a failed close still writes a table of
// contents for the entries that reached the archive.
//
// Libraries. A package may link into content libraries, other packages,
// each known to the writer by its contents file (contents_file.hpp) under an
// alias. Every alias a link names is recorded, registered or not, and the
// close lists them in the metadata block "external_refs". Registered
// libraries let the writer prove links into them and find bytes they hold;
// both cost hash probes and no file access.
//
// The four atoms "name", "unit", "type", "tag" come first in every package.
// A writer and its blocks belong to one thread at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "zel/archive/remote_options.hpp"
#include "zel/scene/block.hpp"
#include "zel/scene/block_owner.hpp"
#include "zel/scene/file_index.hpp"

namespace vorn::zel {

class zel_file_writer_impl;

// The owner of the blocks it makes (block_owner.hpp): they store binaries and
// prove links through it. The validation bits of set_validation_mode,
// validate_library_links and validate_library_binaries, are defined there.
class zel_file_writer final : public block_owner {
  public:
    // Creates the package at locationToWrite, replacing any file there.
    // allowDup keeps a second copy of bytes the package already holds;
    // atomize chooses the atomized document over the plain one.
    zel_file_writer(const std::filesystem::path& locationToWrite, bool allowDup, bool atomize);
    zel_file_writer(const zel_file_writer&) = delete;
    zel_file_writer& operator=(const zel_file_writer&) = delete;
    ~zel_file_writer() noexcept(false);

    // Adds a block to the scene, or to the package's metadata. Raises, in
    // this order: std::invalid_argument for an empty name, an empty type or
    // a type that fails check_xml_name; zel_exception if the table holds the
    // name. The block copies the validation mode as it stands now.
    zel_block& add_block(const std::string& type, const std::string& name);
    zel_block& add_metadata_block(const std::string& type, const std::string& name);
    bool exists_block(const std::string& name) const;
    bool exists_metadata_block(const std::string& name) const;

    // Stores the file's bytes, or size bytes at data, under name_hint, and
    // returns the name of the entry that holds them: name_hint, or the entry
    // that held the same stored bytes already when allowDup is clear. They
    // are stored as they are if the hint ends in an extension given to
    // add_uncompressed_extension, deflated otherwise. A name that is taken
    // by other bytes raises the archive's "entry already exists". With bit
    // 1 of the validation mode set, stored bytes that a registered library
    // holds raise zel_validation_exception "added binary data available in
    // alias <alias> as <name>"; the entry stays stored all the same.
    std::string add_binary_data(const std::string& name_hint,
                                const std::filesystem::path& path) override;
    std::string add_binary_data(const std::string& name_hint, const char* data,
                                std::uint64_t size) override;
    // An extension with its leading dot, compared case-sensitively with the
    // text from the last dot of a hint.
    void add_uncompressed_extension(const std::string& extension);
    // Stores the mask; blocks that exist keep the mode they were made with.
    void set_validation_mode(std::uint32_t mode);
    std::uint32_t validation_mode() const noexcept;

    // Records a library alias that a link named; each becomes one "ref" of
    // the metadata block "external_refs" at the close. Called by blocks.
    void add_referenced_library(const std::string& alias) override;

    // Registers the library whose contents file lies at path under alias,
    // the text before the "#" of links into it. The contents file is read
    // whole now (its errors, contents_file.hpp, pass and register nothing).
    // An alias registered before raises zel_exception and keeps the first
    // registration: "re-registered exactly the same alias contents_file:
    // <alias>" if both have one package id, which is also the answer for the
    // same file at another path, and "Tried to register contents with alias
    // <alias> with different contents" otherwise. One file may be registered
    // under several aliases. An empty alias raises zel_exception "a library
    // alias must not be empty".
    // The path may be an http:// or https:// URL, read with the remote
    // options set last.
    void register_library_contents(const std::filesystem::path& path, const std::string& alias);
    // How contents files that are URLs are read from now on.
    void set_remote_options(const zela::remote_options& remote);
    // Proves that the library of that alias holds a binary of that name;
    // raises zel_validation_exception "contents for library name \"<alias>\"
    // was not found" or "... could not find a binary named <name>".
    void check_library_binary(const std::string& alias, const std::string& name) override;
    // Proves that the library's scene holds a block of that name and returns
    // it; raises plain zel_exception with the same words, "... was not
    // found" or "... could not find a block named <name>": the two checks
    // are told apart by type.
    zel_block& check_library_block(const std::string& alias, const std::string& name) override;
    // Whether a registered library holds the bytes as this writer would store
    // them under name (compressed unless name ends in an uncompressed
    // extension). On a hit, alias and binary_name receive the first library
    // in table order that holds them and its name for them; otherwise they
    // are left as they are. The bytes are never stored.
    bool find_data_in_libraries(const char* data, std::uint64_t size, const std::string& name,
                                std::string& alias, std::string& binary_name) const;
    // The same for the file at path, judged by its path as name. Raises
    // zel_exception "library binary file <path> not found on local
    // filesystem" if it does not exist.
    bool find_binary_in_libraries(const std::filesystem::path& path, std::string& alias,
                                  std::string& binary_name) const;

    // The entry that receives the scene document; "__zel_index__.xml" unless
    // changed before the close.
    void set_index_entry_name(const std::string& name);
    // The scene being written.
    zel_file_index& file_index();

    // Finishes the package; see above. A second call does nothing.
    void close();

  private:
    std::unique_ptr<zel_file_writer_impl> impl_;
    int uncaught_at_construction_;
};

}  // namespace vorn::zel
