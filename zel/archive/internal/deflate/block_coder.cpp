#include "zel/archive/internal/deflate/block_coder.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include "zel/archive/internal/deflate/huffman_code.hpp"

namespace vorn::deflate {

namespace {

constexpr int max_code_bits = 15;
constexpr int max_code_length_bits = 7;

struct code_table {
    std::array<std::uint8_t, literal_symbols> literal_lengths{};
    std::array<std::uint16_t, literal_symbols> literal_codes{};
    std::array<std::uint8_t, distance_symbols> distance_lengths{};
    std::array<std::uint16_t, distance_symbols> distance_codes{};
};

code_table make_fixed_table() {
    code_table t;
    for (int i = 0; i < literal_symbols; ++i) {
        t.literal_lengths[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
    }
    t.distance_lengths.fill(5);
    assign_codes(t.literal_lengths.data(), literal_symbols, t.literal_codes.data());
    assign_codes(t.distance_lengths.data(), distance_symbols, t.distance_codes.data());
    return t;
}

const code_table& fixed_table() {
    static const code_table table = make_fixed_table();
    return table;
}

// Bits a record can take: a match at most 15 + 5 + 15 + 13, a literal (or
// the end of the block) at most 15.
constexpr std::uint32_t max_match_bits = 48;
constexpr std::uint32_t max_literal_bits = 15;
// The most bits the local buffer may hold. A store shifts out the whole bytes
// it holds, so a full 64 would be a shift by 64, which is undefined: x86
// leaves the word as it was, and its bits were written again over the next
// record's.
constexpr std::uint32_t buffer_bits = 63;

// The bit buffer lives in locals here, where nearly all bits of a block are
// written. Bits are gathered until the next record might not fit in
// buffer_bits and then stored as one word, so one store serves a match or up
// to three literals. Whole bytes past the end mark count as an overflow, as
// in bit_writer; the word stored may reach into the margin behind the mark.
bool write_records(bit_writer& out, const lz_block& block, const code_table& t) {
    const bit_writer::mark start = out.save();
    std::uint8_t* next = start.next;
    std::uint64_t buffer = start.buffer;
    std::uint32_t pending = start.pending;
    std::uint8_t* const end_mark = out.end_mark();
    const auto store = [&] {
        std::memcpy(next, &buffer, 8);
        next += pending >> 3;
        buffer >>= pending & ~7u;
        pending &= 7;
        return next < end_mark;
    };
    const auto overflow = [&] {
        out.restore({end_mark, 0, 0});
        return false;
    };

    const std::uint8_t* p = block.begin();
    const std::uint8_t* const end = block.end();
    std::uint32_t flags = 1;
    for (; p < end; flags >>= 1) {
        if (flags == 1) {
            flags = *p++ | 0x100u;
        }
        if (flags & 1) {
            if (pending > buffer_bits - max_match_bits && !store()) {
                return overflow();
            }
            const std::uint32_t length = p[0];
            const std::uint32_t distance = p[1] | (p[2] << 8);
            p += 3;
            const symbol_info l = length_symbols[length];
            buffer |= std::uint64_t{t.literal_codes[l.symbol]} << pending;
            pending += t.literal_lengths[l.symbol];
            buffer |= std::uint64_t{length & ((1u << l.extra_bits) - 1)} << pending;
            pending += l.extra_bits;
            const symbol_info d = distance_symbol(distance);
            buffer |= std::uint64_t{t.distance_codes[d.symbol]} << pending;
            pending += t.distance_lengths[d.symbol];
            buffer |= std::uint64_t{distance & ((1u << d.extra_bits) - 1)} << pending;
            pending += d.extra_bits;
        } else {
            if (pending > buffer_bits - max_literal_bits && !store()) {
                return overflow();
            }
            const std::uint8_t literal = *p++;
            buffer |= std::uint64_t{t.literal_codes[literal]} << pending;
            pending += t.literal_lengths[literal];
        }
    }
    if (pending > buffer_bits - max_literal_bits && !store()) {
        return overflow();
    }
    buffer |= std::uint64_t{t.literal_codes[end_of_block]} << pending;
    pending += t.literal_lengths[end_of_block];
    if (!store()) {
        return overflow();
    }
    out.restore({next, buffer, pending});
    return true;
}

// The code lengths of both tables, run-length coded with the symbols 16
// (repeat the previous length 3 to 6 times), 17 (3 to 10 zeros) and 18 (11
// to 138 zeros). Each symbol 16 to 18 is followed by its repeat count. A run
// of a length other than 0 is sent as the length and then repeats of it in
// groups of at most 6; a run of zeros in groups of at most 138. What is left
// of a run below 3 is sent as plain lengths.
class length_packer {
  public:
    explicit length_packer(std::array<std::uint16_t, code_length_symbols>& counts)
        : counts_(counts) {}

    void pack(const std::uint8_t* lengths, int count) {
        for (int i = 0; i < count;) {
            const std::uint8_t length = lengths[i];
            int run = 1;
            while (i + run < count && lengths[i + run] == length) {
                ++run;
            }
            i += run;
            if (length == 0) {
                for (; run >= 138; run -= 138) {
                    emit(18, 138 - 11);
                }
                if (run < 3) {
                    plain(0, run);
                } else if (run <= 10) {
                    emit(17, static_cast<std::uint8_t>(run - 3));
                } else {
                    emit(18, static_cast<std::uint8_t>(run - 11));
                }
            } else {
                plain(length, 1);
                for (--run; run >= 6; run -= 6) {
                    emit(16, 6 - 3);
                }
                if (run < 3) {
                    plain(length, run);
                } else {
                    emit(16, static_cast<std::uint8_t>(run - 3));
                }
            }
        }
    }

    const std::uint8_t* begin() const { return packed_.data(); }
    const std::uint8_t* end() const { return packed_.data() + size_; }

  private:
    void plain(std::uint8_t length, int times) {
        counts_[length] = static_cast<std::uint16_t>(counts_[length] + times);
        for (; times > 0; --times) {
            packed_[size_++] = length;
        }
    }
    void emit(std::uint8_t symbol, std::uint8_t argument) {
        ++counts_[symbol];
        packed_[size_++] = symbol;
        packed_[size_++] = argument;
    }

    std::array<std::uint16_t, code_length_symbols>& counts_;
    std::array<std::uint8_t, literal_symbols + distance_symbols> packed_;
    int size_ = 0;
};

}  // namespace

bool write_fixed_block(bit_writer& out, const lz_block& block) {
    out.put(1, 2);
    return write_records(out, block, fixed_table());
}

bool write_dynamic_block(bit_writer& out, lz_block& block) {
    code_table t;
    block.literal_counts()[end_of_block] = 1;
    build_code(block.literal_counts().data(), literal_symbols, max_code_bits,
               t.literal_lengths.data(), t.literal_codes.data());
    build_code(block.distance_counts().data(), distance_symbols, max_code_bits,
               t.distance_lengths.data(), t.distance_codes.data());

    int literal_count = 286;
    while (literal_count > 257 && t.literal_lengths[literal_count - 1] == 0) {
        --literal_count;
    }
    int distance_count = 30;
    while (distance_count > 1 && t.distance_lengths[distance_count - 1] == 0) {
        --distance_count;
    }

    // Both tables are packed as one sequence, so runs may cross from one to
    // the other.
    std::array<std::uint8_t, literal_symbols + distance_symbols> lengths{};
    std::copy_n(t.literal_lengths.begin(), literal_count, lengths.begin());
    std::copy_n(t.distance_lengths.begin(), distance_count, lengths.begin() + literal_count);
    std::array<std::uint16_t, code_length_symbols> counts{};
    length_packer packed(counts);
    packed.pack(lengths.data(), literal_count + distance_count);

    std::array<std::uint8_t, code_length_symbols> cl_lengths{};
    std::array<std::uint16_t, code_length_symbols> cl_codes{};
    build_code(counts.data(), code_length_symbols, max_code_length_bits, cl_lengths.data(),
               cl_codes.data());

    out.put(2, 2);
    out.put(static_cast<std::uint32_t>(literal_count - 257), 5);
    out.put(static_cast<std::uint32_t>(distance_count - 1), 5);
    int sent = code_length_symbols;
    while (sent > 4 && cl_lengths[code_length_order[sent - 1]] == 0) {
        --sent;
    }
    out.put(static_cast<std::uint32_t>(sent - 4), 4);
    for (int i = 0; i < sent; ++i) {
        out.put(cl_lengths[code_length_order[i]], 3);
    }
    static constexpr std::uint8_t repeat_bits[3] = {2, 3, 7};
    for (const std::uint8_t* p = packed.begin(); p < packed.end();) {
        const std::uint8_t symbol = *p++;
        out.put(cl_codes[symbol], cl_lengths[symbol]);
        if (symbol >= 16) {
            out.put(*p++, repeat_bits[symbol - 16]);
        }
    }
    return write_records(out, block, t);
}

}  // namespace vorn::deflate
