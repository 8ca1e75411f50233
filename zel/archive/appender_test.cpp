#include "zel/archive/appender.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "zel/archive/archive_image_test.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zela {
namespace {

using testing::archive_message;
using testing::what_of;

using appender = zel_archive_file_appender<parallel::mutex_traits_no_op>;
using testing::archive_image;
using testing::numbered_bytes;
using testing::read_file;

std::string add(appender& a, const std::string& name, const std::string& bytes,
                bool compress = false, bool allow_dup = false) {
    return a.add_entry(name, bytes.data(), bytes.size(), compress, allow_dup);
}

TEST(AppenderTest, EmptyArchiveIsHeaderAndEmptyIndex) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "empty.zel";
    { appender a(path, true); }

    const archive_image image(path);
    const std::string& bytes = image.bytes();
    const zel_archive_header& h = image.header();
    EXPECT_EQ(bytes.substr(0, 16), std::string("zel!\0\0\1\0\x30\0\0\0\0\0\0\0", 16));
    EXPECT_EQ(h.toc_offset, 48u);
    EXPECT_EQ(bytes.size(), 48 + h.toc_csize);
    EXPECT_EQ(h.toc_hash, hash_bytes(bytes.data() + 48, h.toc_csize));
    const std::string text = image.toc_text();
    EXPECT_EQ(text, "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<zelindex version=\"0 1\"/>\n\n");
    EXPECT_EQ(h.toc_dsize, text.size() + 1);
    EXPECT_EQ(image.get_package_id(), (package_id{h.toc_hash, bytes.size()}));
}

TEST(AppenderTest, TableOfContentsTextOfOneEntry) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "one.zel";
    const std::string payload(4096, 'x');
    {
        appender a(path, true);
        add(a, "__zel_index__.xml", payload, true);
        generic_param mm(2.5);
        mm.set_unit("mm");
        a.add_entry_param("__zel_index__.xml", "width", mm);
        generic_param note;
        note.create("a<b & \"c\"", "string");
        note.set_tag("t");
        a.add_entry_param("__zel_index__.xml", "note", note);
        a.add_entry_param("__zel_index__.xml", "width", generic_param(3));
    }
    const archive_image image(path);
    const auto& e = image.record("__zel_index__.xml");
    EXPECT_EQ(image.toc_text(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<zelindex version=\"0 1\">\n"
              "\t<zelentry name=\"__zel_index__.xml\">\n"
              "\t\t<off type=\"integer\">48</off>\n"
              "\t\t<csize type=\"integer\">" +
                  std::to_string(e.csize) +
                  "</csize>\n"
                  "\t\t<dsize type=\"integer\">4096</dsize>\n"
                  "\t\t<hash type=\"integer\">" +
                  std::to_string(e.hash) +
                  "</hash>\n"
                  "\t\t<width type=\"double\" unit=\"mm\">2.5</width>\n"
                  "\t\t<width type=\"integer\">3</width>\n"
                  "\t\t<note type=\"string\" tag=\"t\">a&lt;b &amp; &quot;c&quot;</note>\n"
                  "\t</zelentry>\n"
                  "</zelindex>\n\n");
    EXPECT_EQ(e.hash, hash_bytes(image.stored("__zel_index__.xml").data(), e.csize));
    EXPECT_EQ(image.payload("__zel_index__.xml"), payload);
}

TEST(AppenderTest, EntriesStartAtMultiplesOf16AndGapsStayUnwritten) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "gaps.zel";
    const std::vector<std::string> payloads = {numbered_bytes(1), numbered_bytes(17), "",
                                               numbered_bytes(32), numbered_bytes(5)};
    const std::vector<std::uint64_t> offsets = {48, 64, 96, 96, 128};
    {
        appender a(path, true);
        for (std::size_t i = 0; i < payloads.size(); ++i) {
            add(a, "e" + std::to_string(i), payloads[i]);
        }
    }
    const archive_image image(path);
    EXPECT_EQ(image.header().toc_offset, 144u);
    const std::string& bytes = image.bytes();
    std::vector<bool> covered(image.header().toc_offset, false);
    for (std::size_t i = 0; i < payloads.size(); ++i) {
        const auto& e = image.record("e" + std::to_string(i));
        EXPECT_EQ(e.off, offsets[i]);
        EXPECT_EQ(e.dsize, 0u);
        EXPECT_EQ(image.stored("e" + std::to_string(i)), payloads[i]);
        for (std::uint64_t b = e.off; b < e.off + e.csize; ++b) {
            covered[b] = true;
        }
    }
    for (std::size_t b = 48; b < covered.size(); ++b) {
        if (!covered[b]) {
            EXPECT_EQ(bytes[b], '\0') << "gap byte " << b;
        }
    }
}

