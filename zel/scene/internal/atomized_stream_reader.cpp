#include "zel/scene/internal/atomized_stream_reader.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel/foundation/value_parse.hpp"
#include "zel/scene/internal/block_access.hpp"
#include "zel/scene/internal/document_tokens.hpp"
#include "zel/scene/internal/file_index_state.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

// Where the text leaves the written shape; caught in read_atomized_stream
// only.
struct declined {};

constexpr std::uint32_t unset = intrusive_string::no_index;

constexpr std::string_view declaration_start = "<?xml";
constexpr std::string_view empty_scene = "<zel/>";
constexpr std::string_view scene_open = "<zel>";
constexpr std::string_view scene_close = "</zel>";
constexpr std::string_view metadata_open = "<metazel>";
constexpr std::string_view metadata_close = "</metazel>";
constexpr std::string_view atoms_open = "<atom_table>";
constexpr std::string_view document_end = "</atom_table></zelfile>";

enum char_class : std::uint8_t {
    other = 0,
    name_char = 1,   // the token alphabet: also a name character to the parser
    space_char = 2,  // the parser's white space
    text_stop = 4,   // ends a run of text: "<", "&" and the NUL
    value_stop = 8,  // ends an attribute value here: the quote, "<", "&", NUL
};

constexpr std::array<std::uint8_t, 256> make_classes() {
    std::array<std::uint8_t, 256> classes{};
    for (const char c : tokens::alphabet) {
        classes[static_cast<unsigned char>(c)] |= name_char;
    }
    for (const char c : {' ', '\t', '\n', '\r'}) {
        classes[static_cast<unsigned char>(c)] |= space_char;
    }
    for (const char c : {'<', '&', '\0'}) {
        classes[static_cast<unsigned char>(c)] |= text_stop | value_stop;
    }
    classes[static_cast<unsigned char>('"')] |= value_stop;
    return classes;
}

constexpr std::array<std::uint8_t, 256> classes = make_classes();

bool has(char c, char_class cls) {
    return (classes[static_cast<unsigned char>(c)] & cls) != 0;
}

bool only_space(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return has(c, space_char); });
}

// The five references that the writer prints, each with its character.
constexpr std::array<std::pair<std::string_view, char>, 5> references{{
    {"&amp;", '&'},
    {"&lt;", '<'},
    {"&gt;", '>'},
    {"&quot;", '"'},
    {"&apos;", '\''},
}};

class stream_reader {
  public:
    stream_reader(zel_file_index& index, const char* text)
        : index_(index),
          state_(file_index_access::of(index)),
          atoms_(state_.atoms),
          p_(text),
          end_(text + std::strlen(text)) {}

    void read() {
        skip_declaration();
        expect('<');
        if (name() != texts::root_element ||
            !attributes([](std::string_view, std::string_view) {})) {
            throw declined{};
        }
        const std::string_view rest(p_, static_cast<std::size_t>(end_ - p_));
        if (!rest.ends_with(document_end)) {
            throw declined{};
        }
        // The three tables are found from the end, where the writer puts
        // them; reading each one to its expected end then proves that they
        // follow each other with nothing between.
        const char* const atoms_end = end_ - document_end.size();
        const char* const atoms_tag = find_last(atoms_open, atoms_end);
        const char* const atoms_begin = atoms_tag + atoms_open.size();
        // Offsets are compared before a pointer is moved back, so that no
        // pointer is formed before the text.
        if (static_cast<std::size_t>(atoms_tag - p_) < metadata_close.size()) {
            throw declined{};
        }
        const char* const metadata_end = atoms_tag - metadata_close.size();
        if (!at_text(metadata_end, metadata_close)) {
            throw declined{};
        }
        const char* const metadata_tag = find_last(metadata_open, metadata_end);
        const char* const metadata_begin = metadata_tag + metadata_open.size();

        const char* scene_end = nullptr;
        if (at_text(p_, empty_scene)) {
            if (p_ + empty_scene.size() != metadata_tag) {
                throw declined{};
            }
        } else if (at_text(p_, scene_open)) {
            if (static_cast<std::size_t>(metadata_tag - p_) <
                scene_open.size() + scene_close.size()) {
                throw declined{};
            }
            scene_end = metadata_tag - scene_close.size();
            if (!at_text(scene_end, scene_close)) {
                throw declined{};
            }
        } else {
            throw declined{};
        }
        const char* const scene_begin = p_;

        // An atom the writer prints takes at least eight bytes ("<a>x</a>"),
        // so this is room for all of them, sized by text already in memory.
        p_ = atoms_begin;
        atoms_.reserve(static_cast<std::size_t>(atoms_end - atoms_begin) / 8);
        read_atoms(atoms_end);
        words_.find(atoms_);

        p_ = metadata_begin;
        read_blocks(metadata_end);
        enter_pending(state_.metadata_blocks);

        if (scene_end != nullptr) {
            p_ = scene_begin + scene_open.size();
            read_blocks(scene_end);
        }
        size_block_table(index_, pending_.size());
        enter_pending(state_.blocks);
    }

