// Hostile packages: archives whose table of contents hashes right but whose
// records lie, each with what a reader must make of it. They are built at two
// scales: the scale a hostile writer would use, for measuring what each one
// costs a reader, and a small one with reader limits to match, for tests and
// fuzzing seeds, which take the same refusals at a fraction of the cost.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zel/archive/reader_limits.hpp"
#include "zel/archive/sealed_image_test.hpp"
#include "zel/archive/zlib_stream.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::testing {

struct hostile_scale {
    std::uint64_t alternating_params;   // parameters of two names in one entry
    std::uint64_t white_space;          // bytes of white space in a table of contents
    std::uint64_t empty_elements;       // "<a/>" in a table of contents
    std::uint64_t attributes;           // " a=''" on one element
    std::uint64_t long_payload;         // bytes whose stream is recorded as 1,000 bytes
    std::uint64_t overlapping_copies;   // entries over one stream
    std::uint64_t overlapping_payload;  // zero bytes that stream holds
    zela::zel_archive_reader_limits limits;
};

// The sizes the reports name, read with the default limits.
inline hostile_scale full_hostile_scale() {
    return {100000, std::uint64_t{1} << 30, 50000000, 20000000, 1u << 20, 100, 1u << 28, {}};
}

// The same refusals at a scale that a test in a sanitised build takes in a
// moment, with limits to match.
inline hostile_scale small_hostile_scale() {
    return {2000, 1u << 16, 5000, 5000, 1u << 12, 100, 1u << 12, {1u << 15, 1000, 1000}};
}

struct hostile_package {
    std::string name;     // also its file name
    std::string image;    // the whole file
    std::string entry;    // the entry that is refused; empty when opening is
    std::string refusal;  // the refusal's what(), or its beginning
    bool whole = true;    // false when refusal is only the beginning
};

// count copies of unit between head and tail, deflated a piece at a time so
// that no copy of the whole text is ever made.
inline std::string deflated_repeat(std::string_view head, std::string_view unit,
                                   std::uint64_t count, std::string_view tail) {
    std::string piece;
    while (piece.size() < (1u << 16)) {
        piece += unit;
    }
    const std::uint64_t per_piece = piece.size() / unit.size();
    z_stream stream{};
    deflateInit(&stream, 9);
    std::string out;
    const auto feed = [&](std::string_view bytes, int flush) {
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        stream.avail_in = static_cast<uInt>(bytes.size());
        do {
            Bytef buffer[1 << 14];
            stream.next_out = buffer;
            stream.avail_out = sizeof buffer;
            deflate(&stream, flush);
            out.append(reinterpret_cast<const char*>(buffer), sizeof buffer - stream.avail_out);
        } while (stream.avail_out == 0);
    };
    feed(head, Z_NO_FLUSH);
    for (std::uint64_t left = count; left > 0;) {
        const std::uint64_t n = left < per_piece ? left : per_piece;
        feed(std::string_view(piece).substr(0, n * unit.size()), Z_NO_FLUSH);
        left -= n;
    }
    feed(tail, Z_FINISH);
    deflateEnd(&stream);
    return out;
}

// A whole archive: body from offset 48, and the given stored table of
// contents, recorded with toc_dsize, at the next multiple of 16.
inline std::string sealed_stream_image(std::string_view body, std::string_view stored,
                                       std::uint64_t toc_dsize) {
    zela::zel_archive_header header;
    header.stamp();
    header.toc_offset = (zela::zel_archive_header::size + body.size() + 15) & ~std::uint64_t{15};
    header.toc_csize = stored.size();
    header.toc_dsize = toc_dsize;
    header.toc_hash = hash_bytes(stored.data(), stored.size());
    std::string image(header.toc_offset, '\0');
    header.encode(image.data());
    image.replace(zela::zel_archive_header::size, body.size(), body);
    return image.append(stored);
}

// Appends bytes to a body that starts at offset 48, at the next multiple of
// 16, and returns their offset.
inline std::uint64_t place(std::string& body, std::string_view bytes) {
    body.resize((body.size() + 15) & ~std::size_t{15}, '\0');
    const std::uint64_t off = zela::zel_archive_header::size + body.size();
    body += bytes;
    return off;
}

