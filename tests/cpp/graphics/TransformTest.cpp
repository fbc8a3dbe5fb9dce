#include "engine/graphics/Transform.h"

#include "engine/core/Maths.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

using engine::core::Matrix;
using engine::core::Vector;
using engine::graphics::Transform;

namespace {

// A transform whose caches have all been rebuilt.
void make_clean(const Transform& t) { t.get_world_transform(); }

void expect_matrix_near(const Matrix& actual, const Matrix& expected, float tolerance = 1e-5f) {
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << "coefficient " << i;
}

}  // namespace

TEST(Transform, StartsAtDefaultsWithBothCachesDirty) {
    Transform t;
    EXPECT_EQ(t.get_local_position(), Vector<float>(0, 0));
    EXPECT_EQ(t.get_local_rotation(), 0.0f);
    EXPECT_EQ(t.get_local_scale(), Vector<float>(1, 1));
    EXPECT_TRUE(t.is_local_dirty());
    EXPECT_TRUE(t.is_world_dirty());
    EXPECT_EQ(t.get_parent(), nullptr);
    EXPECT_EQ(t.get_min_rotation(), -3.14159f);
    EXPECT_EQ(t.get_max_rotation(), 3.14159f);
}

TEST(Transform, DefaultLimitIsTheFloatOf314159NotPi) {
    float limit = Transform::kDefaultRotationLimit;
    std::uint32_t bits;
    std::memcpy(&bits, &limit, sizeof bits);
    EXPECT_EQ(bits, 0x40490FD0u);
}

TEST(Transform, SettingCurrentValuesTouchesNoFlag) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_position({3, 4});
    parent.set_scale({2, 2});
    parent.set_rotation(0.5f);
    make_clean(child);
    ASSERT_FALSE(parent.is_local_dirty());
    ASSERT_FALSE(child.is_world_dirty());

    parent.set_position({3, 4});
    parent.set_scale({2, 2});
    parent.set_rotation(0.5f);
    EXPECT_FALSE(parent.is_local_dirty());
    EXPECT_FALSE(parent.is_world_dirty());
    EXPECT_FALSE(child.is_world_dirty());
}

TEST(Transform, ChangingAValueDirtiesItselfAndEveryDescendant) {
    Transform a, b, c;
    a.attach(&b);
    b.attach(&c);
    make_clean(c);
    a.set_position({1, 0});
    EXPECT_TRUE(a.is_local_dirty());
    EXPECT_TRUE(a.is_world_dirty());
    EXPECT_FALSE(b.is_local_dirty());
    EXPECT_TRUE(b.is_world_dirty());
    EXPECT_TRUE(c.is_world_dirty());
}

TEST(Transform, ChangingARootDirtiesEveryBranchOfItsTree) {
    // root - a - a1, a - a2, root - b - b1: forks at the root and at a.
    Transform root, a, a1, a2, b, b1;
    root.attach(&a);
    a.attach(&a1);
    a.attach(&a2);
    root.attach(&b);
    b.attach(&b1);
    for (const Transform* t : {&a1, &a2, &b1}) make_clean(*t);
    root.set_rotation(0.5f);
    for (const Transform* t : {&root, &a, &a1, &a2, &b, &b1}) EXPECT_TRUE(t->is_world_dirty());
}

TEST(Transform, ChildrenSetBeforeTheirParentFollowIt) {
    // The order a clip writes a chain in (children first): the parent's change still
    // reaches every world matrix below it.
    Transform a, b, c;
    a.attach(&b);
    b.attach(&c);
    b.set_position({0, 10});
    c.set_position({0, 10});
    make_clean(c);
    c.set_rotation(0.25f);
    b.set_rotation(0.5f);
    a.set_position({100, 0});
    make_clean(c);
    const Matrix expected = a.get_local_transform() * b.get_local_transform() * c.get_local_transform();
    expect_matrix_near(c.get_world_transform(), expected);
    EXPECT_FALSE(a.is_world_dirty());
}

