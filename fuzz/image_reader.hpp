// An archive reader over the fuzzer's bytes, read in place through the same
// loading and bounds tests as a mapped file, so that AddressSanitizer sees
// every read of them. The reader's limits are small, so that no mutated input
// costs more than a moment, and they are those of the hostile seeds (made at
// small scale by bench/hostile_packages --small), whose refusals they reach.
#pragma once

#include <cstdint>
#include <memory>

#include "zel/archive/reader.hpp"
#include "zel/archive/reader_limits.hpp"

namespace vorn::fuzzing {

inline constexpr zela::zel_archive_reader_limits fuzzing_limits{1u << 15, 1000, 1000};

class image_reader final : public zela::zel_archive_reader {
  public:
    image_reader(const char* image, std::uint64_t size) : image_(image), size_(size) {
        load_image(image, size, fuzzing_limits);
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
