// What a reader accepts of a table of contents, for services that open
// packages they did not write.
//
// A table of contents that passes its hash can still be made to cost memory
// out of all proportion to the file: a few hundred kilobytes inflate to
// gigabytes of text, and every element and attribute of that text becomes a
// node of the parser (about 100 and 60 bytes) and, inside an entry, a
// parameter of its own (about 170 bytes). These limits bound that cost. They
// are tested before anything is allocated for the text (its recorded size)
// and before the parser runs (a scan counts elements and attributes), and a
// table of contents beyond one of them is refused with
// zel_archive_exception:
//   "table of contents: text of <n> bytes is over the reader's limit of <l>
//    bytes"
//   "table of contents: more elements than the reader's limit of <l>"
//   "table of contents: more attributes than the reader's limit of <l>"
//
// The defaults pass every real package: one of a million entries with a few
// parameters each has about 400 MB of text, 8 million elements and as many
// attributes. A service that knows its packages are smaller sets tighter
// limits and so bounds what a hostile one can cost it.
#pragma once

#include <cstdint>

namespace vorn::zela {

struct zel_archive_reader_limits {
    // Bytes of text, the terminator not counted: toc_dsize - 1.
    std::uint64_t max_toc_text_size = std::uint64_t{512} << 20;
    // Elements, counting each run of text and each CDATA section inside an
    // element as one, as the parser makes a node of each.
    std::uint64_t max_toc_elements = std::uint64_t{1} << 24;
    // Attributes of all elements together.
    std::uint64_t max_toc_attributes = std::uint64_t{1} << 24;
};

}  // namespace vorn::zela
