#include "python/Bindings.h"

#include "engine/core/Colour.h"
#include "engine/core/Maths.h"
#include "engine/core/Matrix.h"
#include "engine/core/Vector.h"

#include <string>
#include <utility>

namespace engine::core::python {

namespace {

std::string repr_number(float v) { return format_float(v); }
std::string repr_number(int v) { return std::to_string(v); }

template <class T>
struct VectorTraits;
template <>
struct VectorTraits<float> {
    static constexpr const char* name = "Vector";
    static constexpr const char* component = "float";
};
template <>
struct VectorTraits<int> {
    static constexpr const char* name = "IntVector";
    static constexpr const char* component = "int";
};

// A docstring of Vector<T> with "{V}" standing for the class name and "{T}" for the
// component type, so that both vector classes share one text.
template <class T>
std::string vector_doc(std::string text) {
    const std::pair<const char*, const char*> keys[] = {{"{V}", VectorTraits<T>::name},
                                                        {"{T}", VectorTraits<T>::component}};
    for (auto [key, value] : keys)
        for (auto at = text.find(key); at != std::string::npos; at = text.find(key, at)) text.replace(at, 3, value);
    return text;
}

// Sets the docstring of a member that Boost.Python defines without one (the operators
// of `bp::self`).
void set_doc(const bp::object& cls, const char* member, const std::string& doc) {
    bp::setattr(cls.attr(member), "__doc__", bp::str(doc));
}

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
    const auto doc = [](const char* text) { return vector_doc<T>(text); };
    bp::class_<V> cls(VectorTraits<T>::name,
                      doc("{V}(x: {T} = 0, y: {T} = 0)\n\n"
                          "A 2D vector of {T} components; a pair of numbers is accepted wherever one is expected.")
                          .c_str(),
                      bp::init<T, T>((bp::arg("x") = T(), bp::arg("y") = T())));
    cls.def_readwrite("x", &V::x, doc("x: {T}").c_str())
        .def_readwrite("y", &V::y, doc("y: {T}").c_str())
        .def("__add__", &Arithmetic<T>::add, doc("__add__(other: {V}Like, /) -> {V}").c_str())
        .def("__sub__", &Arithmetic<T>::subtract, doc("__sub__(other: {V}Like, /) -> {V}").c_str())
        .def("__neg__", &Arithmetic<T>::negate, doc("__neg__() -> {V}").c_str())
        .def("__mul__", &Arithmetic<T>::multiply, doc("__mul__(factor: {T}, /) -> {V}").c_str())
        .def("__rmul__", &Arithmetic<T>::multiply, doc("__rmul__(factor: {T}, /) -> {V}").c_str())
        .def(bp::self == bp::self)
        .def(bp::self != bp::self)
        .def("length", &V::length,
             "length() -> float\n\n"
             "The Euclidean length.")
        .def("normalised", &V::normalised, doc("normalised() -> {V}\n\nThe vector scaled to length 1.").c_str())
        .def("rotate", &V::rotate, bp::arg("angle"),
             doc("rotate(angle: float) -> {V}\n\nThe vector turned by angle radians.").c_str())
        .def("__iter__", &vector_iter<T>, doc("__iter__() -> Iterator[{T}]").c_str())
        .def(
            "__len__", +[](const V&) { return 2; }, "__len__() -> int")
        .def(
            "__getitem__",
            +[](const V& v, int i) {
                if (i < 0) i += 2;
                if (i != 0 && i != 1) raise(PyExc_IndexError, "Vector index out of range.");
                return i == 0 ? v.x : v.y;
            },
            doc("__getitem__(index: int, /) -> {T}").c_str())
        .def("__truediv__", &vector_divide<T>, doc("__truediv__(divisor: {T}, /) -> {V}").c_str())
        .def("__repr__", &vector_repr<T>, "__repr__() -> str")
        .attr("__hash__") = bp::object();
    set_doc(cls, "__eq__", "__eq__(other: object, /) -> bool");
    set_doc(cls, "__ne__", "__ne__(other: object, /) -> bool");
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

