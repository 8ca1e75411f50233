// Packages whose table of contents hashes right but whose records lie, or
// that cost a reader out of all proportion to their size: each is refused
// with its own message, before its cost is paid.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/archive/hostile_image_test.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zela {
namespace {

using testing::what_of;

TEST(HostileArchiveTest, EveryHostilePackageIsRefusedWithItsMessage) {
    const testing::scratch_directory dir;
    const testing::hostile_scale scale = testing::small_hostile_scale();
    for (const testing::hostile_package& p : testing::hostile_packages(scale)) {
        SCOPED_TRACE(p.name);
        const auto path = dir.write(p.name + ".zel", p.image);
        const std::string got = what_of([&] {
            const zel_archive_file_reader reader(path, scale.limits);
            if (!p.entry.empty()) {
                std::vector<std::string> names;
                reader.list_entries(names);
                EXPECT_FALSE(names.empty());
                reader.get_entry(p.entry);
            }
        });
        if (p.whole) {
            EXPECT_EQ(got, p.refusal);
        } else {
            EXPECT_EQ(got.substr(0, p.refusal.size()), p.refusal);
        }
        if (!p.entry.empty()) {
            // The stored bytes are refused alike when they are out of place;
            // a stream that lies is only found when it is inflated.
            const zel_archive_file_reader reader(path, scale.limits);
            const bool misplaced = got.find("overlap") != std::string::npos ||
                                   got.find("multiple of 16") != std::string::npos;
            EXPECT_EQ(what_of([&] { reader.get_raw_entry(p.entry); }) == got, misplaced);
        }
    }
}

// The default limits take a package that is large but real.
TEST(HostileArchiveTest, DefaultLimitsTakeWhatTheSmallLimitsRefuse) {
    const testing::scratch_directory dir;
    for (const testing::hostile_package& p :
         testing::hostile_packages(testing::small_hostile_scale())) {
        if (p.name == "toc-white-space" || p.name == "toc-empty-elements" ||
            p.name == "toc-attributes") {
            SCOPED_TRACE(p.name);
            const auto path = dir.write(p.name + ".zel", p.image);
            EXPECT_NO_THROW(zel_archive_file_reader reader(path));
        }
    }
}

// Each limit takes a table of contents that reaches it exactly and refuses
// one that passes it by one. One entry makes ten nodes (the index, the entry,
// its four fields and their four texts) and six attributes.
TEST(HostileArchiveTest, LimitsTakeTheirOwnValue) {
    const testing::scratch_directory dir;
    const std::string text = testing::toc_text({{"e", 48, 0, 0, 0}});
    const auto path = dir.write("one.zel", testing::sealed_image("", text));
    const zel_archive_reader_limits exact{text.size(), 10, 6};
    EXPECT_NO_THROW(zel_archive_file_reader(path, exact));
    struct row {
        zel_archive_reader_limits limits;
        std::string message;
    };
    const row rows[] = {
        {{text.size() - 1, 10, 6},
         "table of contents: text of " + std::to_string(text.size()) +
             " bytes is over the reader's limit of " + std::to_string(text.size() - 1) + " bytes"},
        {{text.size(), 9, 6}, "table of contents: more elements than the reader's limit of 9"},
        {{text.size(), 10, 5}, "table of contents: more attributes than the reader's limit of 5"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.message);
        EXPECT_EQ(what_of([&] { zel_archive_file_reader reader(path, r.limits); }),
                  testing::archive_message(r.message));
    }
}

// Parameters of two names in turn each go behind the last of their name, so
// the list holds all of one name, then all of the other, in order.
TEST(HostileArchiveTest, AlternatingParameterNamesKeepTheirOrder) {
    const testing::scratch_directory dir;
    const std::uint64_t count = testing::small_hostile_scale().alternating_params;
    const zel_archive_file_reader reader(
        dir.write("params.zel", testing::alternating_params_image(count)));
    const entry_params& params = *reader.get_entry_params("e");
    ASSERT_EQ(params.size(), count + 4);
    std::vector<std::string> values;
    for (const auto& item : params) {
        values.push_back(item.name + "=" + item.param.value);
    }
    EXPECT_EQ(values[4], "even=0");
    EXPECT_EQ(values[5], "even=2");
    EXPECT_EQ(values[4 + count / 2 - 1], "even=" + std::to_string(count - 2));
    EXPECT_EQ(values[4 + count / 2], "odd=1");
    EXPECT_EQ(values.back(), "odd=" + std::to_string(count - 1));
    const auto odd = params.equal_range("odd");
    EXPECT_EQ(std::distance(odd.first, odd.second), static_cast<std::ptrdiff_t>(count / 2));
    EXPECT_EQ(params.find("odd")->value, "1");
}

}  // namespace
}  // namespace vorn::zela
