// Opens an archive from the fuzzer's bytes and reads every entry every way.
//
// The bytes are read in place, through the same loading and bounds tests as
// a mapped file, so that AddressSanitizer sees every read of them. Whatever
// the bytes, the reader either reads or raises an error of the library's
// family: anything else escapes and counts as a crash. Fuzzing builds leave
// out the hash test of the table of contents, so that mutations of it reach
// the parser.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/image_reader.hpp"
#include "zel/foundation/exception.hpp"

namespace {

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
        const vorn::fuzzing::image_reader reader(reinterpret_cast<const char*>(data), size);
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
