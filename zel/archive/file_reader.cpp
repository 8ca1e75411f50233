#include "zel/archive/file_reader.hpp"

#include <string>
#include <system_error>

#include "zel/archive/internal/archive_tables.hpp"
#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/system/file_mapping.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela {

namespace mmap = system::mmap;

zel_archive_file_reader::zel_archive_file_reader() = default;

zel_archive_file_reader::zel_archive_file_reader(const std::filesystem::path& path,
                                                 const zel_archive_reader_limits& limits) {
    // The existence test must answer, not raise: any error counts as missing.
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        throw zel_archive_exception(std::string(texts::reader_file_prefix) + path.string() +
                                    std::string(texts::reader_file_missing));
    }
    mmap::file_mapping file;
    try {
        file = mmap::file_mapping(path, mmap::file_mapping::read_only);
    } catch (const mmap::mmap_error& e) {
        throw zel_archive_exception(std::string(texts::reader_cannot_map) + path.string() +
                                    std::string(texts::cause_separator) + e.message());
    }
    const std::uint64_t size = std::filesystem::file_size(path);
    require_header(size);
    region_ = std::make_shared<mmap::mapped_region>(file, mmap::mapped_region::read_only, 0, size);
    load_image(region_->base(), size, limits);
    file.close();
}

zel_archive_file_reader::~zel_archive_file_reader() = default;

void zel_archive_file_reader::get_entry_data(std::shared_ptr<void>& holder, const char*& data,
                                             std::uint64_t& size, const entry& e) const {
    data = stored_bytes(region_ ? region_->base() : nullptr, file_size(), e);
    size = e.csize;
    holder = region_;
}

}  // namespace vorn::zela