namespace hostile_detail {

inline const std::string declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

inline std::string archive_what(const std::string& message) {
    return zela::zel_archive_exception(message).what();
}

// The what() of an archive error up to the end of message.
inline std::string archive_what_start(const std::string& message) {
    const std::string what = archive_what(message);
    return what.substr(0, what.find(message) + message.size());
}

inline std::string toc_what(const std::string& problem) {
    return archive_what("table of contents: " + problem);
}

inline std::string entry_what(const std::string& name, const std::string& problem) {
    return archive_what("entry \"" + name + "\": " + problem);
}

inline std::string beyond_bound(std::uint64_t size, std::uint64_t stored) {
    return "recorded size " + std::to_string(size) + " is more than " + std::to_string(stored) +
           " stored bytes can inflate to";
}

// One entry "e" over stored bytes, its fields as given.
inline hostile_package entry_case(const std::string& name, const std::string& body,
                                  std::uint64_t off, std::uint64_t csize, std::uint64_t dsize,
                                  const std::string& problem) {
    const std::string text = toc_text({{"e", off, csize, dsize, 0}});
    return {name, sealed_image(body, text), "e", entry_what("e", problem)};
}

// A table of contents of this text, recorded as toc_dsize (text + 1 if 0).
inline hostile_package toc_case(const std::string& name, const std::string& stored,
                                std::uint64_t toc_dsize, const std::string& problem) {
    return {name, sealed_stream_image("", stored, toc_dsize), "", toc_what(problem)};
}

}  // namespace hostile_detail

