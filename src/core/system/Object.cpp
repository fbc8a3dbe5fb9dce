#include "engine/core/Object.h"

#include <atomic>
#include <new>

namespace engine::core {

namespace {
// Every Object alive; atomic, so that any thread may read it.
std::atomic<std::size_t> live_objects{0};

// Installed by the script extension; without an interpreter no object has a self.
Object::SelfHooks self_hooks{nullptr, nullptr};

// The block of the latest `new` of an Object on this thread, until the Object built in
// it claims it. An Object whose address lies elsewhere (the stack, static storage, a
// member) was not made by `new`; a missed claim only means one object is never deleted
// by its count, never a wrong delete.
thread_local const char* new_block = nullptr;
thread_local std::size_t new_block_size = 0;

bool claim_new_block(const void* object) noexcept {
    const char* at = static_cast<const char*>(object);
    if (!new_block || at < new_block || at >= new_block + new_block_size) return false;
    new_block = nullptr;
    new_block_size = 0;
    return true;
}
}  // namespace

void* Object::operator new(std::size_t size) {
    void* block = ::operator new(size);
    new_block = static_cast<const char*>(block);
    new_block_size = size;
    return block;
}

void Object::operator delete(void* block) noexcept {
    // A constructor that threw never claimed its block: forget it with the block.
    if (block == new_block) {
        new_block = nullptr;
        new_block_size = 0;
    }
    ::operator delete(block);
}

Object::Object() noexcept : on_heap_(claim_new_block(this)) { live_objects.fetch_add(1, std::memory_order_relaxed); }

Object::Object(const Object&) noexcept : on_heap_(claim_new_block(this)) {
    live_objects.fetch_add(1, std::memory_order_relaxed);
}

Object::~Object() {
    mark_gone();
    live_objects.fetch_sub(1, std::memory_order_relaxed);
}

std::size_t Object::live_count() noexcept { return live_objects.load(std::memory_order_relaxed); }

void Object::set_self_hooks(const SelfHooks& hooks) noexcept { self_hooks = hooks; }

void Object::bind_python_self(PyObject* self) noexcept {
    self_ = self;
    // Holders taken during construction are native ones: the self's own Ref comes next.
    if (self_ && refs_ > 0 && self_hooks.keep) {
        self_hooks.keep(self_);
        self_kept_ = true;
    }
}

void Object::inc_ref() const noexcept {
    ++refs_;
    // A second holder besides the self: the self must outlive it.
    if (self_ && !self_kept_ && refs_ >= 2 && self_hooks.keep) {
        self_hooks.keep(self_);
        self_kept_ = true;
    }
}

void Object::dec_ref() const noexcept {
    const int left = --refs_;
    if (left == 1 && self_kept_) {
        // Only the self holds this object now: let it go. When nothing else holds the
        // self, its Ref is released right here and deletes this object.
        self_kept_ = false;
        self_hooks.release(self_);
        return;
    }
    if (left == 0 && on_heap_) {
        mark_gone();
        delete this;
    }
}

detail::WeakAnchor* Object::weak_anchor() const {
    if (!anchor_) anchor_ = new detail::WeakAnchor;
    return anchor_;
}

void Object::mark_gone() const noexcept {
    detail::WeakAnchor* anchor = anchor_;
    if (!anchor) return;
    anchor_ = nullptr;
    anchor->alive = false;
    if (anchor->links == 0) delete anchor;
}

}  // namespace engine::core
