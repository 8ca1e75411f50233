// The two compression streams of the archive.
//
// zlib_deflate turns a byte range into one complete zlib stream and
// zlib_inflate turns a zlib stream back into bytes. Both hand their output to
// a sink chunk by chunk, so the caller decides where the bytes go and no size
// has to be known in advance. A chunk is valid only during the call, and a
// sink may be called with length 0.
//
// The bytes zlib_deflate writes are part of the file format: a compressed
// entry is identified by the hash of its stream, so the encoder is fixed to
// the byte. zlib_inflate accepts any valid zlib stream; running out of input
// is not an error (a stream cut short gives its front part), a damaged
// stream is. It serves callers who stream; the archive's readers, which know
// both sizes of every stream, inflate in one call and refuse any stream that
// is not exactly its record (internal/exact_inflate.hpp).
//
// zlib_deflate parses an input of 4 MiB or more on helper threads when some
// are free (internal/deflate/parallel_deflate.hpp); the stream is the same.
// The helpers are shared by every call in the process, one fewer than the
// cores at most, so that callers deflating on many threads at once (as
// appenders shared between threads do) do not oversubscribe the machine: a
// call that finds none free deflates on its own thread. The sink is always
// called on the caller's thread, and the call returns only after every
// helper it used has stopped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vorn {

using zlib_sink = std::function<void(const char*, std::size_t)>;

// The most bytes that a zlib stream of stored_size bytes can inflate to:
// deflate expands at most 1032 times, and the stream's header and trailer
// give nothing. A recorded size beyond it is damage, refused before memory is
// reserved for the payload.
constexpr std::uint64_t max_inflated_size(std::uint64_t stored_size) noexcept {
    constexpr std::uint64_t ratio = 1032;
    constexpr std::uint64_t most = ~std::uint64_t{0};
    return stored_size > most / ratio ? most : stored_size * ratio;
}

// Throws zlib_runtime_exception, or whatever the sink throws; an empty sink
// throws std::bad_function_call at the first chunk.
void zlib_deflate(const zlib_sink& sink, const char* data, std::uint64_t size);
void zlib_inflate(const zlib_sink& sink, const char* data, std::uint64_t size);

}  // namespace vorn
