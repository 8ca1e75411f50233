#include "zel/archive/zel_archive_header.hpp"

#include <algorithm>

namespace vorn::zela {

namespace {

template <class T>
T load_le(const char* p) {
    T value = 0;
    for (std::size_t i = sizeof(T); i-- > 0;) {
        value = static_cast<T>(value << 8 | static_cast<unsigned char>(p[i]));
    }
    return value;
}

template <class T>
void store_le(char* p, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        p[i] = static_cast<char>(value >> (8 * i));
    }
}

}  // namespace

zel_archive_header zel_archive_header::decode(const char* bytes) {
    zel_archive_header h;
    std::copy_n(bytes, 4, h.magic.begin());
    h.version_major = load_le<std::uint16_t>(bytes + 4);
    h.version_minor = load_le<std::uint16_t>(bytes + 6);
    h.header_size = load_le<std::uint32_t>(bytes + 8);
    h.reserved = load_le<std::uint32_t>(bytes + 12);
    h.toc_hash = load_le<std::uint64_t>(bytes + 16);
    h.toc_offset = load_le<std::uint64_t>(bytes + 24);
    h.toc_csize = load_le<std::uint64_t>(bytes + 32);
    h.toc_dsize = load_le<std::uint64_t>(bytes + 40);
    return h;
}

void zel_archive_header::encode(char* bytes) const {
    std::copy_n(magic.begin(), 4, bytes);
    store_le(bytes + 4, version_major);
    store_le(bytes + 6, version_minor);
    store_le(bytes + 8, header_size);
    store_le(bytes + 12, reserved);
    store_le(bytes + 16, toc_hash);
    store_le(bytes + 24, toc_offset);
    store_le(bytes + 32, toc_csize);
    store_le(bytes + 40, toc_dsize);
}

void zel_archive_header::stamp() {
    magic = zel_magic;
    version_major = current_major;
    version_minor = current_minor;
    header_size = size;
}

}  // namespace vorn::zela
