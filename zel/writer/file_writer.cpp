#include "zel/writer/file_writer.hpp"

#include <google/dense_hash_map>

#include <exception>
#include <stdexcept>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/scene/names.hpp"
#include "zel/scene/scene_texts.hpp"
#include "zel/writer/binary_identity_of.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/internal/local_file_view.hpp"
#include "zel/writer/internal/writer_texts.hpp"

namespace vorn::zel {

namespace {

using string_set = std::unordered_set<std::string, hash<std::string>>;

string_set make_string_set() {
    string_set set(8);
    set.max_load_factor(1.0f);
    return set;
}

// "contents for library name \"<alias>" + rest.
std::string library_message(const std::string& alias, std::string_view rest) {
    std::string message;
    message.append(texts::contents_for_library).append(alias).append(rest);
    return message;
}

}  // namespace

class zel_file_writer_impl {
  public:
    zel_file_writer_impl(const std::filesystem::path& location, bool allow_duplicates,
                         bool atomize_document)
        : index_entry_name(texts::index_entry),
          file_index(std::make_unique<zel_file_index>(location)),
          allowDup(allow_duplicates),
          atomize(atomize_document) {
        library_contents.set_empty_key(std::string());
        for (const std::string_view word : {texts::name_attribute, texts::unit_attribute,
                                            texts::type_attribute, texts::tag_attribute}) {
            file_index->intern(word);
        }
    }

    // The contents file of alias, or null.
    const zel_contents_file* library(const std::string& alias) const {
        if (alias.empty()) {
            return nullptr;  // the empty key may not be looked up
        }
        const auto found = library_contents.find(alias);
        return found == library_contents.end() ? nullptr : found->second.get();
    }

    // The first library in table order that holds bytes of that identity.
    bool find_identity(const binary_identity& identity, std::string& alias,
                       std::string& binary_name) const {
        for (const auto& [name, contents] : library_contents) {
            const intrusive_string found = contents->name_of(identity);
            if (!found.empty()) {
                alias = name;
                binary_name = found.str();
                return true;
            }
        }
        return false;
    }

    // Bit 1 of the validation mode, after stored has been stored.
    std::string refuse_library_bytes(std::string stored) const {
        if ((validation_mode & validate_library_binaries) == 0) {
            return stored;
        }
        std::string alias;
        std::string name;
        if (find_identity(file_index->appender()->get_entry_key(stored), alias, name)) {
            std::string message(texts::data_in_library);
            message.append(alias).append(texts::data_in_library_as).append(name);
            throw zel_validation_exception(message);
        }
        return stored;
    }

    bool is_uncompressed_name(const std::string& name) const {
        const std::size_t dot = name.rfind('.');
        return dot != std::string::npos && uncompressed_extensions.contains(name.substr(dot));
    }

    zel_block& add(const std::string& type, const std::string& name, bool metadata) {
        if (name.empty()) {
            throw std::invalid_argument(std::string(texts::empty_block_name));
        }
        if (type.empty()) {
            throw std::invalid_argument(std::string(texts::empty_block_type));
        }
        check_xml_name(type);
        zel_block* block = metadata ? file_index->add_metadata_block(type, name)
                                    : file_index->add_block(type, name);
        return *block;
    }

    // Steps of the close up to the table of contents: the library
    // references, the document and its entry.
    void write_scene() {
        if (!referenced_libraries.empty()) {
            zel_block* refs = file_index->add_metadata_block(std::string(texts::library_refs_type),
                                                             std::string(texts::library_refs_name));
            const std::string ref(texts::library_ref_parameter);
            for (const std::string& alias : library_order) {
                refs->add_parameter(ref, generic_param(alias));
            }
        }
        std::string document;
        file_index->write_document(document, atomize);
        // The NUL is part of the entry, so that a reader can parse the
        // entry's own bytes.
        const std::string stored = file_index->appender()->add_entry(
            index_entry_name, document.c_str(), document.size() + 1, true, false);
        if (stored != index_entry_name) {
            throw zel_exception(index_entry_name + std::string(texts::entry_name_used));
        }
    }

    // Writes the table of contents and the header, raising a failed write,
    // then releases everything in the order of the fields' dependencies.
    void finish() {
        library_contents.clear();
        uncompressed_extensions.clear();
        referenced_libraries.clear();
        const std::shared_ptr<zel_file_index::appender_type> appender = file_index->appender();
        file_index.reset();
        appender->close();
    }

