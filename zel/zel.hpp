// Everything a user of the library needs, in one include.
#pragma once

#include "zel/archive/binary_identity.hpp"
#include "zel/archive/hash.hpp"
#include "zel/archive/system/aligned_bytes.hpp"
#include "zel/archive/system/file_mapping.hpp"
#include "zel/archive/system/mapped_region.hpp"
#include "zel/archive/system/read_buffer.hpp"
#include "zel/foundation/atom_table.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/intrusive_generic_param.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/foundation/text_arena.hpp"
#include "zel/foundation/text_conversion.hpp"
#include "zel/foundation/value_parse.hpp"
#include "zel/foundation/value_text.hpp"
