// Deflate of a whole buffer on several threads, giving the very stream that
// deflate_encoder gives for it.
//
// The greedy parse is cut into segments. What the parse chooses at a coding
// position depends only on the input and that position (the window's bytes
// and the chains over them, the history and the lookahead), not on where
// earlier blocks ended. So each segment's worker sets up the window at its
// start from the input (lz_window::resume) and parses from there; past its end it goes on until it
// codes a position that the next segment's parse coded too, from where both parses are the same. On
// real input that happens within a few records; on input where the two parses keep stepping over
// each other (a long run of one byte, say) it happens late or never, which costs time, not
// exactness. The records are then put into blocks and coded on the caller's thread exactly as the
// encoder does it, and the sink is called there.
//
// Memory besides the input and the coded stream: the records of each parse,
// at most about one byte per input byte parsed (an eighth of a byte per
// literal, three bytes per match), 128 KiB of marks per segment, 164 KiB of
// window per segment being parsed and 150 KiB for coding. A segment's parse
// covers the segment and its overlap with the next; in the worst case (no
// two parses ever meet) every parse runs to the end of the input, so the
// records of k segments take up to (k + 1) / 2 bytes per input byte.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zel/archive/zlib_stream.hpp"

namespace vorn::deflate {

// Inputs from this size on are deflated in parallel when helper threads are
// free; each segment has at least min_segment_size bytes, and there are at
// most max_segments of them. A parse runs at about 15 ns a byte and a worker
// costs about 0.3 ms to set up, so smaller inputs would gain too when a core
// is idle; but on a busy machine a helper often starts too late to take a
// share of a short input.
inline constexpr std::size_t parallel_threshold = 4u << 20;
inline constexpr std::size_t min_segment_size = 2u << 20;
inline constexpr unsigned max_segments = 8;

// Deflates the input in parallel and returns true, or returns false without
// calling the sink when the input is below the threshold or no helper thread
// is free. Helper threads are shared by all calls in the process: at most one
// fewer than the cores (and fewer than max_segments) run at once, so that
// callers on many threads do not oversubscribe the machine; a call takes
// those that are free.
bool deflate_in_parallel(const zlib_sink& sink, const std::uint8_t* input, std::size_t size);

// Deflates the input cut into `segments` segments of about equal size (at
// most 64, and none shorter than 64 bytes), parsed by `threads` threads, the
// caller's included. For tests, which cut small inputs into many segments.
// Throws what a worker or the sink throws, after every worker has stopped.
void deflate_in_segments(const zlib_sink& sink, const std::uint8_t* input, std::size_t size,
                         std::size_t segments, unsigned threads);

}  // namespace vorn::deflate
