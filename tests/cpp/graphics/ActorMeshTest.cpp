#include "engine/graphics/ActorMesh.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorControllerAnimation.h"
#include "engine/graphics/ActorMeshData.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

using engine::core::Colour;
using engine::core::Matrix;
using engine::core::Vector;
using namespace engine::graphics;

namespace {

ActorVertex vertex(Vector<float> p, std::initializer_list<int> joints, std::initializer_list<float> weights) {
    ActorVertex v;
    v.position = p;
    int k = 0;
    for (int j : joints) v.joint_indices[k++] = std::uint8_t(j);
    k = 0;
    for (float w : weights) v.joint_weights[k++] = w;
    return v;
}

// Two joints: a root at the origin and an arm 10 units down it, bind pose as built.
class ActorMeshTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = skeleton.add_joint("root");
        arm = skeleton.add_joint("arm");
        root->attach(arm);
        arm->set_position({0, 10});
        skeleton.generate_bind_transforms();
    }

    Skeleton skeleton;
    Transform* root = nullptr;
    Transform* arm = nullptr;
    ActorMeshData data{"m"};
};

}  // namespace

TEST_F(ActorMeshTest, NeverSkinnedHasNoPositions) {
    data.vertices.push_back(vertex({1, 2}, {0}, {1}));
    ActorMesh mesh;
    mesh.set_data(&data);
    EXPECT_TRUE(mesh.get_positions().empty());
    EXPECT_EQ(mesh.get_id(), "m");
}

TEST_F(ActorMeshTest, SetDataOnlyOnce) {
    ActorMeshData other("other");
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.set_data(&other);
    EXPECT_EQ(mesh.get_data(), &data);
}

TEST_F(ActorMeshTest, BindPoseSkinsToBindPositions) {
    data.vertices.push_back(vertex({1, 12}, {1}, {1}));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    EXPECT_NEAR(mesh.get_positions()[0].x, 1.0f, 1e-5f);
    EXPECT_NEAR(mesh.get_positions()[0].y, 12.0f, 1e-5f);
    EXPECT_EQ(mesh.get_rest_positions(), mesh.get_positions());
}

TEST_F(ActorMeshTest, SkinningMatchesWorldTimesBindPerInfluence) {
    data.vertices.push_back(vertex({1, 12}, {0, 1}, {0.25f, 0.75f}));
    ActorMesh mesh;
    mesh.set_data(&data);
    root->set_position({5, 0});
    arm->set_rotation(0.5f);
    mesh.transform_vertices(&skeleton);
    const Vector<float> p(1, 12);
    const Matrix m0 = root->get_world_transform() * root->get_bind_transform();
    const Matrix m1 = arm->get_world_transform() * arm->get_bind_transform();
    Vector<float> expected;
    expected += (p * m0) * 0.25f;
    expected += (p * m1) * 0.75f;
    EXPECT_EQ(mesh.get_positions()[0], expected);
}

TEST_F(ActorMeshTest, FirstZeroWeightStopsTheInfluences) {
    // (0.5, 0, 0.5, 0): only the first joint counts, at half strength.
    data.vertices.push_back(vertex({2, 4}, {0, 1, 1}, {0.5f, 0.0f, 0.5f}));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(1, 2));
}

TEST_F(ActorMeshTest, FirstWeightZeroCollapsesToTheOrigin) {
    data.vertices.push_back(vertex({2, 4}, {0, 1}, {0.0f, 1.0f}));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(0, 0));
}

TEST_F(ActorMeshTest, WeightsAreNotNormalised) {
    data.vertices.push_back(vertex({2, 4}, {0, 0}, {1.0f, 1.0f}));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(4, 8));
}

TEST_F(ActorMeshTest, InfluenceOfAMissingJointMovesNothing) {
    data.vertices.push_back(vertex({2, 4}, {44, 0}, {1.0f, 1.0f}));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(2, 4));
}

