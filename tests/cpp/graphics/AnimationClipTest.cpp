#include "engine/graphics/AnimationClip.h"

#include "core/TestSupport.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

using engine::core::test::LogCapture;
using namespace engine::graphics;

namespace {

ClipKey key(float time, float value, ClipEasing easing = ClipEasing::linear) {
    ClipKey k;
    k.time = time;
    k.value[0] = value;
    k.easing = easing;
    return k;
}

ClipKey bezier_key(float time, float value, float x1, float y1, float x2, float y2) {
    ClipKey k = key(time, value, ClipEasing::bezier);
    k.curve[0] = x1;
    k.curve[1] = y1;
    k.curve[2] = x2;
    k.curve[3] = y2;
    return k;
}

float sample(const AnimationClip& clip, float time) {
    float out[2];
    AnimationClip::sample(clip.get_tracks().at(0), time, out);
    return out[0];
}

// The bezier easing worked out here independently: bisection on x(u), then y(u).
double reference_ease(double x1, double y1, double x2, double y2, double x) {
    auto coordinate = [](double c1, double c2, double u) {
        return 3 * (1 - u) * (1 - u) * u * c1 + 3 * (1 - u) * u * u * c2 + u * u * u;
    };
    double lo = 0, hi = 1;
    for (int i = 0; i < 200; ++i) {
        const double mid = 0.5 * (lo + hi);
        (coordinate(x1, x2, mid) < x ? lo : hi) = mid;
    }
    return coordinate(y1, y2, 0.5 * (lo + hi));
}

}  // namespace

TEST(AnimationClip, StepHoldsEachKeyUntilTheNext) {
    AnimationClip clip("c", 2.0f, 1);
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(0.0f, 0.25f, ClipEasing::step)), "");
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(1.0f, 0.75f, ClipEasing::step)), "");
    EXPECT_FLOAT_EQ(sample(clip, 0.0f), 0.25f);
    EXPECT_FLOAT_EQ(sample(clip, 0.999f), 0.25f);
    EXPECT_FLOAT_EQ(sample(clip, 1.0f), 0.75f);
    EXPECT_FLOAT_EQ(sample(clip, 2.0f), 0.75f);
}

TEST(AnimationClip, LinearIsExactAtKeysAndStraightBetween) {
    AnimationClip clip("c", 2.0f, 1);
    ClipKey a = key(0.5f, 10.0f);
    a.value[1] = -4.0f;
    ClipKey b = key(1.5f, 30.0f);
    b.value[1] = 6.0f;
    ASSERT_EQ(clip.add_key(0, ClipChannel::position, a), "");
    ASSERT_EQ(clip.add_key(0, ClipChannel::position, b), "");
    float out[2];
    AnimationClip::sample(clip.get_tracks()[0], 0.5f, out);
    EXPECT_FLOAT_EQ(out[0], 10.0f);
    EXPECT_FLOAT_EQ(out[1], -4.0f);
    AnimationClip::sample(clip.get_tracks()[0], 1.5f, out);
    EXPECT_FLOAT_EQ(out[0], 30.0f);
    EXPECT_FLOAT_EQ(out[1], 6.0f);
    AnimationClip::sample(clip.get_tracks()[0], 0.75f, out);
    EXPECT_FLOAT_EQ(out[0], 10.0f + 20.0f * 0.25f);
    EXPECT_FLOAT_EQ(out[1], -4.0f + 10.0f * 0.25f);
    // Before the first key and after the last: their values.
    AnimationClip::sample(clip.get_tracks()[0], 0.0f, out);
    EXPECT_FLOAT_EQ(out[0], 10.0f);
    AnimationClip::sample(clip.get_tracks()[0], 2.0f, out);
    EXPECT_FLOAT_EQ(out[0], 30.0f);
}

TEST(AnimationClip, BezierEasingFollowsTheCurveBetweenKeys) {
    AnimationClip clip("c", 1.0f, 1);
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, bezier_key(0.0f, 1.0f, 0.42f, 0.0f, 0.58f, 1.0f)), "");
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(1.0f, 2.0f)), "");
    EXPECT_FLOAT_EQ(sample(clip, 0.0f), 1.0f);
    EXPECT_FLOAT_EQ(sample(clip, 1.0f), 2.0f);
    for (float t : {0.1f, 0.25f, 0.5f, 0.8f, 0.95f})
        EXPECT_FLOAT_EQ(sample(clip, t), float(1.0 + reference_ease(0.42, 0.0, 0.58, 1.0, t))) << t;
    const float curve[4] = {0.1f, 0.9f, 0.2f, 1.0f};
    for (float x : {0.05f, 0.3f, 0.7f})
        EXPECT_FLOAT_EQ(AnimationClip::ease(curve, x), float(reference_ease(0.1, 0.9, 0.2, 1.0, x))) << x;
}

