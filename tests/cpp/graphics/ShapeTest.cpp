#include "engine/graphics/Shape.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using engine::core::Matrix;
using engine::core::Vector;
using engine::graphics::Bounds;
using engine::graphics::Shape;

namespace {

constexpr float kHalfPi = 1.57079633f;

Shape rectangle(Vector<float> min, Vector<float> max, const Matrix& m = Matrix()) {
    Shape s;
    s.add_rectangle(min, max, m);
    return s;
}

// An L: the square (0,0)-(20,20) without its upper right quarter (10,10)-(20,20).
const std::vector<Vector<float>> kEll = {{0, 0}, {20, 0}, {20, 10}, {10, 10}, {10, 20}, {0, 20}};

Shape ell() {
    Shape s;
    std::vector<std::uint32_t> scratch;
    EXPECT_TRUE(s.add_polygon(kEll.data(), kEll.size(), scratch));
    return s;
}

}  // namespace

TEST(Shape, RectangleContainsItsInsideAndEdgesButNotOutside) {
    const Shape s = rectangle({-8, -4}, {8, 4});
    EXPECT_TRUE(s.contains({0, 0}));
    EXPECT_TRUE(s.contains({8, 4}));
    EXPECT_TRUE(s.contains({-8, 0}));
    EXPECT_FALSE(s.contains({8.01f, 0}));
    EXPECT_FALSE(s.contains({0, -4.01f}));
}

TEST(Shape, RotatedRectangleFollowsItsCornersNotItsBox) {
    // A 20 x 2 bar turned a quarter: it now stands upright.
    const Shape s = rectangle({-10, -1}, {10, 1}, Matrix({100, 100}, kHalfPi));
    EXPECT_TRUE(s.contains({100, 109}));
    EXPECT_TRUE(s.contains({100, 91}));
    EXPECT_FALSE(s.contains({109, 100}));
    EXPECT_NEAR(s.get_bounds().min.x, 99.0f, 1e-4f);
    EXPECT_NEAR(s.get_bounds().max.y, 110.0f, 1e-4f);
}

TEST(Shape, DiamondMissesThePointsItsBoxWouldHit) {
    const Shape s = rectangle({-10, -10}, {10, 10}, Matrix({0, 0}, kHalfPi / 2));
    EXPECT_TRUE(s.contains({13, 0}));  // the corner reaches 14.14
    EXPECT_FALSE(s.contains({9, 9}));  // inside the unrotated square, outside the diamond
}

TEST(Shape, PointsThatAreNotFiniteAreInsideNothing) {
    const Shape s = rectangle({-1e30f, -1e30f}, {1e30f, 1e30f});
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(s.contains({inf, 0}));
    EXPECT_FALSE(s.contains({-inf, -inf}));
    EXPECT_FALSE(s.contains({nan, 0}));
    EXPECT_FALSE(s.contains({0, nan}));
}

TEST(Shape, PiecesWithoutAreaOrFiniteCornersAreDropped) {
    Shape s;
    s.add_rectangle({0, 0}, {0, 10}, Matrix());  // no width
    const float nan = std::numeric_limits<float>::quiet_NaN();
    s.add_rectangle({0, 0}, {10, 10}, Matrix({nan, 0}, 0));
    s.add_triangle({0, 0}, {1, 1}, {2, 2});  // collinear
    EXPECT_TRUE(s.empty());
    EXPECT_TRUE(s.get_bounds().empty());
    EXPECT_FALSE(s.contains({0, 5}));
    EXPECT_FALSE(s.overlaps(rectangle({-5, -5}, {5, 5})));
}

TEST(Shape, OverlapNeedsSharedInteriorNotATouch) {
    const Shape a = rectangle({0, 0}, {10, 10});
    EXPECT_TRUE(a.overlaps(rectangle({9, 9}, {20, 20})));
    EXPECT_FALSE(a.overlaps(rectangle({10, 0}, {20, 10})));   // shares an edge
    EXPECT_FALSE(a.overlaps(rectangle({10, 10}, {20, 20})));  // shares a corner
    EXPECT_FALSE(a.overlaps(rectangle({11, 0}, {20, 10})));
}

TEST(Shape, ContainedShapeOverlapsItsContainer) {
    const Shape outer = rectangle({0, 0}, {100, 100});
    const Shape inner = rectangle({40, 40}, {60, 60});
    EXPECT_TRUE(outer.overlaps(inner));
    EXPECT_TRUE(inner.overlaps(outer));
}