TEST_F(ActorMeshTest, InfluenceOfAJointGoneSinceTheLastPassMovesNothing) {
    // Skinned against the two-joint skeleton, then against one without the arm: the
    // arm's slot must not keep the previous pass's matrix.
    data.vertices.push_back(vertex({2, 4}, {1, 0}, {1.0f, 0.0f}));
    ActorMesh mesh;
    mesh.set_data(&data);
    arm->set_rotation(0.5f);
    mesh.transform_vertices(&skeleton);
    ASSERT_NE(mesh.get_positions()[0], Vector<float>(0, 0));
    Skeleton shorter;
    shorter.add_joint("root");
    shorter.generate_bind_transforms();
    mesh.transform_vertices(&shorter);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(0, 0));
}

TEST_F(ActorMeshTest, BlendShapeWeightFollowsTheDriverJointRotation) {
    data.vertices.push_back(vertex({0, 0}, {0}, {1}));
    auto shape = std::make_unique<BlendShape>();
    shape->joint_driver_id = "arm";
    shape->curve = std::make_unique<AnimCurve>();
    shape->curve->add_keyframe(0.0f, 0.0f);
    shape->curve->add_keyframe(1.0f, 1.0f);
    shape->offsets.push_back({4, 8});
    data.blend_shapes.push_back(std::move(shape));
    ActorMesh mesh;
    mesh.set_data(&data);
    arm->set_rotation(0.5f);
    mesh.transform_vertices(&skeleton);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(2, 4));
}

TEST_F(ActorMeshTest, BlendShapeWithAMissingDriverContributesNothing) {
    data.vertices.push_back(vertex({1, 1}, {0}, {1}));
    auto shape = std::make_unique<BlendShape>();
    shape->joint_driver_id = "tail";
    shape->curve = std::make_unique<AnimCurve>();
    shape->curve->add_keyframe(0.0f, 1.0f);
    shape->offsets.push_back({4, 8});
    data.blend_shapes.push_back(std::move(shape));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(1, 1));
}

namespace {
void add_jiggle(ActorMeshData& data, std::vector<float> weights) {
    auto jiggle = std::make_unique<Jiggle>("soft");
    jiggle->stiffness = 0.01f;
    jiggle->damping = 0.2f;
    jiggle->weights = std::move(weights);
    data.jiggles.push_back(std::move(jiggle));
}
}  // namespace

TEST_F(ActorMeshTest, JiggleWithLongStepAdvancesSpringsBy1Over60Only) {
    data.vertices.push_back(vertex({0, 0}, {0}, {1}));
    add_jiggle(data, {1.0f});
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    mesh.update(0.1f);  // springs made at the skinned positions
    root->set_position({3, 0});
    mesh.transform_vertices(&skeleton);

    Spring expected({0, 0}, {0, 0}, 0.01f * 6000.0f, 0.2f, 5.0f, 1.0f);
    expected.update(1.0f / 60.0f, {3, 0});
    mesh.update(0.1f);
    EXPECT_EQ(mesh.get_positions()[0], expected.get_position());
}

TEST_F(ActorMeshTest, JiggleWeightZeroKeepsTheSkinnedPositionExactly) {
    data.vertices.push_back(vertex({0, 0}, {0}, {1}));
    data.vertices.push_back(vertex({1, 0}, {0}, {1}));
    add_jiggle(data, {0.0f, 1.0f});
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    mesh.update(1.0f / 60.0f);
    root->set_position({3, 0});
    mesh.transform_vertices(&skeleton);
    mesh.update(1.0f / 60.0f);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(3, 0));
    EXPECT_NE(mesh.get_positions()[1], Vector<float>(4, 0));  // weight 1, scale 1: the spring's place
    EXPECT_EQ(mesh.get_positions()[1], mesh.get_jiggles()[0].springs[1].get_position());
}

TEST_F(ActorMeshTest, JiggleSettlesOnTheSkinnedPositions) {
    data.vertices.push_back(vertex({0, 0}, {0}, {1}));
    add_jiggle(data, {0.5f});
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    mesh.update(1.0f / 60.0f);
    root->set_position({4, 0});
    mesh.transform_vertices(&skeleton);
    bool moving = true;
    for (int i = 0; i < 600 && moving; ++i) moving = mesh.update(1.0f / 60.0f);
    EXPECT_FALSE(moving);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(4, 0));
}

