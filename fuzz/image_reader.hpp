// An archive reader over the fuzzer's bytes, read in place through the same
// loading and bounds tests as a mapped file, so that AddressSanitizer sees
// every read of them.
#pragma once

#include <cstdint>
#include <memory>

#include "zel/archive/reader.hpp"

namespace vorn::fuzzing {

class image_reader final : public zela::zel_archive_reader {
  public:
    image_reader(const char* image, std::uint64_t size) : image_(image), size_(size) {
        load_image(image, size);
    }

    void get_entry_data(std::shared_ptr<void>& holder, const char*& data, std::uint64_t& size,
                        const entry& e) const override {
        data = stored_bytes(image_, size_, e);
        size = e.csize;
        holder.reset();  // the fuzzer's buffer outlives every read
    }

  private:
    const char* image_;
    std::uint64_t size_;
};

}  // namespace vorn::fuzzing
