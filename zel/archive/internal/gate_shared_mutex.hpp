// A reader-writer lock of two gates over the standard mutex.
//
// A writer passes the first gate by setting its flag, which stops new
// readers, and then waits at the second gate until the readers inside have
// left. Readers wait at the first gate while a writer holds or waits for the
// lock, or while the reader count is full.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace vorn::parallel {

class gate_shared_mutex {
  public:
    void lock_shared();
    void unlock_shared();
    void lock();
    void unlock();

  private:
    static constexpr std::uint32_t max_readers = 0xFFFFFFFFu;

    std::mutex mutex_;
    std::condition_variable first_gate_;
    std::condition_variable second_gate_;
    std::uint32_t readers_ = 0;
    bool writer_ = false;
};

}  // namespace vorn::parallel
