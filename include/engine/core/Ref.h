#pragma once

#include "engine/core/Object.h"

#include <utility>

namespace engine::core {

/// The one holder of counted engine objects (an `Object` or a `SharedObject`): it
/// takes a reference when it starts holding and lets go of it when it stops. Every
/// owner holds through it (containers, members, the script object of a script-made
/// instance, and code that keeps an object across a call that may run script code,
/// which could otherwise drop the last reference under it):
///
///     const Ref<ActorController> held(controller_);  // a hook may clear controller_
///     held->render();
///
/// Null is allowed. Copies take a reference of their own; moves hand it over. Same
/// thread rules as the object's own counting (script thread for `Object`).
template <class T>
class Ref {
public:
    using element_type = T;

    Ref() noexcept = default;
    Ref(T* object) noexcept : object_(object) {  // NOLINT: taking a reference is the point
        if (object_) object_->inc_ref();
    }
    Ref(const Ref& other) noexcept : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <class U>
    Ref(const Ref<U>& other) noexcept : Ref(other.get()) {}  // NOLINT: Ref<Derived> -> Ref<Base>
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
    /// Reads as the pointer it holds, so a table of Refs reads like one of pointers
    /// (`for (SceneObject* object : layer.get_objects())`); the reference stays here.
    operator T*() const noexcept { return object_; }  // NOLINT: see above

private:
    T* object_ = nullptr;  // one reference, or null
};

/// A new T held from the start: `make_ref<Transform>()`.
template <class T, class... Args>
Ref<T> make_ref(Args&&... args) {
    return Ref<T>(new T(std::forward<Args>(args)...));
}

/// The pointer a holder holds (what generic code, Boost.Python's included, asks for).
template <class T>
T* get_pointer(const Ref<T>& ref) noexcept {
    return ref.get();
}

/// A link to an Object that does not own it and knows when it is gone: `get()` is the
/// object while it lives and null from the moment it starts going away. For links that
/// must not keep their target (a transform's parent, a controller's actor). Script
/// thread only, like the counting.
template <class T>
class WeakRef {
public:
    WeakRef() noexcept = default;
    WeakRef(T* object) : object_(object) {  // NOLINT: linking is the point
        if (object_) link(object_->weak_anchor());
    }
    WeakRef(const WeakRef& other) noexcept : object_(other.object_) { link(other.anchor_); }
    WeakRef(WeakRef&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)), anchor_(std::exchange(other.anchor_, nullptr)) {}
    WeakRef& operator=(WeakRef other) noexcept {
        std::swap(object_, other.object_);
        std::swap(anchor_, other.anchor_);
        return *this;
    }
    ~WeakRef() { reset(); }

    void reset() noexcept {
        object_ = nullptr;
        if (detail::WeakAnchor* anchor = std::exchange(anchor_, nullptr)) {
            if (--anchor->links == 0 && !anchor->alive) delete anchor;
        }
    }

    /// The object, or null once it is gone (or never set).
    T* get() const noexcept { return anchor_ && anchor_->alive ? object_ : nullptr; }
    T* operator->() const noexcept { return get(); }
    /// Reads as `get()`: `if (actor_) actor_->...`.
    operator T*() const noexcept { return get(); }  // NOLINT: see above
    /// A holder of the object, keeping it for as long as the caller needs it.
    Ref<T> lock() const noexcept { return Ref<T>(get()); }
    /// Whether this link points at `object` (alive or not): for finding links to remove.
    bool is(const T* object) const noexcept { return object_ == object && anchor_; }

private:
    void link(detail::WeakAnchor* anchor) noexcept {
        anchor_ = anchor;
        if (anchor_) ++anchor_->links;
    }

    T* object_ = nullptr;                     // the target; read only through get()
    detail::WeakAnchor* anchor_ = nullptr;    // shared with the target's other links
};

}  // namespace engine::core