  private:
    // The parser skips a declaration up to the first "?>".
    void skip_declaration() {
        if (!at_text(p_, declaration_start) || !has(p_[declaration_start.size()], space_char)) {
            return;
        }
        const char* close = std::strstr(p_, "?>");
        if (close == nullptr) {
            throw declined{};
        }
        p_ = close + 2;
    }

    // The start of the last occurrence of text between p_ and end.
    const char* find_last(std::string_view text, const char* end) const {
        if (end < p_) {
            throw declined{};
        }
        const std::string_view within(p_, static_cast<std::size_t>(end - p_));
        const std::size_t at = within.rfind(text);
        if (at == std::string_view::npos) {
            throw declined{};
        }
        return p_ + at;
    }

    bool at_text(const char* at, std::string_view text) const {
        return static_cast<std::size_t>(end_ - at) >= text.size() &&
               std::memcmp(at, text.data(), text.size()) == 0;
    }

    // The text ends in a NUL at end_, which matches no expected character,
    // so a read never passes it.
    void expect(char c) {
        if (*p_ != c) {
            throw declined{};
        }
        ++p_;
    }

    std::string_view name() {
        const char* const begin = p_;
        while (has(*p_, name_char)) {
            ++p_;
        }
        if (p_ == begin) {
            throw declined{};
        }
        return {begin, static_cast<std::size_t>(p_ - begin)};
    }

    // Reads the attributes after an element's name, each preceded by one
    // space and quoted in double quotes, and the end of the tag; true if the
    // element has contents, false for "/>".
    template <typename Each>
    bool attributes(Each&& each) {
        while (*p_ == ' ') {
            ++p_;
            const std::string_view attribute = name();
            expect('=');
            expect('"');
            const char* const begin = p_;
            while (!has(*p_, value_stop)) {
                ++p_;
            }
            const std::string_view value(begin, static_cast<std::size_t>(p_ - begin));
            expect('"');
            each(attribute, value);
        }
        if (*p_ == '>') {
            ++p_;
            return true;
        }
        expect('/');
        expect('>');
        return false;
    }

    void close_tag() {
        expect('<');
        expect('/');
        name();
        expect('>');
    }

    // The run of text up to the next "<"; a run of nothing but white space is
    // no text, as the parser drops it.
    std::string_view text_run() {
        const char* const begin = p_;
        while (!has(*p_, text_stop)) {
            ++p_;
        }
        const std::string_view text(begin, static_cast<std::size_t>(p_ - begin));
        return only_space(text) && *p_ == '<' ? std::string_view() : text;
    }

    // An atom's text with its references translated into scratch_.
    std::string_view atom_text() {
        std::string_view text = text_run();
        if (*p_ != '&') {
            return text;
        }
        scratch_.assign(text);
        while (*p_ == '&') {
            const auto* found =
                std::find_if(references.begin(), references.end(),
                             [this](const auto& r) { return at_text(p_, r.first); });
            if (found == references.end()) {
                throw declined{};
            }
            scratch_.push_back(found->second);
            p_ += found->first.size();
            const char* const begin = p_;
            while (!has(*p_, text_stop)) {
                ++p_;
            }
            scratch_.append(begin, static_cast<std::size_t>(p_ - begin));
        }
        return scratch_;
    }

    // An atom may read as empty: the writer's atom of nothing but white
    // space does. Such atoms are noted, so that a block never keeps their
    // numbers.
    void read_atoms(const char* end) {
        while (p_ < end) {
            expect('<');
            name();
            std::string_view text;
            if (attributes([](std::string_view, std::string_view) {})) {
                text = atom_text();
                close_tag();
            }
            empty_atoms_ = empty_atoms_ || text.empty();
            atoms_.append(text.data() != nullptr ? text.data() : p_,
                          static_cast<std::uint32_t>(text.size()));
        }
        if (p_ != end) {
            throw declined{};
        }
    }

    // Enters the blocks read into table in their order. Entering hashes each
    // name, whose text lies somewhere in the atom table: it is asked for a
    // few blocks ahead.
    void enter_pending(block_table& table) {
        constexpr std::size_t lead = 8;
        for (std::size_t i = 0; i < pending_.size(); ++i) {
            if (i + lead < pending_.size()) {
                __builtin_prefetch(pending_[i + lead].first.data);
            }
            state_.enter(table, pending_[i].first, pending_[i].second);
        }
        pending_.clear();
    }