TEST(AnimationClip, RotationTakesTheShorterArcUnlessTurnsAreAsked) {
    AnimationClip clip("c", 1.0f, 1);
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(0.0f, 3.0f)), "");
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(1.0f, -3.0f)), "");
    const double way = std::remainder(-6.0, 2 * M_PI);  // +0.283..., through pi
    EXPECT_FLOAT_EQ(sample(clip, 0.5f), float(3.0 + 0.5 * way));
    AnimationClip turning("t", 1.0f, 1);
    ASSERT_EQ(turning.add_key(0, ClipChannel::rotation, key(0.0f, 0.0f)), "");
    ASSERT_EQ(turning.add_key(0, ClipChannel::rotation, key(1.0f, 0.5f), 1), "");
    EXPECT_FLOAT_EQ(sample(turning, 0.5f), float(0.5 * (0.5 + 2 * M_PI)));
}

TEST(AnimationClip, BadKeysAreRefusedWithAReason) {
    AnimationClip clip("c", 1.0f, 1);
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(0.5f, 0.0f)), "");
    EXPECT_NE(clip.add_key(0, ClipChannel::rotation, key(0.25f, 0.0f)).find("out of order"), std::string::npos);
    EXPECT_NE(clip.add_key(0, ClipChannel::rotation, key(1.5f, 0.0f)).find("outside"), std::string::npos);
    EXPECT_NE(clip.add_key(0, ClipChannel::rotation, key(0.75f, std::nanf(""))).find("not a number"),
              std::string::npos);
    EXPECT_NE(clip.add_key(0, ClipChannel::rotation, bezier_key(0.75f, 0.0f, 1.5f, 0.0f, 0.5f, 1.0f)), "");
    EXPECT_EQ(clip.get_tracks()[0].keys.size(), 1u);
    EXPECT_NE(AnimationClip::check("c", 0.0f, 1), "");
    EXPECT_NE(AnimationClip::check("c", -1.0f, 1), "");
    EXPECT_NE(AnimationClip::check("c", std::nanf(""), 1), "");
    EXPECT_NE(AnimationClip::check("c", 1.0f, -1), "");
    EXPECT_EQ(AnimationClip::check("c", 1.0f, 0), "");
}

TEST(AnimationClip, EventsAreKeptInTimeOrder) {
    AnimationClip clip("c", 1.0f, 1);
    ASSERT_EQ(clip.add_event(0.5f, "b"), "");
    ASSERT_EQ(clip.add_event(0.25f, "a"), "");
    EXPECT_NE(clip.add_event(2.0f, "late"), "");
    ASSERT_EQ(clip.get_events().size(), 2u);
    EXPECT_EQ(clip.get_events()[0].name, "a");
    EXPECT_EQ(clip.get_events()[1].name, "b");
}

