#include "zel/archive/reader.hpp"

#include <algorithm>
#include <utility>

#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/system/aligned_bytes.hpp"
#include "zel/archive/zel_archive_header.hpp"
#include "zel/archive/zlib_stream.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela {

zel_archive_reader::zel_archive_reader() = default;

zel_archive_reader::~zel_archive_reader() = default;

const zel_archive_reader::entry& zel_archive_reader::entry_named(const std::string& name) const {
    const entry* e = find_entry(name);
    if (e == nullptr) {
        throw zel_archive_exception(std::string(texts::cannot_find_entry) + name +
                                    std::string(texts::closing_quote));
    }
    return *e;
}

std::shared_ptr<const read_buffer> zel_archive_reader::get_raw_entry(
    const std::string& name) const {
    const entry& e = entry_named(name);
    std::shared_ptr<void> holder;
    const char* data = nullptr;
    std::uint64_t size = 0;
    get_entry_data(holder, data, size, e);
    return read_buffer::make_view({e.hash, e.csize}, std::move(holder), data, size, e.dsize);
}

std::shared_ptr<const read_buffer> zel_archive_reader::get_entry(const std::string& name) const {
    const entry& e = entry_named(name);
    std::shared_ptr<void> holder;
    const char* data = nullptr;
    std::uint64_t size = 0;
    get_entry_data(holder, data, size, e);
    if (e.dsize == 0) {
        return read_buffer::make_view({e.hash, e.csize}, std::move(holder), data, size, 0);
    }
    // One allocation of the right size when dsize is true; a dsize that no
    // stream of this size can reach reserves no more than the stream could
    // give. The length is what the stream yields, whatever dsize says.
    aligned_bytes payload;
    payload.reserve(static_cast<std::size_t>(std::min(e.dsize, max_inflated_size(size))));
    zlib_inflate(
        [&payload](const char* p, std::size_t n) { payload.insert(payload.end(), p, p + n); }, data,
        size);
    return read_buffer::make_decoded({e.hash, e.csize}, std::move(payload));
}

const entry_params* zel_archive_reader::get_entry_params(const std::string& name) const {
    const entry* e = find_entry(name);
    if (e == nullptr) {
        // Unlike the other two lookups, this message has no closing quote.
        throw zel_archive_exception(std::string(texts::cannot_find_entry) + name);
    }
    return e->params;
}

const zel_archive_reader::entry* zel_archive_reader::get_entry_record(
    const std::string& name) const {
    return find_entry(name);
}

void zel_archive_reader::require_header(std::uint64_t size) {
    if (size < zel_archive_header::size) {
        throw zel_archive_exception(std::string(texts::incomplete_header));
    }
}

void zel_archive_reader::load_image(const char* image, std::uint64_t size) {
    require_header(size);
    read_header(image);
    // The test is made on differences so that no sum of hostile fields can
    // wrap around and pass.
    if (header_.toc_csize > size || header_.toc_offset > size - header_.toc_csize) {
        throw zel_archive_exception(std::string(texts::truncated_before_toc));
    }
    read_toc(image + header_.toc_offset);
}

const char* zel_archive_reader::stored_bytes(const char* image, std::uint64_t size,
                                             const entry& e) {
    if (e.off > size || e.csize > size - e.off) {
        throw zel_archive_exception(
            std::string(texts::entry_outside_prefix) + std::to_string(e.off) +
            std::string(texts::entry_outside_size) + std::to_string(e.csize) +
            std::string(texts::entry_outside_archive) + std::to_string(size));
    }
    return image + e.off;
}

}  // namespace vorn::zela
