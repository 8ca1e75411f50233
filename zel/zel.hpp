// Everything a user of the library needs, in one include, grouped by what
// the user does. doc/design.md tells how the groups meet; a program that
// needs one group may include that group's headers alone.
#pragma once

// Write a package: the writer, its blocks, content libraries and their contents files.
#include "zel/scene/block.hpp"
#include "zel/scene/block_owner.hpp"
#include "zel/writer/binary_identity_of.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/create_contents_file.hpp"
#include "zel/writer/file_writer.hpp"
#include "zel/writer/link_check.hpp"

// Read a scene: one package's file index, its blocks and the words of its document.
#include "zel/scene/file_index.hpp"
#include "zel/scene/names.hpp"
#include "zel/scene/scene_texts.hpp"

// Read across packages: the resolver that caches packages, the scene graph over them.
#include "zel/scene/lru_cache.hpp"
#include "zel/scene/scene_graph.hpp"
#include "zel/scene/scene_resolver.hpp"

// Host façade: ZELFile, ZELBlock, host texts and exceptions (C interface: zel_host.h).
#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/host_string.hpp"
#include "zel/facade/host_text.hpp"
#include "zel/facade/zel_block.hpp"
#include "zel/facade/zel_file.hpp"

// Archive level: entries without a scene, mapped files, the locking policies.
#include "zel/archive/appender.hpp"
#include "zel/archive/binary_identity.hpp"
#include "zel/archive/entry_params.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/mutex_traits.hpp"
#include "zel/archive/node_cache.hpp"
#include "zel/archive/open_archive.hpp"
#include "zel/archive/package_id.hpp"
#include "zel/archive/range_reader.hpp"
#include "zel/archive/reader.hpp"
#include "zel/archive/remote_options.hpp"
#include "zel/archive/system/aligned_bytes.hpp"
#include "zel/archive/system/file_mapping.hpp"
#include "zel/archive/system/mapped_region.hpp"
#include "zel/archive/system/read_buffer.hpp"
#include "zel/archive/zel_archive.hpp"
#include "zel/archive/zlib_stream.hpp"

// Below all of them: errors, atoms, typed values and their texts, text conversion.
#include "zel/foundation/atom_table.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/foundation/intrusive_generic_param.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/foundation/text_arena.hpp"
#include "zel/foundation/text_conversion.hpp"
#include "zel/foundation/value_parse.hpp"
#include "zel/foundation/value_text.hpp"
