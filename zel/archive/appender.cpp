#include "zel/archive/appender.hpp"

#include <mutex>
#include <shared_mutex>
#include <vector>

#include "zel/archive/internal/appender_state.hpp"
#include "zel/archive/internal/archive_tables.hpp"
#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/internal/toc_writer.hpp"
#include "zel/archive/system/file_contents.hpp"
#include "zel/archive/zlib_stream.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela {

namespace {

constexpr std::uint64_t entry_alignment = 16;
constexpr char zeros[entry_alignment] = {};

constexpr std::uint64_t aligned(std::uint64_t position) {
    return (position + entry_alignment - 1) & ~(entry_alignment - 1);
}

std::vector<char> deflated(const char* data, std::uint64_t size) {
    std::vector<char> out;
    zlib_deflate([&out](const char* p, std::size_t n) { out.insert(out.end(), p, p + n); }, data,
                 size);
    return out;
}

// The message of a failed system call on the file at path.
std::string failure_text(std::string_view what, const std::filesystem::path& path, int error) {
    return std::string(what) + path.string() + std::string(texts::cause_separator) +
           system::mmap::system_error_text(static_cast<std::uint32_t>(error));
}

}  // namespace

template <class traits>
zel_archive_file_appender<traits>::zel_archive_file_appender(system::file_system_calls& calls)
    : state_(std::make_unique<appender_state<traits>>(calls)) {}

template <class traits>
zel_archive_file_appender<traits>::zel_archive_file_appender()
    : zel_archive_file_appender(system::file_system_calls::system()) {}

template <class traits>
zel_archive_file_appender<traits>::zel_archive_file_appender(const std::filesystem::path& path,
                                                             bool truncate)
    : zel_archive_file_appender(path, truncate, system::file_system_calls::system()) {}

template <class traits>
zel_archive_file_appender<traits>::zel_archive_file_appender(const std::filesystem::path& path,
                                                             bool truncate,
                                                             system::file_system_calls& calls)
    : zel_archive_file_appender(calls) {
    std::error_code ignored;
    if (truncate || !std::filesystem::exists(path, ignored)) {
        open_new(path);
    } else {
        open_existing(path);
    }
}

template <class traits>
void zel_archive_file_appender<traits>::open_new(const std::filesystem::path& path) {
    state_->path = path;
    if (!state_->file.open(path, system::output_file::open_mode::replace)) {
        throw zel_archive_exception(std::string(texts::cannot_open_for_write) + path.string());
    }
    // The header's bytes are left unwritten until the close.
    state_->write_position = zel_archive_header::size;
    state_->stream_position = state_->write_position;
    state_->file.seek(state_->write_position);
}

template <class traits>
void zel_archive_file_appender<traits>::open_existing(const std::filesystem::path& path) {
    state_->path = path;
    if (!state_->file.open(path, system::output_file::open_mode::update)) {
        throw zel_archive_exception(std::string(texts::cannot_open_for_update) + path.string());
    }
    // A short file leaves zeros, which fail on the magic.
    char header_bytes[zel_archive_header::size] = {};
    state_->file.read_at(0, header_bytes, sizeof header_bytes);
    this->read_header(header_bytes);

    const zel_archive_header& header = this->header_;
    state_->fresh_from = state_->file.size_on_disk();
    if (header.toc_csize > state_->fresh_from ||
        header.toc_offset > state_->fresh_from - header.toc_csize) {
        throw zel_archive_exception(std::string(texts::truncated_before_toc));
    }
    std::vector<char> stored(header.toc_csize);
    state_->file.read_at(header.toc_offset, stored.data(), stored.size());
    this->read_toc(stored.data());

    for (const auto& [name, record] : this->tables_->name_table) {
        state_->content_table->insert(
            {typename appender_state<traits>::content_key{record->csize, record->hash}, name});
    }
    state_->write_position = aligned(header.toc_offset);
    state_->stream_position = state_->write_position;
    state_->file.seek(state_->write_position);
}

template <class traits>
std::uint64_t zel_archive_file_appender<traits>::place(const char* data, std::uint64_t size) {
    const std::lock_guard lock(state_->file_lock);
    if (state_->stream_position != state_->write_position) {
        if (state_->stream_position >= state_->fresh_from) {
            state_->file.write(zeros, state_->write_position - state_->stream_position);
        } else {
            state_->file.seek(state_->write_position);
        }
    }
    const std::uint64_t offset = state_->write_position;
    state_->file.write(data, size);
    state_->stream_position = offset + size;
    state_->write_position = aligned(state_->stream_position);
    return offset;
}