TEST(AppenderTest, ZeroBytePayloads) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "zero.zel";
    {
        appender a(path, true);
        add(a, "stored", "");
        add(a, "compressed", "", true);
    }
    const archive_image image(path);
    const auto& stored = image.record("stored");
    EXPECT_EQ(stored.csize, 0u);
    EXPECT_EQ(stored.dsize, 0u);
    EXPECT_EQ(stored.hash, 0xDEADBF10DEADBF10ull);
    // A compressed empty payload has dsize 0 and so reads as stored: the
    // stream itself.
    const auto& compressed = image.record("compressed");
    EXPECT_EQ(compressed.off, stored.off);
    EXPECT_EQ(compressed.dsize, 0u);
    EXPECT_EQ(image.stored("compressed"), std::string("\x78\x01\x03\x00\x00\x00\x00\x01", 8));
}

// Every case of bytes known or not, name known or not, and allowDup.
TEST(AppenderTest, OutcomesOfAddingBytes) {
    const std::string known_bytes = "known bytes";
    const std::string fresh_bytes = "fresh bytes";
    struct row {
        const char* what;
        std::string name;
        std::string bytes;
        bool allow_dup;
        std::string returned;  // empty: raises "entry already exists"
        // Every entry of the closed archive, sorted; a refused name is
        // followed by "later", an entry made of the bytes it offered.
        std::vector<std::string> entries;
    };
    const row rows[] = {
        {"new bytes, new name", "b", fresh_bytes, false, "b", {"a", "b"}},
        {"new bytes, name taken", "a", fresh_bytes, false, "", {"a", "later"}},
        {"known bytes, new name", "b", known_bytes, false, "a", {"a"}},
        {"known bytes, other name taken", "c", known_bytes, false, "a", {"a", "c"}},
        {"known bytes, new name, dup allowed", "b", known_bytes, true, "b", {"a", "b"}},
        {"known bytes, name taken, dup allowed", "a", known_bytes, true, "", {"a", "later"}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const testing::scratch_directory dir;
        const auto path = dir.path() / "outcomes.zel";
        {
            appender a(path, true);
            add(a, "a", known_bytes);
            if (std::string(r.what) == "known bytes, other name taken") {
                add(a, "c", "other");
            }
            if (r.returned.empty()) {
                EXPECT_EQ(what_of([&] { add(a, r.name, r.bytes, false, r.allow_dup); }),
                          archive_message("Can't add entry with name \"" + r.name +
                                          "\": entry already exists"));
                // The bytes offered with the refused name are unknown now,
                // also when an earlier entry brought them.
                EXPECT_EQ(add(a, "later", r.bytes), "later");
            } else {
                EXPECT_EQ(add(a, r.name, r.bytes, false, r.allow_dup), r.returned);
                // The first name keeps the known bytes.
                EXPECT_EQ(add(a, "probe", known_bytes), "a");
            }
        }
        const archive_image image(path);
        std::vector<std::string> names;
        image.list_entries(names);
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names, r.entries);
        for (const std::string& name : r.entries) {
            EXPECT_NE(image.get_entry_key(name), binary_identity{}) << name;
        }
    }
}

TEST(AppenderTest, CompressionDecidesWhetherBytesAreShared) {
    const testing::scratch_directory dir;
    const std::string bytes(1000, 'q');
    appender a(dir.path() / "shared.zel", true);
    EXPECT_EQ(add(a, "one", bytes, true), "one");
    EXPECT_EQ(add(a, "two", bytes, true), "one");
    EXPECT_EQ(add(a, "three", bytes, false), "three");
    EXPECT_EQ(a.get_entry_key("two"), binary_identity{});
    EXPECT_NE(a.get_entry_key("one"), a.get_entry_key("three"));
    EXPECT_EQ(what_of([&] { add(a, "", bytes); }),
              archive_message("Can't add an entry with an empty name"));
}

TEST(AppenderTest, FilesAreAddedWhole) {
    const testing::scratch_directory dir;
    const std::string content = numbered_bytes(70000);
    const auto source = dir.write("source.bin", content);
    const auto path = dir.path() / "files.zel";
    {
        appender a(path, true);
        EXPECT_EQ(a.add_file_entry("binaries/source.bin", source, true, false),
                  "binaries/source.bin");
        const auto missing = dir.path() / "missing.bin";
        EXPECT_EQ(what_of([&] { a.add_file_entry("m", missing, true, false); }),
                  archive_message(missing.string() + " does not exist for archive open"));
        EXPECT_EQ(what_of([&] { a.add_entry_param("m", "p", generic_param(1)); }),
                  archive_message("Can't find entry with name \"m"));
    }
    const archive_image image(path);
    EXPECT_EQ(image.payload("binaries/source.bin"), content);
}

