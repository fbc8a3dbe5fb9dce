#include "engine/core/Ref.h"
#include "engine/graphics/ActorDatabase.h"

#include "core/TestSupport.h"
#include "engine/core/Log.h"
#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerAnimation.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/ActorIKChain.h"
#include "engine/graphics/ActorRigIK.h"
#include "engine/graphics/AnimationClip.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using engine::core::Matrix;
using engine::core::Vector;
using engine::core::test::LogCapture;
using engine::graphics::ActorData;
using engine::graphics::ActorIKChain;
using engine::graphics::ActorRigIK;
using engine::graphics::IKHandlePosition;
using engine::graphics::AnimationClip;
using engine::graphics::ClipChannel;
using engine::graphics::ClipEasing;
using engine::graphics::Skeleton;
using engine::graphics::Transform;
namespace ActorDatabase = engine::graphics::ActorDatabase;

// Exports written inline; the atlas picture does not exist, so its size comes from the
// atlas itself and no texture is ever drawn.

namespace {

struct DragonBones : ::testing::Test {
    DragonBones() { ActorDatabase::unload(); }
    ~DragonBones() override { ActorDatabase::unload(); }

    std::vector<std::string> load(const std::string& skeleton, const std::string& atlas = kAtlas) {
        return ActorDatabase::load_dragonbones_text(skeleton, "test_ske.json", atlas, "test_tex.json", "");
    }
    std::vector<std::string> warnings() const {
        std::vector<std::string> result;
        for (const auto& e : log.entries())
            if (e.level == engine::core::Log::Level::Warning) result.push_back(e.message);
        return result;
    }
    static const Transform* joint(const std::string& actor, const std::string& name) {
        const ActorData* data = ActorDatabase::find_actor_data(actor);
        return data ? data->get_skeleton()->get_joint(name) : nullptr;
    }

    static const char* const kAtlas;
    LogCapture log;
};

const char* const DragonBones::kAtlas = R"({"name": "t", "imagePath": "no-such-atlas.png", "width": 256,
  "height": 256, "SubTexture": [
    {"name": "flame", "x": 10, "y": 20, "width": 81, "height": 233, "frameX": -2, "frameY": 0,
     "frameWidth": 86, "frameHeight": 234},
    {"name": "box", "x": 0, "y": 0, "width": 10, "height": 20}]})";

std::string armature(const std::string& body) {
    return R"({"name": "t", "version": "5.5", "frameRate": 24, "armature": [{"name": "hero", )" + body + "}]}";
}

}  // namespace

TEST_F(DragonBones, BonesBecomeJointsParentsFirstWithTheirSetupPose) {
    const auto ids = load(armature(R"("bone": [
        {"name": "arm", "parent": "root", "transform": {"x": 10, "skX": 90, "skY": 90}},
        {"name": "root", "transform": {"x": 5, "y": "7", "scX": 2}}])"));
    ASSERT_EQ(ids, std::vector<std::string>{"hero"});
    const ActorData* data = ActorDatabase::find_actor_data("hero");
    // Joint 0 is the armature, unnamed; then parents before children.
    EXPECT_EQ(data->get_skeleton()->get_joint_index("root"), 1);
    EXPECT_EQ(data->get_skeleton()->get_joint_index("arm"), 2);
    // The arm turns +x towards +y by a quarter turn (clockwise on a y-down screen), 10
    // units along the root's x axis, which the root stretches twice: its own y axis
    // then lies along the stretched x.
    const Matrix& w = joint("hero", "arm")->get_world_transform();
    const float expected[6] = {0, 1, -2, 0, 25, 7};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(w[i], expected[i], 1e-5f) << i;
    EXPECT_TRUE(warnings().empty());
}

TEST_F(DragonBones, MalformedJsonLoadsNothingWithOneWarning) {
    EXPECT_TRUE(load("{\"armature\": [").empty());
    EXPECT_TRUE(load("[1, 2]").empty());
    ASSERT_EQ(warnings().size(), 2u);
    EXPECT_NE(warnings()[0].find("test_ske.json"), std::string::npos);
    EXPECT_TRUE(ActorDatabase::actor_data_ids().empty());
}