TEST(Shape, RotatedRectanglesSeparatedOnlyAlongTheirOwnAxes) {
    // Two diamonds whose boxes overlap but whose sides do not meet.
    const Shape a = rectangle({-10, -10}, {10, 10}, Matrix({0, 0}, kHalfPi / 2));
    const Shape b = rectangle({-10, -10}, {10, 10}, Matrix({25, 25}, kHalfPi / 2));
    ASSERT_TRUE(a.get_bounds().intersects(b.get_bounds()));
    EXPECT_FALSE(a.overlaps(b));
    const Shape c = rectangle({-10, -10}, {10, 10}, Matrix({19, 0}, kHalfPi / 2));
    EXPECT_TRUE(a.overlaps(c));
}

TEST(Shape, ConcavePolygonIsSplitIntoTrianglesCoveringItExactly) {
    const Shape s = ell();
    EXPECT_EQ(s.get_num_pieces(), 4u);
    EXPECT_TRUE(s.contains({5, 5}));
    EXPECT_TRUE(s.contains({15, 5}));
    EXPECT_TRUE(s.contains({5, 15}));
    EXPECT_FALSE(s.contains({15, 15}));  // the notch
    EXPECT_FALSE(s.overlaps(rectangle({12, 12}, {18, 18})));
    EXPECT_TRUE(s.overlaps(rectangle({8, 12}, {18, 18})));
}

TEST(Shape, ClockwiseAndCounterClockwiseOutlinesGiveTheSameArea) {
    std::vector<Vector<float>> reversed(kEll.rbegin(), kEll.rend());
    Shape s;
    std::vector<std::uint32_t> scratch;
    ASSERT_TRUE(s.add_polygon(reversed.data(), reversed.size(), scratch));
    EXPECT_TRUE(s.contains({5, 15}));
    EXPECT_FALSE(s.contains({15, 15}));
}

TEST(Shape, SelfCrossingOutlineEndsAndCoversNothingOutsideItsCorners) {
    // A bow tie: its two edges cross at (5, 5). Ear clipping ends, whatever it finds.
    const Vector<float> bow[] = {{0, 0}, {10, 10}, {10, 0}, {0, 10}};
    Shape s;
    std::vector<std::uint32_t> scratch;
    s.add_polygon(bow, 4, scratch);
    EXPECT_LE(s.get_num_pieces(), 2u);
    EXPECT_FALSE(s.contains({-1, 5}));
    EXPECT_FALSE(s.contains({11, 5}));
    const Vector<float> open[] = {{0, 0}, {10, 0}};
    Shape line;
    EXPECT_FALSE(line.add_polygon(open, 2, scratch));  // two corners enclose nothing
    EXPECT_TRUE(line.empty());
}

TEST(Shape, TriangleSetOverlapsWhereATriangleDoes) {
    Shape s;
    s.add_triangle({0, 0}, {10, 0}, {0, 10});
    s.add_triangle({20, 0}, {30, 0}, {20, 10});
    EXPECT_TRUE(s.overlaps(rectangle({22, 2}, {24, 4})));
    EXPECT_FALSE(s.overlaps(rectangle({12, 2}, {18, 4})));  // between the two
    EXPECT_FALSE(s.overlaps(rectangle({8, 8}, {12, 12})));  // beyond the hypotenuse
}

TEST(Shape, AddShapeMovesEveryCorner) {
    const Shape unit = rectangle({0, 0}, {1, 1});
    Shape s;
    s.add_shape(unit, Matrix(10, 0, 0, 10, 100, 0));  // scale 10, then move right
    EXPECT_TRUE(s.contains({105, 5}));
    EXPECT_FALSE(s.contains({5, 5}));
    s.transform(Matrix(1, 0, 0, 1, 0, 50));
    EXPECT_TRUE(s.contains({105, 55}));
    EXPECT_EQ(s.get_bounds().min.y, 50.0f);
}

TEST(Shape, ClearKeepsStorageSoRebuildingAllocatesNothing) {
    Shape s = rectangle({0, 0}, {1, 1});
    s.clear();
    EXPECT_TRUE(s.empty());
    EXPECT_FALSE(s.contains({0.5f, 0.5f}));
    s.add_rectangle({0, 0}, {2, 2}, Matrix());
    EXPECT_TRUE(s.contains({1.5f, 1.5f}));
}

TEST(Bounds, EmptyUntilAPointIsAdded) {
    Bounds b;
    EXPECT_TRUE(b.empty());
    b.add({3, 4});
    EXPECT_FALSE(b.empty());
    EXPECT_TRUE(b.contains({3, 4}));
    b.add({-1, 10});
    EXPECT_EQ(b.min.x, -1.0f);
    EXPECT_EQ(b.max.y, 10.0f);
}
