#include "engine/core/SharedObject.h"

namespace engine::core {

namespace {
// Every SharedObject alive; made and dropped on any thread.
std::atomic<std::size_t> live_shared_objects{0};
}  // namespace

SharedObject::SharedObject() noexcept { live_shared_objects.fetch_add(1, std::memory_order_relaxed); }

SharedObject::~SharedObject() { live_shared_objects.fetch_sub(1, std::memory_order_relaxed); }

std::size_t SharedObject::live_count() noexcept { return live_shared_objects.load(std::memory_order_relaxed); }

}  // namespace engine::core
