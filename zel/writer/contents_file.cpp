#include "zel/writer/contents_file.hpp"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>
#include <utility>

#include "zel/archive/open_archive.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/scene/scene_texts.hpp"
#include "zel/writer/internal/writer_texts.hpp"

namespace vorn::zel {

namespace {

// A whole unsigned 64-bit decimal number, nothing before or behind it. The
// catalogue is written by this library, so anything looser is damage.
bool parse_number(std::string_view text, std::uint64_t& out) {
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, out);
    return error == std::errc() && at == end && !text.empty();
}

// The first two numbers of a blank-separated text; false if it has fewer.
bool parse_two_numbers(std::string_view text, std::uint64_t& first, std::uint64_t& second) {
    const auto next = [&text](std::uint64_t& out) {
        const std::size_t start = text.find_first_not_of(' ');
        if (start == std::string_view::npos) {
            return false;
        }
        text.remove_prefix(start);
        const std::size_t stop = std::min(text.find(' '), text.size());
        const bool parsed = parse_number(text.substr(0, stop), out);
        text.remove_prefix(stop);
        return parsed;
    };
    return next(first) && next(second);
}

std::string not_a_contents_file(const std::string& origin) {
    std::string message(texts::contents_file_prefix);
    message.append(origin).append(texts::not_a_contents_file);
    return message;
}

std::string binary_block_message(const std::string& origin, intrusive_string name,
                                 std::string_view problem) {
    std::string message(texts::contents_file_prefix);
    message.append(origin).append(texts::binary_block_prefix).append(name.view()).append(problem);
    return message;
}

}  // namespace

zel_contents_file::zel_contents_file(const std::filesystem::path& path,
                                     const zela::remote_options& remote)
    : zel_contents_file(zela::open_archive_reader(path.string(), remote),
                        zela::shown_location(path.string())) {}

zel_contents_file::zel_contents_file(std::shared_ptr<zela::zel_archive_reader> archive,
                                     const std::string& origin) {
    try {
        index_scene_ = std::make_unique<zel_file_index>(archive, std::string(texts::index_entry));
        binaries_scene_ =
            std::make_unique<zel_file_index>(archive, std::string(texts::catalogue_entry));
    } catch (const zela::zel_archive_exception&) {
        throw zel_exception(not_a_contents_file(origin));
    }
    binaries_by_name_.set_empty_key(intrusive_string());
    names_by_identity_.set_empty_key(binary_identity{});
    read_catalogue(origin);
    read_external_references();
    read_package_id(origin);
    // Built now, so that later questions only read.
    index_scene_->blocks_of_type(intrusive_string());
}

zel_contents_file::~zel_contents_file() = default;

void zel_contents_file::read_catalogue(const std::string& origin) {
    for (const auto& [name, block] : binaries_scene_->blocks_of_type(texts::binary_block_type)) {
        const auto& attributes = block->extra_attributes();
        if (attributes.size() < 2) {
            throw zel_exception(binary_block_message(origin, name, texts::lacks_identity));
        }
        binary_identity identity;
        for (const auto& [number, text] : {std::pair{&identity.hash, attributes[0].second},
                                           std::pair{&identity.size, attributes[1].second}}) {
            if (!parse_number(text.view(), *number)) {
                std::string problem(texts::bad_identity_number);
                problem.append(text.view());
                throw zel_exception(binary_block_message(origin, name, problem));
            }
        }
        if (identity == binary_identity{}) {
            continue;  // the key that means "absent" cannot be stored
        }
        binaries_by_name_.insert({name, identity});
        names_by_identity_.insert({identity, name});
    }
}

void zel_contents_file::read_external_references() {
    if (!index_scene_->exists_metadata_block(texts::library_refs_name)) {
        return;
    }
    const zel_block* refs = index_scene_->get_metadata_block(texts::library_refs_name);
    for (const zel_block::parameter& p : refs->parameters()) {
        if (p.name.view() == texts::library_ref_parameter) {
            external_references_.push_back(p.value.value());
        }
    }
}

void zel_contents_file::read_package_id(const std::string& origin) {
    const zel_block* info = binaries_scene_->get_metadata_block(texts::package_info_name);
    const zel_block::parameter_id id = info->find_parameter(texts::package_id_parameter);
    if (id == zel_block::no_parameter ||
        !parse_two_numbers(info->parameter_at(id).value.value().view(), package_id_.toc_hash,
                           package_id_.toc_end)) {
        std::string message(texts::contents_file_prefix);
        message.append(origin).append(texts::bad_package_id);
        throw zel_exception(message);
    }
}

bool zel_contents_file::has_block(std::string_view name) const noexcept {
    return index_scene_->exists_block(name);
}

zel_block* zel_contents_file::get_block(std::string_view name) const {
    return index_scene_->get_block(name);
}

zel_block* zel_contents_file::get_block(intrusive_string name) const {
    return index_scene_->get_block(name);
}

const std::vector<zel_file_index::block_ref>& zel_contents_file::blocks_of_type(
    std::string_view type) const {
    return index_scene_->blocks_of_type(type);
}

const std::vector<zel_file_index::block_ref>& zel_contents_file::blocks_of_type(
    intrusive_string type) const {
    return index_scene_->blocks_of_type(type);
}

zel_block* zel_contents_file::get_binary_record(std::string_view name) const {
    return binaries_scene_->get_block(name);
}

zel_block* zel_contents_file::get_binary_record(intrusive_string name) const {
    return binaries_scene_->get_block(name);
}

std::vector<intrusive_string> zel_contents_file::binary_names() const {
    std::vector<intrusive_string> names;
    const auto& binaries = binaries_scene_->blocks_of_type(texts::binary_block_type);
    names.reserve(binaries.size());
    for (const auto& binary : binaries) {
        names.push_back(binary.first);
    }
    return names;
}

binary_identity zel_contents_file::identity_of(std::string_view name) const {
    return identity_of(intrusive_string(name));
}

binary_identity zel_contents_file::identity_of(intrusive_string name) const {
    if (name.empty()) {
        return {};  // the empty key may not be looked up
    }
    const auto found = binaries_by_name_.find(name);
    return found == binaries_by_name_.end() ? binary_identity{} : found->second;
}

intrusive_string zel_contents_file::name_of(const binary_identity& identity) const {
    if (identity == binary_identity{}) {
        return {};
    }
    const auto found = names_by_identity_.find(identity);
    return found == names_by_identity_.end() ? intrusive_string() : found->second;
}

}  // namespace vorn::zel
