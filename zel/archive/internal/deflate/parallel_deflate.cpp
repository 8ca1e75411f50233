#include "zel/archive/internal/deflate/parallel_deflate.hpp"

#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/internal/deflate/block_writer.hpp"
#include "zel/archive/internal/deflate/greedy_parse.hpp"
#include "zel/archive/internal/deflate/lz_records.hpp"
#include "zel/archive/internal/deflate/lz_window.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::deflate {

namespace {

constexpr std::size_t most_segments = 64;
constexpr std::size_t least_segment_size = 64;
// A segment's worker indexes this many positions before its start, a window
// and a lookahead, so that its matches are the encoder's (lz_window::resume).
constexpr std::size_t reindexed = lz_window::size + max_match;
// The coding positions of a parse are marked for this many positions from
// its start; a parse that has not met the next one by then is compared with
// the one after it.
constexpr std::size_t marked_positions = 1u << 20;
constexpr std::size_t no_segment = std::numeric_limits<std::size_t>::max();

// The positions that a segment's parse coded near its start, readable while
// the parse is still running: the marks of the positions below the count
// published are final.
class coding_marks {
  public:
    explicit coding_marks(std::size_t positions) : words_((positions + 63) / 64) {}

    std::size_t positions() const { return words_.size() * 64; }

    // Marks a coding position, in increasing order.
    void mark(std::size_t offset) {
        const std::size_t word = offset / 64;
        if (word != word_) {
            store(word);
        }
        bits_ |= std::uint64_t{1} << (offset % 64);
    }

    // No more marks; waiting readers are released. Later calls do nothing.
    void close() {
        if (closed_) {
            return;
        }
        closed_ = true;
        store(word_);
        published_.fetch_or(closed, std::memory_order_release);
        published_.notify_all();
    }

    // Whether the parse coded the position, waiting for its marks if need
    // be; unknown when the parse stopped marking before it.
    enum class answer { coded, not_coded, unknown };
    answer coded(std::size_t offset) const {
        std::uint64_t seen = published_.load(std::memory_order_acquire);
        while (offset >= (seen & ~closed) && (seen & closed) == 0) {
            published_.wait(seen, std::memory_order_acquire);
            seen = published_.load(std::memory_order_acquire);
        }
        if (offset >= (seen & ~closed)) {
            return answer::unknown;
        }
        const std::uint64_t word = words_[offset / 64].load(std::memory_order_relaxed);
        return (word >> (offset % 64)) & 1 ? answer::coded : answer::not_coded;
    }

  private:
    static constexpr std::uint64_t closed = std::uint64_t{1} << 63;

    // Stores the word being marked and moves on to another one.
    void store(std::size_t next_word) {
        if (word_ < words_.size()) {
            words_[word_].store(bits_, std::memory_order_relaxed);
            published_.store(std::min<std::uint64_t>(word_ + 1, words_.size()) * 64,
                             std::memory_order_release);
            published_.notify_all();
        }
        word_ = next_word;
        bits_ = 0;
    }

    std::vector<std::atomic<std::uint64_t>> words_;
    std::atomic<std::uint64_t> published_{0};
    // The writer's own state.
    std::size_t word_ = 0;
    std::uint64_t bits_ = 0;
    bool closed_ = false;
};

struct segment {
    std::size_t start = 0;
    std::size_t end = 0;
    std::uint32_t adler = 1;  // of the bytes from start to end

    // The parse from start up to stop: the end of the input, or a position
    // that the parse of segment `joined` coded too.
    lz_records records;
    std::size_t stop = 0;
    std::size_t joined = no_segment;
    std::unique_ptr<coding_marks> marks;
};

class segmented_deflate {
  public:
    segmented_deflate(const std::uint8_t* input, std::size_t size, std::size_t count);

    // One task per segment: its parse and the Adler-32 of its bytes.
    void parse(std::size_t index);
    // Puts the records into blocks and codes them, on the caller's thread.
    void code(const zlib_sink& sink);

  private:
    void parse_from_start(segment& s, std::size_t index);
    bool meets(std::size_t& target, std::size_t position) const;