TEST(AnimationClipDocument, ClipsLoadFromActorFilesAndBadPartsAreSkippedWithOneWarning) {
    LogCapture log;
    ASSERT_TRUE(ActorDatabase::load_text(R"(<Actors>
  <ActorData id="arm">
    <Joint id="root" position="0, 0"/>
    <Joint id="elbow" parent="root" position="0, -20"/>
    <ActorClip id="wave" duration="1" loops="0">
      <ClipTrack joint="elbow" channel="rotation">
        <ClipKey time="0" value="0" easing="bezier" curve="0.25,0.1,0.25,1"/>
        <ClipKey time="0.5" value="1" easing="step"/>
        <ClipKey time="0.25" value="1"/>
      </ClipTrack>
      <ClipTrack joint="wrist" channel="rotation"><ClipKey time="0" value="1"/></ClipTrack>
      <ClipTrack joint="root" channel="position"><ClipKey time="0" value="1, 2"/></ClipTrack>
      <ClipEvent time="0.5" name="top"/>
    </ActorClip>
    <ActorClip id="bad" duration="-1"/>
  </ActorData>
  <ActorClip actor="arm" id="later" duration="2"/>
  <ActorClip actor="nobody" id="lost" duration="2"/>
</Actors>)"));
    const ActorData* data = ActorDatabase::find_actor_data("arm");
    ASSERT_NE(data, nullptr);
    const AnimationClip* wave = data->get_clip("wave");
    ASSERT_NE(wave, nullptr);
    EXPECT_EQ(wave->get_loops(), 0);
    ASSERT_EQ(wave->get_tracks().size(), 2u);
    EXPECT_EQ(wave->get_tracks()[0].joint, 1u);
    EXPECT_EQ(wave->get_tracks()[0].keys.size(), 2u);  // the key out of order is skipped
    EXPECT_EQ(wave->get_tracks()[0].keys[0].easing, ClipEasing::bezier);
    EXPECT_FLOAT_EQ(wave->get_tracks()[0].keys[0].curve[1], 0.1f);
    EXPECT_EQ(wave->get_tracks()[1].channel, ClipChannel::position);
    EXPECT_FLOAT_EQ(wave->get_tracks()[1].keys[0].value[1], 2.0f);
    EXPECT_EQ(wave->get_events().size(), 1u);
    EXPECT_EQ(data->get_clip("bad"), nullptr);
    EXPECT_NE(data->get_clip("later"), nullptr);
    int warnings = 0;
    for (const auto& entry : log.entries())
        if (entry.level == engine::core::Log::Level::Warning) {
            ++warnings;
            EXPECT_NE(entry.message.find("5 element(s)"), std::string::npos) << entry.message;
        }
    EXPECT_EQ(warnings, 1);
    ActorDatabase::unload();
    EXPECT_EQ(ActorDatabase::find_actor_data("arm"), nullptr);
}

TEST(AnimationClip, SamplerGivesThePlainSampleForwardBackAndAcrossAWrap) {
    // Three tracks keyed at the same times with the same easing (they share the
    // sampler's solved easing) and one with its own keys.
    AnimationClip clip("c", 2.0f, 0);
    for (unsigned j = 0; j < 3; ++j) {
        ASSERT_EQ(clip.add_key(j, ClipChannel::rotation, bezier_key(0.0f, 0.1f * j, 0.42f, 0.0f, 0.58f, 1.0f)), "");
        ASSERT_EQ(clip.add_key(j, ClipChannel::rotation, bezier_key(0.7f, 1.0f - j, 0.42f, 0.0f, 0.58f, 1.0f)), "");
        ASSERT_EQ(clip.add_key(j, ClipChannel::rotation, key(1.3f, 0.5f * j, ClipEasing::step)), "");
        ASSERT_EQ(clip.add_key(j, ClipChannel::rotation, key(2.0f, 0.2f)), "");
    }
    ASSERT_EQ(clip.add_key(3, ClipChannel::position, bezier_key(0.5f, 4.0f, 0.1f, 0.9f, 0.2f, 1.0f)), "");
    ASSERT_EQ(clip.add_key(3, ClipChannel::position, key(1.0f, -4.0f)), "");
    ClipSampler sampler;
    sampler.keys.assign(clip.get_tracks().size(), 0);
    const float times[] = {0.0f, 0.1f, 0.35f, 0.7f, 0.7f, 1.0f, 1.31f, 1.99f, 2.0f, 0.05f,
                           0.6f, 1.9f, 1.2f,  0.3f, 0.0f, 1.0f, 1.0f,  0.5f,  2.5f, -1.0f};
    for (float time : times) {
        for (size_t t = 0; t < clip.get_tracks().size(); ++t) {
            const ClipTrack& track = clip.get_tracks()[t];
            float plain[4], found[4];
            AnimationClip::sample(track, time, plain);
            AnimationClip::sample(track, time, found, sampler, t);
            EXPECT_EQ(found[0], plain[0]) << "track " << t << " at " << time;
            EXPECT_EQ(found[1], plain[1]) << "track " << t << " at " << time;
        }
    }
}

TEST(AnimationClip, SamplerWithoutKeysForATrackSearchesAfresh) {
    AnimationClip clip("c", 1.0f, 0);
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(0.0f, 0.0f)), "");
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(1.0f, 1.0f)), "");
    ClipSampler sampler;  // sized for no track
    float out[4];
    AnimationClip::sample(clip.get_tracks()[0], 0.25f, out, sampler, 0);
    EXPECT_FLOAT_EQ(out[0], 0.25f);
    EXPECT_TRUE(sampler.keys.empty());
}

TEST(AnimationClip, BezierWhoseXStandsStillAtItsEndsFollowsTheCurve) {
    // x1 = 0 and x2 = 1: x(u) is flat at both ends, where a solve's start can only be a
    // straight line between the stored parameters.
    AnimationClip clip("c", 1.0f, 1);
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, bezier_key(0.0f, 0.0f, 0.0f, 0.3f, 1.0f, 0.7f)), "");
    ASSERT_EQ(clip.add_key(0, ClipChannel::rotation, key(1.0f, 1.0f)), "");
    for (float t = 0.0f; t <= 1.0f; t += 0.01f)
        EXPECT_FLOAT_EQ(sample(clip, t), float(reference_ease(0.0, 0.3, 1.0, 0.7, t))) << t;
}
