#include "engine/graphics/ActorControllerAnimation.h"
#include "engine/graphics/ActorControllerStack.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/AnimationClip.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>
#include <string>
#include <vector>

using namespace engine::graphics;

namespace {

// A root with an arm and a leg, and three meshes drawn skin, cape, hat. "turn" turns
// the arm from 0 to 1 over one second and moves the leg 10 along x; "still" holds the
// arm at 0.5; "lift" holds the leg's rotation at 0.25; "beat" has events at 0.25 and
// 0.75; "swap" draws the hat first (behind the rest) until 1.0, then between the cape
// and the skin, and the skin last (over the rest) from 0.5.
const char* kDocument = R"(<Actors>
  <ActorData id="body">
    <Joint id="root" position="0, 0"/>
    <Joint id="arm" parent="root" position="5, 0" rotation="0.5" bind_rotation="0.5"/>
    <Joint id="leg" parent="root" position="0, 10"/>
    <ActorMeshData id="skin"><Vertex position="0, 0" joint_indices="0" joint_weights="1"/></ActorMeshData>
    <ActorMeshData id="cape"><Vertex position="0, 0" joint_indices="0" joint_weights="1"/></ActorMeshData>
    <ActorMeshData id="hat"><Vertex position="0, 0" joint_indices="0" joint_weights="1"/></ActorMeshData>
    <ActorClip id="swap" duration="1" loops="1">
      <PartTrack part="skin" channel="order"><ClipKey time="0" value="0"/><ClipKey time="0.5" value="5"/></PartTrack>
      <PartTrack part="hat" channel="order"><ClipKey time="0" value="-1" easing="linear"/><ClipKey time="1" value="3"/></PartTrack>
    </ActorClip>
    <ActorClip id="blink" duration="1" loops="0">
      <PartTrack part="skin" channel="visible"><ClipKey time="0" value="1"/><ClipKey time="0.5" value="0"/></PartTrack>
      <PartTrack part="skin" channel="colour">
        <ClipKey time="0" value="1, 1, 1, 1"/><ClipKey time="1" value="0, 0.5, 1, 0.5"/>
      </PartTrack>
    </ActorClip>
    <ActorClip id="turn" duration="1">
      <ClipTrack joint="arm" channel="rotation"><ClipKey time="0" value="0"/><ClipKey time="1" value="1"/></ClipTrack>
      <ClipTrack joint="leg" channel="position"><ClipKey time="0" value="0, 0"/><ClipKey time="1" value="10, 0"/></ClipTrack>
    </ActorClip>
    <ActorClip id="still" duration="1" loops="0">
      <ClipTrack joint="arm" channel="rotation"><ClipKey time="0" value="0.5"/></ClipTrack>
    </ActorClip>
    <ActorClip id="lift" duration="1" loops="0">
      <ClipTrack joint="leg" channel="rotation"><ClipKey time="0" value="0.25"/></ClipTrack>
      <ClipTrack joint="arm" channel="rotation"><ClipKey time="0" value="0.125"/></ClipTrack>
    </ActorClip>
    <ActorClip id="lean" duration="1" loops="1">
      <ClipTrack joint="leg" channel="skew"><ClipKey time="0" value="0"/><ClipKey time="1" value="0.5"/></ClipTrack>
    </ActorClip>
    <ActorClip id="beat" duration="1" loops="0">
      <ClipTrack joint="leg" channel="scale"><ClipKey time="0" value="1, 1"/><ClipKey time="1" value="2, 3"/></ClipTrack>
      <ClipEvent time="0.25" name="a"/>
      <ClipEvent time="0.75" name="b"/>
    </ActorClip>
  </ActorData>
</Actors>)";

struct Clips : ::testing::Test {
    void SetUp() override {
        ASSERT_TRUE(ActorDatabase::load_text(kDocument));
        actor = engine::core::make_ref<Actor>("body");
        controller = engine::core::make_ref<ActorControllerAnimation>();
        actor->set_controller(controller);
    }
    void TearDown() override {
        actor.reset();
        controller.reset();
        ActorDatabase::unload();
    }
    Transform* joint(const char* name) const { return actor->get_skeleton()->get_joint(name); }
    float arm() const { return joint("arm")->get_local_rotation(); }

    engine::core::Ref<Actor> actor;
    engine::core::Ref<ActorControllerAnimation> controller;
};

}  // namespace