TEST(AppenderTest, FileThatCannotBeReadWholeIsRefusedWithTheSystemsText) {
    const testing::scratch_directory dir;
    appender a(dir.path() / "files.zel", true);
    EXPECT_EQ(what_of([&] { a.add_file_entry("d", dir.path(), true, false); }),
              archive_message("unable to read file " + dir.path().string() + ": Is a directory"));
    std::vector<std::string> names;
    a.list_entries(names);
    EXPECT_TRUE(names.empty());
}

// Bytes in names and texts that markup gives a meaning are escaped, and
// read back as they were given.
TEST(AppenderTest, NamesAndTextsTheTableCanCarryReadBackAsGiven) {
    std::string every_byte;
    for (int c = 1; c < 256; ++c) {
        every_byte += static_cast<char>(c);
    }
    const std::vector<std::string> texts = {
        every_byte,         "<a>&amp;</a>",     "'\"", "]]>", "\r\n\t.",
        " lead and trail ", "\xC3\xA9t\xC3\xA9"};
    const std::vector<std::string> param_names = {"a", "_x", ":x", "a.b-c_d:e9",
                                                  "\xC3\xA9t\xC3\xA9"};
    const testing::scratch_directory dir;
    const auto path = dir.path() / "names.zel";
    {
        appender a(path, true);
        for (std::size_t i = 0; i < texts.size(); ++i) {
            add(a, texts[i], "bytes " + std::to_string(i));
            generic_param param;
            param.create(texts[i], texts[(i + 1) % texts.size()]);
            param.set_unit(texts[(i + 2) % texts.size()]);
            param.set_tag(texts[(i + 3) % texts.size()]);
            a.add_entry_param(texts[i], param_names[i % param_names.size()], param);
        }
    }
    const zel_archive_file_reader reader(path);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        SCOPED_TRACE(i);
        const auto bytes = reader.get_entry(texts[i]);
        EXPECT_EQ(std::string(bytes->data(), bytes->size()), "bytes " + std::to_string(i));
        const generic_param* param =
            reader.get_entry_params(texts[i])->find(param_names[i % param_names.size()]);
        ASSERT_NE(param, nullptr);
        EXPECT_EQ(param->value, texts[i]);
        EXPECT_EQ(param->type, texts[(i + 1) % texts.size()]);
        EXPECT_EQ(param->unit, texts[(i + 2) % texts.size()]);
        EXPECT_EQ(param->tag, texts[(i + 3) % texts.size()]);
    }
}

// What the table of contents could not read back is refused when it is
// added, and the archive stays readable.
TEST(AppenderTest, WhatTheTableCannotCarryIsRefusedAtTheDoor) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "door.zel";
    const std::string nul(1, '\0');
    {
        appender a(path, true);
        add(a, "e", "bytes");
        EXPECT_EQ(what_of([&] { add(a, "a" + nul + "b", "other bytes"); }),
                  archive_message("Can't add an entry whose name holds a NUL byte"));
        EXPECT_EQ(
            what_of([&] { a.add_entry("n", nullptr, 3, false, false); }),
            archive_message("Can't add entry with name \"n\": its bytes are at a null pointer"));

        const std::string bad_names[] = {"",     "1a",  "-a",  ".a",  "a b",          "a\tb",
                                         "a\nb", "a<b", "a>b", "a/b", "a?b",          "a=b",
                                         "a\"b", "a'b", "a&b", "a!b", "a" + nul + "b"};
        for (const std::string& name : bad_names) {
            EXPECT_EQ(what_of([&] { a.add_entry_param("e", name, generic_param(1)); }),
                      archive_message("Can't add parameter \"" + name +
                                      "\" to entry \"e\": a parameter name must be an XML name"))
                << name;
        }
        generic_param value, type, unit, tag;
        value.create("1" + nul, "integer");
        type.create("1", "integer" + nul);
        unit.set_unit(nul);
        tag.set_tag("t" + nul);
        for (const generic_param& param : {value, type, unit, tag}) {
            EXPECT_EQ(what_of([&] { a.add_entry_param("e", "p", param); }),
                      archive_message("Can't add parameter \"p\" to entry \"e\": a parameter's "
                                      "value, type, unit and tag must hold no NUL byte"));
        }
    }
    const zel_archive_file_reader reader(path);
    std::vector<std::string> names;
    reader.list_entries(names);
    EXPECT_EQ(names, std::vector<std::string>{"e"});
    EXPECT_EQ(reader.get_entry_params("e")->size(), 4u);  // the four fields alone
}

