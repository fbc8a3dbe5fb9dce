#pragma once

#include <cstddef>

// The script object of an engine object is only named here; the extensions own it.
struct _object;
typedef struct _object PyObject;

namespace engine::core {

template <class T>
class Ref;
template <class T>
class WeakRef;

namespace detail {
/// What weak links to one Object share: whether it is still alive. Outlives the object
/// while a weak link remains.
struct WeakAnchor {
    int links = 0;      // WeakRefs pointing here
    bool alive = true;  // false from the moment the object starts going away
};
}  // namespace detail

/// Base of every engine object a script can see. One rule for all of them: an Object
/// has one reference count, every holder holds it through `Ref<T>` (layers, animator
/// tables, an actor's parts, controllers, databases and the script object alike), and
/// the last holder to let go deletes it. Links that must not own are `WeakRef<T>`,
/// which read null once the object is gone. Nobody asks who made an object.
///
/// A script-made instance has a Python object ("its self"), which is one holder among
/// the others. While any other holder exists the object keeps its self alive too, so
/// a script subclass's methods and attributes last as long as the engine uses the
/// object; when only the self is left, the self may go, and takes the object with it.
/// A natively made Object has no self: scripts see None for it.
///
/// Script thread only (the thread holding the interpreter lock): counting may keep or
/// release a Python object.
///
/// Only an Object made with `new` (or `make_ref`) is deleted by its last holder. One on
/// the stack, in static storage or inside another object belongs to its scope: holders
/// count it all the same, and it must outlive them (a test's stack sprite in a layer).
class Object {
public:
    /// Remembers the block, so that the Object built in it knows it was made with `new`.
    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;

    Object() noexcept;
    /// A copy is a new object: it has no holders and no self yet.
    Object(const Object&) noexcept;
    Object& operator=(const Object&) noexcept { return *this; }
    virtual ~Object();

    /// How many Objects are alive, made by scripts and by native code alike: leak checks
    /// compare it before and after. Any thread.
    static std::size_t live_count() noexcept;

    /// How many `Ref`s hold this object, its self's included.
    int get_ref_count() const noexcept { return refs_; }

    /// The object's self (borrowed), or null for a natively made instance.
    PyObject* get_python_self() const noexcept { return self_; }

    /// How an object keeps its self alive while other holders exist: installed once by
    /// the script extension (`keep` takes a reference on the Python object, `release`
    /// drops it). Without hooks (a program with no interpreter) no Object has a self.
    struct SelfHooks {
        void (*keep)(PyObject* self);
        void (*release)(PyObject* self);
    };
    static void set_self_hooks(const SelfHooks& hooks) noexcept;

protected:
    /// Told once, by the script wrapper's constructor, which Python object is this
    /// object's self. Holders taken while the object was being constructed (it added
    /// itself somewhere) keep the self from here on.
    void bind_python_self(PyObject* self) noexcept;

private:
    template <class>
    friend class Ref;
    template <class>
    friend class WeakRef;

    void inc_ref() const noexcept;
    /// May delete this object, or release its self (which may delete it in turn).
    void dec_ref() const noexcept;
    detail::WeakAnchor* weak_anchor() const;
    void mark_gone() const noexcept;

    mutable int refs_ = 0;                             // Refs holding this object
    bool on_heap_ = false;                             // made with new: the last holder deletes it
    mutable bool self_kept_ = false;                   // whether we hold a reference on self_
    PyObject* self_ = nullptr;                         // the script object, or null
    mutable detail::WeakAnchor* anchor_ = nullptr;     // made by the first WeakRef
};

}  // namespace engine::core
