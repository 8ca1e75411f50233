#include "zel/archive/system/read_buffer.hpp"

#include <utility>

namespace vorn {

std::shared_ptr<const read_buffer> read_buffer::make_view(binary_identity identity,
                                                          std::shared_ptr<void> holder,
                                                          const char* data, std::uint64_t size,
                                                          std::uint64_t pending_size) {
    return std::make_shared<const read_buffer>(private_tag{}, identity, std::move(holder), data,
                                               size, pending_size);
}

std::shared_ptr<const read_buffer> read_buffer::make_decoded(binary_identity identity,
                                                             aligned_bytes bytes) {
    return std::make_shared<const read_buffer>(private_tag{}, identity, std::move(bytes));
}

std::shared_ptr<const read_buffer> read_buffer::make_external(std::shared_ptr<char> bytes,
                                                              std::uint64_t size) {
    return std::make_shared<const read_buffer>(private_tag{}, std::move(bytes), size);
}

read_buffer::read_buffer(private_tag, binary_identity identity, std::shared_ptr<void> holder,
                         const char* data, std::uint64_t size, std::uint64_t pending_size)
    : identity_(identity),
      holder_(std::move(holder)),
      data_(data),
      size_(size),
      decoded_(false),
      pending_size_(pending_size) {}

// The vector's storage moves with it, so data_ can be taken once owned_ holds
// the bytes.
read_buffer::read_buffer(private_tag, binary_identity identity, aligned_bytes bytes)
    : identity_(identity),
      data_(nullptr),
      size_(bytes.size()),
      owned_(std::move(bytes)),
      decoded_(true),
      pending_size_(0) {
    data_ = owned_.data();
}

read_buffer::read_buffer(private_tag, std::shared_ptr<char> bytes, std::uint64_t size)
    : identity_{0, 0},
      data_(bytes.get()),
      size_(size),
      shared_bytes_(std::move(bytes)),
      decoded_(true),
      pending_size_(0) {}

}  // namespace vorn
