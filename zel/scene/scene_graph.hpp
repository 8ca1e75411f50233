// An editable view of a scene that spreads over several packages.
//
// The root is the graph's own modifiable copy of one scene; links whose left
// part is not empty lead into other packages, which the graph opens through a
// zel_scene_resolver. An empty left part means the scene in which the link
// was read: the root for links of the root, the other file for links read
// there.
//
// Redirects. A file redirect sends every use of a file name to another name;
// adding one for a name that has one replaces its target. A block redirect
// sends one link ("file#block", or "#block" for the root) to another link;
// the first redirect for a key wins and later ones are ignored. File names in
// a block redirect are redirected when the block redirect is made.
//
// Hooks. The link mapper may rewrite a link before it is resolved, and offers
// a location for a binary that no package holds; the binary provider is the
// last source of a binary's bytes. Both have defaults that do nothing; an
// empty function is allowed, and the operations that call it then raise
// std::bad_function_call.
//
// Modifying. get_modifiable_block hands out a block of the root. A block of
// another file is copied into the root first, under the name
//   block + "_modified_from_" + file + "(POUND)" + block
// (with "x" appended while the name is taken), its texts interned into the
// root's atom table, its local links ("#m") rewritten to point into the file
// it came from, and a block redirect sends the old link to the copy, so the
// next call and every resolve_link from the root find the copy.
//
// A graph belongs to one thread at a time; its resolver may be shared.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/package_id.hpp"
#include "zel/archive/system/read_buffer.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/scene/block.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/scene/scene_resolver.hpp"

namespace vorn::zel {

class zel_scene_graph {
  public:
    // Called with the target of a link (the text behind its first "#") and
    // a text to rewrite: the whole link for resolve_link, an empty location
    // for get_binary. Returns whether it rewrote it.
    using link_mapper = std::function<bool(const std::string& target, std::string& link)>;
    // Called with a whole binary link; returns the payload and sets size, or
    // returns null.
    using binary_provider =
        std::function<std::shared_ptr<char>(const std::string& link, std::uint64_t& size)>;

    // The root becomes a copy of index, or index's own content if the
    // caller's pointer is its only owner: index is then left empty.
    zel_scene_graph(std::shared_ptr<zel_scene_resolver> resolver,
                    const std::shared_ptr<zel_file_index>& index);
    zel_scene_graph(const zel_scene_graph&) = delete;
    zel_scene_graph& operator=(const zel_scene_graph&) = delete;
    ~zel_scene_graph();

    const std::shared_ptr<zel_file_index>& root_index() const noexcept;
    const std::shared_ptr<zel_scene_resolver>& resolver() const noexcept;

    // Raises std::invalid_argument for an empty from.
    void add_file_redirect(const std::string& from, const std::string& to);
    void add_block_redirect(const std::string& from_file, const std::string& from_block,
                            const std::string& to_file, const std::string& to_block);
    // The target of the file's redirect, or null; valid until the next
    // redirect is added.
    const std::string* find_file_redirect(const std::string& name) const;

    void set_link_mapper(link_mapper mapper);
    void set_binary_provider(binary_provider provider);

    // Where link, read in from_index, leads: a file name (empty for
    // from_index itself, which for the root is the root) and a block name.
    // The root's block redirects apply to links of the root and to links
    // that name a file; file redirects to links that name a file. Raises
    // std::out_of_range "invalid string position" if the link, once mapped,
    // has no "#".
    void resolve_link(const std::string& link, const std::shared_ptr<zel_file_index>& from_index,
                      std::string& file_out, std::string& block_out) const;

    // A block of the root standing for block of file (empty for the root),
    // copied into the root first if it lives elsewhere; see above. Raises
    // the scene's "Block named <name> was not found", the resolver's errors
    // for a file that cannot be opened, std::invalid_argument "invalid char
    // filename argument" for a file name that is not UTF-8.
    zel_block* get_modifiable_block(const std::string& file, const std::string& block);

    // The binary of link, raw or decoded as with the resolver, from the
    // first of these that has it: the package the link names (or
    // scene_index, for an empty left part), the location the link mapper
    // gives, the binary provider. Missing files and entries on the first
    // road count as no answer; the last resort is zel_exception "Failed to
    // get binary: <link>". A failure to fetch from a server
    // (zel_remote_exception) is no answer but passes. A link without "#" is
    // taken as both a file and an entry name.
    std::shared_ptr<const read_buffer> get_binary(const std::string& link, bool raw);
    std::shared_ptr<const read_buffer> get_binary(
        const std::string& link, bool raw, const std::shared_ptr<zel_file_index>& scene_index);

    // The binaries of many links, in their order, as get_binary gives each;
    // the links into one package are fetched together, so a package on a
    // server answers them in a few round trips instead of one each.
    std::vector<std::shared_ptr<const read_buffer>> get_binaries(
        const std::vector<std::string>& links, bool raw);

    // The scene of the package at path, a UTF-8 text, through the resolver.
    std::shared_ptr<zel_file_index> open_file_index(const std::string& path);
    package_id get_package_id() const;

    // The values of the "ref" parameters of the root's metadata block
    // "external_refs": the libraries the scene links into, in its order.
    const std::vector<intrusive_string>& external_references() const noexcept;

  private:
    struct state;
    std::unique_ptr<state> state_;
};

}  // namespace vorn::zel
