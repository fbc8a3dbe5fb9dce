#pragma once

#include <utility>

namespace engine::core {

/// Holds one reference to a counted engine object (a script-visible `Object` or a
/// `SharedObject`) for as long as it lives: `inc_ref` on taking, `dec_ref` on letting
/// go. The holder of choice for code that keeps an object across a call that may run
/// script code, which could otherwise drop the last reference under it:
///
///     const Ref<ActorController> held(controller_);  // a hook may clear controller_
///     held->render();
///
/// Null is allowed. Copies take a reference of their own; moves hand it over. Same
/// thread rules as the object's own counting (script thread for `Object`).
template <class T>
class Ref {
public:
    Ref() noexcept = default;
    Ref(T* object) noexcept : object_(object) {  // NOLINT: taking a reference is the point
        if (object_) object_->inc_ref();
    }
    Ref(const Ref& other) noexcept : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Ref() { reset(); }

    /// Lets go of the reference (may destroy the object); the holder is null afterwards.
    void reset() noexcept {
        if (T* object = std::exchange(object_, nullptr)) object->dec_ref();
    }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

private:
    T* object_ = nullptr;  // one reference, or null
};

}  // namespace engine::core
