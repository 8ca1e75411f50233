#include "zel/archive/internal/gate_shared_mutex.hpp"

namespace vorn::parallel {

void gate_shared_mutex::lock_shared() {
    std::unique_lock<std::mutex> lock(mutex_);
    first_gate_.wait(lock, [this] { return !writer_ && readers_ != max_readers; });
    ++readers_;
}

void gate_shared_mutex::unlock_shared() {
    bool wake_writer;
    bool wake_readers;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        --readers_;
        wake_writer = writer_ && readers_ == 0;
        wake_readers = !writer_ && readers_ == max_readers - 1;
    }
    if (wake_writer) {
        second_gate_.notify_one();
    } else if (wake_readers) {
        first_gate_.notify_all();
    }
}

void gate_shared_mutex::lock() {
    std::unique_lock<std::mutex> lock(mutex_);
    first_gate_.wait(lock, [this] { return !writer_; });
    writer_ = true;
    second_gate_.wait(lock, [this] { return readers_ == 0; });
}

void gate_shared_mutex::unlock() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        writer_ = false;
    }
    first_gate_.notify_all();
}

}  // namespace vorn::parallel
