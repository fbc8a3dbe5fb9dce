#include "engine/graphics/Skeleton.h"

#include "core/TestSupport.h"
#include "engine/graphics/Transform.h"

#include <gtest/gtest.h>

#include <string>

using engine::core::Vector;
using engine::core::test::LogCapture;
using engine::graphics::Skeleton;
using engine::graphics::Transform;

// Native programs have no "Transform" class in the factory: joints are plain native
// transforms owned by the skeleton.

TEST(Skeleton, AddJointAppendsAndIndexesByName) {
    Skeleton s;
    Transform* hip = s.add_joint("hip");
    Transform* knee = s.add_joint("knee");
    ASSERT_NE(hip, nullptr);
    ASSERT_NE(knee, nullptr);
    EXPECT_EQ(s.get_num_joints(), 2u);
    EXPECT_EQ(s.get_joint(0u), hip);
    EXPECT_EQ(s.get_joint("knee"), knee);
    EXPECT_EQ(s.get_joint_index("knee"), 1);
    EXPECT_EQ(s.get_joint(2u), nullptr);
    EXPECT_EQ(s.get_joint("ankle"), nullptr);
}

TEST(Skeleton, DuplicateNameAddsNothingAndReturnsNull) {
    Skeleton s;
    s.add_joint("hip");
    EXPECT_EQ(s.add_joint("hip"), nullptr);
    EXPECT_EQ(s.get_num_joints(), 1u);
}

TEST(Skeleton, EmptyNameAddsAnUnnamedJoint) {
    Skeleton s;
    EXPECT_NE(s.add_joint(""), nullptr);
    EXPECT_NE(s.add_joint(""), nullptr);
    EXPECT_EQ(s.get_num_joints(), 2u);
    EXPECT_TRUE(s.get_joint_names().empty());
}

TEST(Skeleton, GenerateBindTransformsFollowsTheCurrentPose) {
    Skeleton s;
    Transform* root = s.add_joint("root");
    Transform* arm = s.add_joint("arm");
    root->attach(arm);
    arm->set_position({0, 10});
    arm->set_bind_rotation(0.5f);
    s.generate_bind_transforms();
    // With the bind rotation posed, world * bind is the identity.
    arm->set_rotation(0.5f);
    const auto m = arm->get_world_transform() * arm->get_bind_transform();
    const Vector<float> p = Vector<float>(3, 4) * m;
    EXPECT_NEAR(p.x, 3.0f, 1e-5f);
    EXPECT_NEAR(p.y, 4.0f, 1e-5f);
}

TEST(Skeleton, CopyAssignmentMakesNewJointsAtBindRotationsWithTheHierarchy) {
    Skeleton source;
    Transform* a = source.add_joint("a");
    Transform* b = source.add_joint("b");
    Transform* c = source.add_joint("c");
    a->attach(b);
    a->attach(c);
    b->set_position({0, 20});
    b->set_bind_rotation(0.25f);
    b->set_rotation(1.0f);
    b->set_rotation_constraint(-1.0f, 2.0f);

    Skeleton copy;
    copy = source;
    ASSERT_EQ(copy.get_num_joints(), 3u);
    for (unsigned i = 0; i < 3; ++i) EXPECT_NE(copy.get_joint(i), source.get_joint(i));
    EXPECT_EQ(copy.get_joint("b")->get_parent(), copy.get_joint("a"));
    EXPECT_EQ(copy.get_joint("c")->get_parent(), copy.get_joint("a"));
    EXPECT_EQ(copy.get_joint("a")->get_parent(), nullptr);
    EXPECT_EQ(copy.get_joint("b")->get_local_rotation(), 0.25f);
    EXPECT_EQ(copy.get_joint("b")->get_local_position(), Vector<float>(0, 20));
    EXPECT_EQ(copy.get_joint("b")->get_max_rotation(), 2.0f);
    // The source keeps its pose.
    EXPECT_EQ(b->get_local_rotation(), 1.0f);
    // Bind transforms are generated: the copy's bind pose is its reset pose.
    const auto m = copy.get_joint("b")->get_world_transform() * copy.get_joint("b")->get_bind_transform();
    const Vector<float> p = Vector<float>(5, -7) * m;
    EXPECT_NEAR(p.x, 5.0f, 1e-5f);
    EXPECT_NEAR(p.y, -7.0f, 1e-5f);
}