TEST_F(ActorMeshTest, JiggleScaleScalesTheSpringShare) {
    data.vertices.push_back(vertex({0, 0}, {0}, {1}));
    add_jiggle(data, {1.0f});
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.set_jiggle_scale("soft", 0.0f);
    mesh.transform_vertices(&skeleton);
    mesh.update(1.0f / 60.0f);
    root->set_position({3, 0});
    mesh.transform_vertices(&skeleton);
    mesh.update(1.0f / 60.0f);
    EXPECT_EQ(mesh.get_positions()[0], Vector<float>(3, 0));
    mesh.reset_jiggle_scales();
    EXPECT_EQ(mesh.get_jiggles()[0].scale, 1.0f);
}

TEST_F(ActorMeshTest, SetColourWithAlphaOneKeepsVertexAlphas) {
    data.vertices.push_back(vertex({0, 0}, {0}, {1}));
    data.vertices.back().colour = Colour(1, 1, 1, 0.25f);
    data.vertices.push_back(vertex({0, 0}, {0}, {1}));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.set_vertex_colour(1, Colour(0, 0, 0, 0.75f));
    mesh.set_colour(Colour(0.5f, 0.5f, 0.5f, 1.0f));
    EXPECT_EQ(mesh.get_vertex_colours()[0], Colour(0.5f, 0.5f, 0.5f, 0.25f));
    EXPECT_EQ(mesh.get_vertex_colours()[1], Colour(0.5f, 0.5f, 0.5f, 0.75f));
    EXPECT_FALSE(mesh.is_uniform_colour());
    mesh.set_colour(Colour(0.5f, 0.5f, 0.5f, 0.5f));
    EXPECT_EQ(mesh.get_vertex_colours()[0].a, 0.5f);
    EXPECT_EQ(mesh.get_vertex_colours()[1].a, 0.5f);
}

TEST_F(ActorMeshTest, SetColourWithoutVertexColoursMakesTheMeshUniform) {
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.set_colour(Colour(1, 0, 0, 1));
    EXPECT_TRUE(mesh.is_uniform_colour());
    EXPECT_EQ(mesh.get_colour(), Colour(1, 0, 0, 1));
    mesh.disable_vertex_colours();
    EXPECT_TRUE(mesh.is_uniform_colour());
}

TEST_F(ActorMeshTest, IdentityTextureTransformReadsBackAsIdentity) {
    ActorMesh mesh;
    const Matrix shifted({2, 3}, 0.5f);
    mesh.set_texture_transform(shifted);
    EXPECT_EQ(mesh.get_texture_transform(), shifted);
    mesh.set_texture_transform(Matrix());
    EXPECT_TRUE(mesh.get_texture_transform().is_identity());
}

TEST_F(ActorMeshTest, TheMeshHoldsTheRecordThatOwnsItsData) {
    // Records are held by their users: the database may forget the record, and the
    // mesh keeps drawing from it until the mesh goes.
    struct Owner : engine::core::SharedObject {
        ActorMeshData mesh{"held"};
    };
    engine::core::Ref<Owner> owner(new Owner);
    owner->mesh.vertices.push_back(vertex({3, 4}, {0}, {1}));
    ActorMesh mesh;
    mesh.set_data(&owner->mesh, owner);
    const Owner* record = owner.get();
    EXPECT_EQ(record->get_ref_count(), 2);
    owner.reset();  // the database's entry goes
    EXPECT_EQ(mesh.get_data(), &record->mesh);
    mesh.transform_vertices(&skeleton);
    ASSERT_EQ(mesh.get_positions().size(), 1u);
}

TEST_F(ActorMeshTest, SkinningAllocatesNothingOnceSized) {
    for (int i = 0; i < 8; ++i) data.vertices.push_back(vertex({float(i), 1}, {0, 1}, {0.5f, 0.5f}));
    add_jiggle(data, std::vector<float>(8, 0.5f));
    ActorMesh mesh;
    mesh.set_data(&data);
    mesh.transform_vertices(&skeleton);
    mesh.update(1.0f / 60.0f);
    const auto* positions = mesh.get_positions().data();
    const auto* rest = mesh.get_rest_positions().data();
    const auto* springs = mesh.get_jiggles()[0].springs.data();
    for (int frame = 0; frame < 10; ++frame) {
        arm->set_rotation(0.1f * float(frame));
        mesh.transform_vertices(&skeleton);
        mesh.update(1.0f / 60.0f);
    }
    EXPECT_EQ(mesh.get_positions().data(), positions);
    EXPECT_EQ(mesh.get_rest_positions().data(), rest);
    EXPECT_EQ(mesh.get_jiggles()[0].springs.data(), springs);
}

