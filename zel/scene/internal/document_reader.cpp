// Reading the scene document into a file index.
//
// Three forms are read: the atomized one (root "zelfile" with an
// "atom_table"), the plain one (root "zelfile" without), and an older one
// with "metazel" and "zel" at the top and no root. Children are found by
// name, so their order does not matter. The metadata table is read first,
// so that the count in "__internal_use__" can size the block table before
// the large read.
//
// The document is text from a file and is treated as hostile: its nesting is
// measured before rapidxml (which recurses once per open element) parses it,
// a token must name an atom of the document's table, and a block must have
// a non-empty name. Each of these is a zel_exception; text that is not well
// formed is rapidxml's parse_error. Everything else follows the grammar
// loosely: unknown attributes and elements are ignored, and of two blocks
// with one name the first wins.
//
// The atomized form as the writer prints it is read first without a tree
// (atomized_stream_reader.hpp); what that reader declines comes here.
#include "zel/scene/internal/document_reader.hpp"

#include <rapidxml/rapidxml.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/xml_shape.hpp"
#include "zel/scene/internal/atomized_stream_reader.hpp"
#include "zel/scene/internal/block_access.hpp"
#include "zel/scene/internal/document_tokens.hpp"
#include "zel/scene/internal/file_index_state.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

using element = rapidxml::xml_node<char>;
using xml_attribute = rapidxml::xml_attribute<char>;

constexpr int parse_flags = rapidxml::parse_no_data_nodes | rapidxml::parse_no_string_terminators;
// The grammar nests four deep; this leaves room for what a reader ignores.
constexpr std::size_t max_depth = 32;

std::string_view name_of(const element& e) {
    return {e.name(), e.name_size()};
}
std::string_view name_of(const xml_attribute& a) {
    return {a.name(), a.name_size()};
}
std::string_view value_of(const element& e) {
    return {e.value(), e.value_size()};
}
std::string_view value_of(const xml_attribute& a) {
    return {a.value(), a.value_size()};
}

const element* child_named(const element& parent, std::string_view name) {
    return parent.first_node(name.data(), name.size());
}

const element& required_child(const element& parent, std::string_view name) {
    const element* child = child_named(parent, name);
    if (child == nullptr) {
        throw zel_exception(std::string(texts::lacks_element) + std::string(name));
    }
    return *child;
}

std::size_t count_children(const element& parent) {
    std::size_t count = 0;
    for (const element* e = parent.first_node(); e != nullptr; e = e->next_sibling()) {
        ++count;
    }
    return count;
}

[[noreturn]] void raise_unnamed(std::string_view element_name) {
    throw zel_exception(std::string(texts::block_without_name) + std::string(element_name));
}

[[noreturn]] void raise_empty_name() {
    throw zel_exception(std::string(texts::zero_length_block_name));
}

class document_reader {
  public:
    explicit document_reader(zel_file_index& index)
        : index_(index), state_(file_index_access::of(index)), atoms_(state_.atoms) {}

    void read(char* text) {
        constexpr xml_shape_limits limits{max_depth, ~std::uint64_t{0}, ~std::uint64_t{0}};
        if (xml_shape_of(text, limits) != xml_shape::within) {
            throw zel_exception(std::string(texts::too_deep_prefix) + std::to_string(max_depth) +
                                std::string(texts::too_deep_suffix));
        }
        rapidxml::xml_document<char> document;
        document.parse<parse_flags>(text);
        const element* root = child_named(document, texts::root_element);
        if (root == nullptr) {
            read_rootless(document);
        } else if (const element* table = child_named(*root, texts::atom_table_element)) {
            read_atomized(*root, *table);
            state_.atomized = true;
        } else {
            read_plain(*root);
        }
    }

  private:
    void read_rootless(const element& document) {
        read_plain_blocks(required_child(document, texts::metadata_element),
                          state_.metadata_blocks);
        const element& scene = required_child(document, texts::scene_element);
        index_.reserve_blocks(count_children(scene));
        read_plain_blocks(scene, state_.blocks);
    }

    void read_plain(const element& root) {
        read_plain_blocks(required_child(root, texts::metadata_element), state_.metadata_blocks);
        const element& scene = required_child(root, texts::scene_element);
        size_table(scene);
        read_plain_blocks(scene, state_.blocks);
    }

    void read_atomized(const element& root, const element& table) {
        for (const element* a = table.first_node(); a != nullptr; a = a->next_sibling()) {
            atoms_.append(a->value(), static_cast<std::uint32_t>(a->value_size()));
        }
        words_.find(atoms_);
        read_atomized_blocks(required_child(root, texts::metadata_element), state_.metadata_blocks);
        const element& scene = required_child(root, texts::scene_element);
        size_table(scene);
        read_atomized_blocks(scene, state_.blocks);
    }

    void size_table(const element& scene) { size_block_table(index_, count_children(scene)); }

