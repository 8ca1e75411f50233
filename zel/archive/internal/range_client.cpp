#include "zel/archive/internal/range_client.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <deque>
#include <optional>
#include <string_view>
#include <thread>

#include "zel/archive/internal/curl_library.hpp"
#include "zel/archive/internal/remote_texts.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela::http {

namespace {

using clock = std::chrono::steady_clock;

// The body of an error answer is read only to keep the connection; beyond
// this much it is not worth keeping.
constexpr std::uint64_t max_discarded_body = std::uint64_t{64} << 10;
constexpr std::chrono::milliseconds first_pause{100};
constexpr long max_redirects = 5;

bool equal_no_case(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.remove_suffix(1);
    }
    return text;
}

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

// "bytes a-b/t", with "*" for an unknown total, or "bytes */t".
struct content_range {
    bool unsatisfied = false;  // "*/t"
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::optional<std::uint64_t> total;
};

std::optional<content_range> parse_content_range(std::string_view text) {
    constexpr std::string_view unit = "bytes ";
    if (text.size() < unit.size() || !equal_no_case(text.substr(0, unit.size()), unit)) {
        return std::nullopt;
    }
    text.remove_prefix(unit.size());
    const auto slash = text.find('/');
    if (slash == std::string_view::npos) {
        return std::nullopt;
    }
    content_range range;
    const std::string_view span = text.substr(0, slash);
    const std::string_view total = text.substr(slash + 1);
    if (total != "*") {
        range.total = number(total);
        if (!range.total) {
            return std::nullopt;
        }
    }
    if (span == "*") {
        range.unsatisfied = true;
        return range.total ? std::optional(range) : std::nullopt;
    }
    const auto dash = span.find('-');
    if (dash == std::string_view::npos) {
        return std::nullopt;
    }
    const auto first = number(span.substr(0, dash));
    const auto last = number(span.substr(dash + 1));
    if (!first || !last || *last < *first || (range.total && *last >= *range.total)) {
        return std::nullopt;
    }
    range.first = *first;
    range.last = *last;
    return range;
}

std::string range_text(const request& r) {
    std::string text;
    if (r.suffix) {
        text.push_back('-');
        text.append(std::to_string(r.length));
    } else {
        text.append(std::to_string(r.first));
        text.push_back('-');
        text.append(std::to_string(r.first + r.length - 1));
    }
    return text;
}

// A failure on the way, which a new attempt may not meet.
bool transient(CURLcode code) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
        case CURLE_PARTIAL_FILE:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_GOT_NOTHING:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::string shown_url(std::string_view url) {
    url = url.substr(0, url.find_first_of("?#"));
    const auto scheme_end = url.find("://");
    if (scheme_end == std::string_view::npos) {
        return std::string(url);
    }
    const auto authority = scheme_end + 3;
    const auto path = url.find('/', authority);
    const auto at = url.substr(0, path).rfind('@');
    if (at == std::string_view::npos || at < authority) {
        return std::string(url);
    }
    return std::string(url.substr(0, authority)).append(url.substr(at + 1));
}

body::body(std::uint64_t first, std::uint64_t size)
    : first_(first), size_(size), pad_(static_cast<std::size_t>(first % 16)) {
    bytes_.resize(static_cast<std::size_t>(pad_ + size));
}

void body::grow(std::uint64_t size) {
    bytes_.resize(static_cast<std::size_t>(pad_ + size));
    size_ = size;
}

// One request's attempt in flight, and what its answer has shown so far.
struct range_client::transfer {
    std::size_t index = 0;
    const request* asked = nullptr;
    unsigned attempt = 0;
    clock::time_point not_before{};

    CURL* easy = nullptr;
    curl_slist* headers = nullptr;
    char error[CURL_ERROR_SIZE] = {};
    fetch_state* state = nullptr;

    long status = 0;
    std::string content_range_text;
    std::string etag;
    std::string last_modified;
    std::optional<std::uint64_t> content_length;

