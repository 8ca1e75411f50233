// The 48-byte header at the start of every archive, little-endian:
//
//   0  4 bytes  magic "zel!"
//   4  u16      version_major (0)
//   6  u16      version_minor (1)
//   8  u32      header_size (48); written, never tested
//  12  u32      reserved; written as 0, kept on append
//  16  u64      toc_hash: hash of the stored table of contents
//  24  u64      toc_offset: where the stored table of contents starts
//  32  u64      toc_csize: its stored (compressed) size
//  40  u64      toc_dsize: length of its XML text plus one, a terminator
//
// The header is written last, when the archive is closed: until then the
// first 48 bytes of a new file have never been written.
#pragma once

#include <array>
#include <cstdint>

namespace vorn::zela {

struct zel_archive_header {
    static constexpr std::uint32_t size = 48;
    static constexpr std::array<char, 4> zel_magic = {'z', 'e', 'l', '!'};
    static constexpr std::uint16_t current_major = 0;
    static constexpr std::uint16_t current_minor = 1;

    std::array<char, 4> magic{};
    std::uint16_t version_major = 0;
    std::uint16_t version_minor = 0;
    std::uint32_t header_size = 0;
    std::uint32_t reserved = 0;
    std::uint64_t toc_hash = 0;
    std::uint64_t toc_offset = 0;
    std::uint64_t toc_csize = 0;
    std::uint64_t toc_dsize = 0;

    static zel_archive_header decode(const char* bytes);
    void encode(char* bytes) const;
    // Sets the magic and the three constant fields, keeping reserved.
    void stamp();
};

}  // namespace vorn::zela
