// Printing a file index as the scene document.
//
// The bytes are those of rapidxml's printer over the document tree: in text,
// the characters & < > ' " are written as references; an attribute value is
// put in double quotes with ' left as it is, or, if it holds a double quote,
// in single quotes with " left as it is; names are copied unchanged; an
// element with neither text nor children is closed by "/>" right behind its
// last attribute. The plain form puts depth tabs before and a line feed
// after every node; the atomized form has no layout at all. The document is
// printed straight from the tables, with no tree in between, since a tree of
// a large scene would cost as much as the text.
#include "zel/scene/internal/document_writer.hpp"

#include <cstdint>
#include <string>
#include <string_view>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/scene/internal/document_tokens.hpp"
#include "zel/scene/internal/file_index_state.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

// How many blocks ahead of the one printed its object and its parameters are
// asked for.
constexpr std::size_t block_lead = 8;
constexpr std::size_t parameter_lead = 4;

constexpr auto expanded = [] {
    struct table {
        bool special[256] = {};
    } t;
    for (const unsigned char c : std::string_view("&<>'\"")) {
        t.special[c] = true;
    }
    return t;
}();

void append_reference(std::string& out, char c) {
    switch (c) {
        case '<':
            out.append("&lt;");
            break;
        case '>':
            out.append("&gt;");
            break;
        case '\'':
            out.append("&apos;");
            break;
        case '"':
            out.append("&quot;");
            break;
        default:
            out.append("&amp;");
            break;
    }
}

// Copies text with the five characters expanded, except keep.
void append_escaped(std::string& out, std::string_view text, char keep) {
    std::size_t run = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (expanded.special[static_cast<unsigned char>(c)] && c != keep) {
            out.append(text.data() + run, i - run);
            append_reference(out, c);
            run = i + 1;
        }
    }
    out.append(text.data() + run, text.size() - run);
}

class document_printer {
  public:
    document_printer(std::string& out, const atom_table& atoms, bool atomize)
        : out_(out), atoms_(atoms), atomize_(atomize) {}

    void print(const zel_file_index::state& index) {
        begin_line(0);
        out_.append("<?xml");
        attribute(texts::version_attribute, texts::declaration_version);
        attribute(texts::encoding_attribute, texts::declaration_encoding);
        out_.append("?>");
        end_line();

        begin_line(0);
        open_tag(texts::root_element);
        attribute(texts::version_attribute, texts::root_version);
        out_.push_back('>');
        end_line();
        table(texts::scene_element, index.blocks);
        table(texts::metadata_element, index.metadata_blocks);
        if (atomize_) {
            atom_table_element();
        }
        close_element(texts::root_element, 0);
    }

  private:
    void begin_line(int depth) {
        if (!atomize_) {
            out_.append(static_cast<std::size_t>(depth), '\t');
        }
    }
    void end_line() {
        if (!atomize_) {
            out_.push_back('\n');
        }
    }
    void open_tag(std::string_view name) {
        out_.push_back('<');
        out_.append(name);
    }
    void close_element(std::string_view name, int depth) {
        begin_line(depth);
        out_.append("</");
        out_.append(name);
        out_.push_back('>');
        end_line();
    }
    void attribute(std::string_view name, std::string_view value) {
        out_.push_back(' ');
        out_.append(name);
        out_.push_back('=');
        const char quote = value.find('"') == std::string_view::npos ? '"' : '\'';
        out_.push_back(quote);
        append_escaped(out_, value, quote == '"' ? '\'' : '"');
        out_.push_back(quote);
    }

    // A word of the document: the text itself, or the token of its atom. A
    // handle without text has no atom and prints as nothing.
    using token_buffer = char[tokens::max_digits];

    std::string_view word(intrusive_string handle, token_buffer& buffer) const {
        if (!atomize_ || handle.empty()) {
            return handle.view();
        }
        return token(handle.index, buffer);
    }
    std::string_view word(std::uint32_t number, token_buffer& buffer) const {
        if (number == zel_block::no_atom) {
            return {};
        }
        return atomize_ ? token(number, buffer) : atoms_.at(number).view();
    }

    static std::string_view token(std::uint32_t number, token_buffer& buffer) {
        return {buffer, tokens::encode(number, buffer)};
    }

    void table(std::string_view element, const block_table& blocks) {
        begin_line(1);
        open_tag(element);
        if (blocks.empty()) {
            out_.append("/>");
            end_line();
            return;
        }
        out_.push_back('>');
        end_line();
        // The table's order is not the order of the blocks in memory: each
        // block is fetched a few steps ahead, and its parameters after it.
        auto block_ahead = blocks.begin();
        auto parameters_ahead = blocks.begin();
        for (std::size_t i = 0; i < block_lead && block_ahead != blocks.end(); ++i) {
            __builtin_prefetch(block_ahead->second);
            ++block_ahead;
        }
        for (std::size_t i = 0; i < parameter_lead && parameters_ahead != blocks.end(); ++i) {
            parameters_ahead->second->prefetch_parameters();
            ++parameters_ahead;
        }
        for (const auto& [name, block] : blocks) {
            if (block_ahead != blocks.end()) {
                __builtin_prefetch(block_ahead->second);
                ++block_ahead;
            }
            if (parameters_ahead != blocks.end()) {
                parameters_ahead->second->prefetch_parameters();
                ++parameters_ahead;
            }
            print_block(name, *block);
        }
        close_element(element, 1);
    }

