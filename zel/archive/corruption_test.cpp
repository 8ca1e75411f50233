// Damages a valid archive on purpose, at every position, and reads it back
// whole. Each damaged file must either read or raise an error of the library's
// family; none may crash, read outside the file or throw anything else.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/archive_image_test.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/sealed_image_test.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace vorn::zela {
namespace {

using appender = zel_archive_file_appender<parallel::mutex_traits_no_op>;
using system::mmap::mapped_region;
using testing::numbered_bytes;

// Several entries of each kind, small enough that every byte can be damaged.
std::string valid_archive(const testing::scratch_directory& dir) {
    const auto path = dir.path() / "valid.zel";
    {
        appender a(path, true);
        const std::string text = "<scene><block name=\"a\"/><block name=\"b\"/></scene>";
        a.add_entry("stored-1", numbered_bytes(37).data(), 37, false, false);
        a.add_entry("packed-1", text.data(), text.size(), true, false);
        a.add_entry("stored-2", numbered_bytes(16).data(), 16, false, false);
        a.add_entry("packed-2", std::string(300, 'z').data(), 300, true, false);
        a.add_entry("empty", "", 0, false, false);
        a.add_entry("packed-empty", "", 0, true, false);
    }
    return testing::read_file(path);
}

// Sums the bytes so that every one of them is read.
unsigned touch(const read_buffer& buffer) {
    unsigned sum = 0;
    for (std::uint64_t i = 0; i < buffer.size(); ++i) {
        sum += static_cast<unsigned char>(buffer.data()[i]);
    }
    return sum;
}

// Opens the file and reads every entry every way. Returns "read" or the
// message of the first error of the library's family; any other exception
// fails the test. Every view handed out must lie within the mapping.
std::string read_everything(const std::filesystem::path& path) {
    try {
        const zel_archive_file_reader reader(path);
        std::vector<std::string> names;
        reader.list_entries(names);
        for (const std::string& name : names) {
            reader.get_entry_params(name);
            std::shared_ptr<void> holder;
            const char* data = nullptr;
            std::uint64_t size = 0;
            reader.get_entry_data(holder, data, size, *reader.get_entry_record(name));
            const auto& region = *static_cast<const mapped_region*>(holder.get());
            const auto raw = reader.get_raw_entry(name);
            EXPECT_GE(raw->data(), region.base());
            EXPECT_LE(raw->data() + raw->size(), region.base() + region.size());
            touch(*raw);
            touch(*reader.get_entry(name));
        }
        return "read";
    } catch (const vorn_exception& e) {
        return e.message();
    }
}

// Tallies outcomes by message, so that a failure shows what the damage did.
class outcome_tally {
  public:
    void add(const std::string& outcome) { ++counts_[outcome]; }
    std::size_t count(const std::string& outcome) const {
        const auto it = counts_.find(outcome);
        return it == counts_.end() ? 0 : it->second;
    }
    std::size_t refused() const {
        std::size_t n = 0;
        for (const auto& [outcome, count] : counts_) {
            n += outcome == "read" ? 0 : count;
        }
        return n;
    }