TEST_F(Clips, PlayedClipPosesTheSetupPosePlusItsOffsets) {
    ASSERT_EQ(controller->play("turn"), "");
    EXPECT_TRUE(controller->update(0.25f));
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.25f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_position().x, 2.5f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_position().y, 10.0f);
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.25f);
    EXPECT_EQ(controller->get_clip(0)->get_name(), "turn");
}

TEST_F(Clips, SkewKeysAddToTheSetupSkewAndBlendLikeTurns) {
    joint("leg")->set_skew(0.25f);
    const engine::core::Ref<ActorControllerAnimation> fresh = engine::core::make_ref<ActorControllerAnimation>();
    actor->set_controller(fresh);  // its setup pose is the record's: skew 0
    ASSERT_EQ(fresh->play("lean"), "");
    EXPECT_TRUE(fresh->update(0.5f));
    EXPECT_FLOAT_EQ(joint("leg")->get_skew(), 0.25f);
    ASSERT_EQ(fresh->play("turn", 1.0f), "");  // fading out of the skew over a second
    fresh->update(0.5f);
    EXPECT_FLOAT_EQ(joint("leg")->get_skew(), 0.5f * 0.5f);  // the lean (held at its end) at half weight
}

TEST_F(Clips, UnknownClipIsRefusedAndNothingPlays) {
    EXPECT_NE(controller->play("nope").find("no clip \"nope\""), std::string::npos);
    EXPECT_EQ(controller->get_clip(0), nullptr);
    EXPECT_NE(controller->play("turn", 0.0f, -1, 1.0f, ActorControllerAnimation::kMaxLayers), "");
    EXPECT_NE(controller->play("turn", -1.0f), "");
}

TEST_F(Clips, LoopingClipWrapsAround) {
    ASSERT_EQ(controller->play("turn", 0.0f, 0), "");
    controller->update(0.75f);
    controller->update(0.5f);
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.25f);
    EXPECT_FLOAT_EQ(arm(), 0.75f);
}

TEST_F(Clips, PlayCountEndsOnTheLastFrameAndHoldsIt) {
    ASSERT_EQ(controller->play("turn", 0.0f, 2), "");
    controller->update(1.5f);
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.5f);
    controller->update(0.75f);
    EXPECT_FLOAT_EQ(controller->get_time(0), 1.0f);
    EXPECT_FLOAT_EQ(arm(), 1.5f);
    EXPECT_FALSE(controller->update(1.0f));  // held: the pose does not change
    EXPECT_FLOAT_EQ(arm(), 1.5f);
}

TEST_F(Clips, SpeedZeroHoldsAndNegativeSpeedPlaysBackward) {
    ASSERT_EQ(controller->play("turn", 0.0f, 0, 0.0f), "");
    EXPECT_TRUE(controller->update(0.5f));  // the first frame poses time 0
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.0f);
    EXPECT_FALSE(controller->update(0.5f));
    ASSERT_EQ(controller->play("turn", 0.0f, 0, -0.5f), "");
    controller->update(0.5f);  // 0 - 0.25 wraps to 0.75
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.75f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.75f);
    ASSERT_EQ(controller->play("turn", 0.0f, 1, 2.0f), "");
    controller->update(0.25f);
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.5f);
}

TEST_F(Clips, CrossfadeBlendsByTheFadeWeightOverTheFadeTime) {
    ASSERT_EQ(controller->play("still"), "");  // arm offset 0.5
    controller->update(0.1f);
    ASSERT_EQ(controller->play("lift", 0.5f), "");  // arm offset 0.125, leg rotation 0.25
    controller->update(0.1f);
    EXPECT_FLOAT_EQ(controller->get_fade_weight(0), 0.2f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.8f * 0.5f + 0.2f * 0.125f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_rotation(), 0.2f * 0.25f);
    controller->update(0.3f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.2f * 0.5f + 0.8f * 0.125f);
    controller->update(0.2f);
    EXPECT_FLOAT_EQ(controller->get_fade_weight(0), 1.0f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.125f);
    controller->stop(0, 0.5f);
    controller->update(0.25f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.5f * 0.125f);
    controller->update(0.25f);
    EXPECT_FLOAT_EQ(arm(), 0.5f);  // back to the setup pose
}

TEST_F(Clips, MaskedLayerTouchesOnlyItsJointsAndWeightScalesIt) {
    ASSERT_EQ(controller->play("still"), "");
    ASSERT_EQ(controller->set_mask(1, {"leg"}), "");
    ASSERT_EQ(controller->play("lift", 0.0f, -1, 1.0f, 1, 0.5f), "");
    controller->update(0.1f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.5f);  // the arm is outside the mask
    EXPECT_FLOAT_EQ(joint("leg")->get_local_rotation(), 0.5f * 0.25f);
    EXPECT_EQ(controller->set_mask(1, {"tail"}), "tail");
}

