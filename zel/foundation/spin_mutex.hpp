// Spinning locks for short critical sections between parallel appenders.
//
// Neither lock pauses, yields or backs off: they are meant for sections of a
// few hundred instructions (a table lookup, a seek and a write), not for
// waiting on work.
#pragma once

#include <atomic>
#include <cstdint>

namespace vorn::parallel {

// A flag: lock exchanges 1 in until the old value was 0, unlock stores 0.
class spin_mutex {
  public:
    void lock() noexcept {
        while (flag_.exchange(1, std::memory_order_acquire) != 0) {
        }
    }
    void unlock() noexcept { flag_.store(0, std::memory_order_release); }

  private:
    std::atomic<std::uint32_t> flag_{0};
};

// One word: the writer in bit 0, the readers counted in steps of 2 above it.
// A writer first sets its bit, which shuts out new readers, then waits until
// the present readers have left.
class spin_shared_mutex {
  public:
    void lock_shared() noexcept {
        std::uint32_t expected = word_.load(std::memory_order_relaxed) & ~writer;
        while (!word_.compare_exchange_weak(expected, expected + reader, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
            expected &= ~writer;
        }
    }
    void unlock_shared() noexcept { word_.fetch_sub(reader, std::memory_order_release); }

    void lock() noexcept {
        std::uint32_t expected = word_.load(std::memory_order_relaxed) & ~writer;
        while (!word_.compare_exchange_weak(expected, expected + writer, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
            expected &= ~writer;
        }
        while (word_.load(std::memory_order_acquire) != writer) {
        }
    }
    void unlock() noexcept { word_.fetch_sub(writer, std::memory_order_release); }

  private:
    static constexpr std::uint32_t writer = 1;
    static constexpr std::uint32_t reader = 2;
    std::atomic<std::uint32_t> word_{0};
};

}  // namespace vorn::parallel