TEST_F(DragonBones, UnknownParentsAndCyclesBecomeRootsInOneWarning) {
    const auto ids = load(armature(R"("bone": [{"name": "a", "parent": "b"}, {"name": "b", "parent": "a"},
        {"name": "c", "parent": "nobody"}])"));
    ASSERT_EQ(ids.size(), 1u);
    const Skeleton& s = *ActorDatabase::find_actor_data("hero")->get_skeleton();
    EXPECT_EQ(s.get_num_joints(), 4u);
    EXPECT_EQ(joint("hero", "c")->get_parent(), s.get_joint(0u));
    const Transform* a = joint("hero", "a");
    const Transform* b = joint("hero", "b");
    EXPECT_TRUE(a->get_parent() == s.get_joint(0u) || b->get_parent() == s.get_joint(0u));
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_NE(warnings()[0].find("skipped or read in part"), std::string::npos);
}

TEST_F(DragonBones, NotANumberAndHugeValuesTakeTheDefault) {
    load(armature(R"("bone": [{"name": "a", "transform": {"x": "NaN", "y": 1e300, "scX": "abc", "scY": null}}])"));
    const Transform* a = joint("hero", "a");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->get_local_position(), Vector<float>(0, 0));
    // "abc" reads as 0, as the tool reads it; null takes the default 1.
    EXPECT_EQ(a->get_local_scale(), Vector<float>(0, 1));
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_NE(warnings()[0].find("y is not finite"), std::string::npos);
}

TEST_F(DragonBones, InheritFlagsReadLenientBooleans) {
    load(armature(R"("bone": [{"name": "a"}, {"name": "b", "parent": "a", "inheritScale": "false",
        "inheritRotation": 0, "inheritTranslation": "1"}])"));
    EXPECT_EQ(joint("hero", "b")->get_inheritance(),
              unsigned(Transform::inherit_translation | Transform::inherit_reflection));
}

