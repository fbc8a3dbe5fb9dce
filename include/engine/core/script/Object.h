#pragma once

#include "engine/core/script/PythonFwd.h"

#include <cstddef>

namespace engine::core {

/// Base of every script-visible class. An Object created from a script lives as long
/// as its Python object: `inc_ref`/`dec_ref` count on that Python object, so a native
/// container that keeps an Object keeps its script object alive. An Object made by
/// native code alone has no Python object; counting it then changes nothing but a
/// tally, and its creator owns it. References taken while a script object is still
/// being constructed (before it knows its Python object) are handed over to the
/// Python object as soon as it is known. Script thread only (the thread holding the
/// interpreter lock): counting touches Python reference counts.
class Object {
public:
    Object() noexcept;
    /// A copy is a new object: it has no references yet.
    Object(const Object&) noexcept;
    Object& operator=(const Object&) noexcept { return *this; }
    virtual ~Object();

    /// How many Objects are alive, made by scripts and by native code alike: leak checks
    /// compare it before and after. Any thread.
    static std::size_t live_count() noexcept;

    /// The Python object that wraps this instance (a new reference), or None.
    virtual PythonObject get_pyobject() const;

    /// Keeps the wrapping Python object alive: one more reference. Script thread only.
    void inc_ref() const;
    /// Drops a reference taken with `inc_ref`; may destroy this object.
    void dec_ref() const;

    /// The wrapping Python object, borrowed, or null for a native-only instance.
    virtual PyObject* get_python_self() const noexcept { return nullptr; }

protected:
    /// References counted while no Python object was known.
    int take_unbound_refs() const noexcept {
        const int refs = unbound_refs_;
        unbound_refs_ = 0;
        return refs;
    }

private:
    mutable int unbound_refs_ = 0;  // references taken without a Python object
};

}  // namespace engine::core