    // Reads the blocks up to the closing tag of their parent, which must be at
    // end, into pending_.
    void read_blocks(const char* end) {
        while (p_[0] == '<' && p_[1] != '/') {
            ++p_;
            read_block();
        }
        if (p_ != end) {
            throw declined{};
        }
    }

    // A block's parameters are kept by their atom numbers as they stand in
    // the text; the atoms themselves are not looked at.
    void read_block() {
        const std::string_view type = name();
        block_attributes_.clear();
        const bool contents =
            attributes([this](std::string_view attribute, std::string_view value) {
                block_attributes_.emplace_back(attribute, value);
                // The handles of the block's own words are wanted once its
                // parameters are read; the name's lies anywhere in the table.
                prefetch_atom(value);
            });
        parameters_.clear();
        if (contents) {
            while (p_[0] == '<' && p_[1] != '/') {
                ++p_;
                read_parameter();
            }
            close_tag();
        }
        zel_block* block =
            state_.block_pool.make(atom(number_of(type)), atoms_, &state_.parameter_memory);
        if (empty_atoms_) {
            for (zel_block::parameter_atoms& p : parameters_) {
                for (std::uint32_t* number : {&p.name, &p.value, &p.type, &p.unit, &p.tag}) {
                    *number = atom(*number).empty() ? zel_block::no_atom : *number;
                }
            }
        }
        block_access::insert_parameters(*block, parameters_);
        const std::string_view* block_name = nullptr;
        for (const auto& [attribute, value] : block_attributes_) {
            if (attribute == words_.name) {
                block_name = block_name != nullptr ? block_name : &value;
                continue;
            }
            block_access::append_extra_attribute(*block, atom(number_of(attribute)),
                                                 atom(number_of(value)));
        }
        if (block_name == nullptr || block_name->empty()) {
            throw declined{};
        }
        const intrusive_string name = atom(number_of(*block_name));
        if (name.empty()) {
            throw declined{};
        }
        pending_.emplace_back(name, block);
    }

    void read_parameter() {
        zel_block::parameter_atoms staged;
        staged.name = number_of(name());
        // Of each of the three words the first attribute counts; a word that
        // is missing leaves its part unset.
        bool has_type = false;
        bool has_unit = false;
        bool has_tag = false;
        const bool contents = attributes([&](std::string_view attribute, std::string_view value) {
            if (!has_type && attribute == words_.type) {
                // An empty type is unset, as an empty value is; only an
                // empty unit or tag is atom 0.
                staged.type = value.empty() ? unset : number_of(value);
                has_type = true;
            } else if (!has_unit && attribute == words_.unit) {
                staged.unit = number_of(value);
                has_unit = true;
            } else if (!has_tag && attribute == words_.tag) {
                staged.tag = number_of(value);
                has_tag = true;
            }
        });
        if (contents) {
            const std::string_view text = text_run();
            if (!text.empty()) {
                staged.value = number_of(text);
            }
            close_tag();
        }
        parameters_.push_back(staged);
    }

    void prefetch_atom(std::string_view token) const {
        const std::uint64_t number = tokens::decode(token);
        if (number < atoms_.size()) {
            __builtin_prefetch(&*(atoms_.begin() + number));
        }
    }

    // The atom number that a token names, checked against the table; a token
    // that fits no number is beyond it too.
    std::uint32_t number_of(std::string_view token) const {
        const std::uint64_t number = tokens::decode(token);
        if (number == unset) {
            return unset;
        }
        if (number >= atoms_.size()) {
            throw declined{};
        }
        return static_cast<std::uint32_t>(number);
    }

    intrusive_string atom(std::uint32_t number) const {
        return number == unset ? intrusive_string() : atoms_.at(number);
    }

    zel_file_index& index_;
    zel_file_index::state& state_;
    atom_table& atoms_;
    const char* p_;
    const char* const end_;
    std::string scratch_;
    std::vector<std::pair<std::string_view, std::string_view>> block_attributes_;
    std::vector<zel_block::parameter_atoms> parameters_;
    bool empty_atoms_ = false;
    std::vector<std::pair<intrusive_string, zel_block*>> pending_;
    tokens::attribute_words words_;
};

}  // namespace

bool read_atomized_stream(zel_file_index& index, const char* text) {
    try {
        stream_reader(index, text).read();
        return true;
    } catch (const declined&) {
        return false;
    }
}

void size_block_table(zel_file_index& index, std::size_t children) {
    unsigned int count = 0;
    try {
        const zel_block* internal = index.get_metadata_block(texts::internal_use_name);
        const zel_block::parameter_id num = internal->find_parameter(texts::block_count_parameter);
        if (num == zel_block::no_parameter ||
            !parse_value(internal->parameter_at(num).value.value().view(), count)) {
            return;
        }
    } catch (const std::exception&) {
        return;
    }
    index.reserve_blocks(std::min<std::size_t>(count, children));
}

}  // namespace vorn::zel
