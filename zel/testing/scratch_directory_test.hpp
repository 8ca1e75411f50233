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

// Bytes that look random and depend on their offset, so that a view which
// starts at the wrong offset does not compare equal to the right bytes.
inline std::string numbered_bytes(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(((i + 1) * std::uint64_t{0x9E3779B97F4A7C15}) >> 56);
    }
    return bytes;
}

}  // namespace vorn::testing
