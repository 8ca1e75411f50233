// Four threads share one resolver whose budgets hold about one scene and a
// few binaries, so that the caches evict all the time, and check every
// answer against what the packages were written with.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "zel/foundation/generic_param.hpp"
#include "zel/scene/scene_resolver.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {
namespace {

constexpr int packages = 3;
constexpr int blocks_per_package = 40;
constexpr int binaries_per_package = 12;
constexpr int threads = 4;
constexpr int rounds = 400;

// prefix and the decimal number. Appended rather than joined with +, which
// g++ 12 warns about wrongly under -O2.
std::string numbered(std::string prefix, int number) {
    prefix += std::to_string(number);
    return prefix;
}

// Binaries with an even number are stored as given, the others deflated;
// number 0 holds the same bytes in every package.
std::string binary_name(int number) {
    return numbered("bin", number) + (number % 2 == 0 ? ".raw" : ".txt");
}

std::string payload(int package, int number) {
    const int owner = number == 0 ? 0 : package;
    std::string bytes = testing::numbered_bytes(1000 + 97 * number);
    if (number % 2 != 0) {
        bytes.assign(bytes.size(), static_cast<char>('a' + owner));  // compresses
    }
    bytes.replace(0, 8, numbered("pkg", owner) + numbered("-", number % 10) + "--");
    return bytes;
}

std::filesystem::path write_package(const std::filesystem::path& directory, int package) {
    const std::filesystem::path path = directory / (numbered("p", package) + ".zel");
    zel_file_writer writer(path, false, true);
    writer.add_uncompressed_extension(".raw");
    for (int b = 0; b < blocks_per_package; ++b) {
        zel_block& block = writer.add_block("mesh", numbered("block", b));
        block.add_parameter("owner", generic_param(package));
    }
    zel_block& holder = writer.add_block("holder", "binaries");
    for (int n = 0; n < binaries_per_package; ++n) {
        const std::string bytes = payload(package, n);
        holder.add_binary_link_with_data(numbered("b", n), binary_name(n), bytes.data(),
                                         bytes.size());
    }
    writer.close();
    return path;
}

TEST(ResolverThreadsTest, FourThreadsUnderConstantEvictionGetEveryAnswerRight) {
    testing::scratch_directory scratch;
    std::vector<std::filesystem::path> paths;
    for (int p = 0; p < packages; ++p) {
        paths.push_back(write_package(scratch.path(), p));
    }
    // One scene (41 blocks and the document's own) fits; two do not.
    zel_scene_resolver resolver(blocks_per_package + 5, 6000, 6000);
    std::vector<int> failures(threads, 0);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            std::mt19937 random(static_cast<unsigned>(t) + 1);
            int& failed = failures[t];
            for (int round = 0; round < rounds; ++round) {
                const int p = static_cast<int>(random() % packages);
                const auto index = resolver.open_file_index(paths[p]);
                const int b = static_cast<int>(random() % blocks_per_package);
                const zel_block& block = *index->get_block(numbered("block", b));
                const auto& owner = block.parameter_at(block.find_parameter("owner"));
                failed += owner.value.value().view() != std::to_string(p);

                const int n = static_cast<int>(random() % binaries_per_package);
                const bool raw = random() % 2 == 0;
                const auto buffer = resolver.get_cached_binary(index, binary_name(n), raw);
                const binary_identity key = index->archive_reader()->get_entry_key(binary_name(n));
                failed += !(buffer->identity() == key);
                if (raw && n % 2 != 0) {
                    failed += buffer->size() != key.size || buffer->pending_size() == 0;
                } else {
                    failed += std::string(buffer->data(), buffer->size()) != payload(p, n);
                }
            }
        });
    }
    for (std::thread& w : workers) {
        w.join();
    }
    EXPECT_EQ(failures, std::vector<int>(threads, 0));
    EXPECT_LE(resolver.file_index_usage().cost, blocks_per_package + 5u);
    EXPECT_LE(resolver.raw_binary_usage().cost, 6000u);
    EXPECT_LE(resolver.decoded_binary_usage().cost, 6000u);
}

}  // namespace
}  // namespace vorn::zel
