#include "zel/foundation/xml_shape.hpp"

#include <rapidxml/rapidxml.hpp>

#include <string_view>

namespace vorn {

namespace {

using tables = rapidxml::internal::lookup_tables<0>;

bool in(const unsigned char (&table)[256], char c) {
    return table[static_cast<unsigned char>(c)] != 0;
}

// What one node of the text turned out to be, after its "<".
enum class node_kind {
    malformed,  // the parser raises here
    skipped,    // a node that the parser makes nothing of: declaration, comment
    made,       // a node that opens nothing: an empty element, a CDATA section
    opened,     // a start tag whose contents follow
};

class shape_scanner {
  public:
    shape_scanner(const char* text, const xml_shape_limits& limits) : p_(text), limits_(limits) {}

    xml_shape scan() {
        if (starts_with("\xEF\xBB\xBF")) {
            p_ += 3;
        }
        std::size_t depth = 0;
        for (;;) {
            skip(tables::lookup_whitespace);
            if (*p_ == '\0' || (depth == 0 && *p_ != '<')) {
                return xml_shape::within;  // the end, or text where the parser expects "<"
            }
            if (*p_ != '<') {
                skip(tables::lookup_text);  // character data up to the next "<": one node
                if (++elements_ > limits_.elements) {
                    return xml_shape::too_many_elements;
                }
                continue;
            }
            if (depth > 0 && p_[1] == '/') {
                if (!close_tag()) {
                    return xml_shape::within;
                }
                --depth;
                continue;
            }
            ++p_;
            const node_kind kind = node();
            if (attributes_ > limits_.attributes) {
                return xml_shape::too_many_attributes;
            }
            if (kind == node_kind::malformed) {
                return xml_shape::within;
            }
            if (kind != node_kind::skipped && ++elements_ > limits_.elements) {
                return xml_shape::too_many_elements;
            }
            if (kind == node_kind::opened && ++depth > limits_.depth) {
                return xml_shape::too_deep;
            }
        }
    }

  private:
    // Compares without reading past a mismatch, so never past the terminator.
    bool starts_with(std::string_view literal) const {
        for (std::size_t i = 0; i < literal.size(); ++i) {
            if (p_[i] != literal[i]) {
                return false;
            }
        }
        return true;
    }

    void skip(const unsigned char (&table)[256]) {
        while (in(table, *p_)) {
            ++p_;
        }
    }

    // Moves past the first occurrence of end; false at the terminator.
    bool skip_past(std::string_view end) {
        while (!starts_with(end)) {
            if (*p_ == '\0') {
                return false;
            }
            ++p_;
        }
        p_ += end.size();
        return true;
    }

    // "</", a name, white space, ">"; the name is not compared with the
    // open element's, as with flags 0.
    bool close_tag() {
        p_ += 2;
        skip(tables::lookup_node_name);
        skip(tables::lookup_whitespace);
        if (*p_ != '>') {
            return false;
        }
        ++p_;
        return true;
    }

    node_kind node() {
        if (*p_ == '?') {
            // A declaration and a processing instruction both end at "?>".
            ++p_;
            return skip_past("?>") ? node_kind::skipped : node_kind::malformed;
        }
        if (*p_ == '!') {
            return markup_declaration();
        }
        return element();
    }

    node_kind markup_declaration() {
        const auto made_if = [](bool ended, node_kind kind) {
            return ended ? kind : node_kind::malformed;
        };
        if (starts_with("!--")) {
            p_ += 3;
            return made_if(skip_past("-->"), node_kind::skipped);
        }
        if (starts_with("![CDATA[")) {
            p_ += 8;
            return made_if(skip_past("]]>"), node_kind::made);
        }
        if (starts_with("!DOCTYPE") && in(tables::lookup_whitespace, p_[8])) {
            p_ += 9;
            return made_if(doctype(), node_kind::skipped);
        }
        ++p_;  // any other "<!" runs to the next ">"
        return made_if(skip_past(">"), node_kind::skipped);
    }

    // Up to the ">" that ends it, skipping bracketed parts by their depth.
    bool doctype() {
        while (*p_ != '>') {
            if (*p_ == '\0') {
                return false;
            }
            if (*p_ != '[') {
                ++p_;
                continue;
            }
            ++p_;
            for (int brackets = 1; brackets > 0; ++p_) {
                if (*p_ == '[') {
                    ++brackets;
                } else if (*p_ == ']') {
                    --brackets;
                } else if (*p_ == '\0') {
                    return false;
                }
            }
        }
        ++p_;
        return true;
    }

    node_kind element() {
        const char* name = p_;
        skip(tables::lookup_node_name);
        if (p_ == name) {
            return node_kind::malformed;
        }
        skip(tables::lookup_whitespace);
        while (in(tables::lookup_attribute_name, *p_)) {
            if (!attribute()) {
                return node_kind::malformed;
            }
        }
        if (*p_ == '>') {
            ++p_;
            return node_kind::opened;
        }
        if (p_[0] == '/' && p_[1] == '>') {
            p_ += 2;
            return node_kind::made;
        }
        return node_kind::malformed;
    }

    // name = "value" or name = 'value', and the white space behind it. The
    // parser has made the attribute before it looks at what follows its name.
    bool attribute() {
        ++attributes_;
        skip(tables::lookup_attribute_name);
        skip(tables::lookup_whitespace);
        if (*p_ != '=') {
            return false;
        }
        ++p_;
        skip(tables::lookup_whitespace);
        const char quote = *p_;
        if (quote != '\'' && quote != '"') {
            return false;
        }
        ++p_;
        while (*p_ != quote && *p_ != '\0') {
            ++p_;
        }
        if (*p_ != quote) {
            return false;
        }
        ++p_;
        skip(tables::lookup_whitespace);
        return true;
    }

    const char* p_;
    const xml_shape_limits& limits_;
    std::uint64_t elements_ = 0;
    std::uint64_t attributes_ = 0;
};

}  // namespace

xml_shape xml_shape_of(const char* text, const xml_shape_limits& limits) noexcept {
    return shape_scanner(text, limits).scan();
}

}  // namespace vorn