  private:
    std::map<std::string, std::size_t> counts_;
};

TEST(CorruptionTest, EveryDamagedByteReadsOrRaises) {
    const testing::scratch_directory dir;
    const std::string valid = valid_archive(dir);
    const zel_archive_header header = zel_archive_header::decode(valid.data());
    outcome_tally tally;
    for (std::size_t position = 0; position < valid.size(); ++position) {
        for (const unsigned char mask : {0x01, 0x80, 0xFF}) {
            std::string damaged = valid;
            damaged[position] = static_cast<char>(damaged[position] ^ mask);
            SCOPED_TRACE(::testing::Message() << "byte " << position << " ^ " << int(mask));
            tally.add(read_everything(dir.write("damaged.zel", damaged)));
        }
    }
    // The table of contents is protected by its hash; the entries are not.
    EXPECT_GE(tally.count("zel_archive exception: Hash value for the archive table of contents "
                          "does not match"),
              3 * header.toc_csize);
    EXPECT_GT(tally.count("read"), 0u);
    EXPECT_GT(tally.count("unknown zlib stream error during inflate"), 0u);
}

TEST(CorruptionTest, EveryTruncationReadsOrRaises) {
    const testing::scratch_directory dir;
    const std::string valid = valid_archive(dir);
    outcome_tally tally;
    for (std::size_t size = 0; size < valid.size(); ++size) {
        SCOPED_TRACE(::testing::Message() << "cut to " << size);
        tally.add(read_everything(dir.write("cut.zel", valid.substr(0, size))));
    }
    EXPECT_EQ(tally.refused(), valid.size());
    EXPECT_EQ(tally.count("zel_archive exception: incomplete zel header"), 48u);
}

// Behind a matching hash: the table of contents' text damaged at every
// position and sealed again, so that the parser and the entry records see
// the damage.
TEST(CorruptionTest, EveryDamageOfASealedTableReadsOrRaises) {
    const testing::scratch_directory dir;
    const std::string valid = valid_archive(dir);
    const zel_archive_header header = zel_archive_header::decode(valid.data());
    const std::string body = valid.substr(48, header.toc_offset - 48);
    const std::string text =
        testing::inflated(std::string_view(valid).substr(header.toc_offset, header.toc_csize));
    outcome_tally tally;
    for (std::size_t position = 0; position < text.size(); ++position) {
        for (const char replacement : {'\0', '<', '/', '"', '9', 'x'}) {
            if (text[position] == replacement) {
                continue;
            }
            std::string damaged = text;
            damaged[position] = replacement;
            SCOPED_TRACE(::testing::Message() << "text " << position << " = " << replacement);
            tally.add(
                read_everything(dir.write("sealed.zel", testing::sealed_image(body, damaged))));
        }
    }
    EXPECT_GT(tally.count("read"), 0u);
    EXPECT_GT(tally.refused(), 0u);
}

// Field values at and around every boundary, each in an entry of its own in
// one sealed table: each entry reads or raises by itself, and a payload that
// reads is exactly as long as its record.
TEST(CorruptionTest, LyingFieldsOfASealedTableReadOrRaise) {
    const testing::scratch_directory dir;
    const std::string stream = testing::deflated(std::string(1000, 'q'));
    const std::string body = stream + numbered_bytes(64);
    const std::uint64_t most = ~std::uint64_t{0};
    const std::uint64_t image_size = testing::sealed_image(body, "").size();
    const std::uint64_t offsets[] = {0, 8, 48, 49, 64, image_size - 1, image_size, most - 7, most};
    const std::uint64_t csizes[] = {0, 1, stream.size() - 1, stream.size(), 64, most};
    const std::uint64_t dsizes[] = {0, 1, 1000, most};
    std::vector<testing::toc_entry> entries;
    for (const auto off : offsets) {
        for (const auto csize : csizes) {
            for (const auto dsize : dsizes) {
                entries.push_back({std::to_string(entries.size()), off, csize, dsize, 7});
            }
        }
    }
    const auto path =
        dir.write("lying.zel", testing::sealed_image(body, testing::toc_text(entries)));
    const zel_archive_file_reader reader(path);
    std::size_t read = 0;
    std::size_t refused = 0;
    for (const auto& e : entries) {
        SCOPED_TRACE(::testing::Message() << e.off << " " << e.csize << " " << e.dsize);
        try {
            touch(*reader.get_raw_entry(e.name));
            const auto payload = reader.get_entry(e.name);
            touch(*payload);
            EXPECT_EQ(payload->size(), e.dsize == 0 ? e.csize : e.dsize);
            ++read;
        } catch (const vorn_exception&) {
            ++refused;
        }
    }
    EXPECT_GT(read, 0u);
    EXPECT_GT(refused, 0u);
}

}  // namespace
}  // namespace vorn::zela