    bp::class_<Colour> colour(
        "Colour",
        "Colour(r: float = 1.0, g: float = 1.0, b: float = 1.0, a: float = 1.0)\n"
        "Colour(text: str)\n\n"
        "A colour with red, green, blue and alpha from 0 to 1; text is a data file's colour\n"
        "(\"#rrggbb\", \"#rrggbbaa\", \"1, 0.5, 0\"). A tuple of 3 or 4 numbers or such text is accepted\n"
        "wherever a Colour is expected.",
        bp::init<float, float, float, float>(
            (bp::arg("r") = 1.0f, bp::arg("g") = 1.0f, bp::arg("b") = 1.0f, bp::arg("a") = 1.0f)));
    colour.def("__init__", bp::make_constructor(&colour_from_python_text, bp::default_call_policies(), bp::arg("text")))
        .def_readwrite("r", &Colour::r, "r: float")
        .def_readwrite("g", &Colour::g, "g: float")
        .def_readwrite("b", &Colour::b, "b: float")
        .def_readwrite("a", &Colour::a, "a: float")
        .def(bp::self * float())
        .def(bp::self + bp::self)
        .def(bp::self == bp::self)
        .def(bp::self != bp::self)
        .def(
            "__iter__",
            +[](const Colour& c) {
                return bp::object(bp::handle<>(PyObject_GetIter(bp::make_tuple(c.r, c.g, c.b, c.a).ptr())));
            },
            "__iter__() -> Iterator[float]")
        .def("__repr__", &colour_repr, "__repr__() -> str")
        .attr("__hash__") = bp::object();
    set_doc(colour, "__mul__", "__mul__(factor: float, /) -> Colour");
    set_doc(colour, "__add__", "__add__(other: ColourLike, /) -> Colour");
    set_doc(colour, "__eq__", "__eq__(other: object, /) -> bool");
    set_doc(colour, "__ne__", "__ne__(other: object, /) -> bool");

    bp::class_<Matrix> matrix("Matrix",
                              "Matrix()\n"
                              "Matrix(translation: VectorLike, rotation: float)\n\n"
                              "A 2D affine transform: the identity, or a rotation in radians then a translation.",
                              bp::init<>());
    matrix.def(bp::init<const Vector<float>&, float>((bp::arg("translation"), bp::arg("rotation"))))
        .def(bp::self * bp::self)
        .def(bp::other<Vector<float>>() * bp::self)
        .def(bp::self == bp::self)
        .def(bp::self != bp::self)
        .def("rotate_vector", &Matrix::rotate_vector, bp::arg("v"),
             "rotate_vector(v: VectorLike) -> Vector\n\nThe vector turned by the rotation alone.")
        .add_property("translation",
                      bp::make_function(&Matrix::get_translation, bp::return_value_policy<bp::copy_const_reference>()),
                      "translation: Vector\n\n"
                      "Where the transform takes the origin.")
        .def("is_identity", &Matrix::is_identity, "is_identity() -> bool")
        .def("inverse", &Matrix::inverse,
             "inverse() -> Matrix\n\n"
             "The transform that undoes this one.")
        .def("__getitem__", &matrix_item, "__getitem__(index: int, /) -> float")
        .def(
            "__len__", +[](const Matrix&) { return 6; }, "__len__() -> int")
        .def("__iter__", &matrix_iter, "__iter__() -> Iterator[float]")
        .def("__repr__", &matrix_repr, "__repr__() -> str")
        .attr("__hash__") = bp::object();
    set_doc(matrix, "__mul__", "__mul__(other: Matrix, /) -> Matrix");
    set_doc(matrix, "__rmul__", "__rmul__(v: VectorLike, /) -> Vector");
    set_doc(matrix, "__eq__", "__eq__(other: object, /) -> bool");
    set_doc(matrix, "__ne__", "__ne__(other: object, /) -> bool");
}

}  // namespace engine::core::python