    void print_block(intrusive_string name, const zel_block& block) {
        begin_line(2);
        token_buffer buffer;
        const std::string_view type = word(block.type(), buffer);
        open_tag(type);
        attribute_pair(name_word_, name);
        for (const zel_block::attribute& a : block.extra_attributes()) {
            attribute_pair(a.first, a.second);
        }
        if (block.parameter_count() == 0) {
            out_.append("/>");
            end_line();
            return;
        }
        out_.push_back('>');
        end_line();
        const zel_block::parameter_range parameters = block.parameters();
        for (auto at = parameters.begin(); at != parameters.end(); ++at) {
            print_parameter(at.atoms());
        }
        close_element(type, 2);
    }

    // A parameter as the block keeps it, by atom numbers; no number is that
    // of an empty atom.
    void print_parameter(const zel_block::parameter_atoms& p) {
        begin_line(3);
        token_buffer buffer;
        const std::string_view name = word(p.name, buffer);
        open_tag(name);
        attribute_pair(type_word_, p.type);
        if (p.unit != zel_block::no_atom) {
            attribute_pair(unit_word_, p.unit);
        }
        if (p.tag != zel_block::no_atom) {
            attribute_pair(tag_word_, p.tag);
        }
        if (p.value == zel_block::no_atom) {
            out_.append("/>");
            end_line();
            return;
        }
        out_.push_back('>');
        if (atomize_) {
            token_buffer value_buffer;
            out_.append(token(p.value, value_buffer));
        } else {
            append_escaped(out_, atoms_.at(p.value).view(), '\0');
        }
        out_.append("</");
        out_.append(name);
        out_.push_back('>');
        end_line();
    }

    void attribute_pair(intrusive_string name, intrusive_string value) {
        token_buffer name_buffer;
        token_buffer value_buffer;
        attribute(word(name, name_buffer), word(value, value_buffer));
    }
    void attribute_pair(intrusive_string name, std::uint32_t value) {
        token_buffer name_buffer;
        token_buffer value_buffer;
        attribute(word(name, name_buffer), word(value, value_buffer));
    }

    void atom_table_element() {
        open_tag(texts::atom_table_element);
        if (atoms_.size() == 0) {
            out_.append("/>");
            return;
        }
        out_.push_back('>');
        for (const intrusive_string& atom : atoms_) {
            open_tag(texts::atom_element);
            if (atom.empty()) {
                out_.append("/>");
                continue;
            }
            out_.push_back('>');
            append_escaped(out_, atom.view(), '\0');
            out_.append("</");
            out_.append(texts::atom_element);
            out_.push_back('>');
        }
        out_.append("</");
        out_.append(texts::atom_table_element);
        out_.push_back('>');
    }

  public:
    // The handles of the four attribute names: their atoms in the atomized
    // form, the words themselves in the plain one.
    void set_words(intrusive_string name, intrusive_string type, intrusive_string unit,
                   intrusive_string tag) {
        name_word_ = name;
        type_word_ = type;
        unit_word_ = unit;
        tag_word_ = tag;
    }

  private:
    std::string& out_;
    const atom_table& atoms_;
    const bool atomize_;
    intrusive_string name_word_;
    intrusive_string type_word_;
    intrusive_string unit_word_;
    intrusive_string tag_word_;
};

// Adds the block that tells a reader how many ordinary blocks to expect. It
// exists already in an index that was read or written before, and then the
// old count stays: that failure, and any other, is no reason not to write.
void add_internal_block(zel_file_index& index, std::size_t block_count) {
    try {
        zel_block* block = index.add_metadata_block(std::string(texts::internal_use_type),
                                                    std::string(texts::internal_use_name));
        block->add_parameter(std::string(texts::block_count_parameter),
                             generic_param(static_cast<unsigned long long>(block_count)));
    } catch (const std::exception&) {
    }
}

}  // namespace

void write_document(zel_file_index& index, std::string& out, bool atomize) {
    zel_file_index::state& s = file_index_access::of(index);
    add_internal_block(index, s.blocks.size());
    document_printer printer(out, s.atoms, atomize);
    if (atomize) {
        // Interned in this order; a writer's index holds them already.
        const intrusive_string name = s.atoms.intern(intrusive_string(texts::name_attribute));
        const intrusive_string type = s.atoms.intern(intrusive_string(texts::type_attribute));
        const intrusive_string unit = s.atoms.intern(intrusive_string(texts::unit_attribute));
        const intrusive_string tag = s.atoms.intern(intrusive_string(texts::tag_attribute));
        printer.set_words(name, type, unit, tag);
    } else {
        printer.set_words(
            intrusive_string(texts::name_attribute), intrusive_string(texts::type_attribute),
            intrusive_string(texts::unit_attribute), intrusive_string(texts::tag_attribute));
    }
    printer.print(s);
}

}  // namespace vorn::zel
