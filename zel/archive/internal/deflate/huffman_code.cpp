#include "zel/archive/internal/deflate/huffman_code.hpp"

#include <algorithm>
#include <array>

namespace vorn::deflate {

namespace {

constexpr int max_supported_bits = 32;

struct ranked_symbol {
    std::uint16_t key;  // frequency on entry, then tree links, then depth
    std::uint16_t symbol;
};

// Below this many symbols an insertion sort beats the fixed cost of the
// counting passes.
constexpr int insertion_sort_limit = 48;

// Stable sort by frequency: by insertion for few symbols, else with one or
// two byte-wise counting passes.
ranked_symbol* sort_by_frequency(int n, ranked_symbol* in, ranked_symbol* scratch) {
    if (n < insertion_sort_limit) {
        for (int i = 1; i < n; ++i) {
            const ranked_symbol moving = in[i];
            int j = i;
            for (; j > 0 && in[j - 1].key > moving.key; --j) {
                in[j] = in[j - 1];
            }
            in[j] = moving;
        }
        return in;
    }
    std::array<std::uint32_t, 512> histogram{};
    for (int i = 0; i < n; ++i) {
        ++histogram[in[i].key & 0xFF];
        ++histogram[256 + (in[i].key >> 8)];
    }
    const int passes = histogram[256] == static_cast<std::uint32_t>(n) ? 1 : 2;
    ranked_symbol* current = in;
    ranked_symbol* next = scratch;
    for (int pass = 0; pass < passes; ++pass) {
        std::array<std::uint32_t, 256> offsets;
        std::uint32_t offset = 0;
        for (int b = 0; b < 256; ++b) {
            offsets[b] = offset;
            offset += histogram[pass * 256 + b];
        }
        for (int i = 0; i < n; ++i) {
            next[offsets[(current[i].key >> (pass * 8)) & 0xFF]++] = current[i];
        }
        std::swap(current, next);
    }
    return current;
}

constexpr std::array<std::uint8_t, 256> make_reversed_bytes() {
    std::array<std::uint8_t, 256> table{};
    for (int i = 0; i < 256; ++i) {
        int reversed = 0;
        for (int bit = 0; bit < 8; ++bit) {
            reversed |= ((i >> bit) & 1) << (7 - bit);
        }
        table[i] = static_cast<std::uint8_t>(reversed);
    }
    return table;
}

constexpr std::array<std::uint8_t, 256> reversed_bytes = make_reversed_bytes();

// The low `length` bits of code in reverse order (length at most 16).
std::uint32_t reverse_bits(std::uint32_t code, int length) {
    const std::uint32_t reversed16 =
        (std::uint32_t{reversed_bytes[code & 0xFF]} << 8) | reversed_bytes[(code >> 8) & 0xFF];
    return reversed16 >> (16 - length);
}

// In-place minimum-redundancy code lengths over symbols sorted by ascending
// frequency: on return a[i].key is the code length of a[i]. The arithmetic is
// 16-bit like the keys; the frequencies of one block never reach 65536.
void minimum_redundancy(ranked_symbol* a, int n) {
    if (n == 0) {
        return;
    }
    if (n == 1) {
        a[0].key = 1;
        return;
    }
    // Phase 1: build the tree; internal nodes take the places of the leaves
    // already consumed and hold their weight, then the index of their parent.
    a[0].key = static_cast<std::uint16_t>(a[0].key + a[1].key);
    int root = 0;
    int leaf = 2;
    for (int next = 1; next < n - 1; ++next) {
        if (leaf >= n || a[root].key < a[leaf].key) {
            a[next].key = a[root].key;
            a[root++].key = static_cast<std::uint16_t>(next);
        } else {
            a[next].key = a[leaf++].key;
        }
        if (leaf >= n || (root < next && a[root].key < a[leaf].key)) {
            a[next].key = static_cast<std::uint16_t>(a[next].key + a[root].key);
            a[root++].key = static_cast<std::uint16_t>(next);
        } else {
            a[next].key = static_cast<std::uint16_t>(a[next].key + a[leaf++].key);
        }
    }
    // Phase 2: depths of the internal nodes.
    a[n - 2].key = 0;
    for (int next = n - 3; next >= 0; --next) {
        a[next].key = static_cast<std::uint16_t>(a[a[next].key].key + 1);
    }
    // Phase 3: depths of the leaves.
    int available = 1;
    int used = 0;
    int depth = 0;
    root = n - 2;
    int next = n - 1;
    while (available > 0) {
        while (root >= 0 && a[root].key == depth) {
            ++used;
            --root;
        }
        while (available > used) {
            a[next--].key = static_cast<std::uint16_t>(depth);
            --available;
        }
        available = 2 * used;
        ++depth;
        used = 0;
    }
}

// Moves codes longer than max_bits to max_bits, then repairs the Kraft sum by
// lengthening the longest codes that are shorter than the limit.
void limit_lengths(std::array<int, max_supported_bits + 1>& per_length, int symbols, int max_bits) {
    if (symbols <= 1) {
        return;
    }
    for (int i = max_bits + 1; i <= max_supported_bits; ++i) {
        per_length[max_bits] += per_length[i];
    }
    std::uint32_t total = 0;
    for (int i = max_bits; i > 0; --i) {
        total += static_cast<std::uint32_t>(per_length[i]) << (max_bits - i);
    }
    while (total != (1u << max_bits)) {
        --per_length[max_bits];
        for (int i = max_bits - 1; i > 0; --i) {
            if (per_length[i] != 0) {
                --per_length[i];
                per_length[i + 1] += 2;
                break;
            }
        }
        --total;
    }
}

}  // namespace

void build_code(const std::uint16_t* frequencies, int count, int max_bits, std::uint8_t* lengths,
                std::uint16_t* codes) {
    std::array<ranked_symbol, 288> symbols;
    std::array<ranked_symbol, 288> scratch;
    // The used symbols in symbol order, gathered without a branch: most
    // blocks use a scattered few of the 288.
    std::array<std::uint16_t, 288> used_symbols;
    int used = 0;
    for (int i = 0; i < count; ++i) {
        symbols[used] = {frequencies[i], static_cast<std::uint16_t>(i)};
        used_symbols[used] = static_cast<std::uint16_t>(i);
        used += frequencies[i] != 0 ? 1 : 0;
    }
    ranked_symbol* sorted = sort_by_frequency(used, symbols.data(), scratch.data());
    minimum_redundancy(sorted, used);

    std::array<int, max_supported_bits + 1> per_length{};
    for (int i = 0; i < used; ++i) {
        ++per_length[sorted[i].key];
    }
    limit_lengths(per_length, used, max_bits);

    std::fill(lengths, lengths + count, std::uint8_t{0});
    // The most frequent symbols sit at the end of the sorted list and take
    // the shortest lengths.
    int j = used;
    for (int length = 1; length <= max_bits; ++length) {
        for (int k = per_length[length]; k > 0; --k) {
            lengths[sorted[--j].symbol] = static_cast<std::uint8_t>(length);
        }
    }

    // The canonical codes, as assign_codes gives them, visiting only the
    // used symbols.
    std::fill(codes, codes + count, std::uint16_t{0});
    std::array<std::uint32_t, max_supported_bits + 1> next_code{};
    std::uint32_t code = 0;
    for (int length = 2; length <= max_bits; ++length) {
        code = (code + static_cast<std::uint32_t>(per_length[length - 1])) << 1;
        next_code[length] = code;
    }
    for (int k = 0; k < used; ++k) {
        const std::uint16_t symbol = used_symbols[k];
        const int length = lengths[symbol];
        codes[symbol] = static_cast<std::uint16_t>(reverse_bits(next_code[length]++, length));
    }
}

void assign_codes(const std::uint8_t* lengths, int count, std::uint16_t* codes) {
    // Unused symbols are not counted: most lengths are 0, and counting them
    // would chain every step on the one counter.
    std::array<int, max_supported_bits + 1> per_length{};
    for (int i = 0; i < count; ++i) {
        if (lengths[i] != 0) {
            ++per_length[lengths[i]];
        }
    }
    std::array<std::uint32_t, max_supported_bits + 1> next_code{};
    std::uint32_t code = 0;
    for (int length = 2; length <= max_supported_bits; ++length) {
        code = (code + per_length[length - 1]) << 1;
        next_code[length] = code;
    }
    for (int i = 0; i < count; ++i) {
        const int length = lengths[i];
        codes[i] =
            length == 0 ? 0 : static_cast<std::uint16_t>(reverse_bits(next_code[length]++, length));
    }
}

}  // namespace vorn::deflate
