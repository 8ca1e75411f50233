#include "zel/writer/binary_identity_of.hpp"

#include <vector>

#include "zel/archive/zlib_stream.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/writer/internal/local_file_view.hpp"
#include "zel/writer/internal/writer_texts.hpp"

namespace vorn::zel {

binary_identity binary_identity_of_data(const char* data, std::uint64_t size, bool compress) {
    if (!compress) {
        return {hash_bytes(data, size), size};
    }
    std::vector<char> stored;
    zlib_deflate([&stored](const char* p, std::size_t n) { stored.insert(stored.end(), p, p + n); },
                 data, size);
    return {hash_bytes(stored.data(), stored.size()), stored.size()};
}

binary_identity binary_identity_of_file(const std::filesystem::path& path, bool compress) {
    const local_file_view file(path, texts::local_file);
    return binary_identity_of_data(file.data(), file.size(), compress);
}

}  // namespace vorn::zel