TEST(AppenderTest, NullBytesOfSizeZeroAreAnEmptyPayload) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "null.zel";
    {
        appender a(path, true);
        EXPECT_EQ(a.add_entry("stored", nullptr, 0, false, false), "stored");
        EXPECT_EQ(a.add_entry("compressed", nullptr, 0, true, false), "compressed");
    }
    const archive_image image(path);
    EXPECT_EQ(image.stored("stored"), "");
    EXPECT_EQ(image.record("stored").hash, 0xDEADBF10DEADBF10ull);
    EXPECT_EQ(image.stored("compressed"), std::string("\x78\x01\x03\x00\x00\x00\x00\x01", 8));
}

TEST(AppenderTest, ReopenedArchiveKeepsItsEntriesAndRepeatsTheirFields) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "reopen.zel";
    const std::string odd_name = "a\"b<&'c";
    {
        appender a(path, true);
        add(a, "first", "first bytes");
        add(a, odd_name, "odd bytes", true);
    }
    const archive_image before(path);
    {
        appender a(path, false);
        EXPECT_EQ(a.get_entry_key("first"), before.get_entry_key("first"));
        // Known bytes are still known after reopening.
        EXPECT_EQ(add(a, "again", "first bytes"), "first");
    }
    const archive_image after(path);
    EXPECT_EQ(after.header().toc_offset, before.header().toc_offset);
    EXPECT_EQ(after.payload(odd_name), "odd bytes");
    const std::string text = after.toc_text();
    const auto& first = after.record("first");
    const std::string fields = "\t\t<off type=\"integer\">" + std::to_string(first.off) +
                               "</off>\n\t\t<csize type=\"integer\">11</csize>\n";
    EXPECT_NE(
        text.find(fields + "\t\t<dsize type=\"integer\">0</dsize>\n\t\t<hash type=\"integer\">" +
                  std::to_string(first.hash) + "</hash>\n" + fields),
        std::string::npos)
        << text;
    EXPECT_NE(text.find("name='a\"b&lt;&amp;&apos;c'"), std::string::npos) << text;

    // Extending it: the new entry overwrites the old table of contents.
    {
        appender a(path, false);
        add(a, "second", numbered_bytes(300));
    }
    const archive_image extended(path);
    EXPECT_EQ(extended.record("second").off, before.header().toc_offset);
    EXPECT_EQ(extended.payload("first"), "first bytes");
    EXPECT_EQ(extended.payload("second"), numbered_bytes(300));
}

TEST(AppenderTest, TruncateDecidesBetweenNewAndExisting) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "t.zel";
    {
        appender a(path, false);  // no such file: created as new
        add(a, "x", "x bytes");
    }
    { appender a(path, true); }
    EXPECT_EQ(archive_image(path).get_entry_key("x"), binary_identity{});

    // Neither a missing directory nor a directory can be written as a file.
    for (const auto& not_a_file : {dir.path() / "no" / "such" / "dir.zel", dir.path()}) {
        EXPECT_EQ(what_of([&] { appender a(not_a_file, true); }),
                  archive_message("unable to open file for write: " + not_a_file.string()));
    }
}

TEST(AppenderTest, ListAndKeys) {
    const testing::scratch_directory dir;
    appender a(dir.path() / "list.zel", true);
    add(a, "one", "1");
    add(a, "two", "22");
    std::vector<std::string> names = {"stale"};
    a.list_entries(names);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(a.get_entry_key("two"), (binary_identity{hash_bytes("22", 2), 2}));
    EXPECT_EQ(a.get_entry_key("three"), binary_identity{});
}