TEST_F(DragonBones, ImageIsAQuadWithItsUntrimmedPivotAtTheSlotOrigin) {
    load(armature(R"("bone": [{"name": "b", "transform": {"x": 100}}],
        "slot": [{"name": "s", "parent": "b", "color": {"aM": 50}}],
        "skin": [{"slot": [{"name": "s", "display": [{"name": "flame"}]}]}])"));
    const ActorData* data = ActorDatabase::find_actor_data("hero");
    ASSERT_EQ(data->get_meshes().size(), 1u);
    const auto& mesh = *data->get_meshes()[0];
    EXPECT_EQ(mesh.id, "s/0");
    EXPECT_EQ(mesh.texture, "no-such-atlas.png");
    EXPECT_TRUE(mesh.visible);
    EXPECT_FLOAT_EQ(mesh.colour.a, 0.5f);
    ASSERT_EQ(mesh.vertices.size(), 4u);
    // Pivot 43 - 2 = 41 across, 117 down: the quad spans x -41..40, y -117..116 around the bone.
    const Transform* b = joint("hero", "b");
    const Matrix skin = b->get_world_transform() * b->get_bind_transform();
    const Vector<float> tl = mesh.vertices[0].position * skin, br = mesh.vertices[2].position * skin;
    EXPECT_NEAR(tl.x, 100 - 41, 1e-4f);
    EXPECT_NEAR(tl.y, -117, 1e-4f);
    EXPECT_NEAR(br.x, 100 + 40, 1e-4f);
    EXPECT_NEAR(br.y, 116, 1e-4f);
    EXPECT_FLOAT_EQ(mesh.vertices[0].tex_coord.x, 10.0f / 256);
    EXPECT_FLOAT_EQ(mesh.vertices[2].tex_coord.y, 253.0f / 256);
    EXPECT_EQ(mesh.indices.size(), 6u);
}

TEST_F(DragonBones, WithoutAnAtlasBonesLoadAndImagesAreSkipped) {
    const auto ids = load(armature(R"("bone": [{"name": "b"}], "slot": [{"name": "s", "parent": "b"}],
        "skin": [{"slot": [{"name": "s", "display": [{"name": "flame"}]}]}])"),
                          "");
    ASSERT_EQ(ids.size(), 1u);
    EXPECT_EQ(ActorDatabase::find_actor_data("hero")->get_meshes().size(), 0u);
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_NE(warnings()[0].find("no atlas"), std::string::npos);
}

TEST_F(DragonBones, UnknownDisplayTypesAndRegionsAreSkipped) {
    load(armature(R"("bone": [{"name": "b"}], "slot": [{"name": "s", "parent": "b", "displayIndex": 1}],
        "skin": [{"slot": [{"name": "s", "display": [{"type": "hologram"}, {"name": "nothing"}, null,
        {"name": "box"}]}]}])"));
    const auto& meshes = ActorDatabase::find_actor_data("hero")->get_meshes();
    ASSERT_EQ(meshes.size(), 1u);
    EXPECT_EQ(meshes[0]->id, "s/3");
    EXPECT_FALSE(meshes[0]->visible);  // display 1 is the one shown, and it was skipped
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_NE(warnings()[0].find("2 thing(s)"), std::string::npos);
}

TEST_F(DragonBones, AnimationsBecomeClipsOfOffsetsWithTheirEasings) {
    load(armature(R"("bone": [{"name": "b", "transform": {"skX": 30, "skY": 30}}],
        "animation": [{"name": "move", "duration": 12, "playTimes": 0,
          "bone": [{"name": "b",
            "translateFrame": [{"duration": 6, "tweenEasing": 0, "x": 10}, {"duration": 6, "x": 20}],
            "rotateFrame": [{"duration": 12, "tweenEasing": -1, "rotate": 90}, {"duration": 0, "rotate": 90}],
            "scaleFrame": [{"duration": 12, "curve": [0.5, 0, 0.5, 1], "x": 2}, {"duration": 0}]}],
          "frame": [{"duration": 3}, {"duration": 9, "event": "step"}]}])"));
    const AnimationClip* clip = ActorDatabase::find_actor_data("hero")->get_clip("move");
    ASSERT_NE(clip, nullptr);
    EXPECT_FLOAT_EQ(clip->get_duration(), 0.5f);
    EXPECT_EQ(clip->get_loops(), 0);
    ASSERT_EQ(clip->get_events().size(), 1u);
    EXPECT_FLOAT_EQ(clip->get_events()[0].time, 0.125f);
    EXPECT_EQ(clip->get_events()[0].name, "step");
    for (const auto& track : clip->get_tracks()) {
        if (track.channel == ClipChannel::position) {
            // Linear, then a held last key that tweens back to the first as the clip loops.
            ASSERT_EQ(track.keys.size(), 3u);
            EXPECT_EQ(track.keys[0].easing, ClipEasing::linear);
            EXPECT_FLOAT_EQ(track.keys[2].time, 0.5f);
            EXPECT_FLOAT_EQ(track.keys[2].value[0], 10.0f);
        } else if (track.channel == ClipChannel::rotation) {
            // An ease-in, as a curve; the engine turns the other way.
            EXPECT_EQ(track.keys[0].easing, ClipEasing::bezier);
            EXPECT_NEAR(track.keys[0].value[0], -float(M_PI / 2), 1e-6f);
            float v[2];
            AnimationClip::sample(track, 0.25f, v);
            EXPECT_NEAR(v[0], -float(M_PI / 2), 1e-6f);
        } else if (track.channel == ClipChannel::scale) {
            // A curve is sampled, one more point than its frames, straight between.
            EXPECT_EQ(track.keys.size(), 1u + 13u + 1u);
            float v[2];
            AnimationClip::sample(track, 0.25f, v);
            EXPECT_NEAR(v[0], 1.5f, 1e-3f);
        }
    }
}

TEST_F(DragonBones, AnArmatureWhoseIdIsTakenIsSkipped) {
    load(armature(R"("bone": [{"name": "b"}])"));
    EXPECT_TRUE(load(armature(R"("bone": [{"name": "other"}])")).empty());
    EXPECT_NE(joint("hero", "b"), nullptr);
    EXPECT_EQ(warnings().size(), 1u);
}

TEST_F(DragonBones, IKConstraintsBecomeChainsOfTheRecord) {
    load(armature(R"("bone": [{"name": "thigh", "length": 50}, {"name": "calf", "parent": "thigh",
        "length": 40, "transform": {"x": 50}}, {"name": "goal", "transform": {"x": 60, "y": 30}}],
        "ik": [{"name": "leg", "bone": "calf", "target": "goal", "chain": "1", "bendPositive": "false",
        "weight": 0.5}, {"bone": "calf", "target": "nobody"}])"));
    const auto& chains = ActorDatabase::find_actor_data("hero")->ik_chains;
    ASSERT_EQ(chains.size(), 1u);
    EXPECT_EQ(chains[0].root, 1);
    EXPECT_EQ(chains[0].end, 2u);
    EXPECT_EQ(chains[0].target, 3u);
    EXPECT_FLOAT_EQ(chains[0].length, 40.0f);
    EXPECT_FALSE(chains[0].bend_positive);
    EXPECT_FLOAT_EQ(chains[0].weight, 0.5f);
    EXPECT_EQ(warnings().size(), 1u);
}

TEST_F(DragonBones, IKConstraintsBecomeARigOfBoneHandlesFollowingTheirTargets) {
    load(armature(R"("bone": [{"name": "thigh", "length": 50}, {"name": "calf", "parent": "thigh",
        "length": 40, "transform": {"x": 50}}, {"name": "goal", "transform": {"x": 60, "y": 30}},
        {"name": "gun"}], "ik": [{"name": "leg", "bone": "calf", "target": "goal", "chain": "1",
        "bendPositive": "false", "weight": 0.5}, {"name": "aim", "bone": "gun", "target": "goal"}])"));
    const ActorRigIK* rig = ActorDatabase::find_ik_rig("hero");
    ASSERT_NE(rig, nullptr);
    EXPECT_TRUE(rig->is_posed_with_clips());
    ASSERT_EQ(rig->get_num_position_handles(), 2u);
    const IKHandlePosition* leg = rig->get_position_handle("calf");
    ASSERT_NE(leg, nullptr);
    EXPECT_EQ(leg->get_type(), IKHandlePosition::Chain);
    EXPECT_FLOAT_EQ(leg->get_bone_length(), 40.0f);
    EXPECT_EQ(leg->get_direction(), -1);
    EXPECT_FLOAT_EQ(leg->get_weight(), 0.5f);
    EXPECT_EQ(leg->get_target_id(), "goal");
    const IKHandlePosition* aim = rig->get_position_handle("gun");
    ASSERT_NE(aim, nullptr);
    EXPECT_EQ(aim->get_type(), IKHandlePosition::Aim);
    EXPECT_EQ(aim->get_target_id(), "goal");
    ActorDatabase::unload();
    EXPECT_EQ(ActorDatabase::find_ik_rig("hero"), nullptr);
}

TEST_F(DragonBones, WeightedMeshKeepsTheFourStrongestInfluencesRenormalised) {
    // Five bones; vertex 0 hangs on all five (the weakest dropped), 1 and 2 on one each.
    load(armature(R"("bone": [{"name": "a"}, {"name": "b", "transform": {"x": 10}}, {"name": "c"}, {"name": "d"},
        {"name": "e"}], "slot": [{"name": "s", "parent": "a"}],
        "skin": [{"slot": [{"name": "s", "display": [{"type": "mesh", "name": "box",
          "vertices": [0, 0, 10, 0, 10, 10], "uvs": [0, 0, 1, 0, 1, 1], "triangles": [0, 1, 2],
          "slotPose": [1, 0, 0, 1, 5, 0],
          "weights": [5, 0, 0.4, 1, 0.3, 2, 0.1, 3, 0.1, 4, 0.1, 1, 1, 1, 1, 0, 1]}]}]}])"));
    const ActorData* data = ActorDatabase::find_actor_data("hero");
    ASSERT_EQ(data->get_meshes().size(), 1u);
    const auto& v = data->get_meshes()[0]->vertices;
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(v[0].joint_indices[0], 1u);
    EXPECT_EQ(v[0].joint_indices[1], 2u);
    EXPECT_NEAR(v[0].joint_weights[0], 0.4f / 0.9f, 1e-6f);
    EXPECT_NEAR(v[0].joint_weights[3], 0.1f / 0.9f, 1e-6f);
    EXPECT_EQ(v[1].joint_indices[0], 2u);
    EXPECT_EQ(v[1].joint_weights[1], 0.0f);
    // In the setup pose each vertex lands where the slot put it: x + 5.
    const Skeleton& s = *data->get_skeleton();
    for (std::size_t i = 0; i < 3; ++i) {
        Vector<float> p(0, 0);
        for (int k = 0; k < 4 && v[i].joint_weights[k] > 0; ++k) {
            const Transform* j = s.get_joint(v[i].joint_indices[k]);
            p = p + (v[i].position * (j->get_world_transform() * j->get_bind_transform())) * v[i].joint_weights[k];
        }
        const float expected_x[3] = {5, 15, 15}, expected_y[3] = {0, 0, 10};
        EXPECT_NEAR(p.x, expected_x[i], 1e-4f) << i;
        EXPECT_NEAR(p.y, expected_y[i], 1e-4f) << i;
    }
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_NE(warnings()[0].find("1 vertex influence(s) beyond the four"), std::string::npos);
}

TEST_F(DragonBones, BoundingBoxesBecomeNamedOutlinesOnTheirBone) {
    load(armature(R"("bone": [{"name": "b"}], "slot": [{"name": "s", "parent": "b"}, {"name": "t", "parent": "b"}],
        "skin": [{"slot": [{"name": "s", "display": [{"type": "BoundingBox", "name": "hit", "width": 20,
          "height": 10, "transform": {"x": 100}}]}, {"name": "t", "display": [{"type": "boundingBox",
          "subType": "polygon", "name": "tri", "vertices": [0, 0, 5, 0, 0, 5]}, {"type": "boundingBox",
          "subType": "ellipse", "name": "ring", "width": 4, "height": 2}]}]}])"));
    const auto& polygons = ActorDatabase::find_actor_data("hero")->polygons;
    ASSERT_EQ(polygons.size(), 3u);
    EXPECT_EQ(polygons[0].name, "hit");
    EXPECT_EQ(polygons[0].joint, "b");
    ASSERT_EQ(polygons[0].points.size(), 4u);
    EXPECT_EQ(polygons[0].points[0], Vector<float>(90, -5));
    EXPECT_EQ(polygons[0].points[2], Vector<float>(110, 5));
    EXPECT_EQ(polygons[1].points.size(), 3u);
    EXPECT_EQ(polygons[2].points.size(), 16u);
    EXPECT_TRUE(ActorDatabase::find_actor_data("hero")->get_meshes().empty());
    EXPECT_TRUE(warnings().empty());
}

TEST_F(DragonBones, SlotBlendModesByNameOrNumberAndTheOthersAreToldOf) {
    load(armature(R"("bone": [{"name": "b"}], "slot": [{"name": "glow", "parent": "b", "blendMode": "add"},
        {"name": "dark", "parent": "b", "blendMode": "Multiply"}, {"name": "light", "parent": "b", "blendMode": 12},
        {"name": "odd", "parent": "b", "blendMode": "overlay"}],
        "skin": [{"slot": [{"name": "glow", "display": [{"name": "box"}]}, {"name": "dark",
        "display": [{"name": "box"}]}, {"name": "light", "display": [{"name": "box"}]},
        {"name": "odd", "display": [{"name": "box"}]}]}])"));
    const auto& meshes = ActorDatabase::find_actor_data("hero")->get_meshes();
    ASSERT_EQ(meshes.size(), 4u);
    EXPECT_EQ(meshes[0]->blend, engine::graphics::PartBlend::add);
    EXPECT_EQ(meshes[1]->blend, engine::graphics::PartBlend::multiply);
    EXPECT_EQ(meshes[2]->blend, engine::graphics::PartBlend::screen);
    EXPECT_EQ(meshes[3]->blend, engine::graphics::PartBlend::normal);
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_NE(warnings()[0].find("'overlay' is drawn as normal"), std::string::npos);
}

TEST_F(DragonBones, NestedArmaturesAreCarriedActorsThatPlayWhatTheKeysSay) {
    load(R"({"armature": [
      {"name": "gun", "bone": [{"name": "g"}], "defaultActions": [{"gotoAndPlay": "rest"}],
       "animation": [{"name": "fire", "duration": 2}, {"name": "rest", "duration": 0}]},
      {"name": "hero", "bone": [{"name": "arm", "transform": {"x": 10}}],
       "slot": [{"name": "hand", "parent": "arm"}],
       "skin": [{"slot": [{"name": "hand", "display": [{"type": "armature", "path": "gun",
         "transform": {"x": 5}}]}]}],
       "animation": [{"name": "shoot", "duration": 4, "slot": [{"name": "hand", "displayFrame": [
         {"duration": 2}, {"duration": 2, "actions": [{"gotoAndPlay": "fire"}]}]}]},
         {"name": "wait", "duration": 4}]}]})");
    const auto hero = engine::core::make_ref<engine::graphics::Actor>("hero");
    const auto player = engine::core::make_ref<engine::graphics::ActorControllerAnimation>();
    hero->set_controller(player);
    ASSERT_EQ(hero->get_num_meshes(), 1u);
    const auto& carried = hero->get_mesh(0u)->get_scene_objects();
    ASSERT_EQ(carried.size(), 1u);
    auto* gun = dynamic_cast<engine::graphics::Actor*>(carried[0].second.get());
    ASSERT_NE(gun, nullptr);
    EXPECT_EQ(gun->get_data_id(), "gun");
    // It rides on the arm, placed by the display's transform.
    EXPECT_NEAR(gun->get_world_transform()[4], 15.0f, 1e-5f);
    auto* gun_player = dynamic_cast<engine::graphics::ActorControllerAnimation*>(gun->get_controller());
    ASSERT_NE(gun_player, nullptr);
    EXPECT_EQ(gun_player->get_clip(0)->get_name(), "rest");  // its default animation
    ASSERT_EQ(player->play("shoot"), "");
    player->update(0.0f);
    player->update(1.0f / 24);
    EXPECT_EQ(gun_player->get_clip(0)->get_name(), "rest");
    player->update(1.5f / 24);
    EXPECT_EQ(gun_player->get_clip(0)->get_name(), "fire");  // the display key at frame 2 said so
    EXPECT_TRUE(warnings().empty());
}