TEST_F(Clips, AdditiveLayerAddsItsOffsetsOnTop) {
    ASSERT_EQ(controller->play("still"), "");
    controller->set_additive(1, true);
    ASSERT_EQ(controller->play("lift", 0.0f, -1, 1.0f, 1, 0.5f), "");
    controller->update(0.1f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.5f + 0.5f * 0.125f);
    controller->set_additive(1, false);
    controller->update(0.1f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.5f + 0.5f * (0.125f - 0.5f));
}

TEST_F(Clips, ScaleKeysMultiplyTheSetupScale) {
    ASSERT_EQ(controller->play("beat"), "");
    controller->update(0.5f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_scale().x, 1.5f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_scale().y, 2.0f);
}

TEST_F(Clips, EventsFireOncePerCrossingEvenAcrossALongFrame) {
    std::vector<std::string> seen;
    controller->set_event_callback(
        std::make_shared<const std::function<void(const std::string&, const std::string&, int)>>(
            [&](const std::string& event, const std::string& clip, int layer) {
                seen.push_back(event + ":" + clip + ":" + std::to_string(layer));
            }));
    ASSERT_EQ(controller->play("beat"), "");
    controller->update(0.5f);
    EXPECT_EQ(seen, (std::vector<std::string>{"a:beat:0"}));
    seen.clear();
    controller->update(2.5f);  // 0.5 .. 3.0 crosses b, a, b, a, b
    EXPECT_EQ(seen, (std::vector<std::string>{"b:beat:0", "a:beat:0", "b:beat:0", "a:beat:0", "b:beat:0"}));
    seen.clear();
    controller->update(0.0f);
    EXPECT_TRUE(seen.empty());
}

TEST_F(Clips, FinishIsToldOnceAndTheQueuedClipTakesTheLeftoverTime) {
    std::vector<std::string> finished;
    controller->set_finished_callback(std::make_shared<const std::function<void(const std::string&, int)>>(
        [&](const std::string& clip, int) { finished.push_back(clip); }));
    ASSERT_EQ(controller->play("turn", 0.0f, 2), "");
    ASSERT_EQ(controller->queue("still"), "");
    controller->update(2.25f);
    EXPECT_EQ(finished, (std::vector<std::string>{"turn"}));
    EXPECT_EQ(controller->get_clip(0)->get_name(), "still");
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.25f);
    controller->update(10.0f);
    EXPECT_EQ(finished.size(), 1u);  // "still" loops forever
}

TEST_F(Clips, UnchangedPoseReportsNoChange) {
    ASSERT_EQ(controller->play("still"), "");
    EXPECT_TRUE(controller->update(0.1f));
    EXPECT_FALSE(controller->update(0.1f));
    EXPECT_FALSE(controller->update(0.1f));
}

TEST_F(Clips, SteppingAllocatesNothingOnceWarm) {
    ASSERT_EQ(controller->play("turn", 0.0f, 0), "");
    ASSERT_EQ(controller->play("beat", 0.0f, 0, 1.0f, 1, 0.5f), "");
    controller->set_event_callback(
        std::make_shared<const std::function<void(const std::string&, const std::string&, int)>>(
            [](const std::string&, const std::string&, int) {}));
    for (int i = 0; i < 10; ++i) controller->update(0.3f);
    ASSERT_EQ(controller->play("still", 0.5f, 0), "");
    controller->update(0.1f);
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 200; ++i) controller->update(0.07f);
    EXPECT_EQ(mallinfo2().uordblks, before);
}

TEST_F(Clips, UnloadStopsEveryLayerAndKeepsThePose) {
    ASSERT_EQ(controller->play("turn", 0.0f, 0), "");
    controller->update(0.5f);
    const float posed = arm();
    ActorDatabase::unload();
    EXPECT_FALSE(controller->update(0.1f));
    EXPECT_EQ(controller->get_clip(0), nullptr);
    EXPECT_FLOAT_EQ(arm(), posed);
    EXPECT_NE(controller->play("turn"), "");
    ASSERT_TRUE(ActorDatabase::load_text(kDocument));
    EXPECT_EQ(controller->play("turn"), "");
}