    bool body_started = false;
    bool discarding = false;
    bool superseded = false;
    std::shared_ptr<body> received;
    std::uint64_t expected = 0;
    bool length_known = true;
    std::uint64_t written = 0;
    std::uint64_t whole_limit = 0;
    std::string refusal;  // why a callback stopped the transfer; final

    void reset_answer() {
        status = 0;
        content_range_text.clear();
        etag.clear();
        last_modified.clear();
        content_length.reset();
        body_started = false;
        discarding = false;
        superseded = false;
        received.reset();
        expected = 0;
        length_known = true;
        written = 0;
        refusal.clear();
        error[0] = '\0';
    }

    void release(const curl_library& curl, CURLM* multi) {
        if (easy != nullptr) {
            curl.multi_remove_handle(multi, easy);
            curl.easy_cleanup(easy);
            easy = nullptr;
        }
        curl.slist_free_all(headers);
        headers = nullptr;
    }

    bool begin_body();
    std::size_t take(const char* data, std::size_t size);
    void take_header(std::string_view line);

    static std::size_t on_header(char* data, std::size_t one, std::size_t count, void* user) {
        static_cast<transfer*>(user)->take_header(std::string_view(data, one * count));
        return one * count;
    }
    static std::size_t on_body(char* data, std::size_t one, std::size_t count, void* user) {
        return static_cast<transfer*>(user)->take(data, one * count);
    }
};

struct range_client::fetch_state {
    CURLM* multi = nullptr;
    // The transfer that receives the whole object, once a server ignored
    // Range; every other request of the fetch is answered by it.
    transfer* whole = nullptr;
    range_client* client = nullptr;
};

bool range_client::transfer::begin_body() {
    body_started = true;
    if (status == 206) {
        const auto range = parse_content_range(content_range_text);
        if (content_range_text.empty()) {
            refusal = std::string(texts::remote_no_range);
            return false;
        }
        bool fits = range && !range->unsatisfied;
        if (fits && asked->suffix) {
            fits = range->total && range->last + 1 == *range->total &&
                   range->last - range->first + 1 == std::min(asked->length, *range->total);
        } else if (fits) {
            const std::uint64_t last = asked->first + asked->length - 1;
            // Shorter than asked only where the object ends.
            fits = range->first == asked->first &&
                   (range->last == last ||
                    (range->last < last && range->total && range->last + 1 == *range->total));
        }
        if (!fits) {
            refusal = std::string(texts::remote_wrong_range_prefix)
                          .append(content_range_text)
                          .append(texts::remote_wrong_range_middle)
                          .append(range_text(*asked));
            return false;
        }
        expected = range->last - range->first + 1;
        received = std::make_shared<body>(range->first, expected);
        return true;
    }
    if (status == 200) {
        if (state->whole != nullptr && state->whole != this) {
            superseded = true;
            return false;
        }
        state->whole = this;
        length_known = content_length.has_value();
        expected = content_length.value_or(0);
        if (expected > whole_limit) {
            refusal = std::string(texts::remote_whole_over_prefix)
                          .append(std::to_string(expected))
                          .append(texts::remote_whole_over_middle)
                          .append(std::to_string(whole_limit))
                          .append(texts::remote_bytes);
            return false;
        }
        received = std::make_shared<body>(0, expected);
        return true;
    }
    discarding = true;
    return true;
}

std::size_t range_client::transfer::take(const char* data, std::size_t size) {
    if (!body_started && !begin_body()) {
        return 0;
    }
    if (discarding) {
        written += size;
        return written > max_discarded_body ? 0 : size;
    }
    if (!length_known) {
        if (size > whole_limit - written) {
            refusal = std::string(texts::remote_whole_over_prefix)
                          .append(std::to_string(written + size))
                          .append(texts::remote_whole_over_middle)
                          .append(std::to_string(whole_limit))
                          .append(texts::remote_bytes);
            return 0;
        }
        received->grow(written + size);
    } else if (size > expected - written) {
        refusal = std::string(texts::remote_longer_prefix)
                      .append(std::to_string(expected))
                      .append(texts::remote_bytes_asked);
        return 0;
    }
    std::copy(data, data + size, received->data() + written);
    written += size;
    state->client->bytes_.fetch_add(size, std::memory_order_relaxed);
    return size;
}

