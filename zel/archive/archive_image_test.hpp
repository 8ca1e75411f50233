// An archive file read whole into memory, for tests that look at what the
// appender wrote: its header, its table of contents and its entries' bytes.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "zel/archive/zel_archive.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::testing {

class archive_image : public zela::zel_archive<parallel::mutex_traits_no_op> {
  public:
    explicit archive_image(const std::filesystem::path& path) : bytes_(read_file(path)) {
        read_header(bytes_.data());
        read_toc(bytes_.data() + header_.toc_offset);
    }

    const std::string& bytes() const { return bytes_; }
    std::string toc_text() const {
        return inflated(std::string_view(bytes_).substr(header_.toc_offset, header_.toc_csize));
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
        return e.dsize == 0 ? stored(name) : inflated(stored(name));
    }

  private:
    std::string bytes_;
};

}  // namespace vorn::testing
