// Opens an archive from the fuzzer's bytes and reads every entry every way.
//
// The bytes are read in place, through the same loading and bounds tests as
// a mapped file, so that AddressSanitizer sees every read of them. Whatever
// the bytes, the reader either reads or raises an error of the library's
// family: anything else escapes and counts as a crash. Fuzzing builds leave
// out the hash test of the table of contents, so that mutations of it reach
// the parser.
//
// The reader's limits are small, so that no mutated input costs more than a
// moment, and they are those of the hostile seeds (made at small scale by
// bench/hostile_packages --small), whose refusals they reach.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/reader.hpp"
#include "zel/archive/reader_limits.hpp"
#include "zel/foundation/exception.hpp"

namespace {

constexpr vorn::zela::zel_archive_reader_limits fuzzing_limits{1u << 15, 1000, 1000};

class image_reader final : public vorn::zela::zel_archive_reader {
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

// Reads every byte, so that a buffer that reaches too far is caught.
unsigned touch(const vorn::read_buffer& buffer) {
    unsigned sum = 0;
    for (std::uint64_t i = 0; i < buffer.size(); ++i) {
        sum += static_cast<unsigned char>(buffer.data()[i]);
    }
    return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const image_reader reader(reinterpret_cast<const char*>(data), size);
        std::vector<std::string> names;
        reader.list_entries(names);
        volatile unsigned sink = 0;
        for (const std::string& name : names) {
            reader.get_entry_params(name);
            reader.get_entry_key(name);
            try {
                sink = sink + touch(*reader.get_raw_entry(name));
                sink = sink + touch(*reader.get_entry(name));
            } catch (const vorn::vorn_exception&) {
                // One bad entry does not keep the others from being read.
            }
        }
    } catch (const vorn::vorn_exception&) {
    }
    return 0;
}
