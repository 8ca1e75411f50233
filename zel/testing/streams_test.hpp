// Whole files and whole compression streams as strings, for tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "zel/archive/zlib_stream.hpp"

namespace vorn::testing {

inline std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The archive's own stream of the bytes.
inline std::string deflated(std::string_view bytes) {
    std::string stream;
    zlib_deflate([&stream](const char* p, std::size_t n) { stream.append(p, n); }, bytes.data(),
                 bytes.size());
    return stream;
}

inline std::string inflated(std::string_view stream) {
    std::string bytes;
    zlib_inflate([&bytes](const char* p, std::size_t n) { bytes.append(p, n); }, stream.data(),
                 stream.size());
    return bytes;
}

}  // namespace vorn::testing
