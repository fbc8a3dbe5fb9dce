#include "python/Bindings.h"

#include "engine/core/Colour.h"
#include "engine/core/Vector.h"

namespace engine::core::python {

namespace {

// A list or tuple of `min`..`max` numbers (bool counts as a number, str does not).
bool is_number_sequence(PyObject* o, Py_ssize_t min, Py_ssize_t max) {
    if (!PyTuple_Check(o) && !PyList_Check(o)) return false;
    const Py_ssize_t n = PySequence_Fast_GET_SIZE(o);
    if (n < min || n > max) return false;
    for (Py_ssize_t i = 0; i < n; ++i)
        if (!PyNumber_Check(PySequence_Fast_GET_ITEM(o, i))) return false;
    return true;
}

template <class T>
T item_as(PyObject* sequence, Py_ssize_t i) {
    PyObject* item = PySequence_Fast_GET_ITEM(sequence, i);
    return bp::extract<T>(item)();  // raises TypeError/OverflowError for unfit numbers
}

// Python sequences of numbers wherever a Vector, IntVector or Colour is expected.
template <class V, Py_ssize_t Min, Py_ssize_t Max>
struct SequenceConverter {
    SequenceConverter() { bp::converter::registry::push_back(&convertible, &construct, bp::type_id<V>()); }
    static void* convertible(PyObject* o) { return is_number_sequence(o, Min, Max) ? o : nullptr; }
    static void construct(PyObject* o, bp::converter::rvalue_from_python_stage1_data* data) {
        void* storage = reinterpret_cast<bp::converter::rvalue_from_python_storage<V>*>(data)->storage.bytes;
        new (storage) V(make(o));
        data->convertible = storage;
    }
    static V make(PyObject* o);
};

template <>
Vector<float> SequenceConverter<Vector<float>, 2, 2>::make(PyObject* o) {
    return {item_as<float>(o, 0), item_as<float>(o, 1)};
}

template <>
Vector<int> SequenceConverter<Vector<int>, 2, 2>::make(PyObject* o) {
    return {item_as<int>(o, 0), item_as<int>(o, 1)};
}

template <>
Colour SequenceConverter<Colour, 3, 4>::make(PyObject* o) {
    const float a = PySequence_Fast_GET_SIZE(o) == 4 ? item_as<float>(o, 3) : 1.0f;
    return {item_as<float>(o, 0), item_as<float>(o, 1), item_as<float>(o, 2), a};
}

// A colour's text, as data files write it ("#rrggbb", "#rrggbbaa", "1, 0.5, 0"),
// wherever a Colour is expected. Text that is no colour raises ValueError.
struct ColourTextConverter {
    ColourTextConverter() { bp::converter::registry::push_back(&convertible, &construct, bp::type_id<Colour>()); }
    static void* convertible(PyObject* o) { return PyUnicode_Check(o) ? o : nullptr; }
    static void construct(PyObject* o, bp::converter::rvalue_from_python_stage1_data* data) {
        void* storage = reinterpret_cast<bp::converter::rvalue_from_python_storage<Colour>*>(data)->storage.bytes;
        new (storage) Colour(colour_from_text(bp::extract<std::string>(o)()));
        data->convertible = storage;
    }
};

}  // namespace

Colour colour_from_text(const std::string& text) {
    Colour colour;
    if (!Colour::parse(text, colour))
        raise(PyExc_ValueError, "'" + text +
                                    "' is not a colour: expected \"#rrggbb\", \"#rrggbbaa\" or 3 or 4 numbers "
                                    "(\"1, 0.5, 0\").");
    return colour;
}

void define_sequence() {
    SequenceConverter<Vector<float>, 2, 2>();
    SequenceConverter<Vector<int>, 2, 2>();
    SequenceConverter<Colour, 3, 4>();
    ColourTextConverter();
}

}  // namespace engine::core::python
