// Memory for the parameters of the blocks that a reader or a copy makes:
// each such block takes room for all its parameters at once and seldom
// grows. Pieces are cut in order from chunks whose pages are mapped in
// place, so a large scene takes no page fault per block and no heap call per
// block; chunks start at 64 KiB and double up to 4 MiB. Nothing is given
// back before the arena dies, so room that a block leaves when it grows is
// lost until then. Not thread-safe.
#pragma once

#include <cstddef>
#include <memory_resource>
#include <vector>

namespace vorn::zel {

class parameter_arena final : public std::pmr::memory_resource {
  public:
    parameter_arena() = default;
    parameter_arena(const parameter_arena&) = delete;
    parameter_arena& operator=(const parameter_arena&) = delete;
    ~parameter_arena() override;

  private:
    struct chunk {
        void* memory;
        std::size_t size;
    };

    void* do_allocate(std::size_t bytes, std::size_t alignment) override;
    void do_deallocate(void*, std::size_t, std::size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
        return this == &other;
    }

    std::vector<chunk> chunks_;
    std::size_t next_chunk_ = std::size_t{64} << 10;
    char* next_ = nullptr;
    char* end_ = nullptr;
};

}  // namespace vorn::zel
