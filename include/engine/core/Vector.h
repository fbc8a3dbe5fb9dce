#pragma once

#include <cmath>
#include <string>

namespace engine::core {

/// A 2D vector of two components stored contiguously, x then y.
/// `Vector<float>` is the engine's point and direction type; `Vector<int>` holds
/// pixel sizes and positions (window resolutions, mouse positions). A plain value: any
/// thread.
template <class T>
struct Vector {
    T x = T();
    T y = T();

    constexpr Vector() = default;
    constexpr Vector(T x_, T y_) : x(x_), y(y_) {}

    /// Parses attribute text: two numbers separated by a comma and/or white space
    /// ("10, 20", "10 20"). Anything else gives the default value (0, 0).
    explicit Vector(const std::string& text);

    constexpr Vector operator+(const Vector& o) const { return {x + o.x, y + o.y}; }
    constexpr Vector operator-(const Vector& o) const { return {x - o.x, y - o.y}; }
    constexpr Vector operator-() const { return {-x, -y}; }
    constexpr Vector operator*(T s) const { return {x * s, y * s}; }
    constexpr Vector operator/(T s) const { return {x / s, y / s}; }
    Vector& operator+=(const Vector& o) {
        x += o.x;
        y += o.y;
        return *this;
    }
    Vector& operator-=(const Vector& o) {
        x -= o.x;
        y -= o.y;
        return *this;
    }
    Vector& operator*=(T s) {
        x *= s;
        y *= s;
        return *this;
    }
    Vector& operator/=(T s) {
        x /= s;
        y /= s;
        return *this;
    }
    constexpr bool operator==(const Vector& o) const { return x == o.x && y == o.y; }
    constexpr bool operator!=(const Vector& o) const { return !(*this == o); }

    /// Euclidean length, in the component type's precision for floats.
    float length() const { return std::sqrt(float(x) * float(x) + float(y) * float(y)); }

    /// Unit vector in the same direction; the zero vector stays zero.
    Vector normalised() const;

    /// Rotated by `angle` radians in the same sense as `Matrix::set_rotation`:
    /// (x, y) -> (x cos a + y sin a, -x sin a + y cos a).
    Vector rotate(float angle) const;

    /// Text form, the shortest that reads back to the same values: "1.5, -2".
    std::string to_string() const;
};

template <class T>
constexpr Vector<T> operator*(T s, const Vector<T>& v) {
    return v * s;
}

using Vectorf = Vector<float>;
using Vectori = Vector<int>;

extern template struct Vector<float>;
extern template struct Vector<int>;

}  // namespace engine::core
