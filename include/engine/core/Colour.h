#pragma once

#include <string>

namespace engine::core {

/// Four float channels in the order red, green, blue, alpha, nominally in [0, 1].
/// The storage order is binding: `operator float*` is handed straight to OpenGL.
/// A plain value: any thread.
struct Colour {
    float r = 1.0f;
    float g = 1.0f;
    float b = 1.0f;
    float a = 1.0f;

    /// Opaque white.
    constexpr Colour() = default;
    constexpr Colour(float r_, float g_, float b_, float a_ = 1.0f) : r(r_), g(g_), b(b_), a(a_) {}

    /// Parses attribute text: three or four numbers separated by commas and/or white
    /// space ("1, 0.5, 0", alpha 1), or "#rrggbb" / "#rrggbbaa". Anything else gives
    /// opaque white.
    explicit Colour(const std::string& text);
    /// The same parse, telling whether the text was a colour; `out` is set only then.
    static bool parse(const std::string& text, Colour& out);

    constexpr Colour operator*(float s) const { return {r * s, g * s, b * s, a * s}; }
    constexpr Colour operator+(const Colour& o) const { return {r + o.r, g + o.g, b + o.b, a + o.a}; }
    constexpr bool operator==(const Colour& o) const { return r == o.r && g == o.g && b == o.b && a == o.a; }
    constexpr bool operator!=(const Colour& o) const { return !(*this == o); }

    operator float*() { return &r; }
    operator const float*() const { return &r; }

    /// Text form: "1, 0.5, 0, 1".
    std::string to_string() const;
};

}  // namespace engine::core
