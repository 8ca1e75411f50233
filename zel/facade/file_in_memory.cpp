#include "zel/facade/file_in_memory.hpp"

#include <filesystem>
#include <fstream>
#include <new>

#include "zel/facade/host_text.hpp"

namespace Tessaly::Corvane::DB::ZEL {

FileInMemory::FileInMemory(const std::wstring& strFile) {
    // Open files here are shared with every other reader and writer.
    std::ifstream file(path_of(strFile), std::ios::binary | std::ios::ate);
    if (!file) {
        return;
    }
    const std::streamoff end = file.tellg();
    if (end < 0) {
        return;
    }
    const auto size = static_cast<std::int32_t>(static_cast<std::uint32_t>(end));
    if (size <= 0) {
        return;
    }
    std::unique_ptr<char[]> bytes(new (std::nothrow) char[static_cast<std::size_t>(size)]);
    if (!bytes) {
        return;
    }
    file.seekg(0);
    if (!file.read(bytes.get(), size)) {
        return;
    }
    m_contents = std::move(bytes);
    m_content_size = size;
}

}  // namespace Tessaly::Corvane::DB::ZEL
