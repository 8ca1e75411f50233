#include "zel/archive/file_reader.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/archive_image_test.hpp"
#include "zel/archive/sealed_image_test.hpp"
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
using system::mmap::mapped_region;
using testing::numbered_bytes;
using testing::read_file;
using testing::sealed_image;
using testing::toc_entry;
using testing::toc_text;

const std::string text_payload = [] {
    std::string text;
    for (int i = 0; i < 200; ++i) {
        text += "<block name=\"b" + std::to_string(i) + "\" type=\"mesh\"/>\n";
    }
    return text;
}();

// One entry of each kind: stored as given, compressed, and an empty payload
// added compressed.
std::filesystem::path write_sample(const testing::scratch_directory& dir) {
    const auto path = dir.path() / "sample.zel";
    appender a(path, true);
    a.add_entry("stored.bin", numbered_bytes(1000).data(), 1000, false, false);
    a.add_entry("scene.xml", text_payload.data(), text_payload.size(), true, false);
    a.add_entry("empty.xml", "", 0, true, false);
    return path;
}

// The mapping that a view of the reader points into.
const mapped_region& mapping_of(const zel_archive_file_reader& reader, const std::string& name) {
    std::shared_ptr<void> holder;
    const char* data = nullptr;
    std::uint64_t size = 0;
    reader.get_entry_data(holder, data, size, *reader.get_entry_record(name));
    return *static_cast<const mapped_region*>(holder.get());
}

