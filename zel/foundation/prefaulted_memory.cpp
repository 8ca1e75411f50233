#include "zel/foundation/prefaulted_memory.hpp"

#include <sys/mman.h>

#include <array>
#include <bit>
#include <cstdint>
#include <mutex>
#include <new>

namespace vorn::system {

namespace {

constexpr std::size_t page = 4096;
constexpr std::size_t default_budget = std::size_t{256} << 20;
// A scene's read releases a few dozen blocks; more are unmapped at once.
constexpr std::size_t kept_slots = 128;

// The size that a request of size bytes is mapped with: whole pages, and from
// 64 KiB on, a multiple of an eighth of the power of two below it.
std::size_t class_size(std::size_t size) {
    const std::size_t pages = (size + page - 1) & ~(page - 1);
    if (pages < (std::size_t{64} << 10)) {
        return pages;
    }
    const std::size_t step = (std::size_t{1} << (std::bit_width(pages) - 1)) / 8;
    return (pages + step - 1) & ~(step - 1);
}

struct kept_block {
    void* memory = nullptr;
    std::size_t size = 0;
};

class kept_blocks {
  public:
    // A kept block of exactly that class size, or null.
    void* take(std::size_t size) {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (std::size_t i = count_; i-- > 0;) {
            if (slots_[i].size == size) {
                void* memory = slots_[i].memory;
                slots_[i] = slots_[--count_];
                kept_ -= size;
                return memory;
            }
        }
        return nullptr;
    }

    // Keeps the block if the budget and the slots allow; false if not.
    bool keep(void* memory, std::size_t size) noexcept {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (count_ == kept_slots || kept_ + size > budget_) {
            return false;
        }
        // The system may take the pages back while nobody uses them; a write
        // after that faults in a zeroed page, which a new user overwrites.
        ::madvise(memory, size, MADV_FREE);
        slots_[count_++] = {memory, size};
        kept_ += size;
        return true;
    }

    void set_budget(std::size_t bytes) noexcept {
        const std::lock_guard<std::mutex> lock(mutex_);
        budget_ = bytes;
        while (kept_ > budget_) {
            const kept_block b = slots_[--count_];
            ::munmap(b.memory, b.size);
            kept_ -= b.size;
        }
    }

    std::size_t kept() noexcept {
        const std::lock_guard<std::mutex> lock(mutex_);
        return kept_;
    }

  private:
    std::mutex mutex_;
    std::array<kept_block, kept_slots> slots_{};
    std::size_t count_ = 0;
    std::size_t kept_ = 0;
    std::size_t budget_ = default_budget;
};

// Never destroyed: blocks may be released while the process exits.
kept_blocks& kept_store() {
    static kept_blocks* const store = new kept_blocks;
    return *store;
}

void* map_new(std::size_t mapped, std::size_t size) {
    // Only the pages asked for are put in place; the rest of the class stays
    // untouched until a later user of the block needs it.
    void* block =
        ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) {
        throw std::bad_alloc();
    }
    const std::size_t populated = (size + page - 1) & ~(page - 1);
    if (populated != 0 && ::madvise(block, populated, MADV_POPULATE_WRITE) != 0) {
        // A system without that advice maps the whole class in place instead.
        ::munmap(block, mapped);
        block = ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        if (block == MAP_FAILED) {
            throw std::bad_alloc();
        }
    }
    return block;
}

// A kept block of the class of size, else a new one whose first populated
// bytes are in place.
void* map_block(std::size_t size, std::size_t populated) {
    if (size > (std::size_t{1} << 62)) {
        throw std::bad_alloc();
    }
    const std::size_t mapped = class_size(size);
    if (void* kept = kept_store().take(mapped)) {
        return kept;
    }
    return map_new(mapped, populated);
}

}  // namespace

void* map_prefaulted(std::size_t size) {
    return map_block(size, size);
}

void* map_recyclable(std::size_t size) {
    return map_block(size, 0);
}

void unmap_prefaulted(void* block, std::size_t size) noexcept {
    const std::size_t mapped = class_size(size);
    if (!kept_store().keep(block, mapped)) {
        ::munmap(block, mapped);
    }
}

void set_kept_prefaulted_budget(std::size_t bytes) noexcept {
    kept_store().set_budget(bytes);
}

std::size_t kept_prefaulted_bytes() noexcept {
    return kept_store().kept();
}

}  // namespace vorn::system
