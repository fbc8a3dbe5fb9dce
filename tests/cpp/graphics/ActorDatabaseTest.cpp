#include "engine/graphics/ActorDatabase.h"

#include "core/TestSupport.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorRigDynamics.h"
#include "engine/graphics/ActorRigIK.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using engine::core::Colour;
using engine::core::Vector;
using engine::core::test::LogCapture;
using namespace engine::graphics;

namespace {

class ActorDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override { ActorDatabase::unload(); }
    void TearDown() override { ActorDatabase::unload(); }

    static const ActorMeshData& mesh(const std::string& actor, unsigned index = 0) {
        return *ActorDatabase::find_actor_data(actor)->get_meshes().at(index);
    }
    // Loads and returns the warnings logged under "graphics".
    static std::vector<std::string> load(const std::string& text) {
        LogCapture log;
        ActorDatabase::load_text(text);
        std::vector<std::string> warnings;
        for (const auto& e : log.entries())
            if (e.category == "graphics" || e.category == "core") warnings.push_back(e.message);
        return warnings;
    }
};

const char* kDocument = R"(<Actors>
  <ActorData id="hero" layer="world" z="2.5">
    <Joint id="hip" position="0, 0"/>
    <Joint id="knee" parent="hip" position="0, 20" rotation="0.5" bind_rotation="0.25" rotation_constraint="-1, 1"/>
    <Joint id="foot" parent="1" position="0, 20"/>
    <ActorMeshData id="leg">
      <Vertex position="1, 2" tex_coord="0.5, 1" colour="1, 0, 0, 0.5" joint_indices="0, 1" joint_weights="0.25, 0.75"/>
      <Vertex position="3, 4"/>
      <Vertex position="5, 6"/>
      <Face vertex_indices="0, 1, 2"/>
      <BlendShape joint_driver_id="knee">
        <AnimCurve><Keyframe key="0" value="0"/><Keyframe key="1" value="1"/></AnimCurve>
        <Vertex offset="1, 1"/><Vertex/><Vertex offset="2, 0"/>
      </BlendShape>
      <Jiggle id="soft" stiffness="0.5" damping="0.25"><Vertex weight="1"/><Vertex/><Vertex weight="0.5"/></Jiggle>
    </ActorMeshData>
  </ActorData>
  <ActorRigIK id="hero">
    <IKHandlePosition effector_id="foot" type="chain" chain_offset="3" spine_offset="8" direction="-1" bind_position="4, 5"/>
    <IKHandleRotation joint_id="hip" bind_rotation="0.5"/>
  </ActorRigIK>
  <ActorRigDynamics id="hero">
    <RigidBody id="thigh" position="1, 2" mass="3" damping="0.5"/>
    <RigidBody id="shin"/>
    <ConstraintHinge body_0_id="thigh" body_1_id="shin" rotation_constraint="-0.5, 0.75"/>
    <ConstraintJoint body_id="thigh" joint_id="hip"/>
    <ConstraintParent body_id="shin" joint_id="knee"/>
  </ActorRigDynamics>
</Actors>)";

}  // namespace