TEST(FileReaderTest, EveryRefusalOfOpeningHasItsMessage) {
    const testing::scratch_directory dir;
    const std::string valid = read_file(write_sample(dir));
    zel_archive_header valid_header = zel_archive_header::decode(valid.data());
    const auto with_header = [&valid](const std::function<void(zel_archive_header&)>& change) {
        zel_archive_header h = zel_archive_header::decode(valid.data());
        change(h);
        std::string bytes = valid;
        h.encode(bytes.data());
        return bytes;
    };
    std::string damaged_toc = valid;
    damaged_toc[valid_header.toc_offset + 3] ^= 0x10;

    struct row {
        const char* what;
        std::string bytes;  // written to the file; no file for "missing"
        std::string message;
    };
    const row rows[] = {
        {"missing", "", ""},
        {"empty file", "", "incomplete zel header"},
        {"47 bytes", valid.substr(0, 47), "incomplete zel header"},
        {"48 zero bytes", std::string(48, '\0'), "magic value incompatible... not a zel archive"},
        {"cut one byte short", valid.substr(0, valid.size() - 1),
         "zel file truncated before the TOC"},
        {"table of contents past the end",
         with_header([](zel_archive_header& h) { h.toc_offset += 16; }),
         "zel file truncated before the TOC"},
        {"offset and size that wrap around", with_header([](zel_archive_header& h) {
             h.toc_offset = ~std::uint64_t{0} - 15;
             h.toc_csize = 32;
         }),
         "zel file truncated before the TOC"},
        {"size alone larger than the file",
         with_header([](zel_archive_header& h) { h.toc_csize = ~std::uint64_t{0}; }),
         "zel file truncated before the TOC"},
        {"damaged table of contents", damaged_toc,
         "Hash value for the archive table of contents does not match"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const auto path = dir.path() / (std::string(r.what) + ".zel");
        std::string message = r.message;
        if (message.empty()) {
            message = "zel file " + path.string() + " not found on local filesystem";
        } else {
            dir.write(path.filename().string(), r.bytes);
        }
        EXPECT_EQ(what_of([&] { zel_archive_file_reader reader(path); }), archive_message(message));
    }
}

TEST(FileReaderTest, FileThatCannotBeOpenedNamesTheCause) {
    const testing::scratch_directory dir;
    const auto path = dir.path() / "a directory";
    std::filesystem::create_directory(path);
    const std::string cause =
        system::mmap::mmap_error(EISDIR,
                                 "Could not create file mapping for \"" + path.string() + "\"")
            .message();
    EXPECT_EQ(what_of([&] { zel_archive_file_reader reader(path); }),
              archive_message("could not create memory mapping to zel file " + path.string() +
                              ": " + cause));
}

TEST(FileReaderTest, UnknownNameMessagesDifferInTheClosingQuote) {
    const testing::scratch_directory dir;
    const zel_archive_file_reader reader(write_sample(dir));
    const std::string with_quote = archive_message("Can't find entry with name \"nope\"");
    EXPECT_EQ(what_of([&] { reader.get_entry("nope"); }), with_quote);
    EXPECT_EQ(what_of([&] { reader.get_raw_entry("nope"); }), with_quote);
    EXPECT_EQ(what_of([&] { reader.get_entry_params("nope"); }),
              archive_message("Can't find entry with name \"nope"));
    // The empty name is the table's reserved key, never an entry.
    EXPECT_EQ(what_of([&] { reader.get_entry(""); }),
              archive_message("Can't find entry with name \"\""));
    EXPECT_EQ(reader.get_entry_record("nope"), nullptr);
}

TEST(FileReaderTest, StoredEntryIsAViewIntoTheMappingThatOutlivesTheReader) {
    const testing::scratch_directory dir;
    auto reader = std::make_unique<zel_archive_file_reader>(write_sample(dir));
    const auto* record = reader->get_entry_record("stored.bin");
    ASSERT_NE(record, nullptr);
    const mapped_region& region = mapping_of(*reader, "stored.bin");
    const auto payload = reader->get_entry("stored.bin");
    const auto raw = reader->get_raw_entry("stored.bin");

    EXPECT_EQ(payload->data(), region.base() + record->off);
    EXPECT_EQ(raw->data(), payload->data());
    EXPECT_FALSE(payload->decoded());
    EXPECT_EQ(payload->pending_size(), 0u);
    EXPECT_EQ(raw->pending_size(), 0u);
    EXPECT_EQ(payload->identity(), (binary_identity{hash_bytes(payload->data(), 1000), 1000}));
    EXPECT_EQ(reader->file_size(), region.size());

    reader.reset();
    EXPECT_EQ(std::string(payload->data(), payload->size()), numbered_bytes(1000));
}

TEST(FileReaderTest, CompressedEntryRawAndPayloadShareOneIdentity) {
    const testing::scratch_directory dir;
    const auto path = write_sample(dir);
    auto reader = std::make_unique<zel_archive_file_reader>(path);
    const auto* record = reader->get_entry_record("scene.xml");
    const auto raw = reader->get_raw_entry("scene.xml");
    const auto payload = reader->get_entry("scene.xml");
    const std::string file = read_file(path);

    EXPECT_EQ(std::string(raw->data(), raw->size()), file.substr(record->off, record->csize));
    EXPECT_FALSE(raw->decoded());
    EXPECT_EQ(raw->pending_size(), text_payload.size());
    EXPECT_EQ(std::string(payload->data(), payload->size()), text_payload);
    EXPECT_TRUE(payload->decoded());
    EXPECT_EQ(payload->pending_size(), 0u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(payload->data()) % 16, 0u);
    EXPECT_EQ(raw->identity(), payload->identity());
    EXPECT_EQ(raw->identity(), reader->get_entry_key("scene.xml"));
    // The payload made from the raw bytes fetched before is the same; bytes
    // of another size are refused.
    const auto from_raw = reader->get_entry("scene.xml", raw);
    EXPECT_EQ(std::string(from_raw->data(), from_raw->size()), text_payload);
    EXPECT_EQ(from_raw->identity(), payload->identity());
    EXPECT_THROW(reader->get_entry("scene.xml", reader->get_raw_entry("stored.bin")),
                 std::invalid_argument);

    // The decoded buffer has storage of its own; the raw view keeps the
    // mapping alive by itself.
    reader.reset();
    EXPECT_EQ(testing::inflated(std::string_view(raw->data(), raw->size())), text_payload);
}

TEST(FileReaderTest, EmptyPayloadAddedCompressedComesBackAsItsStream) {
    const testing::scratch_directory dir;
    const zel_archive_file_reader reader(write_sample(dir));
    const auto payload = reader.get_entry("empty.xml");
    EXPECT_EQ(std::string(payload->data(), payload->size()), testing::deflated(""));
    EXPECT_FALSE(payload->decoded());
    EXPECT_EQ(payload->pending_size(), 0u);
    EXPECT_EQ(payload->data(), reader.get_raw_entry("empty.xml")->data());
}

TEST(FileReaderTest, ParametersHoldTheFourFieldsAfterLoading) {
    const testing::scratch_directory dir;
    const zel_archive_file_reader reader(write_sample(dir));
    const entry_params* params = reader.get_entry_params("scene.xml");
    ASSERT_NE(params, nullptr);
    const auto* record = reader.get_entry_record("scene.xml");
    EXPECT_EQ(params->find("off")->value, std::to_string(record->off));
    EXPECT_EQ(params->find("csize")->value, std::to_string(record->csize));
    EXPECT_EQ(params->find("dsize")->value, std::to_string(text_payload.size()));
    EXPECT_EQ(params->find("hash")->value, std::to_string(record->hash));
}

// An appender that extends an archive writes its table of contents where the
// old one began; when the new one is shorter, the old one's tail stays behind
// it. Here the old one carries a long element that readers skip, so it is
// rewritten shorter.
TEST(FileReaderTest, ReadsAnExtendedArchiveWithBytesBehindItsTable) {
    const testing::scratch_directory dir;
    const std::string first = numbered_bytes(40);
    std::string text = toc_text({{"first", 48, 40, 0, hash_bytes(first.data(), first.size())}});
    std::string noise;  // digits in no order, which deflate cannot shrink much
    for (std::uint64_t i = 0; i < 4000; ++i) {
        noise += static_cast<char>('0' + hash_bytes(reinterpret_cast<const char*>(&i), 8) % 10);
    }
    text.insert(text.find("</zelindex>"), "\t<noise>" + noise + "</noise>\n");
    const auto path = dir.write("extended.zel", sealed_image(first, text));
    const auto old_size = std::filesystem::file_size(path);
    {
        appender a(path, false);
        a.add_entry("second", "second payload", 14, false, false);
    }
    ASSERT_EQ(std::filesystem::file_size(path), old_size);

    const zel_archive_file_reader reader(path);
    EXPECT_LT(reader.get_package_id().toc_end, old_size);
    const auto second = reader.get_entry("second");
    EXPECT_EQ(std::string(second->data(), second->size()), "second payload");
    const auto again = reader.get_entry("first");
    EXPECT_EQ(std::string(again->data(), again->size()), first);
}

// The table of contents is trusted only as far as the file goes: an entry
// that a sealed table places outside the file is listed, and refused when
// read. (Entries out of place inside the file are refused likewise; see
// hostile_archive_test.cpp.)
TEST(FileReaderTest, EntryOutsideTheFileIsRefusedWhenRead) {
    const testing::scratch_directory dir;
    const std::string body = numbered_bytes(32);
    const std::uint64_t most = ~std::uint64_t{0};
    struct row {
        std::uint64_t off;
        std::uint64_t csize;
        std::uint64_t dsize;
        bool inside;
    };
    // The image is 48 + 32 bytes and the table, at least 128 in all.
    const row rows[] = {
        {48, 32, 0, true},        {80, 0, 0, true},          {4096, 100000, 0, false},
        {100000, 0, 0, false},    {most - 31, 16, 0, false}, {most - 15, most, 5, false},
        {1u << 20, 16, 5, false},
    };
    std::vector<toc_entry> entries;
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        entries.push_back({std::to_string(i), rows[i].off, rows[i].csize, rows[i].dsize, 1});
    }
    const auto path = dir.write("outside.zel", sealed_image(body, toc_text(entries)));
    const zel_archive_file_reader reader(path);
    const std::uint64_t file_size = std::filesystem::file_size(path);
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(i);
        const std::string name = std::to_string(i);
        EXPECT_NE(reader.get_entry_params(name), nullptr);
        if (rows[i].inside) {
            EXPECT_EQ(reader.get_entry(name)->size(), rows[i].csize);
            continue;
        }
        std::string refusal = "stored bytes lie outside the archive: offset ";
        refusal += std::to_string(rows[i].off) + ", stored size " + std::to_string(rows[i].csize) +
                   ", archive size " + std::to_string(file_size);
        EXPECT_EQ(what_of([&] { reader.get_entry(name); }), archive_message(refusal));
        EXPECT_EQ(what_of([&] { reader.get_raw_entry(name); }), archive_message(refusal));
    }
}

