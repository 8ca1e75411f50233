// An archive file read whole into memory, for tests that look at what the
// appender wrote: its header, its table of contents and its entries' bytes.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "zel/archive/zel_archive.hpp"
#include "zel/archive/zlib_stream.hpp"

namespace vorn::testing {

inline std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline std::string inflate_all(std::string_view stream) {
    std::string out;
    zlib_inflate([&out](const char* p, std::size_t n) { out.append(p, n); }, stream.data(),
                 stream.size());
    return out;
}

class archive_image : public zela::zel_archive<parallel::mutex_traits_no_op> {
  public:
    explicit archive_image(const std::filesystem::path& path) : bytes_(read_file(path)) {
        read_header(bytes_.data());
        read_toc(bytes_.data() + header_.toc_offset);
    }

    const std::string& bytes() const { return bytes_; }
    std::string toc_text() const {
        return inflate_all(std::string_view(bytes_).substr(header_.toc_offset, header_.toc_csize));
    }
    const entry& record(const std::string& name) const {
        const entry* e = find_entry(name);
        if (e == nullptr) {
            throw std::runtime_error("no entry " + name);
        }
        return *e;
    }
    std::string stored(const std::string& name) const {
        const entry& e = record(name);
        return bytes_.substr(e.off, e.csize);
    }
    std::string payload(const std::string& name) const {
        const entry& e = record(name);
        return e.dsize == 0 ? stored(name) : inflate_all(stored(name));
    }

  private:
    std::string bytes_;
};

}  // namespace vorn::testing
