// A whole local file mapped read-only, for comparing it with a library's
// catalogue without copying its bytes. An empty file is an empty view, as
// the system refuses to map zero bytes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "zel/archive/system/file_mapping.hpp"
#include "zel/archive/system/mapped_region.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/writer/internal/writer_texts.hpp"

namespace vorn::zel {

class local_file_view {
  public:
    // Raises zel_exception prefix + path + " not found on local filesystem"
    // if path does not exist; the mapping's own errors pass.
    local_file_view(const std::filesystem::path& path, std::string_view prefix) {
        std::error_code ignored;
        if (!std::filesystem::exists(path, ignored)) {
            std::string message(prefix);
            message.append(path.string()).append(texts::not_on_filesystem);
            throw zel_exception(message);
        }
        namespace mmap = system::mmap;
        const mmap::file_mapping file(path, mmap::file_mapping::read_only);
        if (std::filesystem::file_size(path, ignored) != 0) {
            region_ =
                std::make_unique<mmap::mapped_region>(file, mmap::mapped_region::read_only, 0, 0);
        }
    }

    const char* data() const noexcept { return region_ ? region_->base() : ""; }
    std::uint64_t size() const noexcept { return region_ ? region_->size() : 0; }

  private:
    std::unique_ptr<system::mmap::mapped_region> region_;
};

}  // namespace vorn::zel
