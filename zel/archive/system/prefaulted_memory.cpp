#include "zel/archive/system/prefaulted_memory.hpp"

#include <sys/mman.h>

#include <new>

namespace vorn::system {

void* map_prefaulted(std::size_t size) {
    void* block = ::mmap(nullptr, size, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (block == MAP_FAILED) {
        throw std::bad_alloc();
    }
    return block;
}

void unmap_prefaulted(void* block, std::size_t size) noexcept {
    ::munmap(block, size);
}

}  // namespace vorn::system