// Every hostile package, each with its refusal under scale.limits.
inline std::vector<hostile_package> hostile_packages(const hostile_scale& scale) {
    using namespace hostile_detail;
    std::vector<hostile_package> cases;
    const std::string payload = std::string(3000, 'q') + "tail";
    const std::string stream = deflated(payload);
    const std::uint64_t n = payload.size();
    const std::uint64_t c = stream.size();
    std::string body;
    const std::uint64_t at = place(body, stream);
    const std::uint64_t tera = std::uint64_t{1} << 40;

    // Sizes that lie.
    cases.push_back(entry_case("entry-dsize-1-tib", body, at, c, tera, beyond_bound(tera, c)));
    cases.push_back(entry_case("entry-dsize-one-more", body, at, c, n + 1,
                               "zlib stream yields " + std::to_string(n) +
                                   " bytes, not the recorded " + std::to_string(n + 1)));
    cases.push_back(entry_case(
        "entry-dsize-one-less", body, at, c, n - 1,
        "zlib stream yields more than the recorded " + std::to_string(n - 1) + " bytes"));
    cases.push_back(entry_case("entry-csize-0-dsize-5", body, at, 0, 5, beyond_bound(5, 0)));

    // Streams that end before or after their stored bytes.
    const auto cut_short = [](std::uint64_t stored) {
        return "its " + std::to_string(stored) + " stored bytes end before its zlib stream does";
    };
    cases.push_back(entry_case("entry-stream-cut", body, at, c / 2, n, cut_short(c / 2)));
    cases.push_back(entry_case("entry-without-trailer", body, at, c - 4, n, cut_short(c - 4)));
    {
        std::string twice = body;
        twice += stream;
        cases.push_back(entry_case("entry-second-stream", twice, at, 2 * c, n,
                                   "zlib stream ends after " + std::to_string(c) + " of its " +
                                       std::to_string(2 * c) + " stored bytes"));
    }
    {
        const std::string long_payload = pseudo_random_bytes(scale.long_payload);
        std::string long_body;
        const std::uint64_t off = place(long_body, deflated(long_payload));
        const std::uint64_t d = long_payload.size();
        cases.push_back(
            entry_case("entry-long-stream-recorded-short", long_body, off, 1000, d,
                       d > max_inflated_size(1000) ? beyond_bound(d, 1000) : cut_short(1000)));
    }

    // Stored bytes out of place.
    {
        std::string shifted;
        place(shifted, std::string(8, '\0') + stream);
        cases.push_back(
            entry_case("entry-misaligned", shifted, at + 8, c, n,
                       "offset " + std::to_string(at + 8) + " is not a multiple of 16"));
    }
    cases.push_back(
        entry_case("entry-over-the-header", body, 0, 64, 0, "stored bytes overlap the header"));
    cases.push_back(entry_case("entry-over-the-toc", body, at, c + 32, 0,
                               "stored bytes overlap the table of contents"));
    {
        const std::string zeros =
            deflated_repeat("", std::string_view("\0", 1), scale.overlapping_payload, "");
        std::string shared;
        const std::uint64_t off = place(shared, zeros);
        std::vector<toc_entry> copies;
        for (std::uint64_t i = 0; i < scale.overlapping_copies; ++i) {
            copies.push_back(
                {"copy-" + std::to_string(i), off, zeros.size(), scale.overlapping_payload, 0});
        }
        cases.push_back(
            {"entries-overlapping", sealed_image(shared, toc_text(copies)), "copy-0",
             archive_what_start("entry \"copy-0\": stored bytes overlap those of entry \"copy-"),
             false});
    }

    // Tables of contents that lie about their size or their stream.
    const std::string text = toc_text({{"e", at, c, n, 0}});
    const std::string toc = quickly_deflated(text);
    const std::uint64_t t = text.size();
    cases.push_back(toc_case("toc-dsize-1-tib", toc, tera, beyond_bound(tera - 1, toc.size())));
    cases.push_back(
        toc_case("toc-dsize-0", toc, 0, "recorded size 0 leaves no room for the terminator"));
    cases.push_back(toc_case("toc-dsize-one-more", toc, t + 2,
                             "zlib stream yields " + std::to_string(t) +
                                 " bytes, not the recorded " + std::to_string(t + 1)));
    cases.push_back(
        toc_case("toc-dsize-one-less", toc, t,
                 "zlib stream yields more than the recorded " + std::to_string(t - 1) + " bytes"));
    cases.push_back(toc_case("toc-without-trailer", toc.substr(0, toc.size() - 4), t + 1,
                             cut_short(toc.size() - 4)));
    cases.push_back(toc_case("toc-second-stream", toc + toc, t + 1,
                             "zlib stream ends after " + std::to_string(toc.size()) + " of its " +
                                 std::to_string(2 * toc.size()) + " stored bytes"));

    // Tables of contents that cost out of proportion to their file.
    const std::string open = declaration + "<zelindex version=\"0 1\">\n";
    const std::string close = "</zelindex>\n\n";
    {
        const std::uint64_t size = open.size() + scale.white_space + close.size();
        const std::string stored = deflated_repeat(open, " ", scale.white_space, close);
        cases.push_back(toc_case("toc-white-space", stored, size + 1,
                                 "text of " + std::to_string(size) +
                                     " bytes is over the reader's limit of " +
                                     std::to_string(scale.limits.max_toc_text_size) + " bytes"));
        cases.push_back(
            toc_case("toc-white-space-recorded-short", stored, t + 1,
                     "zlib stream yields more than the recorded " + std::to_string(t) + " bytes"));
    }
    {
        const std::uint64_t count = scale.empty_elements;
        const std::string stored = deflated_repeat(open, "<a/>", count, close);
        cases.push_back(toc_case("toc-empty-elements", stored,
                                 open.size() + 4 * count + close.size() + 1,
                                 "more elements than the reader's limit of " +
                                     std::to_string(scale.limits.max_toc_elements)));
    }
    {
        const std::uint64_t count = scale.attributes;
        const std::string head = declaration + "<zelindex";
        const std::string tail = " version=\"0 1\"/>\n\n";
        const std::string stored = deflated_repeat(head, " a=''", count, tail);
        cases.push_back(toc_case("toc-attributes", stored,
                                 head.size() + 5 * count + tail.size() + 1,
                                 "more attributes than the reader's limit of " +
                                     std::to_string(scale.limits.max_toc_attributes)));
    }
    return cases;
}

// One entry with count parameters whose names alternate between two, which
// once cost a scan of the whole list for each. It opens.
inline std::string alternating_params_image(std::uint64_t count) {
    std::string text = toc_text({{"e", 48, 0, 0, 0}});
    std::string params;
    for (std::uint64_t i = 0; i < count; ++i) {
        const char* name = i % 2 == 0 ? "even" : "odd";
        params += std::string("\t\t<") + name + " type=\"integer\">" + std::to_string(i) + "</" +
                  name + ">\n";
    }
    text.insert(text.find("\t</zelentry>"), params);
    return sealed_image("", text);
}

}  // namespace vorn::testing
