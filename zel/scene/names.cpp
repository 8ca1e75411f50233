#include "zel/scene/names.hpp"

#include <md5.h>

#include <algorithm>
#include <cstddef>
#include <locale>
#include <stdexcept>
#include <string>
#include <system_error>

#include "zel/foundation/text_conversion.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

// The absolute, lexically normal form of an existing path.
std::filesystem::path canonical_form(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path base = std::filesystem::current_path(error);
    if (error) {
        throw std::filesystem::filesystem_error(std::string(texts::no_working_directory), path,
                                                error);
    }
    try {
        return (path.is_absolute() ? path : base / path).lexically_normal();
    } catch (const std::exception&) {
        throw std::filesystem::filesystem_error(std::string(texts::cannot_make_canonical), path,
                                                std::make_error_code(std::errc::invalid_argument));
    }
}

void append_hex(std::string& out, const unsigned char* bytes, std::size_t count) {
    constexpr char digits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < count; ++i) {
        out.push_back(digits[bytes[i] >> 4]);
        out.push_back(digits[bytes[i] & 0x0F]);
    }
}

}  // namespace

void check_xml_name(std::string_view name) {
    if (name.empty()) {
        throw std::invalid_argument(std::string(texts::empty_name));
    }
    const std::locale global;
    const auto& ctype = std::use_facet<std::ctype<char>>(global);
    const char* end = name.data() + name.size();
    if (ctype.scan_is(std::ctype_base::space, name.data(), end) != end) {
        std::string message;
        message.reserve(name.size() + texts::name_has_space.size() + 1);
        message.append(texts::name_quote).append(name).append(texts::name_has_space);
        throw std::invalid_argument(message);
    }
}

std::string path_to_utf8(const std::filesystem::path& path) {
    std::string text = path.string();
    if (text.empty() || !is_valid_utf8(text) || text.find(replacement_utf8) != std::string::npos) {
        text.append(texts::unicode_error_marker);
    }
    return text;
}

std::string binary_entry_name(const std::filesystem::path& path) {
    std::error_code ignored;
    const std::filesystem::file_type type = std::filesystem::status(path, ignored).type();
    const bool as_given = type == std::filesystem::file_type::not_found ||
                          type == std::filesystem::file_type::unknown;
    std::string text = path_to_utf8(as_given ? path : canonical_form(path));
    std::replace(text.begin(), text.end(), '\\', '/');

    const std::size_t last_slash = text.rfind('/');
    if (last_slash == std::string::npos) {
        return text;
    }
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const unsigned char*>(text.data()), last_slash + 1);
    unsigned char digest[MD5_DIGEST_LENGTH];
    MD5Final(digest, &context);

    std::string name;
    name.reserve(45 + text.size() - last_slash);
    name.append(texts::binaries_prefix);
    append_hex(name, digest, 4);
    name.push_back('/');
    append_hex(name, digest + 4, 2);
    name.push_back('/');
    append_hex(name, digest + 6, 2);
    name.push_back('/');
    append_hex(name, digest + 8, 2);
    name.push_back('/');
    append_hex(name, digest + 10, 6);
    name.append(text, last_slash);
    return name;
}

link_parts split_link_value(std::string_view link) {
    const std::size_t separator = link.find(texts::link_separator);
    if (separator == std::string_view::npos) {
        return {std::string_view(), link, false};
    }
    return {link.substr(0, separator), link.substr(separator + 1), true};
}

std::string make_link_value(std::string_view location, std::string_view target) {
    std::string link;
    link.reserve(location.size() + 1 + target.size());
    link.append(location).push_back(texts::link_separator);
    link.append(target);
    return link;
}

std::string modified_block_name(std::string_view resolved_block, std::string_view requested_file,
                                std::string_view requested_block) {
    std::string name;
    name.reserve(resolved_block.size() + texts::modified_from.size() + requested_file.size() +
                 texts::pound_word.size() + requested_block.size());
    name.append(resolved_block)
        .append(texts::modified_from)
        .append(requested_file)
        .append(texts::pound_word)
        .append(requested_block);
    return name;
}

}  // namespace vorn::zel