TEST(Transform, SetRotationNormalisesBeforeClamping) {
    Transform t;
    t.set_rotation(4.0f);
    EXPECT_EQ(t.get_local_rotation(), 4.0f - 2.0f * engine::core::kPi);
    t.set_rotation(3.1415927f);
    EXPECT_EQ(t.get_local_rotation(), 3.14159f);
    t.set_rotation(-3.1415927f);  // normalises to +pi, then clamps to the upper limit
    EXPECT_EQ(t.get_local_rotation(), 3.14159f);
}

TEST(Transform, SetRotationClampsToLimits) {
    Transform t;
    t.set_rotation_constraint(-0.5f, 0.25f);
    t.set_rotation(1.0f);
    EXPECT_EQ(t.get_local_rotation(), 0.25f);
    t.set_rotation(-1.0f);
    EXPECT_EQ(t.get_local_rotation(), -0.5f);
}

TEST(Transform, NewConstraintDoesNotReclampUntilNextSetRotation) {
    Transform t;
    t.set_rotation(-1.0f);
    t.set_rotation_constraint(0.0f, 1.0f);
    EXPECT_EQ(t.get_local_rotation(), -1.0f);
    t.set_rotation(-1.0f);
    EXPECT_EQ(t.get_local_rotation(), 0.0f);
}

TEST(Transform, UnitScaleGivesPureRotationPlusTranslation) {
    Transform t;
    t.set_rotation(0.3f);
    t.set_position({5, 6});
    Matrix expected(Vector<float>(5, 6), 0.3f);
    EXPECT_EQ(t.get_local_transform(), expected);
}

TEST(Transform, ScaleMultipliesRotationOnTheRight) {
    Transform t;
    t.set_rotation(0.3f);
    t.set_scale({1, 0.5f});
    t.set_position({5, 6});
    Matrix rotation(Vector<float>(), 0.3f);
    Matrix scale;
    scale.set_scale({1, 0.5f});
    Matrix expected = rotation * scale;
    expected.set_translation({5, 6});
    EXPECT_EQ(t.get_local_transform(), expected);
    // Scale first, then rotation, then translation.
    const Vector<float> p = Vector<float>(0, 2) * t.get_local_transform();
    const Vector<float> q = Vector<float>(0, 1).rotate(0.3f) + Vector<float>(5, 6);
    EXPECT_NEAR(p.x, q.x, 1e-5f);
    EXPECT_NEAR(p.y, q.y, 1e-5f);
}

TEST(Transform, RootWorldRotationIsNotNormalisedAgain) {
    Transform root;
    root.set_rotation_constraint(-10.0f, 10.0f);
    root.set_rotation(3.1415f);
    EXPECT_EQ(root.get_world_rotation(), root.get_local_rotation());
}

TEST(Transform, ChildWorldRotationIsNormalisedSum) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_rotation(3.0f);
    child.set_rotation(3.0f);
    EXPECT_EQ(child.get_world_rotation(), engine::core::normalise_angle(6.0f));
}

TEST(Transform, ChildWorldIsParentWorldTimesLocal) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_position({10, 20});
    parent.set_rotation(0.5f);
    parent.set_scale({2, 3});
    child.set_position({1, 1});
    child.set_rotation(-0.25f);
    const Matrix expected = parent.get_world_transform() * child.get_local_transform();
    EXPECT_EQ(child.get_world_transform(), expected);
    EXPECT_EQ(child.get_world_position(), expected.get_translation());
}

TEST(Transform, WorldCacheFollowsAncestorChanges) {
    Transform a, b, c;
    a.attach(&b);
    b.attach(&c);
    c.set_position({1, 0});
    make_clean(c);
    a.set_position({100, 0});
    EXPECT_EQ(c.get_world_position(), Vector<float>(101, 0));
}

TEST(Transform, AttachMovesChildFromOtherParent) {
    Transform first, second, child;
    first.attach(&child);
    second.attach(&child);
    EXPECT_EQ(child.get_parent(), &second);
    EXPECT_TRUE(first.get_children().empty());
    ASSERT_EQ(second.get_children().size(), 1u);
}

TEST(Transform, ReattachMovesChildToTheEnd) {
    Transform parent, a, b;
    parent.attach(&a);
    parent.attach(&b);
    parent.attach(&a);
    ASSERT_EQ(parent.get_children().size(), 2u);
    EXPECT_EQ(parent.get_children()[0], &b);
    EXPECT_EQ(parent.get_children()[1], &a);
}

