// A directory of its own for one test, removed with its contents at the end.
#pragma once

#include <stdlib.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace vorn::testing {

class scratch_directory {
  public:
    scratch_directory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zel-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        }
        path_ = pattern;
    }
    scratch_directory(const scratch_directory&) = delete;
    scratch_directory& operator=(const scratch_directory&) = delete;
    ~scratch_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

    // Writes bytes to a new file in the directory and returns its path.
    std::filesystem::path write(const std::string& name, std::string_view bytes) const {
        const std::filesystem::path file = path_ / name;
        std::ofstream(file, std::ios::binary).write(bytes.data(), std::ssize(bytes));
        return file;
    }

  private:
    std::filesystem::path path_;
};

}  // namespace vorn::testing
