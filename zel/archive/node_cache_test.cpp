#include "zel/archive/node_cache.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "zel/foundation/hash.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::zela {
namespace {

namespace fs = std::filesystem;

binary_identity identity_of(const std::string& bytes) {
    return {hash_bytes(bytes.data(), bytes.size()), bytes.size()};
}

std::string found_text(node_cache& cache, const binary_identity& id) {
    const auto found = cache.find(id);
    return found ? std::string(found->data, id.size) : "(missing)";
}

TEST(NodeCacheTest, KeepsBytesUnderTheirIdentityAndDropsDamagedFiles) {
    const testing::scratch_directory dir;
    node_cache cache(dir.path() / "cache", 1u << 20);
    const std::string bytes = testing::numbered_bytes(5000);
    const binary_identity id = identity_of(bytes);

    EXPECT_EQ(found_text(cache, id), "(missing)");
    // Bytes that do not have the identity they are offered under are not kept.
    cache.store({id.hash + 1, id.size}, bytes.data(), bytes.size());
    cache.store({id.hash, id.size + 1}, bytes.data(), bytes.size());
    EXPECT_FALSE(fs::exists(cache.path_of({id.hash + 1, id.size})));
    EXPECT_FALSE(fs::exists(cache.path_of({id.hash, id.size + 1})));

    std::string changed = bytes;
    changed[2500] ^= 1;
    const struct {
        const char* damage;
        std::string contents;
    } rows[] = {
        {"truncated", bytes.substr(0, 4096)},
        {"one byte changed", changed},
        {"empty", ""},
        {"longer", bytes + "x"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.damage);
        cache.store(id, bytes.data(), bytes.size());
        EXPECT_EQ(found_text(cache, id), bytes);
        std::ofstream(cache.path_of(id), std::ios::binary | std::ios::trunc) << row.contents;
        EXPECT_EQ(found_text(cache, id), "(missing)");
        EXPECT_FALSE(fs::exists(cache.path_of(id)));
    }
}

TEST(NodeCacheTest, EvictsTheLeastRecentlyUsedBeyondItsBudget) {
    const testing::scratch_directory dir;
    node_cache cache(dir.path(), 1000);
    std::string bytes[4];
    for (int i = 0; i < 4; ++i) {
        bytes[i] = std::string(300, static_cast<char>('a' + i));
    }
    // A file larger than the whole budget is never kept.
    const std::string large(1001, 'z');
    cache.store(identity_of(large), large.data(), large.size());
    EXPECT_FALSE(fs::exists(cache.path_of(identity_of(large))));

    const auto now = fs::file_time_type::clock::now();
    for (int i = 0; i < 3; ++i) {
        cache.store(identity_of(bytes[i]), bytes[i].data(), bytes[i].size());
        fs::last_write_time(cache.path_of(identity_of(bytes[i])), now - std::chrono::hours(3 - i));
    }
    // A writer that died left this behind.
    const fs::path stray = cache.path_of(identity_of(bytes[0])).parent_path() / ".tmp-1-dead";
    std::ofstream(stray) << "partial";
    fs::last_write_time(stray, now - std::chrono::hours(2));

    // A hit makes "a" young again, so "b" is the oldest when "d" passes the
    // budget, and going down to nine tenths of it takes "b" alone.
    EXPECT_EQ(found_text(cache, identity_of(bytes[0])), bytes[0]);
    cache.store(identity_of(bytes[3]), bytes[3].data(), bytes[3].size());
    const bool kept[4] = {true, false, true, true};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(fs::exists(cache.path_of(identity_of(bytes[i]))), kept[i]) << bytes[i][0];
    }
    EXPECT_FALSE(fs::exists(stray));
}

}  // namespace
}  // namespace vorn::zela
