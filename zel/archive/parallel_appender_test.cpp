// Appenders and locks used from several threads at once. These tests are
// also run under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/archive_image_test.hpp"
#include "zel/archive/internal/gate_shared_mutex.hpp"
#include "zel/foundation/spin_mutex.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace vorn::zela {
namespace {

template <class traits>
class ParallelAppenderTest : public ::testing::Test {};

using policies = ::testing::Types<parallel::mutex_traits_spin, parallel::mutex_traits_std>;
TYPED_TEST_SUITE(ParallelAppenderTest, policies);

constexpr int threads = 4;
constexpr int per_thread = 150;
constexpr int shared_payloads = 40;

// Half of the payloads are the same in every thread, so that threads race to
// store equal bytes under different names.
std::string payload(int thread, int i) {
    if (i % 2 == 0) {
        return "shared payload " + std::to_string(i / 2 % shared_payloads) +
               std::string(static_cast<std::size_t>(i % 7) * 100, 's');
    }
    return testing::numbered_bytes(static_cast<std::size_t>(50 + i)) + "thread " +
           std::to_string(thread) + " item " + std::to_string(i);
}

std::string entry_name(int thread, int i) {
    std::string name = std::to_string(thread);
    name += '/';
    name += std::to_string(i);
    return name;
}

TYPED_TEST(ParallelAppenderTest, EveryEntryIsStoredExactlyOnce) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "parallel.zel";
    // returned[t][i]: the name under which thread t's item i can be read.
    std::vector<std::vector<std::string>> returned(threads);
    {
        zel_archive_file_appender<TypeParam> archive(path, true);
        std::vector<std::thread> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back([&archive, &returned, t] {
                for (int i = 0; i < per_thread; ++i) {
                    const std::string name = entry_name(t, i);
                    const std::string bytes = payload(t, i);
                    const bool compress = i % 3 != 0;
                    returned[t].push_back(
                        archive.add_entry(name, bytes.data(), bytes.size(), compress, false));
                    // An earlier name may come back before its own thread has
                    // entered it in the table; a new name is there at once.
                    if (returned[t].back() == name) {
                        archive.add_entry_param(name, "thread", generic_param(t));
                        EXPECT_NE(archive.get_entry_key(name), binary_identity{});
                    }
                }
            });
        }
        for (std::thread& w : workers) {
            w.join();
        }
    }

    const testing::archive_image image(path);
    std::vector<std::string> names;
    image.list_entries(names);
    const std::set<std::string> stored(names.begin(), names.end());
    EXPECT_EQ(stored.size(), names.size());

    // Each distinct stored form lies in exactly one entry.
    std::map<binary_identity, std::string,
             decltype([](const binary_identity& a, const binary_identity& b) {
                 return std::tie(a.hash, a.size) < std::tie(b.hash, b.size);
             })>
        holders;
    for (const std::string& name : names) {
        EXPECT_TRUE(holders.emplace(image.get_entry_key(name), name).second) << name;
    }
    std::set<std::string> used;
    for (int t = 0; t < threads; ++t) {
        for (int i = 0; i < per_thread; ++i) {
            const std::string& name = returned[t][static_cast<std::size_t>(i)];
            ASSERT_TRUE(stored.count(name)) << name;
            EXPECT_EQ(image.payload(name), payload(t, i)) << name;
            used.insert(name);
        }
    }
    EXPECT_EQ(used, stored);
    for (const std::string& name : names) {
        const auto* params = image.record(name).params;
        ASSERT_NE(params, nullptr);
        EXPECT_NE(params->find("thread"), nullptr) << name;
    }
}

template <class traits>
class SharedMutexTest : public ::testing::Test {};

using shared_mutexes = ::testing::Types<parallel::spin_shared_mutex, parallel::gate_shared_mutex>;
TYPED_TEST_SUITE(SharedMutexTest, shared_mutexes);

// Writers change two numbers that readers must always see equal.
TYPED_TEST(SharedMutexTest, ReadersNeverSeeAHalfDoneWrite) {
    TypeParam mutex;
    long first = 0;
    long second = 0;
    std::atomic<bool> torn{false};
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t) {
        workers.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                if ((i + t) % 4 == 0) {
                    const std::unique_lock lock(mutex);
                    ++first;
                    ++second;
                } else {
                    const std::shared_lock lock(mutex);
                    if (first != second) {
                        torn = true;
                    }
                }
            }
        });
    }
    for (std::thread& w : workers) {
        w.join();
    }
    EXPECT_FALSE(torn);
    EXPECT_EQ(first, 2000);
}

}  // namespace
}  // namespace vorn::zela
