#include "zel/archive/internal/exact_inflate.hpp"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <memory>
#include <string>

#include "zel/archive/internal/archive_texts.hpp"
#include "zel/archive/zlib_stream.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zela {

namespace {

using decompressor_ptr =
    std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>;

// One decoder for each thread: a decoder is not to be shared between threads
// at once, and making one for each call would cost more than small entries
// take to inflate.
libdeflate_decompressor& thread_decompressor() {
    thread_local const decompressor_ptr decompressor(libdeflate_alloc_decompressor(),
                                                     &libdeflate_free_decompressor);
    if (!decompressor) {
        throw zlib_runtime_exception(std::string(texts::inflate_init_failed));
    }
    return *decompressor;
}

// libdeflate reads a stream that runs out of stored bytes as if zero bytes
// followed, so it reports such a stream as damaged or as too long for the
// buffer. This tells the cases apart by running zlib's streaming decoder over
// the same bytes, output discarded and counted: the path of a refusal only,
// bounded by the buffer's size as the one-call decode was.
inflate_result failure_of(const char* stored, std::uint64_t stored_size, std::uint64_t out_size) {
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) {
        throw zlib_runtime_exception(std::string(texts::inflate_init_failed));
    }
    const std::unique_ptr<z_stream, int (*)(z_stream*)> guard(&stream, &inflateEnd);
    const auto* cursor = reinterpret_cast<const Bytef*>(stored);
    std::uint64_t left = stored_size;
    std::uint64_t yielded = 0;
    for (;;) {
        if (stream.avail_in == 0) {
            if (left == 0) {
                return inflate_result::cut;
            }
            const auto chunk = static_cast<uInt>(std::min<std::uint64_t>(left, 0xFFFFFFFFu));
            stream.next_in = const_cast<Bytef*>(cursor);
            stream.avail_in = chunk;
            cursor += chunk;
            left -= chunk;
        }
        Bytef scratch[4096];
        stream.next_out = scratch;
        stream.avail_out = sizeof scratch;
        const int status = inflate(&stream, Z_NO_FLUSH);
        yielded += sizeof scratch - stream.avail_out;
        if (yielded > out_size) {
            return inflate_result::longer;
        }
        if (status == Z_STREAM_END) {
            // zlib accepts what libdeflate refused: count it as damage.
            return inflate_result::damaged;
        }
        if (status != Z_OK && status != Z_BUF_ERROR) {
            return inflate_result::damaged;
        }
    }
}

std::string decimal(std::uint64_t n) {
    return std::to_string(n);
}

}  // namespace

inflate_outcome inflate_exactly(const char* stored, std::uint64_t stored_size, char* out,
                                std::uint64_t out_size) {
    std::size_t used = 0;
    std::size_t yielded = 0;
    switch (libdeflate_zlib_decompress_ex(&thread_decompressor(), stored, stored_size, out,
                                          out_size, &used, &yielded)) {
        case LIBDEFLATE_SUCCESS:
            break;
        default:
            return {failure_of(stored, stored_size, out_size), 0, 0};
    }
    if (yielded != out_size) {
        return {inflate_result::shorter, used, yielded};
    }
    if (used != stored_size) {
        return {inflate_result::trailing, used, yielded};
    }
    return {inflate_result::exact, used, yielded};
}

void inflate_record(std::string_view subject, const char* stored, std::uint64_t stored_size,
                    char* out, std::uint64_t out_size) {
    const inflate_outcome outcome = inflate_exactly(stored, stored_size, out, out_size);
    std::string message(subject);
    switch (outcome.result) {
        case inflate_result::exact:
            return;
        case inflate_result::damaged:
            throw zlib_runtime_exception(std::string(texts::inflate_failed));
        case inflate_result::longer:
            message += std::string(texts::stream_longer) + decimal(out_size) +
                       std::string(texts::bytes_suffix);
            break;
        case inflate_result::shorter:
            message += std::string(texts::stream_shorter_prefix) + decimal(outcome.yielded) +
                       std::string(texts::stream_shorter_middle) + decimal(out_size);
            break;
        case inflate_result::cut:
            message += std::string(texts::stream_cut_prefix) + decimal(stored_size) +
                       std::string(texts::stream_cut_suffix);
            break;
        case inflate_result::trailing:
            message += std::string(texts::stream_trailing_prefix) + decimal(outcome.used) +
                       std::string(texts::stream_trailing_middle) + decimal(stored_size) +
                       std::string(texts::stream_trailing_suffix);
            break;
    }
    throw zel_archive_exception(message);
}

void require_inflatable(std::string_view subject, std::uint64_t stored_size,
                        std::uint64_t payload_size) {
    if (payload_size > max_inflated_size(stored_size)) {
        throw zel_archive_exception(
            std::string(subject) + std::string(texts::size_beyond_bound_prefix) +
            decimal(payload_size) + std::string(texts::size_beyond_bound_middle) +
            decimal(stored_size) + std::string(texts::size_beyond_bound_suffix));
    }
}

}  // namespace vorn::zela
