// Archive images made by hand for tests of the read side: a table of contents
// with any text and any field values, sealed with a matching hash, so that a
// test reaches what lies behind the hash test.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zel/archive/zel_archive_header.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::testing {

struct toc_entry {
    std::string name;
    std::uint64_t off = 0;
    std::uint64_t csize = 0;
    std::uint64_t dsize = 0;
    std::uint64_t hash = 0;
};

// The text of a table of contents, in the form the appender writes.
inline std::string toc_text(const std::vector<toc_entry>& entries) {
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<zelindex version=\"0 1\">\n";
    const auto field = [&text](const char* name, std::uint64_t value) {
        text += std::string("\t\t<") + name + " type=\"integer\">" + std::to_string(value) + "</" +
                name + ">\n";
    };
    for (const toc_entry& e : entries) {
        text += "\t<zelentry name=\"" + e.name + "\">\n";
        field("off", e.off);
        field("csize", e.csize);
        field("dsize", e.dsize);
        field("hash", e.hash);
        text += "\t</zelentry>\n";
    }
    return text + "</zelindex>\n\n";
}

// Any zlib stream will do for a table of contents that is read; zlib's
// fastest level keeps tests that seal thousands of them quick, also in
// unoptimised builds.
inline std::string quickly_deflated(std::string_view bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::string stream(size, '\0');
    compress2(reinterpret_cast<Bytef*>(stream.data()), &size,
              reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uLong>(bytes.size()), 1);
    stream.resize(size);
    return stream;
}

// A whole archive: the header, body from offset 48, and the table of contents
// deflated from text at the next multiple of 16 behind the body, with header
// fields and hash to match.
inline std::string sealed_image(std::string_view body, std::string_view text) {
    const std::string stored = quickly_deflated(text);
    zela::zel_archive_header header;
    header.stamp();
    header.toc_offset = (zela::zel_archive_header::size + body.size() + 15) & ~std::uint64_t{15};
    header.toc_csize = stored.size();
    header.toc_dsize = text.size() + 1;
    header.toc_hash = hash_bytes(stored.data(), stored.size());
    std::string image(header.toc_offset, '\0');
    header.encode(image.data());
    image.replace(zela::zel_archive_header::size, body.size(), body);
    return image + stored;
}

}  // namespace vorn::testing
