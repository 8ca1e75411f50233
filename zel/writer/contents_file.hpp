// What a writer knows of a content library: its contents file (.zelc).
//
// A contents file is a small package made from a library package by
// create_contents_file. It holds two entries:
//   "__zel_index__.xml"     the library's own scene, copied as it is;
//   "__zel_binaries__.xml"  the catalogue, an atomized scene document with
//                           one block of type "binary" for each entry of the
//                           library, named by the entry, whose first two
//                           attributes after "name" are "hash" and "size"
//                           (its binary_identity, in decimal), and the
//                           metadata block "original_zel_package" whose
//                           parameter "id" holds the library's package_id.
// The bytes of the binaries are not in it.
//
// zel_contents_file reads such a file whole when it is constructed and never
// changes afterwards: every question after that is one or two hash probes
// and no file access. Opening, in this order:
//  1. the archive: its errors pass (a missing file is "zel file <path> not
//     found on local filesystem", a file that is no archive gives the
//     archive's own text);
//  2. the two scenes: an archive lacking either entry raises zel_exception
//     "File <path> is not a contents file!"; a document that is not well
//     formed raises what the scene reader raises;
//  3. every "binary" block of the catalogue. The identity is read by
//     position, the first attribute behind "name" as the hash and the second
//     as the size; their names are not looked at. A block with fewer than
//     two such attributes raises zel_exception "File <path>: binary block
//     <name> lacks its attributes \"hash\" and \"size\"", and one whose hash
//     or size is not a whole unsigned 64-bit decimal number raises "File
//     <path>: binary block <name> has a hash or size that is no number:
//     <text>". A block of identity (0, 0), which means "no entry", is
//     skipped. Of two names with one identity, the first in the catalogue's
//     list answers name_of;
//  4. the library's own "external_refs", if it has them;
//  5. the package id: a catalogue without "original_zel_package" raises
//     "Metadata Block named original_zel_package was not found", and an "id"
//     that is missing or does not begin with two unsigned 64-bit numbers
//     raises "File <path>: \"id\" of original_zel_package does not hold two
//     numbers". Text behind the two numbers is ignored.
// Every zel_exception above carries the prefix "zel exception: ".
//
// The names that the object hands out are atoms of its catalogue or its
// scene and live as long as the object. It is not thread-safe, and after
// construction only reads.
#pragma once

#include <google/dense_hash_map>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zel/archive/binary_identity.hpp"
#include "zel/archive/package_id.hpp"
#include "zel/archive/reader.hpp"
#include "zel/archive/remote_options.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/scene/block.hpp"
#include "zel/scene/file_index.hpp"

namespace vorn::zel {

class zel_contents_file {
  public:
    // Opens the contents file at path, or at an http:// or https:// URL given
    // as the path's text (open_archive.hpp), read with the remote options.
    // Messages show a URL without its query string.
    explicit zel_contents_file(const std::filesystem::path& path,
                               const zela::remote_options& remote = {});
    // Reads a contents file from an archive opened already; origin names it
    // in the messages where the path would stand.
    zel_contents_file(std::shared_ptr<zela::zel_archive_reader> archive, const std::string& origin);
    zel_contents_file(const zel_contents_file&) = delete;
    zel_contents_file& operator=(const zel_contents_file&) = delete;
    ~zel_contents_file();

    // The library package's id as the catalogue records it.
    package_id get_package_id() const noexcept { return package_id_; }

    // Blocks of the library's scene. get_block raises zel_exception "Block
    // named <name> was not found".
    bool has_block(std::string_view name) const noexcept;
    zel_block* get_block(std::string_view name) const;
    zel_block* get_block(intrusive_string name) const;
    const std::vector<zel_file_index::block_ref>& blocks_of_type(std::string_view type) const;
    const std::vector<zel_file_index::block_ref>& blocks_of_type(intrusive_string type) const;

    // The catalogue's block of a binary, with the entry's parameters; raises
    // as get_block does.
    zel_block* get_binary_record(std::string_view name) const;
    zel_block* get_binary_record(intrusive_string name) const;
    // The names of all "binary" blocks, in the catalogue's order.
    std::vector<intrusive_string> binary_names() const;
    std::size_t binary_count() const noexcept { return binaries_by_name_.size(); }

    // The identity of the binary of that name; (0, 0) if there is none.
    binary_identity identity_of(std::string_view name) const;
    binary_identity identity_of(intrusive_string name) const;
    // The name of a binary with that identity; the unset handle if none.
    intrusive_string name_of(const binary_identity& identity) const;

    // The library's own dependencies: the aliases of the "ref" parameters of
    // its "external_refs", in their order.
    const std::vector<intrusive_string>& external_references() const noexcept {
        return external_references_;
    }

    // The two scenes.
    const zel_file_index& index_scene() const noexcept { return *index_scene_; }
    const zel_file_index& binaries_scene() const noexcept { return *binaries_scene_; }

  private:
    // Both numbers come from the file, so they are hashed together: a plain
    // combination such as their xor would let a catalogue put every identity
    // into one probe chain without any search.
    struct identity_hash {
        std::size_t operator()(const binary_identity& identity) const noexcept {
            const std::uint64_t words[] = {identity.hash, identity.size};
            return static_cast<std::size_t>(
                hash_bytes(reinterpret_cast<const char*>(words), sizeof words));
        }
    };

    void read_catalogue(const std::string& origin);
    void read_external_references();
    void read_package_id(const std::string& origin);

    // The two scenes come first, so that the tables, which hold atoms of the
    // catalogue, are destroyed before them.
    std::unique_ptr<zel_file_index> index_scene_;
    std::unique_ptr<zel_file_index> binaries_scene_;
    google::dense_hash_map<intrusive_string, binary_identity, hash<intrusive_string>>
        binaries_by_name_;
    google::dense_hash_map<binary_identity, intrusive_string, identity_hash> names_by_identity_;
    std::vector<intrusive_string> external_references_;
    package_id package_id_;
};

}  // namespace vorn::zel
