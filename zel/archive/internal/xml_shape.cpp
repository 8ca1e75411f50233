#include "zel/archive/internal/xml_depth.hpp"

#include <rapidxml/rapidxml.hpp>

#include <string_view>

namespace vorn::zela {

namespace {

using tables = rapidxml::internal::lookup_tables<0>;

bool in(const unsigned char (&table)[256], char c) {
    return table[static_cast<unsigned char>(c)] != 0;
}

// What one node of the text turned out to be, after its "<".
enum class node_kind {
    malformed,  // the parser raises here
    closed,     // a node that opens nothing: declaration, comment, empty element
    opened,     // a start tag whose contents follow
};

class depth_scanner {
  public:
    explicit depth_scanner(const char* text) : p_(text) {}

    bool within(std::size_t limit) {
        if (starts_with("\xEF\xBB\xBF")) {
            p_ += 3;
        }
        std::size_t depth = 0;
        for (;;) {
            skip(tables::lookup_whitespace);
            if (*p_ == '\0' || (depth == 0 && *p_ != '<')) {
                return true;  // the end, or text where the parser expects "<"
            }
            if (*p_ != '<') {
                skip(tables::lookup_text);  // character data up to the next "<"
                continue;
            }
            if (depth > 0 && p_[1] == '/') {
                if (!close_tag()) {
                    return true;
                }
                --depth;
                continue;
            }
            ++p_;
            switch (node()) {
                case node_kind::malformed:
                    return true;
                case node_kind::closed:
                    break;
                case node_kind::opened:
                    if (++depth > limit) {
                        return false;
                    }
                    break;
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
            return skip_past("?>") ? node_kind::closed : node_kind::malformed;
        }
        if (*p_ == '!') {
            return markup_declaration() ? node_kind::closed : node_kind::malformed;
        }
        return element();
    }

    bool markup_declaration() {
        if (starts_with("!--")) {
            p_ += 3;
            return skip_past("-->");
        }
        if (starts_with("![CDATA[")) {
            p_ += 8;
            return skip_past("]]>");
        }
        if (starts_with("!DOCTYPE") && in(tables::lookup_whitespace, p_[8])) {
            p_ += 9;
            return doctype();
        }
        ++p_;  // any other "<!" runs to the next ">"
        return skip_past(">");
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
            return node_kind::closed;
        }
        return node_kind::malformed;
    }

    // name = "value" or name = 'value', and the white space behind it.
    bool attribute() {
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
};

}  // namespace

bool xml_depth_within(const char* text, std::size_t limit) noexcept {
    return depth_scanner(text).within(limit);
}

}  // namespace vorn::zela
