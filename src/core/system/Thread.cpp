#include "engine/core/Thread.h"

#include <system_error>

namespace engine::core {

Thread::~Thread() { join(); }

bool Thread::start() {
    if (thread_.joinable() || !function_) return false;
    try {
        thread_ = std::thread(function_);
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void Thread::join() {
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

}  // namespace engine::core