TEST(Transform, DetachOfNonChildDoesNothing) {
    Transform parent, other, stranger;
    other.attach(&stranger);
    make_clean(stranger);
    parent.detach(&stranger);
    EXPECT_EQ(stranger.get_parent(), &other);
    EXPECT_FALSE(stranger.is_world_dirty());
}

TEST(Transform, DetachClearsParentAndDirtiesChild) {
    Transform parent, child;
    parent.attach(&child);
    make_clean(child);
    parent.detach(&child);
    EXPECT_EQ(child.get_parent(), nullptr);
    EXPECT_TRUE(child.is_world_dirty());
}

TEST(Transform, AssignmentKeepsTargetScaleParentAndChildren) {
    Transform source, target, target_parent, target_child;
    source.set_position({1, 2});
    source.set_rotation(0.5f);
    source.set_scale({3, 3});
    source.set_bind_rotation(0.25f);
    source.set_rotation_constraint(-1.0f, 1.0f);
    target.set_scale({2, 2});
    target_parent.attach(&target);
    target.attach(&target_child);
    make_clean(target_child);

    target = source;
    EXPECT_EQ(target.get_local_position(), Vector<float>(1, 2));
    EXPECT_EQ(target.get_local_rotation(), 0.5f);
    EXPECT_EQ(target.get_bind_rotation(), 0.25f);
    EXPECT_EQ(target.get_min_rotation(), -1.0f);
    EXPECT_EQ(target.get_local_scale(), Vector<float>(2, 2));
    EXPECT_EQ(target.get_parent(), &target_parent);
    EXPECT_EQ(target.get_children().size(), 1u);
    EXPECT_TRUE(target.is_local_dirty());
    EXPECT_TRUE(target_child.is_world_dirty());
}

TEST(Transform, CopyBecomesLastSiblingWithoutChildren) {
    Transform parent, source, grandchild;
    parent.attach(&source);
    source.attach(&grandchild);
    source.set_scale({2, 3});
    source.set_bind_rotation(0.5f);
    source.generate_bind_transform();
    Transform copy(source);
    EXPECT_EQ(copy.get_parent(), &parent);
    ASSERT_EQ(parent.get_children().size(), 2u);
    EXPECT_EQ(parent.get_children()[1], &copy);
    EXPECT_TRUE(copy.get_children().empty());
    EXPECT_EQ(copy.get_local_scale(), Vector<float>(2, 3));
    EXPECT_EQ(copy.get_bind_transform(), source.get_bind_transform());
    EXPECT_TRUE(copy.is_local_dirty());
    EXPECT_TRUE(copy.is_world_dirty());
}

TEST(Transform, DestroyingParentLeavesChildrenParentlessAndDirty) {
    Transform a, b;
    {
        Transform parent;
        parent.attach(&a);
        parent.attach(&b);
        make_clean(a);
        make_clean(b);
    }
    EXPECT_EQ(a.get_parent(), nullptr);
    EXPECT_EQ(b.get_parent(), nullptr);
    EXPECT_TRUE(a.is_world_dirty());
    EXPECT_TRUE(b.is_world_dirty());
}

TEST(Transform, DestroyingChildRemovesItFromParent) {
    Transform parent, kept;
    {
        Transform child;
        parent.attach(&child);
        parent.attach(&kept);
    }
    ASSERT_EQ(parent.get_children().size(), 1u);
    EXPECT_EQ(parent.get_children()[0], &kept);
}

TEST(Transform, RootBindTransformIgnoresPosition) {
    Transform root;
    root.set_position({50, 60});
    root.set_bind_rotation(0.5f);
    root.generate_bind_transform();
    EXPECT_EQ(root.get_bind_transform(), Matrix(Vector<float>(), -0.5f));
}

