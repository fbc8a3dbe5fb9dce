#pragma once

#include <thread>

namespace engine::core {

/// Runs a plain function on a thread of its own. The Thread object itself belongs to
/// the thread that made it: start, join and destroy it there (the texture loader's
/// thread is started and joined by the script thread).
class Thread {
public:
    using Function = void (*)();

    explicit Thread(Function function) : function_(function) {}
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    /// Waits for the function to return: make it return before destroying its Thread.
    virtual ~Thread();

    /// Starts the function on a new thread; false when it is already running or no
    /// thread could be started.
    bool start();
    /// Waits until the function has returned; nothing when it was never started.
    void join();
    bool is_running() const { return thread_.joinable(); }

private:
    Function function_;   // what the thread runs
    std::thread thread_;  // joinable while started and not yet joined
};

}  // namespace engine::core
