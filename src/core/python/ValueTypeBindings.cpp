#include "python/Bindings.h"

#include "engine/core/Colour.h"
#include "engine/core/Maths.h"
#include "engine/core/Matrix.h"
#include "engine/core/Vector.h"

#include <string>

namespace engine::core::python {

namespace {

std::string repr_number(float v) { return format_float(v); }
std::string repr_number(int v) { return std::to_string(v); }

template <class T>
struct VectorTraits;
template <>
struct VectorTraits<float> {
    static constexpr const char* name = "Vector";
};
template <>
struct VectorTraits<int> {
    static constexpr const char* name = "IntVector";
};

template <class T>
std::string vector_repr(const Vector<T>& v) {
    return std::string(VectorTraits<T>::name) + "(" + repr_number(v.x) + ", " + repr_number(v.y) + ")";
}

// Script arithmetic on vectors. Float vectors follow IEEE; integer vectors raise
// OverflowError where a component would leave the 32-bit range, instead of wrapping
// (or, for INT_MIN / -1, stopping the process).
[[noreturn]] void overflow(const char* operation) {
    raise(PyExc_OverflowError, std::string("IntVector ") + operation + " overflows a 32-bit component.");
}

template <class T>
struct Arithmetic {
    static Vector<T> add(const Vector<T>& a, const Vector<T>& b) { return a + b; }
    static Vector<T> subtract(const Vector<T>& a, const Vector<T>& b) { return a - b; }
    static Vector<T> negate(const Vector<T>& v) { return -v; }
    static Vector<T> multiply(const Vector<T>& v, T s) { return v * s; }
    static Vector<T> divide(const Vector<T>& v, T s) { return v / s; }
};

template <>
struct Arithmetic<int> {
    using V = Vector<int>;
    template <class Op>
    static V each(int ax, int bx, int ay, int by, Op op, const char* operation) {
        V r;
        if (op(ax, bx, &r.x) || op(ay, by, &r.y)) overflow(operation);
        return r;
    }
    static V add(const V& a, const V& b) {
        return each(
            a.x, b.x, a.y, b.y, [](int p, int q, int* r) { return __builtin_add_overflow(p, q, r); }, "+");
    }
    static V subtract(const V& a, const V& b) {
        return each(
            a.x, b.x, a.y, b.y, [](int p, int q, int* r) { return __builtin_sub_overflow(p, q, r); }, "-");
    }
    static V negate(const V& v) { return subtract(V(), v); }
    static V multiply(const V& v, int s) {
        return each(
            v.x, s, v.y, s, [](int p, int q, int* r) { return __builtin_mul_overflow(p, q, r); }, "*");
    }
    static V divide(const V& v, int s) {
        if (s == -1) return negate(v);  // INT_MIN / -1 is the one quotient out of range
        return v / s;
    }
};

template <class T>
Vector<T> vector_divide(const Vector<T>& v, T s) {
    if (s == T()) raise(PyExc_ZeroDivisionError, "Vector division by zero.");
    return Arithmetic<T>::divide(v, s);
}

template <class T>
bp::object vector_iter(const Vector<T>& v) {
    return bp::object(bp::handle<>(PyObject_GetIter(bp::make_tuple(v.x, v.y).ptr())));
}

template <class T>
void define_vector() {
    using V = Vector<T>;
    bp::class_<V>(VectorTraits<T>::name, bp::init<T, T>((bp::arg("x") = T(), bp::arg("y") = T())))
        .def_readwrite("x", &V::x)
        .def_readwrite("y", &V::y)
        .def("__add__", &Arithmetic<T>::add)
        .def("__sub__", &Arithmetic<T>::subtract)
        .def("__neg__", &Arithmetic<T>::negate)
        .def("__mul__", &Arithmetic<T>::multiply)
        .def("__rmul__", &Arithmetic<T>::multiply)
        .def(bp::self == bp::self)
        .def(bp::self != bp::self)
        .def("length", &V::length)
        .def("normalised", &V::normalised)
        .def("rotate", &V::rotate, bp::arg("angle"))
        .def("__iter__", &vector_iter<T>)
        .def(
            "__len__", +[](const V&) { return 2; })
        .def(
            "__getitem__",
            +[](const V& v, int i) {
                if (i < 0) i += 2;
                if (i != 0 && i != 1) raise(PyExc_IndexError, "Vector index out of range.");
                return i == 0 ? v.x : v.y;
            })
        .def("__truediv__", &vector_divide<T>)
        .def("__repr__", &vector_repr<T>)
        .attr("__hash__") = bp::object();
}

std::string colour_repr(const Colour& c) {
    return "Colour(" + format_float(c.r) + ", " + format_float(c.g) + ", " + format_float(c.b) + ", " +
           format_float(c.a) + ")";
}

Colour* colour_from_python_text(const std::string& text) { return new Colour(colour_from_text(text)); }

std::string matrix_repr(const Matrix& m) {
    std::string s = "Matrix(";
    for (int i = 0; i < 6; ++i) s += (i ? ", " : "") + format_float(m[i]);
    return s + ")";
}

float matrix_item(const Matrix& m, int i) {
    if (i < 0) i += 6;
    if (i < 0 || i >= 6) raise(PyExc_IndexError, "Matrix index out of range.");
    return m[i];
}

bp::object matrix_iter(const Matrix& m) {
    bp::tuple t = bp::make_tuple(m[0], m[1], m[2], m[3], m[4], m[5]);
    return bp::object(bp::handle<>(PyObject_GetIter(t.ptr())));
}

}  // namespace

void define_value_type() {
    define_vector<float>();
    define_vector<int>();

    bp::class_<Colour>("Colour", bp::init<float, float, float, float>((bp::arg("r") = 1.0f, bp::arg("g") = 1.0f,
                                                                       bp::arg("b") = 1.0f, bp::arg("a") = 1.0f)))
        .def("__init__", bp::make_constructor(&colour_from_python_text, bp::default_call_policies(), bp::arg("text")))
        .def_readwrite("r", &Colour::r)
        .def_readwrite("g", &Colour::g)
        .def_readwrite("b", &Colour::b)
        .def_readwrite("a", &Colour::a)
        .def(bp::self * float())
        .def(bp::self + bp::self)
        .def(bp::self == bp::self)
        .def(bp::self != bp::self)
        .def(
            "__iter__",
            +[](const Colour& c) {
                return bp::object(bp::handle<>(PyObject_GetIter(bp::make_tuple(c.r, c.g, c.b, c.a).ptr())));
            })
        .def("__repr__", &colour_repr)
        .attr("__hash__") = bp::object();

    bp::class_<Matrix>("Matrix", bp::init<>())
        .def(bp::init<const Vector<float>&, float>((bp::arg("translation"), bp::arg("rotation"))))
        .def(bp::self * bp::self)
        .def(bp::other<Vector<float>>() * bp::self)
        .def(bp::self == bp::self)
        .def(bp::self != bp::self)
        .def("rotate_vector", &Matrix::rotate_vector, bp::arg("v"))
        .add_property("translation",
                      bp::make_function(&Matrix::get_translation, bp::return_value_policy<bp::copy_const_reference>()))
        .def("is_identity", &Matrix::is_identity)
        .def("inverse", &Matrix::inverse)
        .def("__getitem__", &matrix_item)
        .def(
            "__len__", +[](const Matrix&) { return 6; })
        .def("__iter__", &matrix_iter)
        .def("__repr__", &matrix_repr)
        .attr("__hash__") = bp::object();
}

}  // namespace engine::core::python