TEST_F(ActorDatabaseTest, ReadsEveryElementAndAttribute) {
    EXPECT_TRUE(load(kDocument).empty());
    ActorData* hero = ActorDatabase::find_actor_data("hero");
    ASSERT_NE(hero, nullptr);
    EXPECT_EQ(hero->layer, "world");
    EXPECT_EQ(hero->z, 2.5f);
    Skeleton& s = *hero->get_skeleton();
    ASSERT_EQ(s.get_num_joints(), 3u);
    Transform* knee = s.get_joint("knee");
    EXPECT_EQ(knee->get_parent(), s.get_joint("hip"));
    EXPECT_EQ(s.get_joint("foot")->get_parent(), knee);
    EXPECT_EQ(knee->get_local_position(), Vector<float>(0, 20));
    EXPECT_EQ(knee->get_local_rotation(), 0.5f);
    EXPECT_EQ(knee->get_bind_rotation(), 0.25f);
    EXPECT_EQ(knee->get_min_rotation(), -1.0f);
    EXPECT_EQ(knee->get_max_rotation(), 1.0f);

    const ActorMeshData& leg = mesh("hero");
    EXPECT_EQ(leg.id, "leg");
    ASSERT_EQ(leg.vertices.size(), 3u);
    const ActorVertex& v = leg.vertices[0];
    EXPECT_EQ(v.position, Vector<float>(1, 2));
    EXPECT_EQ(v.tex_coord, Vector<float>(0.5f, 1));
    EXPECT_EQ(v.colour, Colour(1, 0, 0, 0.5f));
    EXPECT_EQ(v.joint_indices[0], 0);
    EXPECT_EQ(v.joint_indices[1], 1);
    EXPECT_EQ(v.joint_weights[1], 0.75f);
    EXPECT_EQ(v.joint_weights[2], 0.0f);
    EXPECT_EQ(leg.vertices[1].colour, Colour(1, 1, 1, 1));
    EXPECT_EQ(leg.indices, (std::vector<std::uint16_t>{0, 1, 2}));
    ASSERT_EQ(leg.blend_shapes.size(), 1u);
    EXPECT_EQ(leg.blend_shapes[0]->joint_driver_id, "knee");
    ASSERT_NE(leg.blend_shapes[0]->curve, nullptr);
    EXPECT_EQ(leg.blend_shapes[0]->curve->get_keyframes().size(), 2u);
    ASSERT_EQ(leg.jiggles.size(), 1u);
    EXPECT_EQ(leg.jiggles[0]->id, "soft");
    EXPECT_EQ(leg.jiggles[0]->stiffness, 0.5f);
    EXPECT_EQ(leg.jiggles[0]->damping, 0.25f);
    EXPECT_EQ(leg.jiggles[0]->weights, (std::vector<float>{1, 0, 0.5f}));

    ActorRigIK* ik = ActorDatabase::find_ik_rig("hero");
    ASSERT_NE(ik, nullptr);
    ASSERT_EQ(ik->get_num_position_handles(), 1u);
    IKHandlePosition* h = ik->get_position_handle("foot");
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->get_type(), IKHandlePosition::Chain);
    EXPECT_EQ(h->get_chain_offset(), 3.0f);
    EXPECT_EQ(h->get_direction(), -1);
    EXPECT_EQ(h->get_bind_position(), Vector<float>(4, 5));
    ASSERT_EQ(ik->get_num_rotation_handles(), 1u);
    EXPECT_EQ(ik->get_rotation_handle(0u)->get_joint_id(), "hip");
    EXPECT_EQ(ik->get_rotation_handle(0u)->get_bind_rotation(), 0.5f);

    ActorRigDynamics* dyn = ActorDatabase::find_dynamics_rig("hero");
    ASSERT_NE(dyn, nullptr);
    ASSERT_EQ(dyn->get_bodies().size(), 2u);
    EXPECT_EQ(dyn->get_bodies().begin()->first, "shin");  // name order
    const DynamicsRigidBody* thigh = dyn->get_body("thigh");
    EXPECT_EQ(thigh->position, Vector<float>(1, 2));
    EXPECT_EQ(thigh->mass, 3.0f);
    EXPECT_EQ(thigh->damping, 0.5f);
    ASSERT_EQ(dyn->get_constraints().size(), 3u);
    auto* hinge = static_cast<DynamicsConstraintHinge*>(dyn->get_constraints()[0].get());
    EXPECT_EQ(hinge->get_kind(), DynamicsConstraint::Hinge);
    EXPECT_EQ(hinge->get_body_0(), "thigh");
    EXPECT_EQ(hinge->get_body_1(), "shin");
    EXPECT_TRUE(hinge->has_limits());
    EXPECT_EQ(hinge->get_lower(), -0.5f);
    EXPECT_EQ(hinge->get_upper(), 0.75f);
}

