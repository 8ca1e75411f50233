#include "zel/archive/zlib_stream.hpp"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/internal/deflate/deflate_encoder.hpp"
#include "zel/archive/internal/deflate/parallel_deflate.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn {

namespace {

// Output space per inner pass, and the most input handed over at once (the
// stream's counters are 32-bit).
constexpr std::size_t output_chunk = 4096;
constexpr std::uint64_t input_chunk = 0xFFFFFFFFu;

// The texts are fixed (archive_texts.hpp): the decoder's own messages are not
// passed on, so a damaged stream reads the same whichever decoder saw it.
using zela::texts::deflate_failed;
using zela::texts::deflate_incomplete;
using zela::texts::deflate_init_failed;
using zela::texts::inflate_failed;
using zela::texts::inflate_init_failed;

struct inflate_guard {
    z_stream* stream;
    ~inflate_guard() { inflateEnd(stream); }
};

}  // namespace

void zlib_deflate(const zlib_sink& sink, const char* data, std::uint64_t size) {
    if (size <= std::numeric_limits<std::size_t>::max() &&
        deflate::deflate_in_parallel(sink, reinterpret_cast<const std::uint8_t*>(data),
                                     static_cast<std::size_t>(size))) {
        return;
    }
    std::unique_ptr<deflate::deflate_encoder> encoder;
    try {
        encoder = std::make_unique<deflate::deflate_encoder>();
    } catch (const std::bad_alloc&) {
        throw zlib_runtime_exception(std::string(deflate_init_failed));
    }
    const auto* cursor = reinterpret_cast<const std::uint8_t*>(data);
    const auto* const end = cursor + size;
    deflate::stream_status status;
    do {
        std::size_t in_size = static_cast<std::size_t>(
            std::min<std::uint64_t>(static_cast<std::uint64_t>(end - cursor), input_chunk));
        const std::uint8_t* in = cursor;
        cursor += in_size;
        const bool finish = cursor == end;
        std::size_t out_left;
        do {
            std::uint8_t buffer[output_chunk];
            std::uint8_t* out = buffer;
            out_left = output_chunk;
            status = encoder->deflate(in, in_size, out, out_left, finish);
            if (status == deflate::stream_status::stream_error) {
                throw zlib_runtime_exception(std::string(deflate_failed));
            }
            sink(reinterpret_cast<const char*>(buffer), output_chunk - out_left);
        } while (out_left == 0);
    } while (cursor != end);
    if (status != deflate::stream_status::stream_end) {
        throw zlib_runtime_exception(std::string(deflate_incomplete));
    }
}

void zlib_inflate(const zlib_sink& sink, const char* data, std::uint64_t size) {
    z_stream stream{};
    if (inflateInit2(&stream, 15) != Z_OK) {
        throw zlib_runtime_exception(std::string(inflate_init_failed));
    }
    const inflate_guard guard{&stream};
    const auto* cursor = reinterpret_cast<const Bytef*>(data);
    const auto* const end = cursor + size;
    int status = Z_OK;
    do {
        const auto chunk = static_cast<uInt>(
            std::min<std::uint64_t>(static_cast<std::uint64_t>(end - cursor), input_chunk));
        if (chunk == 0) {
            break;
        }
        stream.next_in = const_cast<Bytef*>(cursor);
        stream.avail_in = chunk;
        cursor += chunk;
        do {
            Bytef buffer[output_chunk];
            stream.next_out = buffer;
            stream.avail_out = output_chunk;
            status = inflate(&stream, Z_NO_FLUSH);
            if (status == Z_STREAM_ERROR || status == Z_DATA_ERROR || status == Z_MEM_ERROR ||
                status == Z_NEED_DICT) {
                throw zlib_runtime_exception(std::string(inflate_failed));
            }
            sink(reinterpret_cast<const char*>(buffer), output_chunk - stream.avail_out);
        } while (stream.avail_out == 0);
    } while (status != Z_STREAM_END);
}

}  // namespace vorn