TEST_F(Clips, ControllerOutlivesItsActor) {
    ASSERT_EQ(controller->play("turn"), "");
    actor = engine::core::make_ref<Actor>("body");  // the first actor goes
    EXPECT_EQ(controller->get_actor(), nullptr);
    EXPECT_FALSE(controller->update(0.1f));
    EXPECT_NE(controller->play("turn"), "");
}

TEST_F(Clips, FadeIntoAnIdleBottomLayerStartsFromTheSkeletonsPose) {
    joint("arm")->set_rotation(2.0f);  // left there by a ragdoll or a script
    joint("leg")->set_position({3.0f, 12.0f});
    ASSERT_EQ(controller->play("still", 0.5f), "");  // arm offset 0.5, leg not keyed
    controller->update(0.25f);
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.5f * 1.5f + 0.5f * 0.5f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_position().x, 0.5f * 3.0f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_position().y, 10.0f + 0.5f * 2.0f);
    controller->update(0.25f);
    EXPECT_FLOAT_EQ(arm(), 1.0f);
    EXPECT_FLOAT_EQ(joint("leg")->get_local_position().x, 0.0f);  // back to its setup pose
}

TEST_F(Clips, StackedControllersPoseInTurn) {
    struct Nudge : ActorController {
        bool update(float) override {
            Transform* arm = get_actor()->get_skeleton()->get_joint("arm");
            arm->set_rotation(arm->get_local_rotation() + 0.125f);
            return true;
        }
    };
    ActorControllerStack stack;
    Nudge nudge;
    ActorControllerAnimation anim;
    EXPECT_TRUE(stack.add(&anim));
    EXPECT_TRUE(stack.add(&nudge));
    EXPECT_FALSE(stack.add(&nudge));
    EXPECT_FALSE(stack.add(&stack));
    actor->set_controller(&stack);
    EXPECT_EQ(anim.get_actor(), actor);
    EXPECT_EQ(nudge.get_actor(), actor);
    ASSERT_EQ(anim.play("turn"), "");
    EXPECT_TRUE(stack.update(0.5f));
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.5f + 0.125f);  // the clip's pose, then the nudge on top
    EXPECT_TRUE(stack.remove(&nudge));
    EXPECT_EQ(nudge.get_actor(), nullptr);
    EXPECT_FALSE(stack.remove(&nudge));
    actor->set_controller(nullptr);
}

TEST_F(Clips, AHugeStepOverAnEndlessClipReportsAtMostAThousandPassesAndReturns) {
    int events = 0;
    controller->set_event_callback(
        std::make_shared<const std::function<void(const std::string&, const std::string&, int)>>(
            [&](const std::string&, const std::string&, int) { ++events; }));
    ASSERT_EQ(controller->play("beat", 0.0f, 0, 1e30f), "");
    controller->update(1.0f);
    EXPECT_LE(events, 2 * 1001);
    EXPECT_GE(controller->get_time(0), 0.0f);
    EXPECT_LE(controller->get_time(0), 1.0f);
}

TEST_F(Clips, TheSameActorToldAgainKeepsPlaying) {
    ASSERT_EQ(controller->play("turn", 0.0f, 0), "");
    controller->update(0.25f);
    ActorControllerStack stack;
    stack.add(controller);  // hands it the stack's actor: none yet
    EXPECT_EQ(controller->get_clip(0), nullptr);
    EXPECT_NE(controller->play("turn", 0.0f, 0), "");  // no actor: refused
    actor->set_controller(&stack);
    ASSERT_EQ(controller->play("turn", 0.0f, 0), "");
    controller->update(0.25f);
    controller->set_actor(actor);  // the same actor again
    EXPECT_EQ(controller->get_clip(0)->get_name(), "turn");
    EXPECT_FLOAT_EQ(controller->get_time(0), 0.25f);
    actor->set_controller(nullptr);
}

TEST_F(Clips, PartTracksShowHideAndColourTheActorsMeshes) {
    ActorMesh* skin = actor->get_mesh("skin");
    ASSERT_NE(skin, nullptr);
    ASSERT_EQ(controller->play("blink"), "");
    controller->update(0.25f);
    EXPECT_TRUE(skin->is_visible());
    EXPECT_FLOAT_EQ(skin->get_colour().g, 1.0f - 0.5f * 0.25f);
    EXPECT_FLOAT_EQ(skin->get_colour().a, 1.0f - 0.5f * 0.25f);
    controller->update(0.5f);  // visibility holds from key to key: hidden from 0.5
    EXPECT_FALSE(skin->is_visible());
    EXPECT_FLOAT_EQ(skin->get_colour().r, 0.25f);
    EXPECT_FLOAT_EQ(skin->get_colour().b, 1.0f);
}