// Actors riding on meshes -------------------------------------------------------------

namespace {

class AttachedActorsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(ActorDatabase::load_text(R"(<r><ActorData id="rider"><Joint id="root"/>
            <ActorMeshData id="body"><Vertex/><Vertex/><Vertex/><Face vertex_indices="0, 1, 2"/></ActorMeshData>
            </ActorData></r>)"));
    }
    void TearDown() override { ActorDatabase::unload(); }
};

}  // namespace

TEST_F(AttachedActorsTest, AnActorOnItsOwnMeshIsRefused) {
    Actor hero("rider");
    ActorMesh& mesh = *hero.get_mesh(0u);
    EXPECT_TRUE(mesh.is_carried_by(&hero));
    EXPECT_FALSE(mesh.add_scene_object("self", &hero));
    EXPECT_TRUE(mesh.get_scene_objects().empty());
    hero.on_update(1.0f / 60.0f);  // ends
}

TEST_F(AttachedActorsTest, TwoActorsOnEachOthersMeshesAreRefused) {
    Actor hero("rider"), sidekick("rider");
    EXPECT_TRUE(hero.get_mesh(0u)->add_scene_object("rider", &sidekick));
    EXPECT_FALSE(sidekick.get_mesh(0u)->add_scene_object("rider", &hero));
    EXPECT_TRUE(sidekick.get_mesh(0u)->get_scene_objects().empty());
    hero.set_jiggle_scale("soft", 0.5f);  // ends
    hero.get_mesh(0u)->remove_all_scene_objects();
}

TEST_F(AttachedActorsTest, ALongerCycleIsRefusedAndAChainIsNot) {
    Actor a("rider"), b("rider"), c("rider");
    EXPECT_TRUE(a.get_mesh(0u)->add_scene_object("b", &b));
    EXPECT_TRUE(b.get_mesh(0u)->add_scene_object("c", &c));
    EXPECT_FALSE(c.get_mesh(0u)->add_scene_object("a", &a));
    EXPECT_FALSE(c.get_mesh(0u)->is_carried_by(nullptr));
    Actor d("rider");
    EXPECT_TRUE(c.get_mesh(0u)->add_scene_object("d", &d));        // a chain, no cycle
    EXPECT_TRUE(a.get_mesh(0u)->add_scene_object("d again", &d));  // one actor on two meshes
    b.get_mesh(0u)->remove_all_scene_objects();
    c.get_mesh(0u)->remove_all_scene_objects();
    a.get_mesh(0u)->remove_all_scene_objects();
}

TEST_F(ActorMeshTest, JointsUsedAreTheJointsTheVerticesNameAscending) {
    data.vertices.push_back(vertex({0, 0}, {3, 1}, {0.5f, 0.5f}));
    data.vertices.push_back(vertex({0, 0}, {1, 7}, {1.0f, 0.0f}));  // after a zero weight: not named
    ActorMesh mesh;
    EXPECT_TRUE(mesh.get_joints_used().empty());
    mesh.set_data(&data);
    EXPECT_EQ(mesh.get_joints_used(), (std::vector<std::uint8_t>{1, 3}));
}

TEST_F(ActorMeshTest, LentJointMatricesSkinExactlyAsTheSkeletonDoes) {
    data.vertices.push_back(vertex({1, 12}, {0, 1}, {0.25f, 0.75f}));
    data.vertices.push_back(vertex({3, 2}, {1}, {1}));
    ActorMesh own, lent;
    own.set_data(&data);
    lent.set_data(&data);
    root->set_position({5, 0});
    arm->set_rotation(0.5f);
    own.transform_vertices(&skeleton);
    const Matrix table[2] = {root->get_world_transform() * root->get_bind_transform(),
                             arm->get_world_transform() * arm->get_bind_transform()};
    lent.transform_vertices(&skeleton, table);
    ASSERT_EQ(lent.get_positions().size(), 2u);
    EXPECT_EQ(lent.get_positions(), own.get_positions());
}