TEST(FileReaderTest, EmptyReaderHasNoEntries) {
    const zel_archive_file_reader reader;
    std::vector<std::string> names{"left over"};
    reader.list_entries(names);
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(reader.file_size(), 0u);
    EXPECT_EQ(reader.get_entry_key("a"), binary_identity{});
    EXPECT_EQ(what_of([&] { reader.get_entry("a"); }),
              archive_message("Can't find entry with name \"a\""));
}

TEST(FileReaderTest, DeepTableOfContentsIsRefusedBeforeItIsParsed) {
    const testing::scratch_directory dir;
    const auto repeated = [](const std::string& part, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += part;
        }
        return text;
    };
    const std::string shallow =
        "<zelindex>" + repeated("<a>", 63) + repeated("</a>", 63) + "</zelindex>";
    const std::string deep = "<zelindex>" + repeated("<a>", 200000);
    EXPECT_NO_THROW(zel_archive_file_reader(dir.write("shallow.zel", sealed_image("", shallow))));
    try {
        zel_archive_file_reader reader(dir.write("deep.zel", sealed_image("", deep)));
        ADD_FAILURE() << "a deep table of contents was accepted";
    } catch (const zel_archive_exception& e) {
        EXPECT_EQ(e.message(),
                  "zel_archive exception: table of contents nests elements deeper "
                  "than 64 levels");
    }
}

}  // namespace
}  // namespace vorn::zela