    const std::uint8_t* input_;
    std::size_t size_;
    std::vector<segment> segments_;
    // Set when a parse fails: the others stop early, their work being lost.
    std::atomic<bool> failed_{false};
};

segmented_deflate::segmented_deflate(const std::uint8_t* input, std::size_t size, std::size_t count)
    : input_(input), size_(size), segments_(count) {
    for (std::size_t i = 0; i < count; ++i) {
        segment& s = segments_[i];
        s.start = size / count * i;
        s.end = i + 1 == count ? size : size / count * (i + 1);
        s.marks = std::make_unique<coding_marks>(std::min(marked_positions, size - s.start));
    }
}

// Whether the parse at `position` meets that of segment `target` or a later
// one; target moves on past segments whose marks cannot tell.
bool segmented_deflate::meets(std::size_t& target, std::size_t position) const {
    while (target < segments_.size() && position >= segments_[target].start) {
        const segment& t = segments_[target];
        const std::size_t offset = position - t.start;
        const coding_marks::answer a =
            offset < t.marks->positions() ? t.marks->coded(offset) : coding_marks::answer::unknown;
        if (a != coding_marks::answer::unknown) {
            return a == coding_marks::answer::coded;
        }
        ++target;
    }
    return false;
}

void segmented_deflate::parse(std::size_t index) {
    segment& s = segments_[index];
    // Readers waiting for the marks are released however the parse ends.
    struct closer {
        coding_marks& marks;
        ~closer() { marks.close(); }
    } const close_marks{*s.marks};

    s.adler = static_cast<std::uint32_t>(
        adler32_z(1, input_ + s.start, static_cast<z_size_t>(s.end - s.start)));
    try {
        parse_from_start(s, index);
    } catch (...) {
        failed_.store(true, std::memory_order_relaxed);
        throw;
    }
}

void segmented_deflate::parse_from_start(segment& s, std::size_t index) {
    const auto window = std::make_unique_for_overwrite<lz_window>();
    window->resume(input_, size_, s.start, s.start > reindexed ? s.start - reindexed : 0);
    // Text takes about a quarter of a byte per byte; more is grown into.
    s.records.reserve(std::min<std::size_t>((s.end - s.start) / 4, 64u << 20));
    std::size_t position = s.start;
    std::size_t fed = s.start + window->lookahead();
    std::size_t target = index + 1;
    // Parses are compared from the next segment's start on.
    std::size_t compare_from = target < segments_.size() ? segments_[target].start : size_;
    const std::size_t mark_until = s.start + s.marks->positions();
    bool marking = true;
    while (position < size_ && !failed_.load(std::memory_order_relaxed)) {
        if (position >= compare_from) {
            if (meets(target, position)) {
                s.stop = position;
                s.joined = target;
                return;
            }
            if (target == segments_.size()) {
                compare_from = size_;
            }
        }
        if (position < mark_until) {
            s.marks->mark(position - s.start);
        } else if (marking) {
            s.marks->close();
            marking = false;
        }
        fed += window->fill(input_ + fed, size_ - fed);
        const lz_window::match m = greedy_choice(*window);
        const lz_records::record r =
            m.distance == 0 ? lz_records::record{1, 0} : lz_records::record{m.length, m.distance};
        s.records.add(r);
        window->advance(r.length);
        position += r.length;
    }
    s.stop = size_;
}

void segmented_deflate::code(const zlib_sink& sink) {
    std::uint32_t adler = segments_[0].adler;
    for (std::size_t i = 1; i < segments_.size(); ++i) {
        const segment& s = segments_[i];
        adler = static_cast<std::uint32_t>(
            adler32_combine(adler, s.adler, static_cast<z_off_t>(s.end - s.start)));
    }

    const auto writer = std::make_unique_for_overwrite<block_writer>();
    lz_block& block = writer->block();
    std::size_t block_start = 0;
    // The stored form needs the block's bytes in the encoder's window: the
    // history there, after coding up to `end`, reaches min(end, window size
    // - lookahead) back.
    auto end_block = [&](bool final_block, std::size_t end, std::size_t lookahead) {
        block_writer::stored_runs bytes;
        bytes.present = end - block_start <= lz_window::size - lookahead;
        bytes.first = {input_ + block_start, end - block_start};
        const std::span<const std::uint8_t> coded = writer->end_block(final_block, bytes, adler);
        sink(reinterpret_cast<const char*>(coded.data()), coded.size());
        block_start = end;
    };

    std::size_t position = 0;
    for (std::size_t i = 0; i != no_segment; i = segments_[i].joined) {
        const segment& s = segments_[i];
        lz_records::reader records(s.records);
        // The parse before joined this one at a position that this one coded.
        std::size_t at = s.start;
        while (at < position) {
            at += records.next().length;
        }
        if (at != position) {
            // Parses only meet at a position both coded; this cannot be.
            throw zlib_runtime_exception(std::string(zela::texts::deflate_failed));
        }
        while (at < s.stop) {
            const lz_records::record r = records.next();
            if (r.distance == 0) {
                block.add_literal(input_[at]);
            } else {
                block.add_match(r.length, r.distance);
            }
            const std::size_t lookahead = std::min<std::size_t>(max_match, size_ - at) - r.length;
            at += r.length;
            if (block.should_end()) {
                end_block(false, at, lookahead);
            }
        }
        position = at;
    }
    end_block(true, size_, 0);
}

// Runs task(count - 1) down to task(0) on `threads` threads, the caller's
// included, so that a task only ever waits for tasks taken before it. The
// first exception is thrown once all threads have stopped.
void run_tasks(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& task) {
    std::atomic<std::size_t> left{count};
    std::exception_ptr failure;
    std::mutex failure_mutex;
    auto work = [&] {
        for (;;) {
            std::size_t i = left.load(std::memory_order_relaxed);
            do {
                if (i == 0) {
                    return;
                }
            } while (!left.compare_exchange_weak(i, i - 1, std::memory_order_relaxed));
            try {
                task(i - 1);
            } catch (...) {
                const std::lock_guard lock(failure_mutex);
                if (!failure) {
                    failure = std::current_exception();
                }
            }
        }
    };
    std::vector<std::thread> helpers;
    helpers.reserve(threads);
    for (unsigned t = 1; t < threads && t < count; ++t) {
        try {
            helpers.emplace_back(work);
        } catch (const std::system_error&) {
            break;  // fewer threads take the same tasks
        }
    }
    work();
    for (std::thread& helper : helpers) {
        helper.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

// Helper threads not in use by any call, process-wide: one fewer than the
// cores, since the caller's thread works too.
std::atomic<int>& free_helpers() {
    static std::atomic<int> free{
        static_cast<int>(
            std::max(std::min(std::thread::hardware_concurrency(), max_segments), 1u)) -
        1};
    return free;
}

}  // namespace

bool deflate_in_parallel(const zlib_sink& sink, const std::uint8_t* input, std::size_t size) {
    if (size < parallel_threshold) {
        return false;
    }
    const int wanted =
        static_cast<int>(std::min<std::size_t>(max_segments, size / min_segment_size)) - 1;
    std::atomic<int>& free = free_helpers();
    int taken = 0;
    for (int seen = free.load(); seen > 0;) {
        taken = std::min(seen, wanted);
        if (free.compare_exchange_weak(seen, seen - taken)) {
            break;
        }
        taken = 0;
    }
    if (taken <= 0) {
        return false;
    }
    struct returner {
        std::atomic<int>& free;
        int taken;
        ~returner() { free.fetch_add(taken); }
    } const give_back{free, taken};
    const auto threads = static_cast<unsigned>(taken + 1);
    deflate_in_segments(sink, input, size, threads, threads);
    return true;
}

void deflate_in_segments(const zlib_sink& sink, const std::uint8_t* input, std::size_t size,
                         std::size_t segments, unsigned threads) {
    segments =
        std::clamp<std::size_t>(std::min(segments, size / least_segment_size), 1, most_segments);
    segmented_deflate work(input, size, segments);
    run_tasks(segments, threads, [&](std::size_t i) { work.parse(i); });
    work.code(sink);
}

}  // namespace vorn::deflate