TEST(Transform, ChildBindTransformInvertsBindPose) {
    Transform root, child;
    root.attach(&child);
    root.set_bind_rotation(0.5f);
    child.set_position({10, 0});
    child.set_bind_rotation(0.25f);
    root.generate_bind_transform();
    child.generate_bind_transform();
    const Matrix expected =
        Matrix(Vector<float>(), -0.25f) * Matrix(Vector<float>(-10, 0), 0.0f) * root.get_bind_transform();
    EXPECT_EQ(child.get_bind_transform(), expected);
    // Applied to the bind pose's world matrix it gives the identity.
    const Matrix bind_world = Matrix(Vector<float>(), 0.5f) * Matrix(Vector<float>(10, 0), 0.25f);
    expect_matrix_near(child.get_bind_transform() * bind_world, Matrix());
}

TEST(Transform, SetBindRotationDoesNotRecompute) {
    Transform t;
    t.set_bind_rotation(1.0f);
    EXPECT_TRUE(t.get_bind_transform().is_identity());
}

TEST(Transform, CleanGetterReturnsTheSameCache) {
    Transform parent, child;
    parent.attach(&child);
    const Matrix* first = &child.get_world_transform();
    const Matrix* second = &child.get_world_transform();
    EXPECT_EQ(first, second);
}

TEST(Transform, SkewTurnsTheYAxisBeyondTheRotation) {
    Transform t;
    t.set_position({3, 4});
    t.set_skew(0.5f);
    // The x axis stays, the y axis turns by the skew: (sin 0.5, cos 0.5) for (0, 1).
    expect_matrix_near(t.get_world_transform(), Matrix(1, 0, std::sin(0.5f), std::cos(0.5f), 3, 4));
    t.set_rotation(0.25f);
    t.set_scale({2, 3});
    expect_matrix_near(t.get_world_transform(), Matrix(2 * std::cos(0.25f), -2 * std::sin(0.25f), 3 * std::sin(0.75f),
                                                       3 * std::cos(0.75f), 3, 4));
}

TEST(Transform, WithoutInheritedScaleTheParentsScaleStaysOutButMovesThePosition) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_scale({2, 3});
    parent.set_rotation(0.5f);
    child.set_position({10, 0});
    child.set_rotation(0.25f);
    child.set_inheritance(Transform::inherit_all & ~Transform::inherit_scale);
    // Unit axes turned by both rotations, placed where the parent's full matrix puts it.
    const Vector<float> at = Vector<float>(10, 0) * parent.get_world_transform();
    expect_matrix_near(child.get_world_transform(),
                       Matrix(std::cos(0.75f), -std::sin(0.75f), std::sin(0.75f), std::cos(0.75f), at.x, at.y));
}

TEST(Transform, WithoutInheritedRotationTheWorldKeepsItsOwnRotation) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_position({5, 0});
    parent.set_rotation(1.0f);
    child.set_position({10, 0});
    child.set_rotation(0.25f);
    child.set_inheritance(Transform::inherit_all & ~Transform::inherit_rotation);
    const Matrix& w = child.get_world_transform();
    EXPECT_NEAR(std::atan2(-w[1], w[0]), 0.25f, 1e-5f);
    const Vector<float> moved = Vector<float>(10, 0) * parent.get_world_transform();
    EXPECT_NEAR(w[4], moved.x, 1e-4f);
    EXPECT_NEAR(w[5], moved.y, 1e-4f);
    EXPECT_NEAR(child.get_world_rotation(), 0.25f, 1e-6f);
}

TEST(Transform, WithoutInheritedTranslationThePositionIsTakenAsIs) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_position({5, 7});
    parent.set_rotation(1.0f);
    child.set_position({10, 0});
    child.set_inheritance(Transform::inherit_rotation | Transform::inherit_scale);
    EXPECT_NEAR(child.get_world_transform()[4], 10.0f, 1e-5f);
    EXPECT_NEAR(child.get_world_transform()[5], 0.0f, 1e-5f);
    EXPECT_NEAR(std::atan2(-child.get_world_transform()[1], child.get_world_transform()[0]), 1.0f, 1e-5f);
}

TEST(Transform, InheritanceChangeDirtiesAndExtraBitsAreIgnored) {
    Transform parent, child;
    parent.attach(&child);
    make_clean(child);
    child.set_inheritance(0xFFu);
    EXPECT_EQ(child.get_inheritance(), unsigned(Transform::inherit_all));
    EXPECT_FALSE(child.is_world_dirty());
    child.set_inheritance(Transform::inherit_translation);
    EXPECT_TRUE(child.is_world_dirty());
}

