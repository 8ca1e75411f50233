#include "zel/archive/appender.hpp"

#include <iterator>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "zel/archive/archive_texts.hpp"
#include "zel/archive/toc_writer.hpp"
#include "zel/archive/zlib_stream.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela {

namespace {

constexpr std::uint64_t entry_alignment = 16;

constexpr std::uint64_t aligned(std::uint64_t position) {
    return (position + entry_alignment - 1) & ~(entry_alignment - 1);
}

std::vector<char> deflated(const char* data, std::uint64_t size) {
    std::vector<char> out;
    zlib_deflate([&out](const char* p, std::size_t n) { out.insert(out.end(), p, p + n); }, data,
                 size);
    return out;
}

}  // namespace

template <class traits>
zel_archive_file_appender<traits>::zel_archive_file_appender()
    : content_table_(std::make_unique<content_table_type>()) {
    content_table_->set_empty_key(content_key{0, 0});
    content_table_->set_deleted_key(content_key{~std::uint64_t{0}, 0});
    content_table_->set_resizing_parameters(0.2f, 0.5f);
}

template <class traits>
zel_archive_file_appender<traits>::zel_archive_file_appender(const std::filesystem::path& path,
                                                             bool truncate)
    : zel_archive_file_appender() {
    std::error_code ignored;
    if (truncate || !std::filesystem::exists(path, ignored)) {
        open_new(path);
    } else {
        open_existing(path);
    }
}

template <class traits>
void zel_archive_file_appender<traits>::open_new(const std::filesystem::path& path) {
    stream_.open(path, std::ios::binary | std::ios::out | std::ios::trunc);
    if (!stream_.is_open()) {
        throw zel_archive_exception(std::string(texts::cannot_open_for_write) + path.string());
    }
    write_position_ = zel_archive_header::size;
    stream_.seekp(static_cast<std::streamoff>(write_position_));
}

template <class traits>
void zel_archive_file_appender<traits>::open_existing(const std::filesystem::path& path) {
    stream_.open(path, std::ios::binary | std::ios::in | std::ios::out);
    if (!stream_.is_open()) {
        throw zel_archive_exception(std::string(texts::cannot_open_for_update) + path.string());
    }
    // A short file leaves zeros, which fail on the magic.
    char header_bytes[zel_archive_header::size] = {};
    stream_.read(header_bytes, sizeof header_bytes);
    stream_.clear();
    this->read_header(header_bytes);

    const zel_archive_header& header = this->header_;
    std::vector<char> stored(header.toc_csize);
    stream_.seekg(static_cast<std::streamoff>(header.toc_offset));
    stream_.read(stored.data(), static_cast<std::streamsize>(stored.size()));
    stream_.clear();
    this->read_toc(stored.data());

    for (const auto& [name, record] : *this->name_table_) {
        content_table_->insert({content_key{record->csize, record->hash}, name});
    }
    write_position_ = aligned(header.toc_offset);
    stream_.seekp(static_cast<std::streamoff>(write_position_));
}

template <class traits>
std::uint64_t zel_archive_file_appender<traits>::place(const char* data, std::uint64_t size) {
    const std::lock_guard lock(file_lock_);
    const std::uint64_t offset = write_position_;
    stream_.write(data, static_cast<std::streamsize>(size));
    write_position_ = aligned(offset + size);
    stream_.seekp(static_cast<std::streamoff>(write_position_));
    return offset;
}

template <class traits>
std::string zel_archive_file_appender<traits>::add_entry(const std::string& name, const char* data,
                                                         std::uint64_t size, bool compress,
                                                         bool allowDup) {
    if (name.empty()) {
        throw zel_archive_exception(std::string(texts::empty_entry_name));
    }
    entry* record = this->entry_pool_.make();
    std::vector<char> compressed;
    const char* stored = data;
    if (compress) {
        compressed = deflated(data, size);
        stored = compressed.data();
        record->dsize = size;
        size = compressed.size();
    }
    record->csize = size;
    record->hash = hash_bytes(stored, size);
    const content_key key{record->csize, record->hash};

    bool known;
    {
        const std::lock_guard lock(content_lock_);
        const auto [item, inserted] = content_table_->insert({key, name});
        known = !inserted;
        if (known && !allowDup) {
            return item->second;
        }
    }
    {
        const std::unique_lock table_lock(this->table_lock_);
        if (!this->name_table_->insert({name, record}).second) {
            // The bytes are forgotten with the refused name, also when an
            // earlier entry brought them.
            const std::lock_guard lock(content_lock_);
            content_table_->erase(key);
            throw zel_archive_exception(std::string(texts::cannot_add_entry) + name +
                                        std::string(texts::entry_exists));
        }
    }
    record->off = place(stored, size);
    return name;
}

template <class traits>
std::string zel_archive_file_appender<traits>::add_file_entry(const std::string& name,
                                                              const std::filesystem::path& path,
                                                              bool compress, bool allowDup) {
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        throw zel_archive_exception(path.string() + std::string(texts::file_missing));
    }
    std::vector<char> bytes;
    {
        std::ifstream file(path, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return add_entry(name, bytes.data(), bytes.size(), compress, allowDup);
}

template <class traits>
void zel_archive_file_appender<traits>::add_entry_param(const std::string& entry_name,
                                                        const std::string& param_name,
                                                        const generic_param& param) {
    entry* record;
    {
        const std::shared_lock lock(this->table_lock_);
        record = this->find_entry(entry_name);
    }
    if (record == nullptr) {
        throw zel_archive_exception(std::string(texts::cannot_find_entry) + entry_name);
    }
    // Shared, as everywhere: one entry's parameters are added from one
    // thread at a time.
    const std::shared_lock lock(record->lock);
    if (record->params == nullptr) {
        record->params = this->params_pool_.make();
    }
    record->params->add(param_name, param);
}

template <class traits>
void zel_archive_file_appender<traits>::close() {
    zel_archive_header& header = this->header_;
    header.stamp();
    toc_writer toc(header.version_major, header.version_minor);
    for (const auto& [name, record] : *this->name_table_) {
        toc.add_entry(name, record->off, record->csize, record->dsize, record->hash,
                      record->params);
    }
    const std::string text = toc.print();
    const std::vector<char> stored = deflated(text.data(), text.size());
    header.toc_hash = hash_bytes(stored.data(), stored.size());
    header.toc_csize = stored.size();
    header.toc_dsize = text.size() + 1;
    header.toc_offset = place(stored.data(), stored.size());

    char header_bytes[zel_archive_header::size];
    header.encode(header_bytes);
    write_position_ = 0;
    stream_.seekp(0);
    stream_.write(header_bytes, sizeof header_bytes);
    write_position_ = zel_archive_header::size;
    stream_.seekp(static_cast<std::streamoff>(write_position_));
    stream_.close();
}

template <class traits>
zel_archive_file_appender<traits>::~zel_archive_file_appender() {
    content_table_.reset();
    if (!stream_.is_open() || stream_.fail()) {
        return;
    }
    try {
        close();
    } catch (...) {
        // Nothing may leave a destructor. Without its header the file is
        // refused by every reader, which is the one way left to tell.
    }
}

template class zel_archive_file_appender<parallel::mutex_traits_no_op>;
template class zel_archive_file_appender<parallel::mutex_traits_spin>;
template class zel_archive_file_appender<parallel::mutex_traits_std>;

}  // namespace vorn::zela