void range_client::transfer::take_header(std::string_view line) {
    line = trimmed(line);
    // Each answer on the way (a redirect, a 100 Continue) opens with its
    // status line and starts over.
    if (line.size() >= 5 && line.substr(0, 5) == "HTTP/") {
        reset_answer();
        const auto space = line.find(' ');
        if (space != std::string_view::npos) {
            status = static_cast<long>(number(line.substr(space + 1, 3)).value_or(0));
        }
        return;
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (equal_no_case(name, "content-range")) {
        content_range_text = value;
    } else if (equal_no_case(name, "etag")) {
        etag = value;
    } else if (equal_no_case(name, "last-modified")) {
        last_modified = value;
    } else if (equal_no_case(name, "content-length")) {
        content_length = number(value);
    }
}

range_client::range_client(const std::string& url, const remote_options& options)
    : url_(url), shown_url_(http::shown_url(url)), options_(options) {
    std::string failure;
    curl_ = load_curl(failure);
    if (curl_ == nullptr) {
        raise(failure);
    }
}

range_client::~range_client() {
    for (void* multi : idle_multis_) {
        curl_->multi_cleanup(static_cast<CURLM*>(multi));
    }
}

std::uint64_t range_client::object_size() const {
    std::lock_guard lock(mutex_);
    return version_.size;
}

transfer_counts range_client::counts() const noexcept {
    return {requests_.load(std::memory_order_relaxed), bytes_.load(std::memory_order_relaxed)};
}

void range_client::raise(std::string_view message) const {
    std::string text = shown_url_;
    text.append(texts::url_separator).append(message);
    // A transfer's own text could quote the URL back; its query stays out.
    const auto query = url_.find_first_of("?#");
    if (query != std::string::npos) {
        const std::string secret = url_.substr(query);
        for (auto at = text.find(secret); at != std::string::npos; at = text.find(secret)) {
            text.erase(at, secret.size());
        }
    }
    throw zel_remote_exception(text);
}

void* range_client::take_multi() {
    {
        std::lock_guard lock(mutex_);
        if (!idle_multis_.empty()) {
            void* multi = idle_multis_.back();
            idle_multis_.pop_back();
            return multi;
        }
    }
    CURLM* multi = curl_->multi_init();
    if (multi == nullptr) {
        raise(texts::remote_no_curl);
    }
    curl_->multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS,
                        static_cast<long>(std::max(1u, options_.parallel_requests)));
    return multi;
}

void range_client::give_back_multi(void* multi) {
    std::lock_guard lock(mutex_);
    idle_multis_.push_back(multi);
}

