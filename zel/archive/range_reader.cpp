#include "zel/archive/range_reader.hpp"

#include <algorithm>
#include <numeric>
#include <vector>

#include "zel/archive/internal/range_client.hpp"
#include "zel/archive/internal/remote_texts.hpp"
#include "zel/archive/zel_archive_header.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela {

zel_archive_range_reader::zel_archive_range_reader(const std::string& url,
                                                   const remote_options& options,
                                                   const zel_archive_reader_limits& limits)
    : client_(std::make_unique<http::range_client>(url, options)), options_(options) {
    if (!options.cache_directory.empty()) {
        cache_ = std::make_shared<node_cache>(options.cache_directory, options.cache_budget);
    }
    const std::uint64_t tail = std::max<std::uint64_t>(options.tail_size, zel_archive_header::size);
    const auto opening = client_->fetch({{0, zel_archive_header::size, false}, {0, tail, true}});
    for (const auto& answer : opening) {
        if (answer.whole) {
            whole_ = answer.bytes;
            size_ = whole_->size();
            load_image(whole_->data(), size_, limits);
            return;
        }
    }
    size_ = client_->object_size();
    tail_ = opening[1].bytes;
    require_header(size_);
    load_header(opening[0].bytes->data(), size_);
    const std::uint64_t toc_offset = header_.toc_offset;
    const std::uint64_t toc_size = header_.toc_csize;
    if (toc_size == 0 || tail_->holds(toc_offset, toc_size)) {
        load_toc(tail_->data() + (toc_size == 0 ? 0 : toc_offset - tail_->first()), limits);
        return;
    }
    const auto toc = client_->fetch({{toc_offset, toc_size, false}});
    if (toc[0].whole) {
        std::lock_guard lock(whole_mutex_);
        whole_ = toc[0].bytes;
    }
    load_toc(toc[0].bytes->at(toc_offset), limits);
}

zel_archive_range_reader::~zel_archive_range_reader() = default;

std::uint64_t zel_archive_range_reader::requests_made() const noexcept {
    return client_->counts().requests;
}

std::uint64_t zel_archive_range_reader::bytes_received() const noexcept {
    return client_->counts().bytes;
}

bool zel_archive_range_reader::find_held(stored_data& stored, const entry& e) const {
    stored.size = e.csize;
    if (e.csize == 0) {
        stored.data = tail_ ? tail_->data() : "";
        return true;
    }
    std::shared_ptr<const http::body> held;
    {
        std::lock_guard lock(whole_mutex_);
        held = whole_;
    }
    if (!held || !held->holds(e.off, e.csize)) {
        held = tail_;
    }
    if (held && held->holds(e.off, e.csize)) {
        stored.data = held->at(e.off);
        stored.holder = std::const_pointer_cast<http::body>(held);
        return true;
    }
    if (cache_) {
        if (auto cached = cache_->find({e.hash, e.csize})) {
            stored.data = cached->data;
            stored.holder = std::move(cached->holder);
            return true;
        }
    }
    return false;
}

void zel_archive_range_reader::take_answer(stored_data& stored, const entry& e,
                                           const std::shared_ptr<const http::body>& bytes,
                                           bool whole) const {
    if (whole) {
        std::lock_guard lock(whole_mutex_);
        if (!whole_) {
            whole_ = bytes;
        }
    }
    // The client has checked the answer against its request, which covers e.
    stored.size = e.csize;
    stored.data = bytes->at(e.off);
    stored.holder = std::const_pointer_cast<http::body>(bytes);
    if (cache_) {
        cache_->store({e.hash, e.csize}, stored.data, e.csize);
    }
}

void zel_archive_range_reader::get_entry_data(std::shared_ptr<void>& holder, const char*& data,
                                              std::uint64_t& size, const entry& e) const {
    require_within(size_, e);
    stored_data stored;
    if (!find_held(stored, e)) {
        node_cache::fetch_claim claim;
        if (cache_) {
            claim = cache_->claim({{e.hash, e.csize}});
        }
        if (!cache_ || !find_held(stored, e)) {
            const auto answers = client_->fetch({{e.off, e.csize, false}});
            take_answer(stored, e, answers[0].bytes, answers[0].whole);
        }
    }
    holder = std::move(stored.holder);
    data = stored.data;
    size = stored.size;
}

void zel_archive_range_reader::get_entries_data(std::vector<stored_data>& stored,
                                                const std::vector<const entry*>& entries) const {
    std::vector<std::size_t> missing;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        require_within(size_, *entries[i]);
        if (!find_held(stored[i], *entries[i])) {
            missing.push_back(i);
        }
    }
    if (missing.empty()) {
        return;
    }
    // What other processes of the node fetch meanwhile is taken from the
    // cache once the claim is held.
    node_cache::fetch_claim claim;
    if (cache_) {
        std::vector<binary_identity> identities;
        for (const std::size_t i : missing) {
            identities.push_back({entries[i]->hash, entries[i]->csize});
        }
        claim = cache_->claim(std::move(identities));
        std::erase_if(missing, [&](std::size_t i) { return find_held(stored[i], *entries[i]); });
        if (missing.empty()) {
            return;
        }
    }
    std::sort(missing.begin(), missing.end(),
              [&](std::size_t a, std::size_t b) { return entries[a]->off < entries[b]->off; });
    // Neighbours join one request while the gap between them is small and
    // the request stays within its bound; group[k] is the request of
    // missing[k].
    std::vector<http::request> requests;
    std::vector<std::size_t> group(missing.size());
    for (std::size_t k = 0; k < missing.size(); ++k) {
        const entry& e = *entries[missing[k]];
        const std::uint64_t end = e.off + e.csize;
        if (!requests.empty()) {
            http::request& last = requests.back();
            const std::uint64_t last_end = last.first + last.length;
            if (e.off <= last_end + options_.merge_gap &&
                std::max(end, last_end) - last.first <= options_.max_merged_size) {
                last.length = std::max(end, last_end) - last.first;
                group[k] = requests.size() - 1;
                continue;
            }
        }
        requests.push_back({e.off, e.csize, false});
        group[k] = requests.size() - 1;
    }
    const auto answers = client_->fetch(requests);
    for (std::size_t k = 0; k < missing.size(); ++k) {
        const auto& answer = answers[group[k]];
        take_answer(stored[missing[k]], *entries[missing[k]], answer.bytes, answer.whole);
    }
}

}  // namespace vorn::zela
