#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/package_report.hpp"
#include "zel/archive/package_verify.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::zela {
namespace {

finding at_entry(std::string code, std::string entry, std::uint64_t offset, std::string message) {
    finding f;
    f.code = std::move(code);
    f.place = finding_place::entry;
    f.entry = std::move(entry);
    f.offset = offset;
    f.message = std::move(message);
    return f;
}

TEST(PackageReportTest, JsonHasEveryPlaceInItsOwnKeys) {
    package_report report;
    report.command = "check";
    report.package = "p.zel";
    report.counts = {{"links", 2}, {"local_links", 1}};
    report.external_refs = std::vector<std::string>{"lib", "other"};
    finding stray;
    stray.code = "stray-temporary-file";
    stray.severity = finding_severity::warning;
    stray.place = finding_place::file;
    stray.file = "p.zel.0123456789ab.tmp";
    stray.message = "s";
    report.findings.push_back(stray);
    report.findings.push_back(at_entry("entry-hash-mismatch", "a.bin", 48, "bad"));
    finding link;
    link.code = "broken-link";
    link.place = finding_place::parameter;
    link.block = "chair";
    link.metadata = true;
    link.parameter = "base";
    link.link = "lib#oak";
    link.message = "no block oak in library lib";
    report.findings.push_back(link);
    finding library;
    library.code = "unlisted-library";
    library.severity = finding_severity::warning;
    library.place = finding_place::library;
    library.library = "lib";
    library.message = "m";
    report.findings.push_back(library);

    EXPECT_EQ(report.errors(), 2u);
    EXPECT_EQ(report.warnings(), 2u);
    EXPECT_FALSE(report.sound());
    EXPECT_EQ(report.count("local_links"), 1u);
    EXPECT_EQ(report.count("absent"), 0u);
    EXPECT_EQ(to_json(report),
              R"({"command": "check", "package": "p.zel", "errors": 2, "warnings": 2, )"
              R"("counts": {"links": 2, "local_links": 1}, "external_refs": ["lib", "other"], )"
              R"("findings": [{"code": "stray-temporary-file", "severity": "warning", )"
              R"("file": "p.zel.0123456789ab.tmp", "message": "s"}, )"
              R"({"code": "entry-hash-mismatch", "severity": "error", )"
              R"("entry": "a.bin", "offset": 48, "message": "bad"}, {"code": "broken-link", )"
              R"("severity": "error", "block": "chair", "metadata": true, "parameter": "base", )"
              R"("link": "lib#oak", "message": "no block oak in library lib"}, )"
              R"({"code": "unlisted-library", "severity": "warning", "library": "lib", )"
              R"("message": "m"}]})");
    EXPECT_EQ(to_json(unreadable_package_report("verify", "x", "gone")),
              R"({"command": "verify", "package": "x", "errors": 1, "warnings": 0, )"
              R"("counts": {}, "findings": [{"code": "package-unreadable", "severity": "error", )"
              R"("message": "gone"}]})");
}

// A damaged package may name its entries with any bytes; the output stays
// JSON in UTF-8.
TEST(PackageReportTest, NamesAreEscapedIntoValidUtf8) {
    const std::pair<std::string, std::string> cases[] = {
        {"plain/name.bin", R"("plain/name.bin")"},
        {"q\"b\\s", R"("q\"b\\s")"},
        {"\n\t\x01\x7f", R"("\n\t\u0001\u007f")"},
        {"caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80",
         "\"caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80\""},
        {"\xff\xc3", R"("\u00ff\u00c3")"},
        {"\xc0\xaf", R"("\u00c0\u00af")"},                      // overlong
        {"\xed\xa0\x80", R"("\u00ed\u00a0\u0080")"},            // a surrogate
        {"\xf4\x90\x80\x80", R"("\u00f4\u0090\u0080\u0080")"},  // above U+10FFFF
        {std::string("a\0b", 3), R"("a\u0000b")"},
    };
    for (const auto& [name, json] : cases) {
        package_report report;
        report.findings.push_back(at_entry("c", name, 0, ""));
        const std::string out = to_json(report);
        const std::string key = R"("entry": )";
        const std::size_t at = out.find(key) + key.size();
        EXPECT_EQ(out.substr(at, out.find(", \"offset\"") - at), json) << name;
    }
}

TEST(PackageVerifyTest, DamageInsideEntriesIsFoundEntryByEntry) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "p.zel";
    {
        zel_archive_file_appender<parallel::mutex_traits_no_op> a(path, true);
        a.add_entry("stored", std::string(64, 's').data(), 64, false, false);
        a.add_entry("packed", std::string(4000, 'p').data(), 4000, true, false);
    }
    EXPECT_EQ(to_json(verify_package(zel_archive_file_reader(path), "p.zel")),
              R"({"command": "verify", "package": "p.zel", "errors": 0, "warnings": 0, )"
              R"("counts": {"entries": 2}, "findings": []})");

    std::string image = testing::read_file(path);
    const zel_archive_file_reader sound(path);
    const auto* stored = sound.get_entry_record("stored");
    const auto* packed = sound.get_entry_record("packed");
    image[stored->off] ^= 1;
    image[packed->off + packed->csize - 1] ^= 1;  // its Adler-32 trailer
    const auto damaged = dir.path() / "damaged.zel";
    std::ofstream(damaged, std::ios::binary) << image;
    const package_report report = verify_package(zel_archive_file_reader(damaged), "p.zel");
    std::vector<std::pair<std::string, std::string>> found;
    for (const finding& f : report.findings) {
        EXPECT_EQ(f.offset, sound.get_entry_record(f.entry)->off);
        found.emplace_back(f.code, f.entry);
    }
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"entry-hash-mismatch", "stored"},
        {"entry-hash-mismatch", "packed"},
        {"entry-inflate-failed", "packed"}};
    EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace vorn::zela
