#include "zel/archive/open_archive.hpp"

#include <gtest/gtest.h>

#include <string>

#include "zel/archive/appender.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zela {
namespace {

using testing::what_of;

TEST(OpenArchiveTest, OnlyHttpAndHttpsSchemesAreUrls) {
    const struct {
        const char* location;
        bool url;
    } cases[] = {
        {"http://host/a.zel", true},       {"https://host/a.zel?sig=x", true},
        {"HTTPS://host/a.zel", true},      {"Http://host/a.zel", true},
        {"/data/http://a.zel", false},     {"ftp://host/a.zel", false},
        {"http:/host/a.zel", false},       {"https:", false},
        {"file:///data/a.zel", false},     {"", false},
        {"relative/https://x.zel", false}, {"httpx://host/a.zel", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(is_url(c.location), c.url) << c.location;
    }
}

TEST(OpenArchiveTest, LocalPathOpensTheFileReaderWithItsMessages) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "a.zel";
    {
        zel_archive_file_appender<parallel::mutex_traits_no_op> a(path, true);
        a.add_entry("x.bin", "abc", 3, false, false);
    }
    const auto reader = open_archive_reader(path.string());
    EXPECT_NE(dynamic_cast<const zel_archive_file_reader*>(reader.get()), nullptr);
    const auto x = reader->get_entry("x.bin");
    EXPECT_EQ(std::string(x->data(), x->size()), "abc");

    const std::string missing = (dir.path() / "missing.zel").string();
    EXPECT_EQ(what_of([&] { open_archive_reader(missing); }),
              what_of([&] { zel_archive_file_reader{missing}; }));
}

}  // namespace
}  // namespace vorn::zela