TEST_F(ActorDatabaseTest, JointAndParentConstraintsTakeTheirNamesInOppositeOrders) {
    load(kDocument);
    const auto& c = ActorDatabase::find_dynamics_rig("hero")->get_constraints();
    auto* joint = static_cast<DynamicsConstraintJoint*>(c[1].get());
    auto* parent = static_cast<DynamicsConstraintParent*>(c[2].get());
    EXPECT_EQ(joint->get_kind(), DynamicsConstraint::Joint);
    EXPECT_EQ(joint->get_joint(), "hip");
    EXPECT_EQ(joint->get_body(), "thigh");
    EXPECT_EQ(parent->get_kind(), DynamicsConstraint::Parent);
    EXPECT_EQ(parent->get_body(), "shin");
    EXPECT_EQ(parent->get_joint(), "knee");
}

TEST_F(ActorDatabaseTest, SpineOffsetFromFileIsIgnored) {
    load(kDocument);
    EXPECT_EQ(ActorDatabase::find_ik_rig("hero")->get_position_handle("foot")->get_spine_offset(), -1.0f);
}

TEST_F(ActorDatabaseTest, DynamicsRigStaysCurrentAfterItsEndTag) {
    load(R"(<r><ActorRigDynamics id="d"><RigidBody id="a"/></ActorRigDynamics><RigidBody id="late"/></r>)");
    EXPECT_NE(ActorDatabase::find_dynamics_rig("d")->get_body("late"), nullptr);
}

TEST_F(ActorDatabaseTest, IKRigEndsWithItsEndTag) {
    const auto warnings = load(R"(<r><ActorRigIK id="i"></ActorRigIK><IKHandleRotation joint_id="late"/></r>)");
    EXPECT_EQ(ActorDatabase::find_ik_rig("i")->get_num_rotation_handles(), 0u);
    EXPECT_EQ(warnings.size(), 1u);
}

TEST_F(ActorDatabaseTest, SecondActorDataWithTheSameIdIsIgnoredWhole) {
    load(R"(<r><ActorData id="a"><Joint id="first"/></ActorData>
               <ActorData id="a"><Joint id="second"/><ActorMeshData id="m"/></ActorData></r>)");
    ActorData* a = ActorDatabase::find_actor_data("a");
    EXPECT_EQ(a->get_skeleton()->get_num_joints(), 1u);
    EXPECT_NE(a->get_skeleton()->get_joint("first"), nullptr);
    EXPECT_TRUE(a->get_meshes().empty());
}

TEST_F(ActorDatabaseTest, JointParentByIndexByNameAndIgnoredParents) {
    load(R"(<r><ActorData id="a"><Joint id="j0"/><Joint id="j1" parent="0"/><Joint id="j2" parent="7"/>
               <Joint id="j3" parent="j3"/><Joint id="j4" parent="j1"/><Joint id="j5" parent="2abc"/></ActorData></r>)");
    Skeleton& s = *ActorDatabase::find_actor_data("a")->get_skeleton();
    EXPECT_EQ(s.get_joint("j1")->get_parent(), s.get_joint("j0"));
    EXPECT_EQ(s.get_joint("j2")->get_parent(), nullptr);
    EXPECT_EQ(s.get_joint("j3")->get_parent(), nullptr);
    EXPECT_EQ(s.get_joint("j4")->get_parent(), s.get_joint("j1"));
    EXPECT_EQ(s.get_joint("j5")->get_parent(), s.get_joint("j2"));  // a leading number is an index
}

TEST_F(ActorDatabaseTest, JointIndicesWrapAtEightBits) {
    load(R"(<r><ActorData id="a"><ActorMeshData id="m"><Vertex joint_indices="1, 300" joint_weights="1,2,3,4,5"/>
               </ActorMeshData></ActorData></r>)");
    const ActorVertex& v = mesh("a").vertices[0];
    EXPECT_EQ(v.joint_indices[0], 1);
    EXPECT_EQ(v.joint_indices[1], 44);
    EXPECT_EQ(v.joint_indices[2], 0);
    EXPECT_EQ(v.joint_indices[3], 0);
    EXPECT_EQ(v.joint_weights[3], 4.0f);  // extra entries ignored
}

