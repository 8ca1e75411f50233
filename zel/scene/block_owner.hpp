// What a block asks of the writer that made it: to record a library that a
// link names, to prove a link into a registered library, and to store the
// bytes of a binary. The scene defines it and the writer implements it, so
// that a block reaches the package it is written into without the scene
// knowing the writer.
//
// An owner hands its blocks a weak link to itself (adopt). The link dies
// with the owner: a block, or a copy of it in another index, that outlives
// its writer is an in-memory block from then on, never a way into freed
// memory. An owner and the blocks it adopted, copies included, belong to one
// thread at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace vorn::zel {

class zel_block;

// Validation bits that an owner hands each block it adopts, and keeps for
// itself: bit 0 has a block check its links into libraries as they are
// added, bit 1 has the owner refuse stored bytes that a registered library
// holds.
inline constexpr std::uint32_t validate_library_links = 1;
inline constexpr std::uint32_t validate_library_binaries = 2;

class block_owner {
  public:
    // Records a library alias that a link named.
    virtual void add_referenced_library(const std::string& alias) = 0;
    // Prove that the library of that alias holds a block, or a binary, of
    // that name, or raise.
    virtual zel_block& check_library_block(const std::string& alias, const std::string& name) = 0;
    virtual void check_library_binary(const std::string& alias, const std::string& name) = 0;
    // Store the file's bytes, or size bytes at data, and return the name of
    // the entry that holds them.
    virtual std::string add_binary_data(const std::string& name_hint,
                                        const std::filesystem::path& path) = 0;
    virtual std::string add_binary_data(const std::string& name_hint, const char* data,
                                        std::uint64_t size) = 0;

  protected:
    block_owner();
    block_owner(const block_owner&) = delete;
    block_owner& operator=(const block_owner&) = delete;
    // Nobody deletes an owner through this type.
    ~block_owner();

    // Makes this the owner of block, which keeps validation_flags.
    void adopt(zel_block& block, std::uint32_t validation_flags) const noexcept;

  private:
    // The one strong reference to the link that blocks hold weakly; it owns
    // nothing.
    std::shared_ptr<block_owner> link_;
};

}  // namespace vorn::zel
