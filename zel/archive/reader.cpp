#include "zel/archive/reader.hpp"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

#include "zel/archive/internal/archive_tables.hpp"
#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/internal/exact_inflate.hpp"
#include "zel/archive/system/aligned_bytes.hpp"
#include "zel/archive/zel_archive_header.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela {

namespace {

// The words that open every refusal of one entry.
std::string subject_of(const std::string& name) {
    return std::string(texts::entry_subject) + name + std::string(texts::closing_quote);
}

// A range of the file that an entry's bytes may not share: another entry's
// bytes, the header or the table of contents. name is null for the latter two.
struct extent {
    std::uint64_t begin;
    std::uint64_t end;
    const std::string* name;
    const void* record;
    std::string_view what;  // how a refusal names it, for the header and the table
};

}  // namespace

zel_archive_reader::zel_archive_reader() = default;

zel_archive_reader::~zel_archive_reader() = default;

const zel_archive_reader::entry& zel_archive_reader::entry_named(const std::string& name) const {
    const entry* e = find_entry(name);
    if (e == nullptr) {
        throw zel_archive_exception(std::string(texts::cannot_find_entry) + name +
                                    std::string(texts::closing_quote));
    }
    if (!misplaced_.empty()) {
        const auto found = misplaced_.find(e);
        if (found != misplaced_.end()) {
            throw zel_archive_exception(found->second);
        }
    }
    return *e;
}

std::shared_ptr<const read_buffer> zel_archive_reader::get_raw_entry(
    const std::string& name) const {
    const entry& e = entry_named(name);
    stored_data stored;
    get_entry_data(stored.holder, stored.data, stored.size, e);
    return raw_buffer(e, std::move(stored));
}

std::shared_ptr<const read_buffer> zel_archive_reader::get_entry(const std::string& name) const {
    const entry& e = entry_named(name);
    stored_data stored;
    get_entry_data(stored.holder, stored.data, stored.size, e);
    return payload_buffer(name, e, std::move(stored));
}

std::shared_ptr<const read_buffer> zel_archive_reader::get_entry(
    const std::string& name, const std::shared_ptr<const read_buffer>& raw) const {
    const entry& e = entry_named(name);
    if (raw == nullptr || raw->identity() != binary_identity{e.hash, e.csize}) {
        throw std::invalid_argument(std::string(texts::not_stored_bytes_of) + name);
    }
    // The holder only keeps the bytes alive; nothing writes through it.
    return payload_buffer(name, e,
                          {std::const_pointer_cast<read_buffer>(raw), raw->data(), raw->size()});
}

template <class MakeBuffer>
std::vector<std::shared_ptr<const read_buffer>> zel_archive_reader::entries_as(
    const std::vector<std::string>& names, MakeBuffer make) const {
    const std::vector<const entry*> entries = entries_named(names);
    std::vector<stored_data> stored(entries.size());
    get_entries_data(stored, entries);
    std::vector<std::shared_ptr<const read_buffer>> buffers;
    buffers.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        buffers.push_back(make(i, *entries[i], std::move(stored[i])));
    }
    return buffers;
}

std::vector<std::shared_ptr<const read_buffer>> zel_archive_reader::get_raw_entries(
    const std::vector<std::string>& names) const {
    return entries_as(names, [](std::size_t, const entry& e, stored_data&& stored) {
        return raw_buffer(e, std::move(stored));
    });
}

std::vector<std::shared_ptr<const read_buffer>> zel_archive_reader::get_entries(
    const std::vector<std::string>& names) const {
    return entries_as(names, [&](std::size_t i, const entry& e, stored_data&& stored) {
        return payload_buffer(names[i], e, std::move(stored));
    });
}

void zel_archive_reader::get_entries_data(std::vector<stored_data>& stored,
                                          const std::vector<const entry*>& entries) const {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        get_entry_data(stored[i].holder, stored[i].data, stored[i].size, *entries[i]);
    }
}

std::vector<const zel_archive_reader::entry*> zel_archive_reader::entries_named(
    const std::vector<std::string>& names) const {
    std::vector<const entry*> entries;
    entries.reserve(names.size());
    for (const std::string& name : names) {
        entries.push_back(&entry_named(name));
    }
    return entries;
}

std::shared_ptr<const read_buffer> zel_archive_reader::raw_buffer(const entry& e,
                                                                  stored_data stored) {
    return read_buffer::make_view({e.hash, e.csize}, std::move(stored.holder), stored.data,
                                  stored.size, e.dsize);
}