// The names of the files in a directory, sorted.
std::vector<std::string> files_in(const std::filesystem::path& dir) {
    std::vector<std::string> names;
    for (const auto& item : std::filesystem::directory_iterator(dir)) {
        names.push_back(item.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A write beyond the file-size limit is raised by the close, with the path
// and the system's text; a destructor that closes reports nothing. Either
// way the package that was there stays as it was, and no temporary is left.
TEST(AppenderTest, FailedWriteIsRaisedByTheCloseAndTheOldPackageStays) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "full.zel";
    {
        appender a(path, true);
        add(a, "old", "old bytes");
    }
    const std::string old_package = read_file(path);
    const auto write_beyond_the_limit = [&path](bool close_explicitly) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        limit.rlim_cur = limit.rlim_max = 20000;
        setrlimit(RLIMIT_FSIZE, &limit);
        try {
            appender a(path, true);
            add(a, "big", numbered_bytes(100000));
            add(a, "small", "small");
            if (close_explicitly) {
                a.close();
            }
        } catch (const zel_archive_exception& e) {
            std::fputs(e.message().c_str(), stderr);
            std::exit(3);
        }
        std::exit(0);
    };
    EXPECT_EXIT(
        write_beyond_the_limit(true), ::testing::ExitedWithCode(3),
        "^zel_archive exception: unable to write zel file " + path.string() + ": File too large$");
    for (const bool close_explicitly : {true, false}) {
        EXPECT_EXIT(write_beyond_the_limit(close_explicitly),
                    ::testing::ExitedWithCode(close_explicitly ? 3 : 0), "");
        EXPECT_EQ(read_file(path), old_package);
        EXPECT_EQ(files_in(dir.path()), std::vector<std::string>{"full.zel"});
    }
}

// Until the close, the target is the package that was there; a reader that
// has it mapped keeps reading its bytes after it was replaced.
TEST(AppenderTest, NewArchiveTakesTheTargetsPlaceOnlyWhenClosed) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "scene.zel";
    const std::string old_bytes = numbered_bytes(300000);
    {
        appender a(path, true);
        add(a, "old", old_bytes);
    }
    const std::string old_package = read_file(path);
    const zel_archive_file_reader old_reader(path);
    const auto old_entry = old_reader.get_entry("old");

    appender a(path, true);
    add(a, "new", "new bytes");
    EXPECT_EQ(read_file(path), old_package);
    const std::vector<std::string> during = files_in(dir.path());
    ASSERT_EQ(during.size(), 2u);
    EXPECT_EQ(during[0], "scene.zel");
    // "scene.zel." then 12 hexadecimal digits and ".tmp"
    EXPECT_EQ(during[1].size(), std::string("scene.zel.").size() + 12 + 4) << during[1];
    EXPECT_TRUE(during[1].starts_with("scene.zel.") && during[1].ends_with(".tmp")) << during[1];

    a.close();
    EXPECT_EQ(files_in(dir.path()), std::vector<std::string>{"scene.zel"});
    const auto new_entry = zel_archive_file_reader(path).get_entry("new");
    EXPECT_EQ(std::string(new_entry->data(), new_entry->size()), "new bytes");
    EXPECT_EQ(std::string(old_entry->data(), old_entry->size()), old_bytes);
}

TEST(AppenderTest, AbandonedArchiveLeavesTheTargetAsItWas) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "kept.zel";
    const auto missing = dir.path() / "missing.zel";
    {
        appender a(path, true);
        add(a, "old", "old bytes");
    }
    const std::string old_package = read_file(path);
    for (const auto& target : {path, missing}) {
        appender a(target, true);
        add(a, "new", numbered_bytes(5000), true);
        a.abandon();
        a.close();  // does nothing now
    }
    EXPECT_EQ(read_file(path), old_package);
    EXPECT_EQ(files_in(dir.path()), std::vector<std::string>{"kept.zel"});
}

// The new file takes the permissions of the one it replaces, and a symbolic
// link stays a link to the replaced file.
TEST(AppenderTest, ReplacedTargetKeepsItsPermissionsAndItsLink) {
    namespace fs = std::filesystem;
    const testing::scratch_directory dir;
    const auto real = dir.path() / "real.zel";
    const auto link = dir.path() / "link.zel";
    { appender a(real, true); }
    fs::permissions(real, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("real.zel", link);
    {
        appender a(link, true);
        add(a, "through", "the link");
    }
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::status(real).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_NE(archive_image(real).get_entry_key("through"), binary_identity{});
    EXPECT_EQ(files_in(dir.path()), (std::vector<std::string>{"link.zel", "real.zel"}));
}

TEST(AppenderTest, CloseWritesTheArchiveOnceAndASecondCloseDoesNothing) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "closed.zel";
    appender a(path, true);
    add(a, "one", "bytes");
    a.close();
    const std::string closed = read_file(path);
    EXPECT_NE(archive_image(path).toc_text().find("name=\"one\""), std::string::npos);
    a.close();
    EXPECT_EQ(read_file(path), closed);
}

}  // namespace
}  // namespace vorn::zela
