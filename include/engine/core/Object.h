#pragma once

#include "engine/core/PythonFwd.h"

namespace engine::core {

/// Base of every script-visible class. An Object created from a script lives as long
/// as its Python object: `inc_ref`/`dec_ref` count on that Python object, so a native
/// container that keeps an Object keeps its script object alive. An Object made by
/// native code alone has no Python object; counting it then does nothing, and its
/// creator owns it.
class Object {
public:
    Object() = default;
    Object(const Object&) = default;
    Object& operator=(const Object&) = default;
    virtual ~Object() = default;

    /// The Python object that wraps this instance (a new reference), or None.
    virtual PythonObject get_pyobject() const;

    /// Keeps the wrapping Python object alive: one more reference. Script thread only.
    void inc_ref() const;
    /// Drops a reference taken with `inc_ref`; may destroy this object.
    void dec_ref() const;

    /// The wrapping Python object, borrowed, or null for a native-only instance.
    virtual PyObject* get_python_self() const noexcept { return nullptr; }
};

}  // namespace engine::core
