#include "zel/foundation/atom_index.hpp"

#include <bit>
#include <chrono>
#include <cstring>
#include <exception>
#include <random>

namespace vorn {

namespace {

constexpr std::size_t smallest_table = 64;

constexpr std::uint64_t multiplier = 0x9E3779B97F4A7C15u;

std::uint64_t load(const char* p, std::size_t size) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, p, size);
    return word;
}

std::uint64_t mix(std::uint64_t x) noexcept {
    x ^= x >> 32;
    x *= 0xD6E8FEB86659FD93u;
    x ^= x >> 32;
    return x;
}

// A value drawn once per process: texts that a file brings cannot have been
// chosen to share slots, which would make the index quadratic.
std::uint64_t process_seed() noexcept {
    static const std::uint64_t seed = [] {
        std::uint64_t drawn = 0;
        try {
            std::random_device device;
            drawn = std::uint64_t{device()} << 32 | device();
        } catch (const std::exception&) {
            drawn = static_cast<std::uint64_t>(
                std::chrono::steady_clock::now().time_since_epoch().count());
        }
        return mix(drawn | 1);
    }();
    return seed;
}

}  // namespace

// Eight bytes at a time, each word folded in by a multiplication; the last
// mix spreads every input bit over the low bits that pick a slot.
std::uint32_t atom_index::hash_of(std::string_view text) noexcept {
    const char* p = text.data();
    std::size_t left = text.size();
    std::uint64_t h = process_seed() ^ (text.size() * multiplier);
    while (left >= 8) {
        h = std::rotl((h ^ load(p, 8)) * multiplier, 29);
        p += 8;
        left -= 8;
    }
    if (left != 0) {
        h = std::rotl((h ^ load(p, left)) * multiplier, 29);
    }
    return static_cast<std::uint32_t>(mix(h));
}

void atom_index::insert(std::uint32_t hash, std::uint32_t number) {
    reserve(size_ + 1);
    place({hash, number});
    ++size_;
}

void atom_index::reserve(std::size_t count) {
    std::size_t capacity = slots_.empty() ? smallest_table : slots_.size();
    while (count > capacity / 4 * 3) {
        capacity *= 2;
    }
    if (capacity == slots_.size()) {
        return;
    }
    decltype(slots_) old(capacity, slot{0, none});
    old.swap(slots_);
    mask_ = capacity - 1;
    for (const slot& s : old) {
        if (s.number != none) {
            place(s);
        }
    }
}

void atom_index::place(slot s) noexcept {
    std::size_t at = s.hash & mask_;
    while (slots_[at].number != none) {
        at = (at + 1) & mask_;
    }
    slots_[at] = s;
}

}  // namespace vorn
