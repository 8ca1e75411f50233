// Codes the records of one block with Huffman codes: the fixed codes of the
// format, or codes made for the block and sent in its header.
#pragma once

#include "zel/archive/internal/deflate/bit_writer.hpp"
#include "zel/archive/internal/deflate/lz_block.hpp"

namespace vorn::deflate {

// Each writes the block type bits, the code tables if any, the records and
// the end-of-block code. They return false when the output overflowed.
bool write_fixed_block(bit_writer& out, const lz_block& block);
bool write_dynamic_block(bit_writer& out, lz_block& block);

}  // namespace vorn::deflate
