#include "engine/core/Matrix.h"

#include <cmath>

namespace engine::core {

Matrix::Matrix(const Vector<float>& translation, float rotation) {
    set_rotation(rotation);
    set_translation(translation);
}

Matrix Matrix::operator*(const Matrix& o) const {
    const float* b = o.m_;
    return Matrix(m_[0] * b[0] + m_[2] * b[1], m_[1] * b[0] + m_[3] * b[1], m_[0] * b[2] + m_[2] * b[3],
                  m_[1] * b[2] + m_[3] * b[3], m_[0] * b[4] + m_[2] * b[5] + m_[4],
                  m_[1] * b[4] + m_[3] * b[5] + m_[5]);
}

void Matrix::set_rotation(float radians) {
    const float c = std::cos(radians);
    const float s = std::sin(radians);
    m_[0] = c;
    m_[1] = -s;
    m_[2] = s;
    m_[3] = c;
}

void Matrix::set_scale(const Vector<float>& scale) {
    m_[0] = scale.x;
    m_[1] = 0.0f;
    m_[2] = 0.0f;
    m_[3] = scale.y;
}

void Matrix::set_translation(const Vector<float>& translation) {
    m_[4] = translation.x;
    m_[5] = translation.y;
}

bool Matrix::is_identity() const {
    return m_[0] == 1.0f && m_[1] == 0.0f && m_[2] == 0.0f && m_[3] == 1.0f && m_[4] == 0.0f && m_[5] == 0.0f;
}

Matrix Matrix::inverse() const {
    const float det = m_[0] * m_[3] - m_[2] * m_[1];
    if (det == 0.0f) return Matrix();
    const float inv = 1.0f / det;
    const float a = m_[3] * inv, b = -m_[1] * inv, c = -m_[2] * inv, d = m_[0] * inv;
    return Matrix(a, b, c, d, -(a * m_[4] + c * m_[5]), -(b * m_[4] + d * m_[5]));
}

bool Matrix::operator==(const Matrix& o) const {
    for (int i = 0; i < 6; ++i)
        if (m_[i] != o.m_[i]) return false;
    return true;
}

}  // namespace engine::core