std::shared_ptr<const read_buffer> zel_archive_reader::payload_buffer(const std::string& name,
                                                                      const entry& e,
                                                                      stored_data stored) {
    if (e.dsize == 0) {
        return read_buffer::make_view({e.hash, e.csize}, std::move(stored.holder), stored.data,
                                      stored.size, 0);
    }
    // One allocation of exactly dsize bytes, which the stream must fill to
    // the byte; a dsize that no stream of this size can reach is refused
    // before anything is allocated.
    const std::string subject = subject_of(name);
    require_inflatable(subject, stored.size, e.dsize);
    aligned_bytes payload(static_cast<std::size_t>(e.dsize));
    inflate_record(subject, stored.data, stored.size, payload.data(), e.dsize);
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

void zel_archive_reader::load_image(const char* image, std::uint64_t size,
                                    const zel_archive_reader_limits& limits) {
    load_header(image, size);
    load_toc(image + header_.toc_offset, limits);
}

void zel_archive_reader::load_header(const char* bytes, std::uint64_t size) {
    require_header(size);
    read_header(bytes);
    // The test is made on differences so that no sum of hostile fields can
    // wrap around and pass.
    if (header_.toc_csize > size || header_.toc_offset > size - header_.toc_csize) {
        throw zel_archive_exception(std::string(texts::truncated_before_toc));
    }
}

void zel_archive_reader::load_toc(const char* stored, const zel_archive_reader_limits& limits) {
    read_toc(stored, limits);
    find_misplaced_entries();
}

// One pass over the extents in order of offset, keeping the one that reaches
// furthest: an extent that starts before that reach overlaps it. Every extent
// that overlaps any other is found so, since the one before it in this order
// either overlaps something earlier or reaches furthest itself.
void zel_archive_reader::find_misplaced_entries() {
    const auto end_of = [](std::uint64_t begin, std::uint64_t size) {
        constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
        return size > most - begin ? most : begin + size;  // past the file anyway
    };
    std::vector<extent> extents;
    extents.reserve(tables_->name_table.size() + 2);
    extents.push_back(
        {0, zel_archive_header::size, nullptr, nullptr, texts::entry_overlaps_header});
    extents.push_back({header_.toc_offset, end_of(header_.toc_offset, header_.toc_csize), nullptr,
                       nullptr, texts::entry_overlaps_toc});
    for (const auto& [name, e] : tables_->name_table) {
        if (e->off % 16 != 0) {
            misplaced_.try_emplace(
                e, subject_of(name) + std::string(texts::entry_misaligned_prefix) +
                       std::to_string(e->off) + std::string(texts::entry_misaligned_suffix));
        } else if (e->csize > 0) {
            extents.push_back({e->off, end_of(e->off, e->csize), &name, e, {}});
        }
    }
    std::sort(extents.begin(), extents.end(),
              [](const extent& a, const extent& b) { return a.begin < b.begin; });

    const auto refuse = [this](const extent& which, const extent& other) {
        if (which.record == nullptr) {
            return;  // the header and the table of contents are not entries
        }
        std::string message = subject_of(*which.name);
        if (other.record == nullptr) {
            message += other.what;
        } else {
            message += std::string(texts::entry_overlaps_entry) + *other.name +
                       std::string(texts::closing_quote);
        }
        misplaced_.try_emplace(static_cast<const entry*>(which.record), std::move(message));
    };
    std::size_t furthest = 0;
    for (std::size_t i = 1; i < extents.size(); ++i) {
        if (extents[i].begin < extents[furthest].end) {
            refuse(extents[i], extents[furthest]);
            refuse(extents[furthest], extents[i]);
        }
        if (extents[i].end > extents[furthest].end) {
            furthest = i;
        }
    }
}

const char* zel_archive_reader::stored_bytes(const char* image, std::uint64_t size,
                                             const entry& e) {
    require_within(size, e);
    return image + e.off;
}

void zel_archive_reader::require_within(std::uint64_t size, const entry& e) {
    if (e.off > size || e.csize > size - e.off) {
        throw zel_archive_exception(
            std::string(texts::entry_outside_prefix) + std::to_string(e.off) +
            std::string(texts::entry_outside_size) + std::to_string(e.csize) +
            std::string(texts::entry_outside_archive) + std::to_string(size));
    }
}

}  // namespace vorn::zela
