#include "zel/archive/internal/toc_writer.hpp"

#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_print.hpp>

#include <algorithm>
#include <array>
#include <iterator>

#include "zel/archive/internal/archive_texts.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/value_text.hpp"

namespace vorn::zela {

namespace {

// Printed bytes of a zelentry with its four fields, beside its name.
constexpr std::size_t entry_size_estimate = 200;
// Printed bytes of a parameter element, beside its name and value.
constexpr std::size_t param_size_estimate = 32;

bool is_name_start(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' || c >= 0x80;
}

bool is_name_byte(unsigned char c) {
    return is_name_start(c) || (c >= '0' && c <= '9') || c == '.' || c == '-';
}

}  // namespace

bool is_toc_element_name(std::string_view text) noexcept {
    return !text.empty() && is_name_start(static_cast<unsigned char>(text.front())) &&
           std::all_of(text.begin() + 1, text.end(),
                       [](char c) { return is_name_byte(static_cast<unsigned char>(c)); });
}

bool is_toc_text(std::string_view text) noexcept {
    return text.find('\0') == std::string_view::npos;
}

struct toc_writer::document {
    rapidxml::xml_document<char> xml;
    rapidxml::xml_node<char>* index = nullptr;
    std::string number;             // scratch for the text of one field
    std::size_t printed_size = 64;  // a guess of the printed text's length

    // Copies the text into the document, whose pool owns it until printing.
    const char* keep(std::string_view text) {
        return xml.allocate_string(text.data(), text.size());
    }

    rapidxml::xml_node<char>* element(const char* name, std::size_t name_size,
                                      std::string_view value) {
        return xml.allocate_node(rapidxml::node_element, name, keep(value), name_size,
                                 value.size());
    }

    void attribute(rapidxml::xml_node<char>* node, const char* name, std::string_view value) {
        node->append_attribute(xml.allocate_attribute(name, keep(value), 0, value.size()));
    }
};

toc_writer::toc_writer(std::uint16_t version_major, std::uint16_t version_minor)
    : document_(std::make_unique<document>()) {
    document& d = *document_;
    rapidxml::xml_node<char>* declaration = d.xml.allocate_node(rapidxml::node_declaration);
    declaration->append_attribute(d.xml.allocate_attribute("version", "1.0"));
    declaration->append_attribute(d.xml.allocate_attribute("encoding", "utf-8"));
    d.xml.append_node(declaration);

    d.index = d.xml.allocate_node(rapidxml::node_element, texts::index_element);
    const std::array<unsigned short, 2> version = {version_major, version_minor};
    d.attribute(d.index, texts::version_attribute,
                generic_param(version.data(), version.size()).value);
    d.xml.append_node(d.index);
}

toc_writer::~toc_writer() = default;

void toc_writer::add_entry(std::string_view name, std::uint64_t off, std::uint64_t csize,
                           std::uint64_t dsize, std::uint64_t hash, const entry_params* params) {
    document& d = *document_;
    rapidxml::xml_node<char>* node =
        d.xml.allocate_node(rapidxml::node_element, texts::entry_element);
    d.attribute(node, texts::name_attribute, name);
    d.printed_size += entry_size_estimate + name.size();

    const std::pair<const char*, std::uint64_t> fields[] = {{texts::offset_element, off},
                                                            {texts::stored_size_element, csize},
                                                            {texts::payload_size_element, dsize},
                                                            {texts::hash_element, hash}};
    for (const auto& [element_name, value] : fields) {
        d.number.clear();
        append_value_text(d.number, static_cast<unsigned long long>(value));
        rapidxml::xml_node<char>* element = d.element(element_name, 0, d.number);
        element->append_attribute(d.xml.allocate_attribute(
            texts::type_attribute, integer_type_word.data(), 0, integer_type_word.size()));
        node->append_node(element);
    }
    if (params != nullptr) {
        for (const entry_params::item& item : *params) {
            d.printed_size += param_size_estimate + item.name.size() * 2 + item.param.value.size();
            rapidxml::xml_node<char>* element =
                d.element(d.keep(item.name), item.name.size(), item.param.value);
            d.attribute(element, texts::type_attribute, item.param.type);
            if (!item.param.unit.empty()) {
                d.attribute(element, texts::unit_attribute, item.param.unit);
            }
            if (!item.param.tag.empty()) {
                d.attribute(element, texts::tag_attribute, item.param.tag);
            }
            node->append_node(element);
        }
    }
    d.index->append_node(node);
}

std::string toc_writer::print() const {
    std::string text;
    text.reserve(document_->printed_size);
    rapidxml::print(std::back_inserter(text), document_->xml, 0);
    return text;
}

}  // namespace vorn::zela
