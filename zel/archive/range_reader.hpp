// The archive reader over an http:// or https:// URL: every byte comes from a
// range request, so a node fetches only the entries it reads.
//
// Opening asks for the 48-byte header and, speculatively, the object's last
// tail_size bytes at once, in one round trip; the tail's Content-Range gives
// the object's size. A fresh package ends with its table of contents and,
// just before it, its scene entry, so both usually lie in the tail, which the
// reader keeps: an entry within it costs no request. Only a table of contents
// that the tail does not hold costs one more request. The header and the
// table of contents pass the same tests, with the same messages, as the file
// reader's; an object shorter than the header is "incomplete zel header".
//
// Every other entry is one range request for exactly its stored bytes, or,
// with a node cache, a file of the cache when it holds the entry's identity
// (and it is stored there once fetched). get_entries and get_raw_entries
// fetch many entries together: neighbouring entries closer than merge_gap are
// one request, and parallel_requests requests are in flight at once.
//
// A server that ignores Range answers with the whole object: that one body
// then serves as the package's image, and the reader asks nothing more.
//
// Every answer is checked (range_client.hpp): its status, its Content-Range
// and its length, and its version against the first answer's ETag or
// Last-Modified, which every later request carries as a precondition. The
// failures of fetching are zel_remote_exception, a zel_archive_exception of
// its own type with the same prefix. An object replaced while it is read
// raises "<url>: the
// package changed while it was read"; a 404 or 403 raises "<url>: the server
// answered HTTP status <n>"; a failed transfer, once the retries are spent,
// "<url>: transfer failed: " and the transfer's own text. No message holds
// the URL's query string.
//
// Views handed out share the buffer they point into (the tail, a fetched
// range, a mapped cache file), so they outlive the reader. Any number of
// threads may read entries at once.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "zel/archive/node_cache.hpp"
#include "zel/archive/reader.hpp"
#include "zel/archive/remote_options.hpp"

namespace vorn::zela {

namespace http {
class body;
class range_client;
struct transfer_counts;
}  // namespace http

class zel_archive_range_reader final : public zel_archive_reader {
  public:
    zel_archive_range_reader(const std::string& url, const remote_options& options = {},
                             const zel_archive_reader_limits& limits = {});
    ~zel_archive_range_reader() override;

    void get_entry_data(std::shared_ptr<void>& holder, const char*& data, std::uint64_t& size,
                        const entry& e) const override;

    // The object's size.
    std::uint64_t file_size() const noexcept { return size_; }
    // Requests made and body bytes received so far, retries included.
    std::uint64_t requests_made() const noexcept;
    std::uint64_t bytes_received() const noexcept;

  protected:
    void get_entries_data(std::vector<stored_data>& stored,
                          const std::vector<const entry*>& entries) const override;

  private:
    // The stored bytes of e from what the reader holds already: the whole
    // object, the tail, or the node cache.
    bool find_held(stored_data& stored, const entry& e) const;
    // Takes what a fetch answered for e; a whole object becomes the image.
    void take_answer(stored_data& stored, const entry& e,
                     const std::shared_ptr<const http::body>& bytes, bool whole) const;

    std::unique_ptr<http::range_client> client_;
    std::shared_ptr<node_cache> cache_;
    std::uint64_t size_ = 0;
    remote_options options_;
    // The bytes held for the reader's life: the tail, and the whole object
    // once a server sent it. The latter can come with any later answer.
    std::shared_ptr<const http::body> tail_;
    mutable std::mutex whole_mutex_;
    mutable std::shared_ptr<const http::body> whole_;
};

}  // namespace vorn::zela
