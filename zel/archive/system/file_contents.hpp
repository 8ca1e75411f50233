// The whole contents of a file, read into memory.
#pragma once

#include <filesystem>
#include <vector>

#include "zel/archive/system/file_system_calls.hpp"

namespace vorn::system {

// Reads the file at path to its end into bytes, replacing what they held.
// Returns 0, or the error number of the call that failed, and then bytes are
// empty: a directory gives EISDIR, and a file that fails half way is no
// file read whole.
int read_file_contents(file_system_calls& calls, const std::filesystem::path& path,
                       std::vector<char>& bytes);

}  // namespace vorn::system
