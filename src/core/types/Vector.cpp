#include "engine/core/Vector.h"

#include "engine/core/Maths.h"
#include "types/Text.h"

#include <cmath>
#include <vector>

namespace engine::core {

namespace {
std::string number_text(float v);
std::string number_text(int v);
}  // namespace

template <class T>
Vector<T>::Vector(const std::string& text) {
    std::vector<double> numbers;
    if (detail::parse_numbers(text, numbers) && numbers.size() == 2) {
        x = static_cast<T>(numbers[0]);
        y = static_cast<T>(numbers[1]);
    }
}

template <class T>
Vector<T> Vector<T>::normalised() const {
    const float l = length();
    if (l == 0.0f) return *this;
    return {static_cast<T>(x / l), static_cast<T>(y / l)};
}

template <class T>
Vector<T> Vector<T>::rotate(float angle) const {
    const float c = std::cos(angle);
    const float s = std::sin(angle);
    return {static_cast<T>(x * c + y * s), static_cast<T>(-x * s + y * c)};
}

namespace {
std::string number_text(float v) { return format_float(v); }
std::string number_text(int v) { return std::to_string(v); }
}  // namespace

template <class T>
std::string Vector<T>::to_string() const {
    return number_text(x) + ", " + number_text(y);
}

template struct Vector<float>;
template struct Vector<int>;

}  // namespace engine::core