TEST_F(ActorDatabaseTest, FaceOfTwoOrFourIndicesAddsNothing) {
    load(R"(<r><ActorData id="a"><ActorMeshData id="m"><Vertex/><Vertex/><Vertex/><Vertex/>
               <Face vertex_indices="0, 1"/><Face vertex_indices="0, 1, 2, 3"/><Face vertex_indices="1, 2, 3"/>
               </ActorMeshData></ActorData></r>)");
    EXPECT_EQ(mesh("a").indices, (std::vector<std::uint16_t>{1, 2, 3}));
}

TEST_F(ActorDatabaseTest, FaceNamingAMissingVertexIsDroppedWithAWarning) {
    const auto warnings = load(R"(<r><ActorData id="a"><ActorMeshData id="m"><Vertex/><Vertex/><Vertex/>
               <Face vertex_indices="0, 1, 9"/><Face vertex_indices="2, 1, 0"/></ActorMeshData></ActorData></r>)");
    EXPECT_EQ(mesh("a").indices, (std::vector<std::uint16_t>{2, 1, 0}));
    ASSERT_EQ(warnings.size(), 1u);
}

TEST_F(ActorDatabaseTest, RepeatedKeyframeGoesInFrontOfItsEquals) {
    load(R"(<r><ActorData id="a"><ActorMeshData id="m"><BlendShape><AnimCurve>
               <Keyframe key="1" value="10"/><Keyframe key="0" value="0"/><Keyframe key="1" value="20"/>
               </AnimCurve></BlendShape></ActorMeshData></ActorData></r>)");
    const auto& k = mesh("a").blend_shapes[0]->curve->get_keyframes();
    ASSERT_EQ(k.size(), 3u);
    EXPECT_EQ(k[0].first, 0.0f);
    EXPECT_EQ(k[1].second, 20.0f);
    EXPECT_EQ(k[2].second, 10.0f);
}

TEST_F(ActorDatabaseTest, BlendShapeVertexWithoutOffsetKeepsTheCountAligned) {
    load(R"(<r><ActorData id="a"><ActorMeshData id="m"><BlendShape><Vertex/><Vertex offset="1, 2"/>
               </BlendShape></ActorMeshData></ActorData></r>)");
    EXPECT_EQ(mesh("a").blend_shapes[0]->offsets,
              (std::vector<Vector<float>>{Vector<float>(0, 0), Vector<float>(1, 2)}));
}

TEST_F(ActorDatabaseTest, SecondAnimCurveReplacesTheFirst) {
    load(R"(<r><ActorData id="a"><ActorMeshData id="m"><BlendShape><AnimCurve><Keyframe key="0" value="1"/></AnimCurve>
               <AnimCurve/></BlendShape></ActorMeshData></ActorData></r>)");
    EXPECT_TRUE(mesh("a").blend_shapes[0]->curve->get_keyframes().empty());
}

TEST_F(ActorDatabaseTest, NumbersReadAsAtofWithOneWarningForTrailingText) {
    const auto warnings = load(R"(<r><ActorData id="a" z="1.5px"><Joint id="j" rotation="abc"/></ActorData></r>)");
    EXPECT_EQ(ActorDatabase::find_actor_data("a")->z, 1.5f);
    EXPECT_EQ(ActorDatabase::find_actor_data("a")->get_skeleton()->get_joint("j")->get_local_rotation(), 0.0f);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings[0].find("2 element(s) or value(s)"), std::string::npos) << warnings[0];
    EXPECT_NE(warnings[0].find("line 1"), std::string::npos) << warnings[0];
    EXPECT_NE(warnings[0].find("1.5px"), std::string::npos) << warnings[0];
}

