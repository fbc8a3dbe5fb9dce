#pragma once

#include "engine/core/Vector.h"

namespace engine::core {

/// A 2D affine transform of six floats stored contiguously as (a, b, c, d, tx, ty),
/// columns as OpenGL stores them: x' = a x + c y + tx, y' = b x + d y + ty.
/// A pure scale is (sx, 0, 0, sy, 0, 0). `A * B` applies B first, then A.
/// A plain value: any thread.
class Matrix {
public:
    /// The identity.
    constexpr Matrix() = default;

    /// Rotation by `rotation` radians, then translation: p -> R(rotation) p + translation,
    /// where R maps (x, y) to (x cos + y sin, -x sin + y cos).
    Matrix(const Vector<float>& translation, float rotation);

    /// From the six coefficients in storage order.
    constexpr Matrix(float a, float b, float c, float d, float tx, float ty) : m_{a, b, c, d, tx, ty} {}

    /// Composition: the result applies `b` first, then this matrix.
    Matrix operator*(const Matrix& b) const;

    /// Overwrites the 2x2 part with a pure rotation; the translation stays.
    void set_rotation(float radians);
    /// Overwrites the 2x2 part with a pure scale; the translation stays.
    void set_scale(const Vector<float>& scale);
    /// Overwrites the translation; the 2x2 part stays.
    void set_translation(const Vector<float>& translation);

    const Vector<float>& get_translation() const { return *reinterpret_cast<const Vector<float>*>(&m_[4]); }

    /// Applies the 2x2 part only.
    Vector<float> rotate_vector(const Vector<float>& v) const {
        return {m_[0] * v.x + m_[2] * v.y, m_[1] * v.x + m_[3] * v.y};
    }

    bool is_identity() const;

    /// Inverse of an invertible affine matrix; a singular one gives the identity.
    Matrix inverse() const;

    /// The six coefficients in storage order.
    const float* data() const { return m_; }
    float operator[](int i) const { return m_[i]; }

    bool operator==(const Matrix& o) const;
    bool operator!=(const Matrix& o) const { return !(*this == o); }

private:
    float m_[6] = {1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f};  // a, b, c, d, tx, ty
};

/// Transforms the point `p` by `m`, translation included.
inline Vector<float> operator*(const Vector<float>& p, const Matrix& m) {
    const float* c = m.data();
    return {c[0] * p.x + c[2] * p.y + c[4], c[1] * p.x + c[3] * p.y + c[5]};
}

}  // namespace engine::core
