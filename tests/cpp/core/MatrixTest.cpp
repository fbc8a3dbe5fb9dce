#include "engine/core/Matrix.h"

#include <gtest/gtest.h>

#include <cmath>

using engine::core::Matrix;
using engine::core::Vectorf;

namespace {

constexpr float kTolerance = 1e-5f;
const float kHalfPi = static_cast<float>(M_PI / 2.0);

void expect_near(const Vectorf& actual, const Vectorf& expected) {
    EXPECT_NEAR(actual.x, expected.x, kTolerance);
    EXPECT_NEAR(actual.y, expected.y, kTolerance);
}

void expect_near(const Matrix& actual, const Matrix& expected) {
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(actual[i], expected[i], kTolerance) << "coefficient " << i;
}

}  // namespace

TEST(Matrix, DefaultIsIdentity) {
    const Matrix m;
    EXPECT_TRUE(m.is_identity());
    const float expected[6] = {1, 0, 0, 1, 0, 0};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(m[i], expected[i]);
    EXPECT_EQ(Vectorf(3, -4) * m, Vectorf(3, -4));
}

TEST(Matrix, CoefficientsAreStoredAsABCDTxTy) {
    const Matrix m(1, 2, 3, 4, 5, 6);
    const float* d = m.data();
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(d[i], float(i + 1));
        EXPECT_EQ(m[i], float(i + 1));
    }
    // x' = a x + c y + tx, y' = b x + d y + ty
    EXPECT_EQ(Vectorf(1, 0) * m, Vectorf(1 + 5, 2 + 6));
    EXPECT_EQ(Vectorf(0, 1) * m, Vectorf(3 + 5, 4 + 6));
}

TEST(Matrix, PureScaleIsDiagonal) {
    Matrix m;
    m.set_scale(Vectorf(2, 3));
    EXPECT_EQ(m, Matrix(2, 0, 0, 3, 0, 0));
    EXPECT_EQ(Vectorf(1, 1) * m, Vectorf(2, 3));
}

TEST(Matrix, TranslationAndRotationConstructorMapsPoints) {
    const float angle = 0.6f;
    const Matrix m(Vectorf(10, 20), angle);
    const float c = std::cos(angle), s = std::sin(angle);
    const Vectorf p(2, -3);
    expect_near(p * m, Vectorf(p.x * c + p.y * s + 10, -p.x * s + p.y * c + 20));
    expect_near(m.get_translation(), Vectorf(10, 20));
    EXPECT_NEAR(m[0], c, kTolerance);
    EXPECT_NEAR(m[1], -s, kTolerance);
    EXPECT_NEAR(m[2], s, kTolerance);
    EXPECT_NEAR(m[3], c, kTolerance);
}

TEST(Matrix, QuarterTurnMatchesVectorRotate) {
    const Matrix m(Vectorf(), kHalfPi);
    expect_near(Vectorf(1, 0) * m, Vectorf(0, -1));
    const Vectorf v(0.3f, 1.7f);
    expect_near(v * Matrix(Vectorf(), 1.3f), v.rotate(1.3f));
}

TEST(Matrix, CompositionAppliesRightOperandFirst) {
    const Matrix rotate(Vectorf(), kHalfPi);
    const Matrix translate(Vectorf(5, 0), 0.0f);
    const Vectorf p(1, 0);
    // rotate first: (1,0) -> (0,-1), then translate -> (5,-1)
    expect_near(p * (translate * rotate), Vectorf(5, -1));
    // translate first: (1,0) -> (6,0), then rotate -> (0,-6)
    expect_near(p * (rotate * translate), Vectorf(0, -6));
}

TEST(Matrix, CompositionEqualsSuccessiveApplication) {
    const Matrix a(1.5f, -0.5f, 0.25f, 2.0f, 3.0f, -4.0f);
    const Matrix b(Vectorf(-2, 7), 0.4f);
    const Vectorf p(0.75f, -1.25f);
    expect_near(p * (a * b), (p * b) * a);
    expect_near(p * (b * a), (p * a) * b);
}

TEST(Matrix, CompositionWithIdentityChangesNothing) {
    const Matrix a(1.5f, -0.5f, 0.25f, 2.0f, 3.0f, -4.0f);
    EXPECT_EQ(a * Matrix(), a);
    EXPECT_EQ(Matrix() * a, a);
}

TEST(Matrix, SetRotationKeepsTranslation) {
    Matrix m(2, 0, 0, 3, 7, 8);
    m.set_rotation(kHalfPi);
    EXPECT_EQ(m.get_translation(), Vectorf(7, 8));
    expect_near(m, Matrix(0, -1, 1, 0, 7, 8));
}

TEST(Matrix, SetScaleKeepsTranslationAndReplacesRotation) {
    Matrix m(Vectorf(7, 8), 1.0f);
    m.set_scale(Vectorf(2, 3));
    EXPECT_EQ(m, Matrix(2, 0, 0, 3, 7, 8));
}

TEST(Matrix, SetTranslationKeepsLinearPart) {
    Matrix m(1, 2, 3, 4, 5, 6);
    m.set_translation(Vectorf(-1, -2));
    EXPECT_EQ(m, Matrix(1, 2, 3, 4, -1, -2));
    EXPECT_EQ(m.get_translation(), Vectorf(-1, -2));
}

TEST(Matrix, RotateVectorIgnoresTranslation) {
    const Matrix m(Vectorf(100, 200), kHalfPi);
    expect_near(m.rotate_vector(Vectorf(1, 0)), Vectorf(0, -1));
    const Matrix n(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(n.rotate_vector(Vectorf(1, 1)), Vectorf(4, 6));
}

TEST(Matrix, PointTimesMatrixIncludesTranslation) {
    const Matrix m(Vectorf(100, 200), 0.0f);
    EXPECT_EQ(Vectorf(1, 2) * m, Vectorf(101, 202));
}

TEST(Matrix, IsIdentityOnlyForExactIdentity) {
    EXPECT_TRUE(Matrix().is_identity());
    EXPECT_TRUE(Matrix(Vectorf(), 0.0f).is_identity());
    EXPECT_FALSE(Matrix(Vectorf(0, 1), 0.0f).is_identity());
    EXPECT_FALSE(Matrix(Vectorf(), 0.1f).is_identity());
    EXPECT_FALSE(Matrix(1, 0, 0, 2, 0, 0).is_identity());
    EXPECT_FALSE(Matrix(1, 0, 0.001f, 1, 0, 0).is_identity());
}

TEST(Matrix, InverseUndoesTheTransform) {
    const Matrix m = Matrix(Vectorf(3, -4), 0.8f) * Matrix(2, 0, 0, 0.5f, 1, 1);
    const Matrix inv = m.inverse();
    expect_near(m * inv, Matrix());
    expect_near(inv * m, Matrix());
    const Vectorf p(1.5f, 2.5f);
    expect_near((p * m) * inv, p);
}

TEST(Matrix, InverseOfSingularMatrixIsIdentity) {
    EXPECT_TRUE(Matrix(0, 0, 0, 0, 5, 5).inverse().is_identity());
    EXPECT_TRUE(Matrix(1, 2, 2, 4, 0, 0).inverse().is_identity());
}

TEST(Matrix, CopyAndAssignmentCopyAllCoefficients) {
    const Matrix a(1, 2, 3, 4, 5, 6);
    Matrix b(a);
    EXPECT_EQ(b, a);
    Matrix c;
    c = a;
    EXPECT_EQ(c, a);
    c.set_translation(Vectorf());
    EXPECT_NE(c, a);
    EXPECT_EQ(a[4], 5.0f);
}