template <class traits>
std::string zel_archive_file_appender<traits>::add_entry(const std::string& name, const char* data,
                                                         std::uint64_t size, bool compress,
                                                         bool allowDup) {
    if (name.empty()) {
        throw zel_archive_exception(std::string(texts::empty_entry_name));
    }
    if (!is_toc_text(name)) {
        throw zel_archive_exception(std::string(texts::entry_name_holds_nul));
    }
    if (data == nullptr) {
        if (size != 0) {
            throw zel_archive_exception(std::string(texts::cannot_add_entry) + name +
                                        std::string(texts::entry_bytes_at_null));
        }
        data = zeros;  // no byte of it is read
    }
    entry* record = this->tables_->entry_pool.make();
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
    const typename appender_state<traits>::content_key key{record->csize, record->hash};

    bool known;
    {
        const std::lock_guard lock(state_->content_lock);
        const auto [item, inserted] = state_->content_table->insert({key, name});
        known = !inserted;
        if (known && !allowDup) {
            return item->second;
        }
    }
    {
        const std::unique_lock table_lock(this->tables_->table_lock);
        if (!this->tables_->name_table.insert({name, record}).second) {
            // The bytes are forgotten with the refused name, also when an
            // earlier entry brought them.
            const std::lock_guard lock(state_->content_lock);
            state_->content_table->erase(key);
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
    if (const int error = system::read_file_contents(*state_->calls, path, bytes); error != 0) {
        throw zel_archive_exception(failure_text(texts::cannot_read_file, path, error));
    }
    return add_entry(name, bytes.data(), bytes.size(), compress, allowDup);
}

template <class traits>
void zel_archive_file_appender<traits>::add_entry_param(const std::string& entry_name,
                                                        const std::string& param_name,
                                                        const generic_param& param) {
    check_param(entry_name, param_name, param);
    entry* record;
    {
        const std::shared_lock lock(this->tables_->table_lock);
        record = this->find_entry(entry_name);
    }
    if (record == nullptr) {
        throw zel_archive_exception(std::string(texts::cannot_find_entry) + entry_name);
    }
    // Shared, as everywhere: one entry's parameters are added from one
    // thread at a time.
    const std::shared_lock lock(record->lock);
    if (record->params == nullptr) {
        record->params = this->tables_->params_pool.make();
    }
    record->params->add(param_name, param);
}

template <class traits>
void zel_archive_file_appender<traits>::check_param(const std::string& entry_name,
                                                    const std::string& param_name,
                                                    const generic_param& param) {
    std::string_view refusal;
    if (!is_toc_element_name(param_name)) {
        refusal = texts::param_name_not_xml;
    } else if (!is_toc_text(param.value) || !is_toc_text(param.type) || !is_toc_text(param.unit) ||
               !is_toc_text(param.tag)) {
        refusal = texts::param_text_holds_nul;
    } else {
        return;
    }
    throw zel_archive_exception(std::string(texts::cannot_add_param) + param_name +
                                std::string(texts::param_to_entry) + entry_name +
                                std::string(refusal));
}

template <class traits>
void zel_archive_file_appender<traits>::write_toc_and_header() {
    zel_archive_header& header = this->header_;
    header.stamp();
    toc_writer toc(header.version_major, header.version_minor);
    for (const auto& [name, record] : this->tables_->name_table) {
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
    state_->file.seek(0);
    // A failed write before this point leaves the header unwritten.
    state_->file.write(header_bytes, sizeof header_bytes);
}

template <class traits>
void zel_archive_file_appender<traits>::check_file() const {
    if (state_->file.failed()) {
        throw zel_archive_exception(
            failure_text(texts::cannot_write, state_->path, state_->file.error()));
    }
}

template <class traits>
void zel_archive_file_appender<traits>::close() {
    if (!state_->file.is_open()) {
        return;
    }
    try {
        if (!state_->file.failed()) {
            write_toc_and_header();
        }
    } catch (...) {
        state_->file.abandon();
        throw;
    }
    state_->file.close();
    check_file();
}

template <class traits>
void zel_archive_file_appender<traits>::abandon() noexcept {
    state_->file.abandon();
}

template <class traits>
zel_archive_file_appender<traits>::~zel_archive_file_appender() {
    state_->content_table.reset();
    try {
        close();
    } catch (...) {
        // Nothing may leave a destructor. The close has put nothing in a new
        // archive's place, and left an extended one without its header.
    }
}

template class zel_archive_file_appender<parallel::mutex_traits_no_op>;
template class zel_archive_file_appender<parallel::mutex_traits_spin>;
template class zel_archive_file_appender<parallel::mutex_traits_std>;

}  // namespace vorn::zela
