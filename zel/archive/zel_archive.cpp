#include "zel/archive/zel_archive.hpp"

#include <rapidxml/rapidxml.hpp>

#include <algorithm>
#include <cstring>
#include <memory>
#include <shared_mutex>

#include "zel/archive/internal/archive_tables.hpp"
#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/internal/exact_inflate.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/value_parse.hpp"
#include "zel/foundation/xml_shape.hpp"

namespace vorn::zela {

namespace {

// A table of contents nests three levels: zelindex, zelentry, field. Deeper
// texts are refused long before the parser's recursion could exhaust a stack.
constexpr std::size_t max_toc_depth = 64;
// Offsets below this lie in the magic and version fields.
constexpr std::uint64_t min_toc_offset = 8;

std::string text_of(const char* text, std::size_t size) {
    return std::string(text, size);
}

std::string attribute_text(const rapidxml::xml_node<char>* node, const char* name) {
    const rapidxml::xml_attribute<char>* a = node->first_attribute(name);
    return a ? text_of(a->value(), a->value_size()) : std::string();
}

// The field's number; 0 when its text is not one, as if the field were unset.
std::uint64_t integer_of(const rapidxml::xml_node<char>* element) {
    unsigned long long value = 0;
    if (!parse_value(text_of(element->value(), element->value_size()), value)) {
        return 0;
    }
    return value;
}

// The text, exactly toc_dsize - 1 bytes and a terminator, or a refusal: a
// recorded size beyond what the stream can yield or beyond the limit is
// refused before anything is allocated, and a stream that yields any other
// length than recorded is refused as it is inflated.
std::unique_ptr<char[]> inflate_toc_text(const zel_archive_header& header, const char* stored,
                                         const zel_archive_reader_limits& limits) {
    const std::string_view subject = texts::toc_subject;
    if (header.toc_dsize == 0) {
        throw zel_archive_exception(std::string(subject) +
                                    std::string(texts::toc_size_without_terminator));
    }
    const std::uint64_t size = header.toc_dsize - 1;
    require_inflatable(subject, header.toc_csize, size);
    if (size > limits.max_toc_text_size) {
        throw zel_archive_exception(
            std::string(subject) + std::string(texts::toc_text_over_limit_prefix) +
            std::to_string(size) + std::string(texts::toc_text_over_limit_middle) +
            std::to_string(limits.max_toc_text_size) + std::string(texts::bytes_suffix));
    }
    auto text = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(size) + 1);
    inflate_record(subject, stored, header.toc_csize, text.get(), size);
    text[size] = '\0';
    return text;
}

// Refuses a text that nests too deeply for the parser's recursion or that
// would make it allocate more nodes or attributes than the limits allow.
void refuse_beyond_shape(const char* text, const zel_archive_reader_limits& limits) {
    const xml_shape_limits shape_limits{max_toc_depth, limits.max_toc_elements,
                                        limits.max_toc_attributes};
    switch (xml_shape_of(text, shape_limits)) {
        case xml_shape::within:
            return;
        case xml_shape::too_deep:
            throw zel_archive_exception(std::string(texts::toc_too_deep_prefix) +
                                        std::to_string(max_toc_depth) +
                                        std::string(texts::toc_too_deep_suffix));
        case xml_shape::too_many_elements:
            throw zel_archive_exception(std::string(texts::toc_subject) +
                                        std::string(texts::toc_elements_over_limit_prefix) +
                                        std::to_string(limits.max_toc_elements));
        case xml_shape::too_many_attributes:
            throw zel_archive_exception(std::string(texts::toc_subject) +
                                        std::string(texts::toc_attributes_over_limit_prefix) +
                                        std::to_string(limits.max_toc_attributes));
    }
}

}  // namespace

template <class traits>
zel_archive<traits>::zel_archive() : tables_(std::make_unique<archive_tables<traits>>()) {}

template <class traits>
zel_archive<traits>::~zel_archive() = default;

template <class traits>
void zel_archive<traits>::list_entries(std::vector<std::string>& names) const {
    const std::shared_lock lock(tables_->table_lock);
    names.clear();
    names.reserve(tables_->name_table.size());
    for (const auto& item : tables_->name_table) {
        names.push_back(item.first);
    }
}

template <class traits>
binary_identity zel_archive<traits>::get_entry_key(const std::string& name) const {
    const std::shared_lock lock(tables_->table_lock);
    const entry* e = find_entry(name);
    return e ? binary_identity{e->hash, e->csize} : binary_identity{};
}

template <class traits>
package_id zel_archive<traits>::get_package_id() const {
    return {header_.toc_hash, header_.toc_offset + header_.toc_csize};
}

