// Inflating a zlib stream whose stored and payload sizes are both recorded.
//
// Every compressed entry and every table of contents carries both sizes, so
// the read side never needs a streaming decoder: the stream is inflated in one
// call into a buffer of exactly the payload's size. The result is exact or
// refused. A stream that would yield more than the buffer holds stops as soon
// as it passes it; one that yields less, whose stored bytes end before its
// Adler-32 trailer, or that is followed by further bytes is refused as well,
// so the bytes handed out are always what the record says. A valid stream is
// exactly its record, and reads as before.
//
// Memory is never sized by a recorded number alone: a zlib stream inflates to
// at most max_inflated_size of its stored size, and a recorded payload size
// beyond that bound is damage, refused before anything is allocated.
#pragma once

#include <cstdint>
#include <string_view>

namespace vorn::zela {

enum class inflate_result {
    exact,     // the stream uses every stored byte and fills the buffer
    damaged,   // not a zlib stream, or its check value does not match
    longer,    // it yields more than the buffer holds
    shorter,   // it ends, trailer and all, before filling the buffer
    cut,       // the stored bytes end before the stream does
    trailing,  // further bytes follow the stream's trailer
};

struct inflate_outcome {
    inflate_result result;
    std::uint64_t used;     // stored bytes the stream took, for trailing
    std::uint64_t yielded;  // bytes it gave, for shorter
};

// Inflates the stream of stored_size bytes into the out_size bytes at out. The
// bytes at out are the payload only when the result is exact. Throws
// zlib_runtime_exception only when no decoder can be had.
inflate_outcome inflate_exactly(const char* stored, std::uint64_t stored_size, char* out,
                                std::uint64_t out_size);

// The same, with every result but exact raised: a damaged stream as
// zlib_runtime_exception with the inflate text, any other as
// zel_archive_exception whose message begins with subject, such as
// "entry \"name\"" or "table of contents".
void inflate_record(std::string_view subject, const char* stored, std::uint64_t stored_size,
                    char* out, std::uint64_t out_size);

// Raises zel_archive_exception, beginning with subject, if no stream of
// stored_size bytes can inflate to payload_size bytes.
void require_inflatable(std::string_view subject, std::uint64_t stored_size,
                        std::uint64_t payload_size);

}  // namespace vorn::zela
