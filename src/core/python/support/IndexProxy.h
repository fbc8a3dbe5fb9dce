#pragma once

// Binding support shared by the three extensions; includes Boost.Python.
#include "core/python/support/Helpers.h"

#include <cstdio>
#include <string>

namespace engine::core::python {

/// The element position an int key names, adjusted for negative keys; raises
/// IndexError with the adjusted index printed with "%d" when it is out of range.
inline long resolve_index(PyObject* key, long length) {
    int overflow = 0;
    long i = PyLong_AsLongAndOverflow(key, &overflow);
    if (overflow) raise(PyExc_IndexError, bp::extract<std::string>(bp::str(bp::handle<>(bp::borrowed(key))))());
    if (i < 0) i += length;
    if (i < 0 || i >= length) {
        char message[32];
        std::snprintf(message, sizeof message, "%ld", i);
        raise(PyExc_IndexError, message);
    }
    return i;
}

/// "__getitem__" of every index proxy. `length` is the element count;
/// `at(i)` returns the element at a valid index; `find(name)` returns the element
/// named so, or None. Raises IndexError with the adjusted index ("%d"), with the key
/// itself for an unknown name, and with "Unsupported key." for any other key type:
/// IndexError in all three cases, by design. (A Python int includes bool.)
template <class At, class Find>
bp::object get_item(const bp::object& key, long length, At at, Find find) {
    PyObject* k = key.ptr();
    if (PyLong_Check(k)) return at(resolve_index(k, length));
    if (PyUnicode_Check(k)) {
        const std::string name = bp::extract<std::string>(key);
        bp::object found = find(name);
        if (found.is_none()) raise(PyExc_IndexError, name);
        return found;
    }
    raise(PyExc_IndexError, "Unsupported key.");
}

/// "__setitem__" of the proxies whose elements are values: the same key rules.
template <class Store, class Find>
void set_item(const bp::object& key, long length, Store store, Find find_index) {
    PyObject* k = key.ptr();
    if (PyLong_Check(k)) return store(resolve_index(k, length));
    if (PyUnicode_Check(k)) {
        const std::string name = bp::extract<std::string>(key);
        const long i = find_index(name);
        if (i < 0) raise(PyExc_IndexError, name);
        return store(i);
    }
    raise(PyExc_IndexError, "Unsupported key.");
}

/// Base of the index proxies: holds its owner, keeping the owner's script object
/// alive for as long as the proxy exists.
template <class Owner>
class Proxy {
public:
    explicit Proxy(Owner* owner) : owner_(owner) {}
    Proxy(const Proxy& other) = default;
    Proxy& operator=(const Proxy&) = delete;

    Owner& owner() const { return *owner_; }

private:
    Ref<Owner> owner_;
};

}  // namespace engine::core::python