    std::string index_entry_name;
    std::unique_ptr<zel_file_index> file_index;
    string_set uncompressed_extensions = make_string_set();
    string_set referenced_libraries = make_string_set();
    // The aliases in order of first naming, so that the document does not
    // depend on the standard library's hashing.
    std::vector<std::string> library_order;
    google::dense_hash_map<std::string, std::shared_ptr<zel_contents_file>, hash<std::string>>
        library_contents;
    std::uint32_t validation_mode = 0;
    zela::remote_options remote;
    bool allowDup;
    bool atomize;
};

zel_file_writer::zel_file_writer(const std::filesystem::path& locationToWrite, bool allowDup,
                                 bool atomize)
    : impl_(std::make_unique<zel_file_writer_impl>(locationToWrite, allowDup, atomize)),
      uncaught_at_construction_(std::uncaught_exceptions()) {}

zel_file_writer::~zel_file_writer() noexcept(false) {
    if (!impl_) {
        return;
    }
    if (std::uncaught_exceptions() > uncaught_at_construction_) {
        // A second exception now would end the process.
        try {
            close();
        } catch (...) {
        }
        return;
    }
    close();
}

void zel_file_writer::close() {
    if (!impl_) {
        return;
    }
    // Released on every road: on failure, the appender's own destructor
    // writes a table of contents for the entries that it holds.
    const std::unique_ptr<zel_file_writer_impl> record = std::move(impl_);
    record->write_scene();
    record->finish();
}

zel_block& zel_file_writer::add_block(const std::string& type, const std::string& name) {
    zel_block& block = impl_->add(type, name, false);
    adopt(block, impl_->validation_mode);
    return block;
}

zel_block& zel_file_writer::add_metadata_block(const std::string& type, const std::string& name) {
    zel_block& block = impl_->add(type, name, true);
    adopt(block, impl_->validation_mode);
    return block;
}

bool zel_file_writer::exists_block(const std::string& name) const {
    return impl_->file_index->exists_block(name);
}

bool zel_file_writer::exists_metadata_block(const std::string& name) const {
    return impl_->file_index->exists_metadata_block(name);
}

std::string zel_file_writer::add_binary_data(const std::string& name_hint,
                                             const std::filesystem::path& path) {
    return impl_->refuse_library_bytes(impl_->file_index->appender()->add_file_entry(
        name_hint, path, !impl_->is_uncompressed_name(name_hint), impl_->allowDup));
}

std::string zel_file_writer::add_binary_data(const std::string& name_hint, const char* data,
                                             std::uint64_t size) {
    return impl_->refuse_library_bytes(impl_->file_index->appender()->add_entry(
        name_hint, data, size, !impl_->is_uncompressed_name(name_hint), impl_->allowDup));
}

void zel_file_writer::add_uncompressed_extension(const std::string& extension) {
    impl_->uncompressed_extensions.insert(extension);
}

void zel_file_writer::set_validation_mode(std::uint32_t mode) {
    impl_->validation_mode = mode;
}

std::uint32_t zel_file_writer::validation_mode() const noexcept {
    return impl_->validation_mode;
}

void zel_file_writer::add_referenced_library(const std::string& alias) {
    if (impl_->referenced_libraries.insert(alias).second) {
        impl_->library_order.push_back(alias);
    }
}

void zel_file_writer::set_remote_options(const zela::remote_options& remote) {
    impl_->remote = remote;
}

void zel_file_writer::register_library_contents(const std::filesystem::path& path,
                                                const std::string& alias) {
    if (alias.empty()) {
        throw zel_exception(std::string(texts::empty_alias));
    }
    auto contents = std::make_shared<zel_contents_file>(path, impl_->remote);
    auto& table = impl_->library_contents;
    // Grown before the look-up, as an insertion would, so that the table's
    // order does not depend on whether the alias was there.
    table.resize(table.size() + 1);
    const auto [stored, inserted] = table.insert({alias, contents});
    if (inserted) {
        return;
    }
    if (stored->second->get_package_id() == contents->get_package_id()) {
        throw zel_exception(std::string(texts::re_registered) + alias);
    }
    std::string message(texts::register_with_alias);
    message.append(alias).append(texts::with_different_contents);
    throw zel_exception(message);
}

void zel_file_writer::check_library_binary(const std::string& alias, const std::string& name) {
    const zel_contents_file* contents = impl_->library(alias);
    if (contents == nullptr) {
        throw zel_validation_exception(library_message(alias, texts::library_not_found));
    }
    if (contents->identity_of(name) == binary_identity{}) {
        throw zel_validation_exception(library_message(alias, texts::no_binary_named) + name);
    }
}

zel_block& zel_file_writer::check_library_block(const std::string& alias, const std::string& name) {
    const zel_contents_file* contents = impl_->library(alias);
    if (contents == nullptr) {
        throw zel_exception(library_message(alias, texts::library_not_found));
    }
    try {
        return *contents->get_block(name);
    } catch (const zel_exception&) {
        throw zel_exception(library_message(alias, texts::no_block_named) + name);
    }
}

bool zel_file_writer::find_data_in_libraries(const char* data, std::uint64_t size,
                                             const std::string& name, std::string& alias,
                                             std::string& binary_name) const {
    if (impl_->library_contents.empty()) {
        return false;  // nothing to compare with, so nothing to deflate
    }
    return impl_->find_identity(
        binary_identity_of_data(data, size, !impl_->is_uncompressed_name(name)), alias,
        binary_name);
}

bool zel_file_writer::find_binary_in_libraries(const std::filesystem::path& path,
                                               std::string& alias, std::string& binary_name) const {
    const local_file_view file(path, texts::library_binary_file);
    return find_data_in_libraries(file.data(), file.size(), path.string(), alias, binary_name);
}

void zel_file_writer::set_index_entry_name(const std::string& name) {
    impl_->index_entry_name = name;
}

zel_file_index& zel_file_writer::file_index() {
    return *impl_->file_index;
}

}  // namespace vorn::zel