template <class traits>
typename zel_archive<traits>::entry* zel_archive<traits>::find_entry(
    const std::string& name) const {
    if (name.empty()) {
        return nullptr;  // the table's reserved key, never an entry
    }
    const auto it = tables_->name_table.find(name);
    return it == tables_->name_table.end() ? nullptr : it->second;
}

template <class traits>
void zel_archive<traits>::read_header(const char* bytes) {
    header_ = zel_archive_header::decode(bytes);
    if (header_.magic != zel_archive_header::zel_magic) {
        throw zel_archive_exception(std::string(texts::bad_magic));
    }
    if (header_.version_major > zel_archive_header::current_major) {
        throw zel_archive_exception(
            std::string(texts::version_prefix) + std::to_string(zel_archive_header::current_major) +
            std::string(texts::version_refused) + std::to_string(header_.version_major));
    }
    if (header_.toc_offset < min_toc_offset) {
        throw zel_archive_exception(std::string(texts::toc_inside_header));
    }
}

template <class traits>
void zel_archive<traits>::read_toc(const char* stored, const zel_archive_reader_limits& limits) {
    // A fuzzer cannot forge a 64-bit hash; fuzzing builds leave the test out
    // so that mutated tables of contents reach the parser and the entries.
#ifndef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
    if (hash_bytes(stored, header_.toc_csize) != header_.toc_hash) {
        throw zel_archive_exception(std::string(texts::toc_hash_mismatch));
    }
#endif
    const std::unique_ptr<char[]> text = inflate_toc_text(header_, stored, limits);
    refuse_beyond_shape(text.get(), limits);

    rapidxml::xml_document<char> document;
    try {
        document.parse<0>(text.get());
    } catch (const rapidxml::parse_error& e) {
        throw zel_archive_exception(std::string(texts::index_parse_error) + e.what() +
                                    std::string(texts::index_parse_where) + e.where<char>());
    }
    const rapidxml::xml_node<char>* index = document.first_node(texts::index_element);
    if (index == nullptr) {
        throw zel_archive_exception(std::string(texts::missing_index));
    }
    for (const rapidxml::xml_node<char>* node = index->first_node(texts::entry_element);
         node != nullptr; node = node->next_sibling(texts::entry_element)) {
        read_toc_entry(node);
    }
}

template <class traits>
void zel_archive<traits>::read_toc_entry(const rapidxml::xml_node<char>* node) {
    entry* e = tables_->entry_pool.make();
    const std::string name = attribute_text(node, texts::name_attribute);
    if (name.empty()) {
        throw zel_archive_exception(std::string(texts::entry_without_name));
    }

    struct field {
        const char* element;
        std::uint64_t entry::*member;
    };
    static constexpr field fields[] = {{texts::offset_element, &entry::off},
                                       {texts::stored_size_element, &entry::csize},
                                       {texts::payload_size_element, &entry::dsize},
                                       {texts::hash_element, &entry::hash}};
    for (const field& f : fields) {
        const rapidxml::xml_node<char>* element = node->first_node(f.element);
        if (element == nullptr) {
            throw zel_archive_exception(std::string(texts::entry_lacks_prefix) + name +
                                        std::string(texts::entry_lacks_element) + f.element);
        }
        e->*f.member = integer_of(element);
    }

    entry_params params;
    for (const rapidxml::xml_node<char>* child = node->first_node(); child != nullptr;
         child = child->next_sibling()) {
        if (child->type() != rapidxml::node_element) {
            continue;
        }
        const rapidxml::xml_attribute<char>* type = child->first_attribute(texts::type_attribute);
        if (type == nullptr) {
            throw zel_archive_exception(std::string(texts::entry_lacks_prefix) + name +
                                        std::string(texts::element_without_type) +
                                        text_of(child->name(), child->name_size()));
        }
        generic_param param;
        param.create(text_of(child->value(), child->value_size()),
                     text_of(type->value(), type->value_size()));
        param.set_unit(attribute_text(child, texts::unit_attribute));
        param.set_tag(attribute_text(child, texts::tag_attribute));
        params.add(text_of(child->name(), child->name_size()), std::move(param));
    }
    if (!params.empty()) {
        e->params = tables_->params_pool.make();
        e->params->swap(params);
    }

    if (!tables_->name_table.insert({name, e}).second) {
        throw zel_archive_exception(name + std::string(texts::duplicate_entry));
    }
}

template class zel_archive<parallel::mutex_traits_no_op>;
template class zel_archive<parallel::mutex_traits_spin>;
template class zel_archive<parallel::mutex_traits_std>;

}  // namespace vorn::zela
