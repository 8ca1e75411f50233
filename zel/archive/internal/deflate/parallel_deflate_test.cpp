#include "zel/archive/internal/deflate/parallel_deflate.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "zel/archive/internal/deflate/deflate_encoder.hpp"
#include "zel/testing/streams_test.hpp"

// Allocations of at least this size fail when armed: the n-th one from then
// on throws std::bad_alloc, on whichever thread makes it. The replacement
// takes memory from malloc and gives it back with free, a pairing that the
// compiler cannot see through the standard allocator.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
namespace {
constexpr std::size_t large_allocation = 160 * 1024;
std::atomic<long> large_allocations_until_failure{0};
}  // namespace

void* operator new(std::size_t size) {
    if (size >= large_allocation && large_allocations_until_failure.load() > 0 &&
        large_allocations_until_failure.fetch_sub(1) == 1) {
        throw std::bad_alloc();
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}

namespace vorn::deflate {
namespace {

// Sanitized and unoptimised builds take fewer of the cases, enough for the
// threads and the memory they check; the optimised build takes them all.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
constexpr bool every_case = false;
#else
constexpr bool every_case = true;
#endif

const std::filesystem::path vectors = std::filesystem::path(ZEL_TEST_DATA_DIR) / "deflate";

// The stream of the streaming encoder, handed the input at once.
std::string sequential(const std::string& input) {
    deflate_encoder encoder;
    std::string out;
    const auto* in = reinterpret_cast<const std::uint8_t*>(input.data());
    std::size_t in_size = input.size();
    std::vector<std::uint8_t> space(1 << 16);
    stream_status status = stream_status::ok;
    while (status == stream_status::ok) {
        std::uint8_t* next = space.data();
        std::size_t left = space.size();
        status = encoder.deflate(in, in_size, next, left, true);
        out.append(reinterpret_cast<const char*>(space.data()), space.size() - left);
    }
    EXPECT_EQ(status, stream_status::stream_end);
    return out;
}

std::string in_segments(const std::string& input, std::size_t segments, unsigned threads) {
    std::string out;
    deflate_in_segments([&out](const char* p, std::size_t n) { out.append(p, n); },
                        reinterpret_cast<const std::uint8_t*>(input.data()), input.size(), segments,
                        threads);
    return out;
}

// Names the first differing offset, which tells the block that went wrong.
::testing::AssertionResult same_stream(const std::string& actual, const std::string& expected) {
    const auto differ =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (differ.first == actual.end() && differ.second == expected.end()) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "streams of " << actual.size() << " and " << expected.size()
           << " bytes differ first at offset " << (differ.first - actual.begin());
}

struct split {
    std::size_t segments;
    unsigned threads;
};

std::vector<split> splits(std::initializer_list<split> all, std::initializer_list<split> some) {
    return every_case ? std::vector<split>(all) : std::vector<split>(some);
}

TEST(ParallelDeflateTest, ReferenceStreamsInManySegments) {
    int checked = 0;
    for (const auto& entry : std::filesystem::directory_iterator(vectors / "inputs")) {
        const std::string name = entry.path().filename().string();
        const std::string input = testing::read_file(entry.path());
        const std::string expected = testing::read_file(vectors / "streams" / (name + ".z"));
        for (const split s : splits({{2, 2}, {5, 1}, {33, 3}}, {{5, 2}})) {
            SCOPED_TRACE(name + " in " + std::to_string(s.segments) + " segments");
            EXPECT_TRUE(same_stream(in_segments(input, s.segments, s.threads), expected));
        }
        ++checked;
    }
    EXPECT_GE(checked, 29);
}

// Bytes from a small generator, the same on every platform.
class byte_source {
  public:
    explicit byte_source(std::uint32_t seed) : engine_(seed) {}
    std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(engine_() % n); }
    void random(std::string& out, std::size_t n, std::uint32_t alphabet = 256, char base = 0) {
        for (std::size_t i = 0; i < n; ++i) {
            out.push_back(static_cast<char>(base + static_cast<char>(below(alphabet))));
        }
    }
    void words(std::string& out, std::size_t n) {
        static const char* const vocabulary[] = {"block ",    "param ", "value=", "\"12.5 mm\" ",
                                                 "<item id=", "/>\n",   "true ",  "colour "};
        while (n > 0) {
            const std::string word = vocabulary[below(8)] + std::to_string(below(1000));
            const std::size_t take = std::min(n, word.size());
            out.append(word, 0, take);
            n -= take;
        }
    }

  private:
    std::mt19937 engine_;
};

struct crafted {
    const char* name;
    std::function<std::string()> make;
};

std::string repeated(const std::string& unit, std::size_t size) {
    std::string out;
    while (out.size() < size) {
        out += unit;
    }
    out.resize(size);
    return out;
}

// Where the argument for exactness is thinnest: splits inside long matches
// and runs, chains whose 16-bit links wrap, stored blocks across a split,
// and parses that step over each other for a long way.
const std::vector<crafted>& crafted_inputs() {
    static const std::vector<crafted> inputs = {
        {"text twice: long matches across every split",
         [] {
             std::string s;
             byte_source(1).words(s, 150000);
             return s + s.substr(7, 150000 - 7) + s;
         }},
        {"runs of zeros between text",
         [] {
             std::string s;
             byte_source(2).words(s, 40000);
             s.append(300001, '\0');
             byte_source(3).words(s, 40000);
             s.append(131072, '\0');
             return s;
         }},
        {"repeating pattern, whole 64 KiB pages",
         [] { return repeated("0123456789abcdefghijklmnopqrstuvwxyz-", 8 * 65536); }},
        {"trigrams seen again only after more than 64 KiB",
         [] {
             std::string s;
             byte_source b(4);
             b.random(s, 300000, 20, 'a');
             for (const std::size_t at :
                  {100, 65536 + 100 + 5000, 3 * 65536 + 100 + 31000, 4 * 65536 + 7, 2 * 65536}) {
                 s.replace(at, 9, "XYZ!#XYZ!");
             }
             return s;
         }},
        {"incompressible bytes around text",
         [] {
             std::string s;
             byte_source b(5);
             b.random(s, 400000);
             b.words(s, 30000);
             b.random(s, 200000);
             return s;
         }},
        {"parses that do not meet for long",
         [] {
             std::string s(700000, '\0');
             s += repeated("ab", 500000);
             s += repeated("abc", 400000);
             return s;
         }},
    };
    return inputs;
}

TEST(ParallelDeflateTest, CraftedInputsGiveTheSequentialStream) {
    for (const crafted& c : crafted_inputs()) {
        const std::string input = c.make();
        const std::string expected = sequential(input);
        for (const split s :
             splits({{2, 2}, {3, 1}, {8, 3}, {17, 2}, {64, 3}}, {{3, 2}, {17, 3}})) {
            SCOPED_TRACE(std::string(c.name) + " in " + std::to_string(s.segments) + " segments");
            EXPECT_TRUE(same_stream(in_segments(input, s.segments, s.threads), expected));
        }
    }
}

// Splits at exact multiples of 65536, where a chain link of 0 ends a chain.
TEST(ParallelDeflateTest, SplitsAtMultiplesOf65536) {
    std::string input;
    byte_source b(6);
    for (int i = 0; i < 12; ++i) {
        b.words(input, 40000);
        b.random(input, 25536, 4, 'k');
    }
    ASSERT_EQ(input.size(), 12u * 65536);
    const std::string expected = sequential(input);
    for (const std::size_t segments : {2, 3, 4, 6, 12}) {
        SCOPED_TRACE(segments);
        EXPECT_TRUE(same_stream(in_segments(input, segments, 2), expected));
    }
}

// Mixed pieces: noise, runs, text, periodic bytes and copies of earlier
// parts from near and far.
std::string mixed_input(byte_source& b, std::size_t size) {
    std::string s;
    while (s.size() < size) {
        const std::size_t piece = 1 + b.below(static_cast<std::uint32_t>(std::min<std::size_t>(
                                          size - s.size(), 1 + b.below(2) * 70000 + 3000)));
        switch (b.below(6)) {
            case 0:
                b.random(s, piece);
                break;
            case 1:
                s.append(piece, static_cast<char>(b.below(3)));
                break;
            case 2:
                b.words(s, piece);
                break;
            case 3:
                s += repeated(
                    std::string(1 + b.below(5), static_cast<char>('p' + b.below(4))) + "xy", piece);
                break;
            default:
                if (!s.empty()) {
                    const std::size_t from = b.below(static_cast<std::uint32_t>(s.size()));
                    s += s.substr(from, piece);
                }
                break;
        }
    }
    s.resize(size);
    return s;
}

TEST(ParallelDeflateTest, RandomInputsGiveTheSequentialStream) {
    constexpr int count = every_case ? 200 : 12;
    byte_source b(2026);
    for (int i = 0; i < count; ++i) {
        // Sizes from 64 KiB to 4 MiB, most of them small.
        const double u = b.below(1000) / 1000.0;
        const auto size = static_cast<std::size_t>(65536 * std::pow(64.0, u * u));
        const std::string input = mixed_input(b, size);
        const std::size_t segments = 2 + b.below(12);
        const unsigned threads = 1 + b.below(3);
        SCOPED_TRACE("input " + std::to_string(i) + " of " + std::to_string(size) + " bytes in " +
                     std::to_string(segments) + " segments");
        ASSERT_TRUE(same_stream(in_segments(input, segments, threads), sequential(input)));
    }
}

// zlib_deflate takes the parallel path from the threshold on, when there are
// cores to spare; either way the stream is the encoder's.
TEST(ParallelDeflateTest, SizesAroundTheThresholdGiveTheSequentialStream) {
    byte_source b(7);
    const std::string input = mixed_input(b, parallel_threshold + 1);
    for (const std::size_t size : {parallel_threshold - 1, parallel_threshold, input.size()}) {
        SCOPED_TRACE(size);
        const std::string part = input.substr(0, size);
        EXPECT_TRUE(same_stream(testing::deflated(part), sequential(part)));
    }
}

// Callers on several threads share the helper threads; each gets the
// encoder's stream whether it found helpers free or not.
TEST(ParallelDeflateTest, CallsFromSeveralThreadsGiveTheSequentialStream) {
    byte_source b(10);
    const std::string input = mixed_input(b, parallel_threshold);
    const std::string expected = sequential(input);
    std::vector<std::string> streams(3);
    std::vector<std::thread> callers;
    for (std::string& stream : streams) {
        callers.emplace_back([&input, &stream] { stream = testing::deflated(input); });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    for (const std::string& stream : streams) {
        EXPECT_TRUE(same_stream(stream, expected));
    }
}

// A worker that fails stops the others, and its exception reaches the
// caller; nothing is left behind for the next call.
TEST(ParallelDeflateTest, FailingAllocationReachesTheCaller) {
    byte_source b(8);
    const std::string input = mixed_input(b, 2 << 20);
    const std::string expected = sequential(input);
    for (const long failing : {1, 3, 8}) {
        for (const unsigned threads : {1u, 3u}) {
            SCOPED_TRACE(std::to_string(failing) + " with " + std::to_string(threads));
            large_allocations_until_failure = failing;
            EXPECT_THROW(in_segments(input, 8, threads), std::bad_alloc);
            large_allocations_until_failure = 0;
        }
    }
    EXPECT_TRUE(same_stream(in_segments(input, 8, 3), expected));
}

TEST(ParallelDeflateTest, SinkFailurePassesThrough) {
    byte_source b(9);
    const std::string input = mixed_input(b, 300000);
    struct sink_failure {};
    const zlib_sink refusing = [](const char*, std::size_t) { throw sink_failure{}; };
    EXPECT_THROW(deflate_in_segments(refusing, reinterpret_cast<const std::uint8_t*>(input.data()),
                                     input.size(), 4, 2),
                 sink_failure);
}

}  // namespace
}  // namespace vorn::deflate