TEST_F(DragonBones, AnAtlasWrittenIntoTheSkeletonIsUsedWhenNoneIsGiven) {
    load(R"({"textureAtlas": [{"imagePath": "inside.png", "width": 16, "height": 16,
        "SubTexture": [{"name": "box", "width": 4, "height": 4}]}],
        "armature": [{"name": "hero", "bone": [{"name": "b"}], "slot": [{"name": "s", "parent": "b"}],
        "skin": [{"slot": [{"name": "s", "display": [{"name": "box"}]}]}]}]})",
         "");
    const auto& meshes = ActorDatabase::find_actor_data("hero")->get_meshes();
    ASSERT_EQ(meshes.size(), 1u);
    EXPECT_EQ(meshes[0]->texture, "inside.png");
    EXPECT_TRUE(warnings().empty());
}

TEST_F(DragonBones, ATimeStretchSlowsTheClipAndNaNEasingIsAStep) {
    load(armature(R"("bone": [{"name": "b"}], "animation": [{"name": "slow", "duration": 12, "scale": 2,
        "bone": [{"name": "b", "translateFrame": [{"duration": 12, "tweenEasing": "NaN", "x": 0}, {"x": 10}]}]}])"));
    const AnimationClip* clip = ActorDatabase::find_actor_data("hero")->get_clip("slow");
    ASSERT_NE(clip, nullptr);
    EXPECT_FLOAT_EQ(clip->get_duration(), 1.0f);  // 12 frames at 24 a second, played at half speed
    ASSERT_EQ(clip->get_tracks().size(), 1u);
    EXPECT_EQ(clip->get_tracks()[0].keys[0].easing, ClipEasing::step);
    EXPECT_FLOAT_EQ(clip->get_tracks()[0].keys[1].time, 1.0f);
}
