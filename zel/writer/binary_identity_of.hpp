// The binary_identity that bytes would get if the archive stored them now.
//
// A library's catalogue holds the identities that its archive gave its
// entries, taken over the bytes as stored: over the deflate stream when the
// entry was compressed. These functions make the same two numbers from bytes
// at hand, with the archive's own stream, so that a look-up in a catalogue
// finds the library's copy exactly when storing the bytes with the same
// compress decision would have deduplicated against it.
#pragma once

#include <cstdint>
#include <filesystem>

#include "zel/archive/binary_identity.hpp"

namespace vorn::zel {

// Deflates the bytes if compress is set, then hashes what would be stored.
binary_identity binary_identity_of_data(const char* data, std::uint64_t size, bool compress);

// The same for the whole file at path, which is mapped and not copied.
// Raises zel_exception "file <path> not found on local filesystem" if path
// does not exist; the mapping's errors pass.
binary_identity binary_identity_of_file(const std::filesystem::path& path, bool compress);

}  // namespace vorn::zel