    // Plain blocks intern as they go: the type, then per parameter its name,
    // text, type, unit and tag, then the attributes value first, then the
    // block's name.
    void read_plain_blocks(const element& parent, block_table& table) {
        for (const element* e = parent.first_node(); e != nullptr; e = e->next_sibling()) {
            zel_block* block =
                state_.block_pool.make(intern(name_of(*e)), atoms_, &state_.parameter_memory);
            block_access::reserve_parameters(*block, count_children(*e));
            for (const element* p = e->first_node(); p != nullptr; p = p->next_sibling()) {
                const intrusive_string name = intern(name_of(*p));
                const xml_attribute* type =
                    p->first_attribute(texts::type_attribute.data(), texts::type_attribute.size());
                const xml_attribute* unit =
                    p->first_attribute(texts::unit_attribute.data(), texts::unit_attribute.size());
                const xml_attribute* tag =
                    p->first_attribute(texts::tag_attribute.data(), texts::tag_attribute.size());
                const intrusive_string value = intern(value_of(*p));
                intrusive_generic_param param(value,
                                              type ? intern(value_of(*type)) : intrusive_string());
                if (unit != nullptr) {
                    param.set_unit(intern(value_of(*unit)));
                }
                if (tag != nullptr) {
                    param.set_tag(intern(value_of(*tag)));
                }
                block_access::insert_parameter(*block, name, param);
            }
            const xml_attribute* name = nullptr;
            for (const xml_attribute* a = e->first_attribute(); a != nullptr;
                 a = a->next_attribute()) {
                if (name_of(*a) == texts::name_attribute) {
                    name = name != nullptr ? name : a;
                    continue;
                }
                const intrusive_string value = intern(value_of(*a));
                block_access::append_extra_attribute(*block, intern(name_of(*a)), value);
            }
            if (name == nullptr) {
                raise_unnamed(name_of(*e));
            }
            if (name->value_size() == 0) {
                raise_empty_name();
            }
            state_.enter(table, intern(value_of(*name)), block);
        }
    }

    // Atomized blocks intern nothing: every word is an atom by number.
    void read_atomized_blocks(const element& parent, block_table& table) {
        for (const element* e = parent.first_node(); e != nullptr; e = e->next_sibling()) {
            zel_block* block =
                state_.block_pool.make(atom(name_of(*e)), atoms_, &state_.parameter_memory);
            block_access::reserve_parameters(*block, count_children(*e));
            for (const element* p = e->first_node(); p != nullptr; p = p->next_sibling()) {
                read_atomized_parameter(*p, *block);
            }
            const xml_attribute* name = nullptr;
            for (const xml_attribute* a = e->first_attribute(); a != nullptr;
                 a = a->next_attribute()) {
                if (name_of(*a) == words_.name) {
                    name = name != nullptr ? name : a;
                    continue;
                }
                block_access::append_extra_attribute(*block, atom(name_of(*a)), atom(value_of(*a)));
            }
            if (name == nullptr) {
                raise_unnamed(name_of(*e));
            }
            const intrusive_string block_name =
                name->value_size() == 0 ? intrusive_string() : atom(value_of(*name));
            if (block_name.empty()) {
                raise_empty_name();
            }
            state_.enter(table, block_name, block);
        }
    }

    void read_atomized_parameter(const element& p, zel_block& block) {
        const xml_attribute* type = nullptr;
        const xml_attribute* unit = nullptr;
        const xml_attribute* tag = nullptr;
        for (const xml_attribute* a = p.first_attribute(); a != nullptr; a = a->next_attribute()) {
            const std::string_view name = name_of(*a);
            if (type == nullptr && name == words_.type) {
                type = a;
            } else if (unit == nullptr && name == words_.unit) {
                unit = a;
            } else if (tag == nullptr && name == words_.tag) {
                tag = a;
            }
        }
        // An empty value or type is unset; an empty unit or tag is atom 0.
        intrusive_generic_param param(p.value_size() == 0 ? intrusive_string() : atom(value_of(p)),
                                      type == nullptr || type->value_size() == 0
                                          ? intrusive_string()
                                          : atom(value_of(*type)));
        if (unit != nullptr) {
            param.set_unit(atom(value_of(*unit)));
        }
        if (tag != nullptr) {
            param.set_tag(atom(value_of(*tag)));
        }
        block_access::insert_parameter(block, atom(name_of(p)), param);
    }

    intrusive_string intern(std::string_view text) { return atoms_.intern(intrusive_string(text)); }

    // The atom that a token names; the unset handle for the number of no
    // atom.
    intrusive_string atom(std::string_view token) const {
        const std::uint64_t number = tokens::decode(token);
        if (number == tokens::unfit) {
            throw zel_exception(std::string(texts::token_unfit) + std::string(token));
        }
        if (number == intrusive_string::no_index) {
            return intrusive_string();
        }
        if (number >= atoms_.size()) {
            throw zel_exception(std::string(texts::token_beyond_table) + std::string(token));
        }
        return atoms_.at(static_cast<std::uint32_t>(number));
    }

    zel_file_index& index_;
    zel_file_index::state& state_;
    atom_table& atoms_;
    tokens::attribute_words words_;
};

}  // namespace

void read_document(zel_file_index& index, char* text) {
    if (read_atomized_stream(index, text)) {
        file_index_access::of(index).atomized = true;
        return;
    }
    file_index_access::clear(index);
    read_document_tree(index, text);
}

void read_document_tree(zel_file_index& index, char* text) {
    document_reader(index).read(text);
}

}  // namespace vorn::zel