TEST_F(ActorDatabaseTest, AnIKDirectionOtherThanOneOrMinusOneIsKeptAtOneWithAWarning) {
    for (const char* direction : {"3", "0", "-2", "-2147483648", "2147483647"}) {
        ActorDatabase::unload();
        const auto warnings = load(std::string(R"(<r><ActorRigIK id="a"><IKHandlePosition effector_id="hand" )") +
                                   R"(type="chain" direction=")" + direction + R"("/></ActorRigIK></r>)");
        const IKHandlePosition* h = ActorDatabase::find_ik_rig("a")->get_position_handle("hand");
        ASSERT_NE(h, nullptr) << direction;
        EXPECT_EQ(h->get_direction(), 1) << direction;
        ASSERT_EQ(warnings.size(), 1u) << direction;
        EXPECT_NE(warnings[0].find("is not 1 or -1 (kept at 1)"), std::string::npos) << warnings[0];
    }
}

TEST_F(ActorDatabaseTest, MissingAndEmptyAttributes) {
    const auto warnings = load(R"(<r><ActorData><Joint id="orphan"/></ActorData><ActorData id=""/>
               <ActorRigIK id="i"><IKHandlePosition effector_id="e"/><IKHandlePosition effector_id="f" type="bend"/>
               <IKHandlePosition effector_id="g" type=""/></ActorRigIK></r>)");
    EXPECT_EQ(ActorDatabase::actor_data_ids(), (std::vector<std::string>{""}));  // empty is present
    EXPECT_EQ(ActorDatabase::find_ik_rig("i")->get_num_position_handles(), 0u);
    EXPECT_EQ(warnings.size(), 1u);
}

TEST_F(ActorDatabaseTest, MalformedXmlKeepsWhatWasRead) {
    const auto warnings = load(R"(<r><ActorData id="a"><Joint id="j"/></ActorData><ActorData id="b"><Joint </r>)");
    EXPECT_NE(ActorDatabase::find_actor_data("a"), nullptr);
    EXPECT_NE(ActorDatabase::find_actor_data("b"), nullptr);
    EXPECT_FALSE(warnings.empty());
}

TEST_F(ActorDatabaseTest, UnloadForgetsEverythingAndReloadRegistersAnew) {
    load(kDocument);
    ActorDatabase::unload();
    EXPECT_EQ(ActorDatabase::find_actor_data("hero"), nullptr);
    EXPECT_EQ(ActorDatabase::find_ik_rig("hero"), nullptr);
    EXPECT_EQ(ActorDatabase::find_dynamics_rig("hero"), nullptr);
    load(kDocument);
    EXPECT_NE(ActorDatabase::find_actor_data("hero"), nullptr);
    EXPECT_EQ(ActorDatabase::find_actor_data("hero")->get_skeleton()->get_num_joints(), 3u);
}

TEST_F(ActorDatabaseTest, DocumentsAccumulateAndKeepTheFirstOfAnId) {
    load(R"(<ActorData id="a" z="1"/>)");
    load(R"(<r><ActorData id="a" z="2"/><ActorData id="b"/></r>)");
    EXPECT_EQ(ActorDatabase::find_actor_data("a")->z, 1.0f);
    EXPECT_EQ(ActorDatabase::actor_data_ids(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(ActorDatabaseTest, MangledDocumentsNeverCrashAndKeepMeshesDrawable) {
    // Truncations and byte flips of a full document: whatever loads must be consistent
    // (every face names vertices of its mesh) and go with unload.
    std::mt19937 random(11);
    const std::string document = kDocument;
    for (int round = 0; round < 400; ++round) {
        std::string mangled = document.substr(0, random() % (document.size() + 1));
        for (int flips = int(random() % 4); flips > 0 && !mangled.empty(); --flips)
            mangled[random() % mangled.size()] = "<>/=\" ,0179aA-"[random() % 14];
        LogCapture quiet;
        ActorDatabase::load_text(mangled);
        for (const std::string& id : ActorDatabase::actor_data_ids())
            for (const auto& mesh : ActorDatabase::find_actor_data(id)->get_meshes())
                for (std::uint16_t index : mesh->indices) ASSERT_LT(index, mesh->vertices.size());
        ActorDatabase::unload();
    }
}