namespace {

// Counts its steps.
class Ticker : public SceneObject {
public:
    void on_update(float) override { ++steps; }
    int steps = 0;
};

// A root and an arm; "body" rides on the root and the arm, "hand" on the arm alone,
// "cap" on the root; "wave" turns the arm.
class ActorSkinningTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(ActorDatabase::load_text(R"(<r><ActorData id="waver">
            <Joint id="root"/><Joint id="arm" parent="root" position="0, 10"/>
            <ActorMeshData id="body"><Vertex position="1, 12" joint_indices="0, 1" joint_weights="0.25, 0.75"/>
              <Vertex position="2, 0" joint_indices="0" joint_weights="1"/></ActorMeshData>
            <ActorMeshData id="hand"><Vertex position="0, 14" joint_indices="1" joint_weights="1"/></ActorMeshData>
            <ActorMeshData id="cap"><Vertex position="0, -2" joint_indices="0" joint_weights="1"/></ActorMeshData>
            <ActorClip id="wave" duration="1" loops="0">
              <ClipTrack joint="arm" channel="rotation"><ClipKey time="0" value="0"/><ClipKey time="1" value="1"/></ClipTrack>
            </ActorClip>
            </ActorData></r>)"));
    }
    void TearDown() override { ActorDatabase::unload(); }
};

}  // namespace

TEST_F(ActorSkinningTest, EveryMeshOfAnActorSkinsAsItWouldOnItsOwn) {
    const engine::core::Ref<Actor> actor = engine::core::make_ref<Actor>("waver");
    const auto player = engine::core::make_ref<ActorControllerAnimation>();
    actor->set_controller(player);
    ASSERT_EQ(player->play("wave"), "");
    actor->get_skeleton()->get_joint(0u)->set_position({3, 4});
    for (int frame = 0; frame < 3; ++frame) {
        actor->on_update(0.2f);
        ASSERT_TRUE(actor->transformed_vertices_this_frame());
        for (unsigned m = 0; m < actor->get_num_meshes(); ++m) {
            ActorMesh alone;
            alone.set_data(actor->get_mesh(m)->get_data());
            alone.transform_vertices(actor->get_skeleton());
            EXPECT_EQ(actor->get_mesh(m)->get_positions(), alone.get_positions())
                << "mesh " << m << ", frame " << frame;
        }
    }
}

TEST_F(ActorSkinningTest, AnObjectAttachedToAMeshStepsWithTheActor) {
    const engine::core::Ref<Actor> actor = engine::core::make_ref<Actor>("waver");
    const auto player = engine::core::make_ref<ActorControllerAnimation>();
    actor->set_controller(player);
    ASSERT_EQ(player->play("wave"), "");
    actor->on_update(0.1f);  // no mesh has anything to step yet
    const auto ticker = engine::core::make_ref<Ticker>();
    ASSERT_TRUE(actor->get_mesh("hand")->add_scene_object("t", ticker));
    actor->on_update(0.1f);
    actor->on_update(0.1f);
    EXPECT_EQ(ticker->steps, 2);
    actor->get_mesh("hand")->remove_all_scene_objects();
}

TEST_F(ActorSkinningTest, PrefetchingAnyStageOfAnyActorIsHarmless) {
    const engine::core::Ref<Actor> bare = engine::core::make_ref<Actor>("nobody");  // no skeleton, no meshes
    const engine::core::Ref<Actor> posed = engine::core::make_ref<Actor>("waver");
    posed->set_controller(engine::core::make_ref<ActorControllerAnimation>());
    for (unsigned stage = 0; stage < SceneObject::kPrefetchStages + 1; ++stage) {
        bare->prefetch(stage);
        posed->prefetch(stage);
    }
    posed->on_update(0.1f);
    EXPECT_TRUE(posed->vertices_transformed());
}
