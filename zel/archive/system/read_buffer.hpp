// An immutable range of bytes, together with what keeps them alive.
//
// The archive hands out entries in this type, always through
// std::shared_ptr<const read_buffer>. It has three kinds of storage, and
// exactly one is in use:
//  - a view: bytes owned by someone else, usually a mapped_region, kept alive
//    by a share of it in the holder. decoded() is false; pending_size() is the
//    payload's size if the bytes are still compressed, else 0.
//  - decoded bytes: a 16-byte aligned vector that the buffer owns. decoded()
//    is true and pending_size() 0.
//  - external bytes: a shared_ptr to chars supplied from outside, with their
//    length. The identity is (0, 0), decoded() is true and pending_size() 0.
// pending_size() 0 means that data() is the payload, whatever decoded() says.
// identity() always describes the bytes as stored in the archive, also when
// the buffer holds them decoded.
//
// The object is neither copied nor moved once made, so data() stays valid for
// its whole life, also when it points into its own vector.
#pragma once

#include <cstdint>
#include <memory>

#include "zel/archive/binary_identity.hpp"
#include "zel/archive/system/aligned_bytes.hpp"

namespace vorn {

class read_buffer {
    // Only the make_ functions can name this, so only they call the
    // constructors; those stay public for std::make_shared.
    struct private_tag {
        explicit private_tag() = default;
    };

  public:
    // A view of size bytes at data, which holder keeps alive.
    static std::shared_ptr<const read_buffer> make_view(binary_identity identity,
                                                        std::shared_ptr<void> holder,
                                                        const char* data, std::uint64_t size,
                                                        std::uint64_t pending_size);
    // Takes over bytes that were decoded from the stored form with this
    // identity.
    static std::shared_ptr<const read_buffer> make_decoded(binary_identity identity,
                                                           aligned_bytes bytes);
    // Shares bytes supplied from outside the archive.
    static std::shared_ptr<const read_buffer> make_external(std::shared_ptr<char> bytes,
                                                            std::uint64_t size);

    read_buffer(private_tag, binary_identity identity, std::shared_ptr<void> holder,
                const char* data, std::uint64_t size, std::uint64_t pending_size);
    read_buffer(private_tag, binary_identity identity, aligned_bytes bytes);
    read_buffer(private_tag, std::shared_ptr<char> bytes, std::uint64_t size);
    read_buffer(const read_buffer&) = delete;
    read_buffer& operator=(const read_buffer&) = delete;

    const binary_identity& identity() const noexcept { return identity_; }
    const char* data() const noexcept { return data_; }
    std::uint64_t size() const noexcept { return size_; }
    bool decoded() const noexcept { return decoded_; }
    std::uint64_t pending_size() const noexcept { return pending_size_; }

  private:
    binary_identity identity_;
    std::shared_ptr<void> holder_;
    const char* data_;
    std::uint64_t size_;
    aligned_bytes owned_;
    std::shared_ptr<char> shared_bytes_;
    bool decoded_;
    std::uint64_t pending_size_;
};

}  // namespace vorn