TEST(Transform, ParentAndChildLinksAreWeakBothWays) {
    using engine::core::make_ref;
    engine::core::Ref<Transform> parent = make_ref<Transform>();
    engine::core::Ref<Transform> child = make_ref<Transform>();
    parent->attach(child);
    EXPECT_EQ(parent->get_ref_count(), 1);  // neither end keeps the other
    EXPECT_EQ(child->get_ref_count(), 1);
    ASSERT_EQ(parent->get_children().size(), 1u);
    EXPECT_EQ(parent->get_children()[0].get(), child.get());
    child.reset();  // leaves its parent's children
    EXPECT_TRUE(parent->get_children().empty());

    child = make_ref<Transform>();
    parent->attach(child);
    child->set_position({1, 2});
    parent->set_position({10, 0});
    parent.reset();  // the child lives on, parentless, at its own place
    EXPECT_EQ(child->get_parent(), nullptr);
    EXPECT_EQ(child->get_world_position(), Vector<float>(1, 2));
}

TEST(Transform, PartialInheritanceLeavesTheLocalMatrixUntilAskedFor) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_scale({2, 3});
    child.set_position({1, 2});
    child.set_rotation(0.5f);
    child.set_inheritance(Transform::inherit_all & ~Transform::inherit_scale);
    make_clean(child);
    EXPECT_FALSE(child.is_world_dirty());
    EXPECT_TRUE(child.is_local_dirty());  // the world matrix was built from the parts
    Matrix expected;
    expected.set_rotation(0.5f);
    expected.set_translation({1, 2});
    EXPECT_EQ(child.get_local_transform(), expected);
    EXPECT_FALSE(child.is_local_dirty());
}

TEST(Transform, AnUnskewedPartialChildTurnsBothAxesByExactlyItsAngle) {
    Transform parent, child;
    parent.attach(&child);
    parent.set_rotation(0.5f);
    child.set_rotation(0.25f);
    child.set_scale({2, 3});
    child.set_inheritance(Transform::inherit_all & ~Transform::inherit_scale);
    const float turn = 0.25f + -(-0.5f);  // the child's rotation plus the parent's x axis angle
    const Matrix& world = child.get_world_transform();
    EXPECT_FLOAT_EQ(world[0], 2.0f * std::cos(turn));
    EXPECT_FLOAT_EQ(world[1], -2.0f * std::sin(turn));
    EXPECT_FLOAT_EQ(world[2], 3.0f * std::sin(turn));
    EXPECT_FLOAT_EQ(world[3], 3.0f * std::cos(turn));
    child.set_skew(0.125f);  // the y axis turns further by the skew alone
    EXPECT_FLOAT_EQ(child.get_world_transform()[0], 2.0f * std::cos(turn));
    EXPECT_FLOAT_EQ(child.get_world_transform()[2], 3.0f * std::sin(turn + 0.125f));
    EXPECT_FLOAT_EQ(child.get_world_transform()[3], 3.0f * std::cos(turn + 0.125f));
}

TEST(Transform, PartialSiblingsFollowEveryTurnOfTheirParent) {
    Transform parent, first, second;
    parent.attach(&first);
    parent.attach(&second);
    for (Transform* child : {&first, &second}) {
        child->set_position({10, 0});
        child->set_inheritance(Transform::inherit_all & ~Transform::inherit_scale);
    }
    second.set_rotation(0.25f);
    for (const float turn : {0.5f, -1.0f, 2.0f}) {
        parent.set_rotation(turn);
        // Each sibling's axes turn by the parent's angle plus its own, every time.
        expect_matrix_near(first.get_world_transform(),
                           Matrix(std::cos(turn), -std::sin(turn), std::sin(turn), std::cos(turn), 10 * std::cos(turn),
                                  -10 * std::sin(turn)));
        const float both = turn + 0.25f;
        EXPECT_NEAR(second.get_world_transform()[0], std::cos(both), 1e-5f);
        EXPECT_NEAR(second.get_world_transform()[1], -std::sin(both), 1e-5f);
    }
}
