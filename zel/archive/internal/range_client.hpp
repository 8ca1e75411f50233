// Byte ranges of one object on an HTTP server, fetched with libcurl (loaded
// when the first client is made: curl_library.hpp).
//
// A fetch runs a list of requests at once, at most parallel_requests of them
// in flight, and returns when every one has its answer or one has failed for
// good. Every answer is checked before it is taken: its status, its
// Content-Range against the request, its length against the Content-Range,
// and its version against the first answer the client ever took.
//
// Versions. The first answer's ETag (or, without a strong one, its
// Last-Modified) is sent back in If-Match (If-Unmodified-Since) with every
// later request; a 412, or an answer with another validator or another size,
// raises "<url>: the package changed while it was read". Two versions of an
// object are never mixed in what a client hands out.
//
// Failures. A connection that fails, breaks off or is reset, and a 5xx
// answer, are tried again up to `retries` times after a pause that doubles
// from 100 ms; then, and at once for everything else (404, 403, a timeout,
// a certificate that does not verify, an answer that does not check out),
// the fetch raises zel_archive_exception with the URL and the cause, and
// abandons the requests still in flight. No request runs longer than the
// timeout.
//
// A server that ignores Range answers 200 with the whole object: that body is
// taken as the answer of every request of the fetch (the others in flight are
// abandoned, so the object comes down once), marked whole.
//
// Any number of threads may fetch through one client at once. Each fetch
// takes a curl multi handle from a pool for its duration, so connections are
// reused from one fetch to the next but never shared by two threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "zel/archive/remote_options.hpp"
#include "zel/archive/system/aligned_bytes.hpp"

namespace vorn::zela::http {

struct curl_library;

// Bytes of the object from offset first on. They are kept so that offset f
// of the object lies at the same remainder of 16 in memory as in the file:
// entries, which start at multiples of 16 in the file, are aligned in memory.
class body {
  public:
    body(std::uint64_t first, std::uint64_t size);
    const char* data() const noexcept { return bytes_.data() + pad_; }
    char* data() noexcept { return bytes_.data() + pad_; }
    std::uint64_t first() const noexcept { return first_; }
    std::uint64_t size() const noexcept { return size_; }
    // Whether the object's bytes [offset, offset + size) lie within.
    bool holds(std::uint64_t offset, std::uint64_t size) const noexcept {
        return offset >= first_ && offset - first_ <= size_ && size <= size_ - (offset - first_);
    }
    const char* at(std::uint64_t offset) const noexcept { return data() + (offset - first_); }
    // For a body of unknown length: grows it to size bytes.
    void grow(std::uint64_t size);

  private:
    std::uint64_t first_;
    std::uint64_t size_;
    std::size_t pad_;
    aligned_bytes bytes_;
};

struct request {
    // Bytes [first, first + length), or with suffix the object's last length
    // bytes (all of it if it is shorter).
    std::uint64_t first = 0;
    std::uint64_t length = 0;
    bool suffix = false;
};

struct answer {
    std::shared_ptr<const body> bytes;
    // The server ignored Range: bytes is the whole object.
    bool whole = false;
};

struct transfer_counts {
    std::uint64_t requests = 0;  // every attempt counts
    std::uint64_t bytes = 0;     // bytes of bodies received
};

class range_client {
  public:
    range_client(const std::string& url, const remote_options& options);
    ~range_client();
    range_client(const range_client&) = delete;
    range_client& operator=(const range_client&) = delete;

    // The answers in the order of the requests.
    std::vector<answer> fetch(const std::vector<request>& requests);

    // The object's size as the first answer gave it.
    std::uint64_t object_size() const;
    // The URL as every message shows it.
    const std::string& shown_url() const noexcept { return shown_url_; }
    transfer_counts counts() const noexcept;

  private:
    struct transfer;
    struct fetch_state;
    enum class outcome { answered, retry, superseded };
    struct version {
        bool known = false;
        std::string etag;
        std::string last_modified;
        std::uint64_t size = 0;
    };

    void start(fetch_state& state, transfer& t);
    // Takes a finished transfer's answer, or decides to retry or to raise.
    outcome finish(transfer& t, int code);
    void check_version(const transfer& t);
    [[noreturn]] void raise(std::string_view message) const;

    void* take_multi();
    void give_back_multi(void* multi);

    std::string url_;
    std::string shown_url_;
    remote_options options_;
    const curl_library* curl_ = nullptr;

    mutable std::mutex mutex_;
    version version_;
    std::vector<void*> idle_multis_;

    std::atomic<std::uint64_t> requests_{0};
    std::atomic<std::uint64_t> bytes_{0};
};

// The URL without query, fragment and credentials.
std::string shown_url(std::string_view url);

}  // namespace vorn::zela::http
