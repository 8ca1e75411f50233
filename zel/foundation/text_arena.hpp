// The chunked arena that holds the characters of an atom table.
//
// Memory is handed out in multiples of 16 bytes, each piece 16-byte aligned,
// from the current chunk. When that chunk can't serve a request a new one is
// opened: the larger of twice the request and the size setting. The setting
// starts at twice the first chunk and doubles every second chunk, so ordinary
// chunks run 1, 2, 2, 4, 4, 8, 8 MiB and so on. What is left of a closed chunk
// is never used again. Nothing is released before the arena dies, so no piece
// ever moves. Chunks come from the recycling allocator, so that the texts of
// a scene released in a long-lived process make room for the next scene's.
#pragma once

#include <cstddef>
#include <vector>

namespace vorn {

class text_arena {
  public:
    static constexpr std::size_t alignment = 16;
    static constexpr std::size_t first_chunk_size = 0x100000;

    text_arena() = default;
    text_arena(const text_arena&) = delete;
    text_arena& operator=(const text_arena&) = delete;
    ~text_arena();

    // size bytes, rounded up to a multiple of 16, 16-byte aligned.
    char* allocate(std::size_t size);

    // The state of the chunks, for reports and tests. The first chunk is
    // opened by the first request.
    std::size_t chunk_count() const noexcept { return chunks_.size(); }
    std::size_t chunk_capacity() const noexcept { return capacity_; }
    std::size_t chunk_used() const noexcept { return used_; }

  private:
    struct chunk {
        char* bytes;
        std::size_t size;
    };

    void open_chunk(std::size_t size);

    std::vector<chunk> chunks_;
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;
    std::size_t size_setting_ = 2 * first_chunk_size;
};

}  // namespace vorn