TEST_F(Clips, PartOrderTracksReorderTheDrawingAndHoldFromKeyToKey) {
    using Order = std::vector<unsigned>;  // skin 0, cape 1, hat 2
    EXPECT_EQ(actor->get_draw_order(), (Order{0, 1, 2}));
    ASSERT_EQ(controller->play("swap"), "");
    controller->update(0.25f);  // places: skin 0, cape 1 (its index), hat -1 (held, not eased)
    EXPECT_EQ(actor->get_draw_order(), (Order{2, 0, 1}));
    controller->update(0.5f);  // skin 5 from 0.5
    EXPECT_EQ(actor->get_draw_order(), (Order{2, 1, 0}));
    controller->update(0.5f);  // the last keys: hat 3, skin 5
    EXPECT_EQ(actor->get_draw_order(), (Order{1, 2, 0}));
}

TEST_F(Clips, ADrawOrderMustNameEveryMeshOnce) {
    using Order = std::vector<unsigned>;
    EXPECT_FALSE(actor->set_draw_order(Order{0, 1}));
    EXPECT_FALSE(actor->set_draw_order(Order{0, 1, 1}));
    EXPECT_FALSE(actor->set_draw_order(Order{0, 1, 3}));
    EXPECT_EQ(actor->get_draw_order(), (Order{0, 1, 2}));
    EXPECT_TRUE(actor->set_draw_order(Order{2, 0, 1}));
    EXPECT_EQ(actor->get_draw_order(), (Order{2, 0, 1}));
}

TEST_F(Clips, AQueuedStartAndReorderedPartsAllocateNothingOnceWarm) {
    // The queued clip keys more tracks than the one before it: its key cursors were
    // sized when it was queued, not when it starts inside an update.
    ASSERT_EQ(controller->play("swap", 0.0f, 0, 1.0f, 1), "");
    for (int i = 0; i < 10; ++i) controller->update(0.3f);
    ASSERT_EQ(controller->play("still", 0.0f, 1), "");
    ASSERT_EQ(controller->queue("turn", 0.25f, 0), "");
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 100; ++i) controller->update(0.07f);
    ASSERT_NE(controller->get_clip(0), nullptr);
    EXPECT_EQ(controller->get_clip(0)->get_name(), "turn");
    EXPECT_EQ(mallinfo2().uordblks, before);
}

TEST_F(Clips, AFinishedClipLeavesAScriptsJointAloneUntilSomethingChanges) {
    ASSERT_EQ(controller->play("turn"), "");
    EXPECT_TRUE(controller->update(1.5f));  // to the end and held there
    EXPECT_FLOAT_EQ(arm(), 1.5f);
    EXPECT_FALSE(controller->update(0.1f));
    joint("arm")->set_rotation(2.0f);  // a script turns the arm while the clip holds
    EXPECT_FALSE(controller->update(0.1f));
    EXPECT_FLOAT_EQ(arm(), 2.0f);
    // A new weight poses again: half the clip's turn over the setup rotation.
    ASSERT_TRUE(controller->set_weight(0, 0.5f));
    EXPECT_TRUE(controller->update(0.1f));
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.5f);
    EXPECT_FALSE(controller->update(0.1f));
}

TEST_F(Clips, AFinishedClipKeyingPartsStillPlacesThemEachUpdate) {
    using Order = std::vector<unsigned>;  // skin 0, cape 1, hat 2
    ASSERT_EQ(controller->play("swap"), "");
    controller->update(1.5f);  // finished on its last keys: hat 3, skin 5
    EXPECT_EQ(actor->get_draw_order(), (Order{1, 2, 0}));
    actor->get_mesh("hat")->set_draw_order(-10.0f);  // a script's order, over the clip's
    EXPECT_EQ(actor->get_draw_order(), (Order{2, 1, 0}));
    controller->update(0.1f);
    EXPECT_EQ(actor->get_draw_order(), (Order{1, 2, 0}));
}

TEST_F(Clips, AQueuedClipStartsAfterAFinishedOne) {
    ASSERT_EQ(controller->play("still", 0.0f, 1), "");
    controller->update(1.5f);
    EXPECT_FALSE(controller->update(0.1f));
    ASSERT_EQ(controller->queue("turn"), "");  // the layer is done: starts at once
    EXPECT_TRUE(controller->update(0.25f));
    EXPECT_FLOAT_EQ(arm(), 0.5f + 0.25f);
}