void range_client::start(fetch_state& state, transfer& t) {
    t.reset_answer();
    t.state = &state;
    t.whole_limit = options_.max_whole_object;
    t.easy = curl_->easy_init();
    if (t.easy == nullptr) {
        raise(texts::remote_no_curl);
    }
    CURL* easy = t.easy;
    curl_->easy_setopt(easy, CURLOPT_URL, url_.c_str());
    curl_->easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_->easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_->easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_->easy_setopt(easy, CURLOPT_MAXREDIRS, max_redirects);
    curl_->easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_->easy_setopt(easy, CURLOPT_HTTP_CONTENT_DECODING, 0L);
    // Reads of 64 KiB bring a large entry faster, and for less processor
    // time, than libcurl's 16 KiB (more calls and polls) or 512 KiB, whose
    // copy into the entry's buffer finds less of it still in the cache.
    curl_->easy_setopt(easy, CURLOPT_BUFFERSIZE, 64L * 1024);
    curl_->easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(options_.timeout.count()));
    curl_->easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                       static_cast<long>(options_.timeout.count()));
    curl_->easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_->easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!options_.ca_file.empty()) {
        curl_->easy_setopt(easy, CURLOPT_CAINFO, options_.ca_file.c_str());
    }
    curl_->easy_setopt(easy, CURLOPT_ERRORBUFFER, t.error);
    curl_->easy_setopt(easy, CURLOPT_HEADERFUNCTION, &transfer::on_header);
    curl_->easy_setopt(easy, CURLOPT_HEADERDATA, &t);
    curl_->easy_setopt(easy, CURLOPT_WRITEFUNCTION, &transfer::on_body);
    curl_->easy_setopt(easy, CURLOPT_WRITEDATA, &t);
    curl_->easy_setopt(easy, CURLOPT_PRIVATE, &t);

    const std::string range = "Range: bytes=" + range_text(*t.asked);
    t.headers = curl_->slist_append(t.headers, range.c_str());
    {
        std::lock_guard lock(mutex_);
        if (version_.known && !version_.etag.empty() && version_.etag.rfind("W/", 0) != 0) {
            t.headers = curl_->slist_append(t.headers, ("If-Match: " + version_.etag).c_str());
        } else if (version_.known && !version_.last_modified.empty()) {
            t.headers = curl_->slist_append(
                t.headers, ("If-Unmodified-Since: " + version_.last_modified).c_str());
        }
    }
    curl_->easy_setopt(easy, CURLOPT_HTTPHEADER, t.headers);
    if (curl_->multi_add_handle(state.multi, easy) != CURLM_OK) {
        raise(texts::remote_no_curl);
    }
    requests_.fetch_add(1, std::memory_order_relaxed);
}

void range_client::check_version(const transfer& t) {
    std::lock_guard lock(mutex_);
    std::uint64_t size = version_.size;
    if (t.status == 200) {
        size = t.received->size();
    } else if (const auto range = parse_content_range(t.content_range_text); range->total) {
        size = *range->total;
    } else if (!version_.known) {
        // A first answer must tell the object's size.
        raise(std::string(texts::remote_wrong_range_prefix)
                  .append(t.content_range_text)
                  .append(texts::remote_wrong_range_middle)
                  .append(range_text(*t.asked)));
    }
    if (!version_.known) {
        version_ = {true, t.etag, t.last_modified, size};
        return;
    }
    const bool same = version_.size == size &&
                      (!version_.etag.empty() ? t.etag == version_.etag
                                              : t.last_modified == version_.last_modified);
    if (!same) {
        raise(texts::remote_changed);
    }
}

range_client::outcome range_client::finish(transfer& t, int result) {
    const auto code = static_cast<CURLcode>(result);
    if (t.superseded) {
        return outcome::superseded;
    }
    if (!t.refusal.empty()) {
        raise(t.refusal);
    }
    const bool may_retry = t.attempt < options_.retries;
    // An error answer whose body was cut short for its length is told by
    // its status all the same.
    if (code == CURLE_OK || (t.discarding && code == CURLE_WRITE_ERROR)) {
        if (t.status == 200 || t.status == 206) {
            if (!t.body_started && !t.begin_body()) {
                if (t.superseded) {
                    return outcome::superseded;
                }
                raise(t.refusal);
            }
            // A body that ends early without a Content-Length to tell libcurl
            // is a connection closed half-way like any other.
            if (t.length_known && t.written != t.expected) {
                if (may_retry) {
                    return outcome::retry;
                }
                raise(std::string(texts::remote_shorter_prefix)
                          .append(std::to_string(t.written))
                          .append(texts::remote_shorter_middle)
                          .append(std::to_string(t.expected))
                          .append(texts::remote_bytes_asked));
            }
            check_version(t);
            return outcome::answered;
        }
        if (t.status == 412) {
            raise(texts::remote_changed);
        }
        if (t.status == 416) {
            // A range that starts at or past the object's end, as the header's
            // does in a short object: no bytes, and the object's size.
            const auto range = parse_content_range(t.content_range_text);
            if (range && range->unsatisfied &&
                (t.asked->suffix ? *range->total == 0 : t.asked->first >= *range->total)) {
                t.received = std::make_shared<body>(*range->total, 0);
                check_version(t);
                return outcome::answered;
            }
            std::lock_guard lock(mutex_);
            if (version_.known) {
                raise(texts::remote_changed);
            }
        }
        if (t.status >= 500 && may_retry) {
            return outcome::retry;
        }
        raise(std::string(texts::remote_status).append(std::to_string(t.status)));
    }
    if (transient(code) && may_retry) {
        return outcome::retry;
    }
    raise(std::string(texts::remote_transfer_failed)
              .append(t.error[0] != '\0' ? t.error : curl_->easy_strerror(code)));
}

