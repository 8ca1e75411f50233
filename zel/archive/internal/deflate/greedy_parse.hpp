// The choice the encoder makes at each coding position: the longest match the
// window finds, unless it is one that the stream has always coded as
// literals instead. The choice depends only on the window's state, so any
// two parses that reach a position with the same window make the same
// records from there on.
#pragma once

#include "zel/archive/internal/deflate/lz_window.hpp"

namespace vorn::deflate {

// Three-byte matches farther than this cost more than three literals.
inline constexpr std::uint32_t far_short_match = 8 * 1024;

// The match to code at the window's coding position; a distance of 0 means
// a literal.
inline lz_window::match greedy_choice(const lz_window& window) {
    lz_window::match m = window.find_match();
    // A match whose distance equals the position within the window is
    // dropped as well; the stream has always been made that way.
    if ((m.length == min_match && m.distance >= far_short_match) ||
        (window.position() & lz_window::mask) == m.distance) {
        m.distance = 0;
    }
    return m;
}

}  // namespace vorn::deflate