TEST(Skeleton, CopiesShareNothing) {
    Skeleton source;
    Transform* a = source.add_joint("a");
    source.get_joint(0u)->attach(source.add_joint("b"));
    Skeleton copy;
    copy = source;
    copy.get_joint("b")->set_rotation(0.7f);
    copy.get_joint("a")->set_position({9, 9});
    EXPECT_EQ(source.get_joint("b")->get_local_rotation(), 0.0f);
    EXPECT_EQ(a->get_local_position(), Vector<float>(0, 0));
    EXPECT_EQ(source.get_joint("b")->get_parent(), a);
}

TEST(Skeleton, AParentOutsideTheSkeletonIsNotLinkedInTheCopy) {
    Transform outside;
    Skeleton source;
    Transform* a = source.add_joint("a");
    Transform* b = source.add_joint("b");
    outside.attach(a);  // joint 0 is never linked
    outside.attach(b);  // a parent that is not an earlier joint
    Skeleton copy;
    copy = source;
    EXPECT_EQ(copy.get_joint("a")->get_parent(), nullptr);
    EXPECT_EQ(copy.get_joint("b")->get_parent(), nullptr);
    outside.detach(a);
    outside.detach(b);
}

TEST(Skeleton, AssignmentKeepsTheSourcesIndicesAndNamesAndPutsJointsAlreadyThereAfter) {
    Skeleton source;
    source.add_joint("root")->attach(source.add_joint("arm"));
    source.get_joint("arm")->set_position({0, -10});
    Skeleton target;
    Transform* helper = target.add_joint("helper");  // what a factory subclass adds in its constructor
    target.add_joint("");
    target = source;
    ASSERT_EQ(target.get_num_joints(), 4u);
    EXPECT_EQ(target.get_joint_index("root"), 0);
    EXPECT_EQ(target.get_joint_index("arm"), 1);
    EXPECT_EQ(target.get_joint("arm")->get_local_position(), Vector<float>(0, -10));
    EXPECT_EQ(target.get_joint("arm")->get_parent(), target.get_joint("root"));
    EXPECT_EQ(target.get_joint("helper"), helper);
    EXPECT_EQ(target.get_joint_index("helper"), 2);
    EXPECT_EQ(target.get_joint_names().size(), 3u);
}

TEST(Skeleton, ANameTheCopyHasTooGoesToTheCopysJointWithAWarning) {
    LogCapture log;
    Skeleton source;
    source.add_joint("root");
    Skeleton target;
    target.add_joint("root");
    target = source;
    ASSERT_EQ(target.get_num_joints(), 2u);
    EXPECT_EQ(target.get_joint_index("root"), 0);
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_NE(log.entries()[0].message.find("'root'"), std::string::npos);
}

TEST(Skeleton, CopyKeepsScaleSkewAndInheritance) {
    Skeleton source;
    Transform* hip = source.add_joint("hip");
    hip->set_scale({2, 3});
    hip->set_skew(0.5f);
    hip->set_inheritance(Transform::inherit_translation);
    Skeleton copy;
    copy = source;
    const Transform* twin = copy.get_joint("hip");
    ASSERT_NE(twin, nullptr);
    EXPECT_EQ(twin->get_local_scale(), Vector<float>(2, 3));
    EXPECT_EQ(twin->get_skew(), 0.5f);
    EXPECT_EQ(twin->get_inheritance(), unsigned(Transform::inherit_translation));
}