std::vector<answer> range_client::fetch(const std::vector<request>& requests) {
    std::vector<answer> answers(requests.size());
    if (requests.empty()) {
        return answers;
    }
    fetch_state state;
    state.client = this;
    state.multi = static_cast<CURLM*>(take_multi());
    std::vector<transfer> transfers(requests.size());
    std::deque<transfer*> waiting;
    for (std::size_t i = 0; i < requests.size(); ++i) {
        transfers[i].index = i;
        transfers[i].asked = &requests[i];
        waiting.push_back(&transfers[i]);
    }
    const std::size_t parallel = std::max(1u, options_.parallel_requests);
    std::size_t active = 0;
    std::size_t answered = 0;
    std::shared_ptr<const body> whole;
    const auto release_all = [&] {
        for (transfer& t : transfers) {
            t.release(*curl_, state.multi);
        }
        give_back_multi(state.multi);
    };
    try {
        while (answered < requests.size() && !whole) {
            const auto now = clock::now();
            for (auto it = waiting.begin(); it != waiting.end() && active < parallel;) {
                // While the whole object is on its way, nothing else is asked.
                if (state.whole != nullptr) {
                    break;
                }
                if ((*it)->not_before <= now) {
                    start(state, **it);
                    ++active;
                    it = waiting.erase(it);
                } else {
                    ++it;
                }
            }
            int running = 0;
            curl_->multi_perform(state.multi, &running);
            int left = 0;
            while (CURLMsg* message = curl_->multi_info_read(state.multi, &left)) {
                if (message->msg != CURLMSG_DONE) {
                    continue;
                }
                char* owner = nullptr;
                curl_->easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &owner);
                const int result = message->data.result;
                transfer& t = *reinterpret_cast<transfer*>(owner);
                --active;
                const outcome o = finish(t, result);
                t.release(*curl_, state.multi);
                if (o == outcome::answered) {
                    ++answered;
                    answers[t.index] = {t.received, t.status == 200};
                    if (t.status == 200) {
                        whole = t.received;
                    }
                    continue;
                }
                if (state.whole == &t) {
                    state.whole = nullptr;
                }
                if (o == outcome::retry) {
                    ++t.attempt;
                    t.not_before = clock::now() + first_pause * (1u << std::min(t.attempt - 1, 5u));
                }
                waiting.push_back(&t);
            }
            if (answered == requests.size() || whole) {
                break;
            }
            // Only a request that could start now shortens the wait: one
            // kept back by the bound of parallel requests waits for a
            // transfer to end, which wakes the poll.
            auto wait = std::chrono::milliseconds(1000);
            if (active < parallel && state.whole == nullptr) {
                const auto at = clock::now();
                for (const transfer* t : waiting) {
                    wait = std::min(wait,
                                    std::max(std::chrono::milliseconds(0),
                                             std::chrono::duration_cast<std::chrono::milliseconds>(
                                                 t->not_before - at)));
                }
            }
            if (active > 0) {
                curl_->multi_poll(state.multi, nullptr, 0, static_cast<int>(wait.count()), nullptr);
            } else if (wait.count() > 0) {
                std::this_thread::sleep_for(wait);
            }
        }
    } catch (...) {
        release_all();
        throw;
    }
    release_all();
    if (whole) {
        for (answer& a : answers) {
            if (!a.bytes) {
                a = {whole, true};
            }
        }
    }
    return answers;
}

}  // namespace vorn::zela::http
