// The locking policies of the archive.
//
// A policy names a plain mutex and a shared (reader-writer) mutex. The
// archive classes are templates over the policy, so single-threaded use pays
// nothing: the no-op locks are empty and their calls compile to nothing.
// Keep members of these types [[no_unique_address]] so that they take no
// room either.
#pragma once

#include <mutex>

namespace vorn::parallel {

// The library's own locks: the spin locks in zel/foundation/spin_mutex.hpp,
// the gate in archive/internal/gate_shared_mutex.hpp.
class spin_mutex;
class spin_shared_mutex;
class gate_shared_mutex;

struct no_op_mutex {
    void lock() noexcept {}
    void unlock() noexcept {}
    void lock_shared() noexcept {}
    void unlock_shared() noexcept {}
};

// One thread at a time; the writer of a package uses this.
struct mutex_traits_no_op {
    using mutex = no_op_mutex;
    using shared_mutex = no_op_mutex;
};

// Parallel appenders with short waits.
struct mutex_traits_spin {
    using mutex = spin_mutex;
    using shared_mutex = spin_shared_mutex;
};

// Parallel appenders that may wait long.
struct mutex_traits_std {
    using mutex = std::mutex;
    using shared_mutex = gate_shared_mutex;
};

}  // namespace vorn::parallel
