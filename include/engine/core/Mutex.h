#pragma once

#include <mutex>

namespace engine::core {

/// A plain, non-recursive mutual exclusion lock, for use from any thread.
class Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    virtual ~Mutex() = default;

    /// Blocks until the lock is held by the calling thread.
    void acquire() { mutex_.lock(); }
    void release() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

/// Holds a Mutex for the lifetime of a scope, on the thread that made it.
class MutexLock {
public:
    explicit MutexLock(Mutex& mutex) : mutex_(mutex) { mutex_.acquire(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() { mutex_.release(); }

private:
    Mutex& mutex_;
};

}  // namespace engine::core
