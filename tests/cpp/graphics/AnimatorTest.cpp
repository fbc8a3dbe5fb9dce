#include "engine/core/Ref.h"
#include "engine/graphics/SceneObjectAnimator.h"

#include "engine/core/Colour.h"
#include "engine/core/Maths.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/SceneObjectAnimatorAlphaPulse.h"
#include "engine/graphics/SceneObjectAnimatorMove.h"
#include "engine/graphics/SceneObjectAnimatorMoveFixed.h"
#include "engine/graphics/SceneObjectAnimatorMoveNewtonian.h"
#include "engine/graphics/SceneObjectAnimatorMoveSmooth.h"
#include "engine/graphics/SceneObjectAnimatorMoveSpline.h"
#include "engine/graphics/SceneObjectAnimatorPulse.h"
#include "engine/graphics/SceneObjectAnimatorRotate.h"
#include "engine/graphics/SceneObjectAnimatorScale.h"
#include "engine/graphics/SceneObjectAnimatorSlide.h"
#include "engine/graphics/SceneObjectAnimatorSpriteFade.h"
#include "engine/graphics/SceneObjectAnimatorSpriteWipe.h"
#include "engine/graphics/Sprite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using engine::core::Colour;
using engine::core::Vector;
using namespace engine::graphics;

// Native-only objects have no script object: counting references does nothing, and
// removing an animator from its object does not destroy it. Each test owns its
// animators and declares them before the object, so that the object (which tells its
// animators when it goes) is destroyed first.

namespace {

using Stops = std::vector<std::pair<float, float>>;

// Records the dt of each step.
class Probe : public SceneObjectAnimator {
public:
    std::vector<float> steps;
    std::function<void(Probe&)> action;  // run after recording, at each step

    void done() { finish(); }

protected:
    void on_update(float dt) override {
        steps.push_back(dt);
        if (action) action(*this);
    }
};

// Steps `object` `count` times by `dt`.
void step(SceneObject& object, float dt, int count = 1) {
    for (int i = 0; i < count; ++i) object.update(dt);
}

bool attached(const SceneObject& object, const SceneObjectAnimator* animator) {
    for (const auto& entry : object.get_animators())
        if (entry.second == animator) return true;
    return false;
}

// The animators' half turn, 3.14159 rather than pi (see SceneObjectAnimatorAlphaPulse.cpp):
// expected values computed with it match the animators float for float.
constexpr float kPi = 3.14159f;

// Angles as the transform stores them: normalised, then clamped to the default limits.
float stored_rotation(float angle) { return std::min(std::max(engine::core::normalise_angle(angle), -kPi), kPi); }

}  // namespace

// --- The base: delay and finish protocol ---

TEST(SceneObjectAnimator, StartsWithoutObjectOrDelay) {
    Probe p;
    EXPECT_EQ(p.get_object(), nullptr);
    EXPECT_EQ(p.get_delay(), 0.0f);
}

// A delay counts down before the animator steps; the step that uses it up passes on
// only what is left of its time.
struct DelayCase {
    const char* name;
    float delay;
    std::vector<float> updates;        // the dt of each update, in order
    std::vector<float> steps;          // the dt of each step taken
    std::optional<float> delay_after;  // what is left of the delay, where it matters
};

class AnimatorDelay : public ::testing::TestWithParam<DelayCase> {};

TEST_P(AnimatorDelay, Steps) {
    const DelayCase& c = GetParam();
    Probe p;
    p.set_delay(c.delay);
    for (float dt : c.updates) p.update(dt);
    EXPECT_EQ(p.steps, c.steps);
    if (c.delay_after) {
        EXPECT_EQ(p.get_delay(), *c.delay_after);
    }
}

INSTANTIATE_TEST_SUITE_P(
    SceneObjectAnimator, AnimatorDelay,
    ::testing::Values(
        DelayCase{"NoStepWhileTheDelayLasts", 0.5f, {0.25f}, {}, 0.25f},
        DelayCase{"DelayPartlyUsedStepsWithTheRest", 0.5f, {0.375f, 0.375f, 0.375f}, {0.25f, 0.375f}, 0.0f},
        DelayCase{"DelayEndingMidStepPassesOnlyTheRemainder", 0.5f, {0.25f, 0.375f, 0.375f}, {0.125f, 0.375f}, 0.0f},
        DelayCase{"DelayRunningOutExactlyStepsByZero", 0.5f, {0.25f, 0.25f}, {0.0f}, 0.0f},
        DelayCase{"DelayUsedUpByOneExactStepStepsByZero", 0.5f, {0.5f}, {0.0f}, 0.0f},
        DelayCase{"NegativeDelayBehavesAsNone", -1.0f, {0.25f}, {0.25f}, std::nullopt},
        DelayCase{"NanDelayBehavesAsNone", std::numeric_limits<float>::quiet_NaN(), {0.25f}, {0.25f}, std::nullopt}),
    [](const ::testing::TestParamInfo<DelayCase>& info) { return std::string(info.param.name); });

TEST(SceneObjectAnimator, FinishRemovesItFromItsObject) {
    Probe p;
    SceneObject o;
    o.add_animator("p", &p);
    p.action = [](Probe& self) { self.done(); };
    o.update(0.1f);
    EXPECT_FALSE(o.any_animators());
    EXPECT_EQ(p.get_object(), &o);  // removal does not clear the object
}

TEST(SceneObjectAnimator, FinishCallsTheFinishedCallbackOnceAfterLeaving) {
    Probe p;
    SceneObject o;
    std::vector<bool> attached_when_called;
    o.add_animator("p", &p, std::make_shared<const std::function<void()>>([&] {
                       attached_when_called.push_back(o.get_animator("p") != nullptr);
                   }));
    p.action = [](Probe& self) { self.done(); };
    o.update(0.1f);
    o.update(0.1f);
    EXPECT_EQ(attached_when_called, std::vector<bool>{false});
    EXPECT_EQ(p.get_on_finished(), nullptr);
}

TEST(SceneObjectAnimator, RemovedOrReplacedAnimatorsDropTheirCallbackUncalled) {
    Probe p, q;
    SceneObject o;
    int calls = 0;
    auto count = std::make_shared<const std::function<void()>>([&] { ++calls; });
    o.add_animator("p", &p, count);
    EXPECT_EQ(p.get_on_finished(), count);
    o.remove_animator("p");
    EXPECT_EQ(p.get_on_finished(), nullptr);
    o.add_animator("q", &q, count);
    o.add_animator("q", &p);  // replaces q
    EXPECT_EQ(q.get_on_finished(), nullptr);
    EXPECT_EQ(calls, 0);
}

TEST(SceneObjectAnimator, FinishedCallbackMayAddAnAnimatorUnderTheSameName) {
    Probe first, second;
    SceneObject o;
    o.add_animator("move", &first, std::make_shared<const std::function<void()>>([&] { o.add_animator("move", &second); }));
    first.action = [](Probe& self) { self.done(); };
    o.update(0.1f);
    EXPECT_EQ(o.get_animator("move"), &second);
    EXPECT_TRUE(second.steps.empty());  // added during the step: it starts next frame
    o.update(0.1f);
    EXPECT_EQ(second.steps.size(), 1u);
}

TEST(SceneObjectAnimator, ObjectDestructionClearsTheObjectAndStepsDoNothing) {
    auto rotate = engine::core::make_ref<SceneObjectAnimatorRotate>(1.0f, 0.0f, 0.0f);
    auto move = engine::core::make_ref<SceneObjectAnimatorMove>(Vector<float>(10, 0), 100.0f, 1.0f);
    {
        SceneObject o;
        o.add_animator("r", rotate.get());
        o.add_animator("m", move.get());
        EXPECT_EQ(rotate->get_object(), &o);
    }
    EXPECT_EQ(rotate->get_object(), nullptr);
    EXPECT_EQ(move->get_object(), nullptr);
    rotate->update(0.5f);
    move->update(0.5f);
}

// Every kind, stepped without an object: nothing happens, and nothing is captured,
// so the first step with an object is still its first step.
TEST(SceneObjectAnimator, EveryKindIsInertWithoutAnObject) {
    std::vector<engine::core::Ref<SceneObjectAnimator>> all;
    all.push_back(engine::core::make_ref<SceneObjectAnimatorAlphaPulse>(0.0f, 1.0f, 2.0f));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorPulse>(1.0f, 2.0f, 1.0f));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorRotate>(1.0f, 0.0f, 1.0f));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorScale>(2.0f, 1.0f));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorSpriteFade>(0.0f, 1.0f));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(true, 1.0f));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorMove>(Vector<float>(10, 0), 100.0f, 1.0f));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorMoveFixed>(Vector<float>(1, 0)));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorMoveNewtonian>(Vector<float>(1, 0)));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorMoveSmooth>(Vector<float>(10, 0), 1.0f, false));
    auto spline = engine::core::make_ref<SceneObjectAnimatorMoveSpline>(1.0f);
    spline->add_control_point({5, 5});
    all.push_back(std::move(spline));
    all.push_back(engine::core::make_ref<SceneObjectAnimatorSlide>(Vector<float>(10, 0), 1.0f, false));
    for (auto& a : all) a->update(0.5f);
    EXPECT_EQ(static_cast<SceneObjectAnimatorAlphaPulse&>(*all[0]).get_time(), 0.0f);
    EXPECT_EQ(static_cast<SceneObjectAnimatorSpriteFade&>(*all[4]).get_progress(), 0.0f);

    // Scale captures its start at the first step with an object.
    SceneObject o;
    o.set_scale({3, 3});
    o.add_animator("s", all[3].get());
    o.update(0.5f);
    EXPECT_EQ(o.get_local_scale(), Vector<float>(2.5f, 2.5f));
}

// --- AlphaPulse ---

TEST(SceneObjectAnimatorAlphaPulse, PulsesTheAlphaOfAWhiteSprite) {
    auto a = engine::core::make_ref<SceneObjectAnimatorAlphaPulse>(0.0f, 1.0f, 2.0f);
    Sprite s("");
    s.set_colour(Colour(0.2f, 0.3f, 0.4f, 0.5f));
    s.add_animator("a", a.get());

    s.update(0.0f);
    EXPECT_EQ(s.get_colour(2), Colour(1, 1, 1, 0));
    s.update(1.0f);
    EXPECT_EQ(a->get_time(), 1.0f);
    // k = 0.5 - 0.5 cos(phase), with pi as 3.14159.
    const float phase = 1.0f / 2.0f * 2.0f * kPi;
    const float k = std::cos(phase) * -1.0f * 0.5f + 0.5f;
    EXPECT_EQ(s.get_colour(0).a, k);
    EXPECT_FLOAT_EQ(s.get_colour(0).a, 1.0f);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(s.get_colour(i), Colour(1, 1, 1, k));
    s.update(1.0f);
    EXPECT_EQ(a->get_time(), 0.0f);
    EXPECT_EQ(s.get_colour(3), Colour(1, 1, 1, 0));
    EXPECT_TRUE(attached(s, a.get()));  // never finishes
}

TEST(SceneObjectAnimatorAlphaPulse, BlendsBetweenStartAndPeak) {
    auto a = engine::core::make_ref<SceneObjectAnimatorAlphaPulse>(0.25f, 0.75f, 4.0f);
    Sprite s("");
    s.add_animator("a", a.get());
    s.update(1.0f);
    const float k = std::cos(1.0f / 4.0f * 2.0f * kPi) * -1.0f * 0.5f + 0.5f;
    EXPECT_EQ(s.get_colour().a, (0.75f - 0.25f) * k + 0.25f);
    s.update(4.0f);  // a whole period later: the same phase
    EXPECT_EQ(a->get_time(), 1.0f);
    EXPECT_EQ(s.get_colour().a, (0.75f - 0.25f) * k + 0.25f);
}

TEST(SceneObjectAnimatorAlphaPulse, OnAnotherObjectOnlyTheClockRuns) {
    auto a = engine::core::make_ref<SceneObjectAnimatorAlphaPulse>(0.0f, 1.0f, 2.0f);
    SceneObject o;
    o.add_animator("a", a.get());
    o.update(0.75f);
    o.update(0.75f);
    EXPECT_EQ(a->get_time(), 1.5f);
    EXPECT_EQ(o.get_local_scale(), Vector<float>(1, 1));
    EXPECT_TRUE(attached(o, a.get()));
}

TEST(SceneObjectAnimatorAlphaPulse, ZeroPeriodGivesNan) {
    auto a = engine::core::make_ref<SceneObjectAnimatorAlphaPulse>(0.0f, 1.0f, 0.0f);
    Sprite s("");
    s.add_animator("a", a.get());
    s.update(0.5f);
    EXPECT_TRUE(std::isnan(a->get_time()));
    EXPECT_TRUE(std::isnan(s.get_colour().a));
    EXPECT_EQ(s.get_colour().r, 1.0f);
}

// --- Pulse ---

TEST(SceneObjectAnimatorPulse, OnePulseThenBackToTheStartScale) {
    auto p = engine::core::make_ref<SceneObjectAnimatorPulse>(1.0f, 2.0f, 1.0f);
    SceneObject o;
    o.add_animator("p", p.get());
    const float expected[] = {1.5f, 2.0f, 1.5f};
    for (float e : expected) {
        o.update(0.25f);
        EXPECT_EQ(o.get_local_scale(), Vector<float>(e, e));
        EXPECT_TRUE(attached(o, p.get()));
    }
    o.update(0.25f);
    EXPECT_EQ(o.get_local_scale(), Vector<float>(1, 1));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorPulse, ZeroDurationFinishesAtTheFirstStep) {
    auto p = engine::core::make_ref<SceneObjectAnimatorPulse>(0.5f, 2.0f, 0.0f);
    SceneObject o;
    o.add_animator("p", p.get());
    o.update(0.0f);
    EXPECT_EQ(o.get_local_scale(), Vector<float>(0.5f, 0.5f));
    EXPECT_FALSE(o.any_animators());
}

// --- Rotate ---

TEST(SceneObjectAnimatorRotate, WithoutAccelerationTurnsAtFullSpeedForEver) {
    auto r = engine::core::make_ref<SceneObjectAnimatorRotate>(90.0f, 0.0f, 0.0f);
    EXPECT_EQ(r->get_velocity(), 90.0f);
    SceneObject o;
    o.add_animator("r", r.get());
    float expected = 0.0f;
    for (int i = 0; i < 500; ++i) {
        o.update(0.01f);
        expected = stored_rotation(expected + 90.0f * 0.01f);
        ASSERT_EQ(o.get_local_rotation(), expected) << "step " << i;
    }
    EXPECT_TRUE(attached(o, r.get()));
}

TEST(SceneObjectAnimatorRotate, AcceleratesToTheTargetAndNeverBeyond) {
    auto r = engine::core::make_ref<SceneObjectAnimatorRotate>(90.0f, 45.0f, 0.0f);
    EXPECT_EQ(r->get_velocity(), 0.0f);
    SceneObject o;
    o.add_animator("r", r.get());
    const float expected[] = {22.5f, 45.0f, 67.5f, 90.0f, 90.0f, 90.0f};
    for (float v : expected) {
        o.update(0.5f);
        EXPECT_EQ(r->get_velocity(), v);
    }
}

TEST(SceneObjectAnimatorRotate, ClampsAtTheTargetWhenAStepPassesIt) {
    auto r = engine::core::make_ref<SceneObjectAnimatorRotate>(1.0f, 3.0f, 0.0f);
    SceneObject o;
    o.add_animator("r", r.get());
    o.update(0.5f);
    EXPECT_EQ(r->get_velocity(), 1.0f);
    EXPECT_EQ(o.get_local_rotation(), 0.5f);  // the clamped velocity turns
}

TEST(SceneObjectAnimatorRotate, SetVelocitySlowsThroughZero) {
    auto r = engine::core::make_ref<SceneObjectAnimatorRotate>(90.0f, 45.0f, 0.0f);
    SceneObject o;
    o.add_animator("r", r.get());
    step(o, 0.5f, 4);
    ASSERT_EQ(r->get_velocity(), 90.0f);
    r->set_velocity(-90.0f);
    EXPECT_EQ(r->get_velocity(), 90.0f);
    EXPECT_EQ(r->get_target_velocity(), -90.0f);
    float v = 90.0f;
    for (int i = 0; i < 10; ++i) {
        o.update(0.5f);
        v = std::max(v - 45.0f * 0.5f, -90.0f);
        EXPECT_EQ(r->get_velocity(), v);
    }
    EXPECT_EQ(r->get_velocity(), -90.0f);
}

TEST(SceneObjectAnimatorRotate, PositiveDurationEndsWithoutTurningTheLastStep) {
    auto r = engine::core::make_ref<SceneObjectAnimatorRotate>(1.0f, 0.0f, 1.0f);
    SceneObject o;
    o.add_animator("r", r.get());
    o.update(0.5f);
    EXPECT_EQ(o.get_local_rotation(), 0.5f);
    EXPECT_TRUE(attached(o, r.get()));
    o.update(0.5f);
    EXPECT_EQ(o.get_local_rotation(), 0.5f);
    EXPECT_FALSE(o.any_animators());
}

// --- Scale ---

TEST(SceneObjectAnimatorScale, StartsFromTheXScaleAndEndsOnTheTarget) {
    auto s = engine::core::make_ref<SceneObjectAnimatorScale>(2.0f, 1.0f);
    SceneObject o;
    o.set_scale({3, 5});
    o.add_animator("s", s.get());
    const float expected[] = {2.75f, 2.5f, 2.25f};
    for (float e : expected) {
        o.update(0.25f);
        EXPECT_EQ(o.get_local_scale(), Vector<float>(e, e));
    }
    o.update(0.25f);
    EXPECT_EQ(o.get_local_scale(), Vector<float>(2, 2));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorScale, CapturesTheStartAtTheFirstStepAfterTheDelay) {
    auto s = engine::core::make_ref<SceneObjectAnimatorScale>(1.0f, 1.0f);
    SceneObject o;
    s->set_delay(0.5f);
    o.add_animator("s", s.get());
    o.update(0.25f);
    o.set_scale({4, 4});  // changed before the animator starts
    o.update(0.5f);       // 0.25 past the delay
    EXPECT_EQ(o.get_local_scale(), Vector<float>(3.25f, 3.25f));
}

TEST(SceneObjectAnimatorScale, ZeroDurationFinishesAtTheFirstStep) {
    auto s = engine::core::make_ref<SceneObjectAnimatorScale>(0.5f, 0.0f);
    SceneObject o;
    o.add_animator("s", s.get());
    o.update(0.0f);
    EXPECT_EQ(o.get_local_scale(), Vector<float>(0.5f, 0.5f));
    EXPECT_FALSE(o.any_animators());
}

// --- SpriteFade ---

TEST(SceneObjectAnimatorSpriteFade, FadesEachCornerFromItsOwnAlpha) {
    auto f = engine::core::make_ref<SceneObjectAnimatorSpriteFade>(0.0f, 0.5f);
    Sprite s("");
    const Colour start[4] = {{1, 0, 0, 1}, {0, 1, 0, 0.8f}, {0, 0, 1, 0.6f}, {0.5f, 0.5f, 0.5f, 0.4f}};
    for (int i = 0; i < 4; ++i) s.set_colour(i, start[i]);
    s.set_visibility(false);
    s.add_animator("f", f.get());
    for (int n = 1; n <= 3; ++n) {
        s.update(0.125f);
        EXPECT_TRUE(s.is_visible());
        const float p = 0.25f * float(n);
        EXPECT_EQ(f->get_progress(), p);
        for (int i = 0; i < 4; ++i) {
            Colour c = start[i];
            c.a = (1.0f - p) * start[i].a + 0.0f * p;
            EXPECT_EQ(s.get_colour(i), c) << "corner " << i << " step " << n;
        }
        EXPECT_TRUE(attached(s, f.get()));
    }
    s.update(0.125f);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(s.get_colour(i).a, 0.0f);
    EXPECT_EQ(s.get_colour(1).g, 1.0f);
    EXPECT_TRUE(s.is_visible());
    EXPECT_FALSE(s.any_animators());
}

TEST(SceneObjectAnimatorSpriteFade, ProgressIsClampedAtOne) {
    auto f = engine::core::make_ref<SceneObjectAnimatorSpriteFade>(0.5f, 1.0f);
    Sprite s("");
    s.add_animator("f", f.get());
    s.update(3.0f);
    EXPECT_EQ(f->get_progress(), 1.0f);
    EXPECT_EQ(s.get_colour(2).a, 0.5f);
    EXPECT_FALSE(s.any_animators());
}

TEST(SceneObjectAnimatorSpriteFade, ZeroDurationFinishesAtTheFirstStepWithTime) {
    auto f = engine::core::make_ref<SceneObjectAnimatorSpriteFade>(0.25f, 0.0f);
    Sprite s("");
    s.add_animator("f", f.get());
    s.update(0.01f);
    EXPECT_EQ(s.get_colour(3).a, 0.25f);
    EXPECT_FALSE(s.any_animators());
}

TEST(SceneObjectAnimatorSpriteFade, ZeroDurationAndZeroStepGiveNan) {
    auto f = engine::core::make_ref<SceneObjectAnimatorSpriteFade>(0.25f, 0.0f);
    Sprite s("");
    s.add_animator("f", f.get());
    s.update(0.0f);  // infinity * 0
    EXPECT_TRUE(std::isnan(f->get_progress()));
    EXPECT_TRUE(std::isnan(s.get_colour().a));
    EXPECT_TRUE(attached(s, f.get()));
}

TEST(SceneObjectAnimatorSpriteFade, OnAnotherObjectStillEndsOnTime) {
    auto f = engine::core::make_ref<SceneObjectAnimatorSpriteFade>(0.0f, 0.5f);
    SceneObject o;
    o.set_visibility(false);
    o.add_animator("f", f.get());
    step(o, 0.125f, 3);
    EXPECT_TRUE(attached(o, f.get()));
    o.update(0.125f);
    EXPECT_FALSE(o.any_animators());
    EXPECT_FALSE(o.is_visible());  // left alone
}

// --- SpriteWipe ---

TEST(SceneObjectAnimatorSpriteWipe, RevealFirstStepSoftensTheLeftSide) {
    auto w = engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(true, 1.0f);
    Sprite s("");
    s.set_visibility(false);
    s.set_alpha_stop(0.5f, 0.3f);  // replaced at the first step
    s.add_animator("w", w.get());
    s.update(0.1f);
    EXPECT_EQ(w->get_edge(), -0.1f);
    EXPECT_EQ(s.get_alpha_stops(), (Stops{{0.0f, 0.5f}, {0.1f, 0.0f}, {1.0f, 0.0f}}));
    EXPECT_TRUE(s.is_visible());
}

TEST(SceneObjectAnimatorSpriteWipe, RevealInsideTheSprite) {
    auto w = engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(true, 1.0f);
    Sprite s("");
    s.add_animator("w", w.get());
    s.update(0.25f);
    const float edge = 1.0f * 0.25f + -0.2f;
    EXPECT_EQ(s.get_alpha_stops(), (Stops{{0.0f, 1.0f}, {edge, 1.0f}, {edge + 0.2f, 0.0f}, {1.0f, 0.0f}}));
    s.update(0.8f);  // the band reaches the right side
    EXPECT_EQ(s.get_alpha_stops(), (Stops{{0.0f, 1.0f}, {w->get_edge(), 1.0f}, {1.0f, 0.0f}}));
}

TEST(SceneObjectAnimatorSpriteWipe, WipeOutStops) {
    auto w = engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(false, 1.0f);
    Sprite s("");
    s.add_animator("w", w.get());
    s.update(0.1f);
    EXPECT_EQ(s.get_alpha_stops(), (Stops{{0.0f, 0.5f}, {0.1f, 1.0f}, {1.0f, 1.0f}}));
    s.update(0.15f);
    const float edge = w->get_edge();
    ASSERT_GE(edge, 0.0f);
    EXPECT_EQ(s.get_alpha_stops(), (Stops{{0.0f, 0.0f}, {edge, 0.0f}, {edge + 0.2f, 1.0f}, {1.0f, 1.0f}}));
}

TEST(SceneObjectAnimatorSpriteWipe, RevealTakesAboutOnePointTwoTimesItsDuration) {
    auto w = engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(true, 1.0f);
    Sprite s("");
    s.add_animator("w", w.get());
    float edge = -0.2f, before = edge;
    int steps = 0;
    while (s.any_animators() && steps < 100) {
        s.update(0.1f);
        before = edge;
        edge = 1.0f * 0.1f + edge;
        ++steps;
    }
    EXPECT_GE(edge, 1.0f);
    EXPECT_LT(before, 1.0f);  // the step before had not arrived
    EXPECT_NEAR(steps * 0.1f, 1.2f, 0.1001f);
    EXPECT_TRUE(s.get_alpha_stops().empty());  // fully opaque
    EXPECT_TRUE(s.is_visible());
}

TEST(SceneObjectAnimatorSpriteWipe, WipeOutHidesTheSpriteAtTheEnd) {
    auto w = engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(false, 0.5f);
    Sprite s("");
    s.add_animator("w", w.get());
    s.update(0.55f);
    EXPECT_TRUE(s.is_visible());
    EXPECT_TRUE(attached(s, w.get()));
    s.update(0.1f);
    EXPECT_FALSE(s.is_visible());
    EXPECT_TRUE(s.get_alpha_stops().empty());
    EXPECT_FALSE(s.any_animators());
}

TEST(SceneObjectAnimatorSpriteWipe, ZeroDurationFinishesAtTheFirstStepWithTime) {
    auto w = engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(false, 0.0f);
    Sprite s("");
    s.add_animator("w", w.get());
    s.update(0.01f);
    EXPECT_FALSE(s.is_visible());
    EXPECT_FALSE(s.any_animators());
}

TEST(SceneObjectAnimatorSpriteWipe, OnAnotherObjectStillEndsOnTime) {
    auto w = engine::core::make_ref<SceneObjectAnimatorSpriteWipe>(false, 1.0f);
    SceneObject o;
    o.add_animator("w", w.get());
    step(o, 0.5f, 2);
    EXPECT_TRUE(attached(o, w.get()));
    o.update(0.5f);
    EXPECT_FALSE(o.any_animators());
    EXPECT_TRUE(o.is_visible());  // left alone
}

// --- Move ---

TEST(SceneObjectAnimatorMove, WithoutAccelerationNeverMovesNorFinishes) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMove>(Vector<float>(100, 0), 0.0f, 10.0f);
    SceneObject o;
    o.add_animator("m", m.get());
    step(o, 0.5f, 100);
    EXPECT_EQ(o.get_local_position(), Vector<float>(0, 0));
    EXPECT_TRUE(attached(o, m.get()));
}

TEST(SceneObjectAnimatorMove, AdvancesItsSpeedPerStepAndLandsOnTheTarget) {
    for (float dt : {0.01f, 0.1f, 1.0f}) {
        auto m = engine::core::make_ref<SceneObjectAnimatorMove>(Vector<float>(100, 0), 1000.0f, 10.0f);
        SceneObject o;
        o.add_animator("m", m.get());
        for (int i = 1; i <= 9; ++i) {
            o.update(dt);
            ASSERT_EQ(o.get_local_position(), Vector<float>(10.0f * float(i), 0)) << "dt " << dt;
        }
        EXPECT_TRUE(attached(o, m.get()));
        o.update(dt);
        EXPECT_EQ(o.get_local_position(), Vector<float>(100, 0));
        EXPECT_FALSE(o.any_animators());
    }
}

TEST(SceneObjectAnimatorMove, AcceleratesFromItsStartAlongTheDirection) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMove>(Vector<float>(13, 24), 2.0f, 100.0f);
    SceneObject o;
    o.set_position({10, 20});
    o.add_animator("m", m.get());
    o.update(0.5f);  // speed 1
    o.update(0.5f);  // speed 2, 3 travelled
    const Vector<float> direction = Vector<float>(3, 4).normalised();
    EXPECT_EQ(o.get_local_position(), Vector<float>(10, 20) + direction * 3.0f);
    o.update(0.5f);  // 6 travelled, past the distance of 5
    EXPECT_EQ(o.get_local_position(), Vector<float>(13, 24));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorMove, ToItsOwnStartFinishesAtOnce) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMove>(Vector<float>(5, 5), 0.0f, 0.0f);
    SceneObject o;
    o.set_position({5, 5});
    o.add_animator("m", m.get());
    o.update(0.1f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(5, 5));
    EXPECT_FALSE(o.any_animators());
}

// --- MoveFixed ---

TEST(SceneObjectAnimatorMoveFixed, MovesByVelocityTimesDtForEver) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveFixed>(Vector<float>(10, -5));
    SceneObject o;
    o.add_animator("m", m.get());
    for (int i = 1; i <= 4; ++i) {
        o.update(0.5f);
        EXPECT_EQ(o.get_local_position(), Vector<float>(5.0f * float(i), -2.5f * float(i)));
    }
    EXPECT_TRUE(attached(o, m.get()));
}

// --- MoveNewtonian ---

TEST(SceneObjectAnimatorMoveNewtonian, Defaults) {
    SceneObjectAnimatorMoveNewtonian m(Vector<float>(1, 2));
    EXPECT_EQ(m.get_velocity(), Vector<float>(1, 2));
    EXPECT_EQ(m.get_gravity(), 686.0f);
    EXPECT_EQ(m.get_bounce_target(), 0.0f);
    EXPECT_EQ(m.get_bounce_damping(), 0.0f);
    EXPECT_EQ(m.get_num_bounces(), 0);
}

TEST(SceneObjectAnimatorMoveNewtonian, WithoutALineFliesForEver) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveNewtonian>(Vector<float>(10, -100));
    SceneObject o;
    o.add_animator("m", m.get());
    Vector<float> v(10, -100), p;
    for (int i = 0; i < 50; ++i) {
        o.update(0.1f);
        v.y = v.y + 686.0f * 0.1f;
        p = p + Vector<float>(v.x * 0.1f, v.y * 0.1f);
        ASSERT_EQ(o.get_local_position(), p);
    }
    EXPECT_EQ(m->get_velocity(), v);
    EXPECT_TRUE(attached(o, m.get()));
}

TEST(SceneObjectAnimatorMoveNewtonian, FallsOntoTheLineAndEnds) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveNewtonian>(Vector<float>(0, 0));
    m->set_bounce_target(100.0f);
    SceneObject o;
    o.set_position({7, 0});
    o.add_animator("m", m.get());
    float vy = 0.0f, y = 0.0f;
    int steps = 0;
    while (true) {
        vy = vy + 686.0f * 0.1f;
        y = y + vy * 0.1f;
        o.update(0.1f);
        ++steps;
        if (y >= 100.0f) break;
        ASSERT_EQ(o.get_local_position(), Vector<float>(7, y));
        ASSERT_TRUE(attached(o, m.get()));
    }
    EXPECT_EQ(steps, 5);
    EXPECT_EQ(o.get_local_position(), Vector<float>(7, 100));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorMoveNewtonian, BouncesMirrorDampAndThenEnd) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveNewtonian>(Vector<float>(3, 0));
    m->set_bounce_target(100.0f);
    m->set_num_bounces(2);
    m->set_bounce_damping(0.5f);
    SceneObject o;
    o.add_animator("m", m.get());
    const float dt = 0.05f;
    Vector<float> v(3, 0), p;
    int hits = 0;
    for (int i = 0; i < 2000 && o.any_animators(); ++i) {
        v.y = v.y + 686.0f * dt;
        p = p + Vector<float>(v.x * dt, v.y * dt);
        o.update(dt);
        if (p.y >= 100.0f) {
            ++hits;
            if (hits == 3) {
                EXPECT_EQ(o.get_local_position(), Vector<float>(p.x, 100.0f));
                break;
            }
            const float before = v.y;
            v.y = -0.5f * v.y;
            EXPECT_EQ(m->get_velocity().y, -before * 0.5f);
            p = Vector<float>(p.x, 100.0f - (p.y - 100.0f));
            EXPECT_EQ(m->get_num_bounces(), 2 - hits);
        }
        ASSERT_EQ(o.get_local_position(), p);
        ASSERT_EQ(m->get_velocity(), v);
    }
    EXPECT_EQ(hits, 3);
    EXPECT_FALSE(o.any_animators());
    EXPECT_EQ(m->get_velocity().x, 3.0f);  // never changed
}

TEST(SceneObjectAnimatorMoveNewtonian, NegativeGravityHitsFromBelow) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveNewtonian>(Vector<float>(0, 0));
    m->set_gravity(-100.0f);
    m->set_bounce_target(50.0f);
    SceneObject o;
    o.set_position({0, 60});
    o.add_animator("m", m.get());
    o.update(0.5f);  // -50 per second, 35
    EXPECT_EQ(o.get_local_position(), Vector<float>(0, 50));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorMoveNewtonian, ZeroGravityNeverHits) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveNewtonian>(Vector<float>(0, 100));
    m->set_gravity(0.0f);
    m->set_bounce_target(50.0f);
    SceneObject o;
    o.add_animator("m", m.get());
    step(o, 1.0f, 3);
    EXPECT_EQ(o.get_local_position(), Vector<float>(0, 300));
    EXPECT_TRUE(attached(o, m.get()));
}

// --- MoveSmooth ---

namespace {
float smooth_k(float t, bool ease_in) {
    return ease_in ? std::cos(kPi * (1.0f - t)) * t * t : 1.0f - std::cos(kPi * t) * (1.0f - t) * (1.0f - t);
}
}  // namespace

TEST(SceneObjectAnimatorMoveSmooth, EaseOutPassesOvershootsAndLands) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveSmooth>(Vector<float>(100, 0), 1.0f, false);
    SceneObject o;
    o.add_animator("m", m.get());
    o.update(0.25f);
    EXPECT_EQ(o.get_local_position().x, 100.0f * smooth_k(0.25f, false));
    o.update(0.25f);
    EXPECT_NEAR(o.get_local_position().x, 100.0f, 100.0f * 1e-6f);
    o.update(0.25f);
    EXPECT_GT(o.get_local_position().x, 104.0f);
    EXPECT_LT(o.get_local_position().x, 104.5f);
    o.update(0.25f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(100, 0));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorMoveSmooth, EaseInDipsBackwardsFirst) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveSmooth>(Vector<float>(110, 20), 1.0f, true);
    SceneObject o;
    o.set_position({10, 20});
    o.add_animator("m", m.get());
    o.update(0.25f);
    const float k = smooth_k(0.25f, true);
    EXPECT_LT(k, 0.0f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(10, 20) + Vector<float>(100, 0) * k);
    o.update(0.5f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(10, 20) + Vector<float>(100, 0) * smooth_k(0.75f, true));
    o.update(0.5f);  // the remaining time is clamped at 0
    EXPECT_EQ(o.get_local_position(), Vector<float>(110, 20));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorMoveSmooth, ZeroDurationFinishesAtTheFirstStep) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveSmooth>(Vector<float>(1, 2), 0.0f, false);
    SceneObject o;
    o.add_animator("m", m.get());
    o.update(0.0f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(1, 2));
    EXPECT_FALSE(o.any_animators());
}

// --- MoveSpline ---

TEST(SceneObjectAnimatorMoveSpline, WithoutPointsIsInert) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveSpline>(1.0f);
    SceneObject o;
    o.set_position({3, 4});
    o.add_animator("m", m.get());
    o.update(0.5f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(3, 4));
    // Time did not run while there were no points.
    m->add_control_point({0, 0});
    m->add_control_point({100, 0});
    o.update(0.25f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(25, 0));
}

TEST(SceneObjectAnimatorMoveSpline, OnePointJumpsThere) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveSpline>(1.0f);
    m->add_control_point({7, -3});
    SceneObject o;
    o.add_animator("m", m.get());
    o.update(0.1f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(7, -3));
    EXPECT_TRUE(attached(o, m.get()));
}

TEST(SceneObjectAnimatorMoveSpline, QuadraticCurveAndItsEnd) {
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveSpline>(1.0f);
    m->add_control_point({0, 0});
    m->add_control_point({100, 0});
    m->add_control_point({100, 100});
    SceneObject o;
    o.add_animator("m", m.get());
    o.update(0.5f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(75, 25));
    o.update(0.75f);  // clamped at the duration
    EXPECT_EQ(o.get_local_position(), Vector<float>(100, 100));
    o.update(1.0f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(100, 100));
    EXPECT_TRUE(attached(o, m.get()));  // stays until removed
}

TEST(SceneObjectAnimatorMoveSpline, CubicMatchesBernsteinForm) {
    const Vector<float> p[4] = {{0, 0}, {30, 90}, {70, -40}, {100, 10}};
    auto m = engine::core::make_ref<SceneObjectAnimatorMoveSpline>(2.0f);
    for (const auto& q : p) m->add_control_point(q);
    SceneObject o;
    o.add_animator("m", m.get());
    for (int i = 1; i < 8; ++i) {
        o.update(0.25f);
        const double t = i / 8.0, u = 1 - t;
        const double x = u * u * u * p[0].x + 3 * u * u * t * p[1].x + 3 * u * t * t * p[2].x + t * t * t * p[3].x;
        const double y = u * u * u * p[0].y + 3 * u * u * t * p[1].y + 3 * u * t * t * p[2].y + t * t * t * p[3].y;
        EXPECT_NEAR(o.get_local_position().x, x, 1e-3);
        EXPECT_NEAR(o.get_local_position().y, y, 1e-3);
    }
}

// --- Slide ---

TEST(SceneObjectAnimatorSlide, EaseOutQuarterSteps) {
    auto s = engine::core::make_ref<SceneObjectAnimatorSlide>(Vector<float>(100, 50), 1.0f, false);
    SceneObject o;
    o.set_position({20, 10});
    o.add_animator("s", s.get());
    const Vector<float> start(20, 10), delta(80, 40);
    const float ub[3][2] = {{1.25f, 0.75f}, {1.5f, 0.5f}, {1.75f, 0.25f}};
    for (const auto& [u, b] : ub) {
        o.update(0.25f);
        const float k = 1.0f - std::cos(u * u - 1.0f) * b * b * b;
        EXPECT_EQ(o.get_local_position(), start + delta * k);
    }
    o.update(0.25f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(100, 50));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorSlide, EaseInDipsThenArrives) {
    auto s = engine::core::make_ref<SceneObjectAnimatorSlide>(Vector<float>(100, 0), 1.0f, true);
    SceneObject o;
    o.add_animator("s", s.get());
    o.update(0.25f);  // a = 0.75, b = 0.25
    const float k = std::cos(1.75f * 1.75f - 1.0f) * 0.25f * 0.25f * 0.25f;
    EXPECT_LT(k, 0.0f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(100.0f * k, 0));
    step(o, 0.25f, 2);
    EXPECT_TRUE(attached(o, s.get()));
    o.update(0.25f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(100, 0));
    EXPECT_FALSE(o.any_animators());
}

TEST(SceneObjectAnimatorSlide, EaseOutOvershootsByUnderOnePercent) {
    auto s = engine::core::make_ref<SceneObjectAnimatorSlide>(Vector<float>(1000, 0), 1.0f, false);
    SceneObject o;
    o.add_animator("s", s.get());
    float most = 0.0f;
    int steps = 0;
    while (o.any_animators() && steps < 10'000) {  // a slide of 1 s ends after 1,000 steps
        o.update(0.001f);
        most = std::max(most, o.get_local_position().x);
        ++steps;
    }
    EXPECT_FALSE(o.any_animators());
    EXPECT_GT(most, 1000.0f);
    EXPECT_LT(most, 1010.0f);
}

// --- Several animators in one frame ---

TEST(SceneObjectAnimators, SeveralFinishInTheSameFrame) {
    auto pulse = engine::core::make_ref<SceneObjectAnimatorPulse>(1.0f, 2.0f, 0.5f);
    auto move = engine::core::make_ref<SceneObjectAnimatorMove>(Vector<float>(1, 0), 100.0f, 10.0f);
    auto rotate = engine::core::make_ref<SceneObjectAnimatorRotate>(1.0f, 0.0f, 0.0f);
    SceneObject o;
    o.add_animator("a", pulse.get());
    o.add_animator("b", move.get());
    o.add_animator("c", rotate.get());
    o.update(0.5f);
    EXPECT_EQ(o.get_animators().size(), 1u);
    EXPECT_EQ(o.get_animator("c"), rotate.get());
    EXPECT_EQ(o.get_local_scale(), Vector<float>(1, 1));
    EXPECT_EQ(o.get_local_position(), Vector<float>(1, 0));
    EXPECT_EQ(o.get_local_rotation(), 0.5f);
}

TEST(SceneObjectAnimators, AnAnimatorRemovingAFinishingOneInTheSameFrame) {
    auto scale = engine::core::make_ref<SceneObjectAnimatorScale>(2.0f, 0.25f);
    Probe remover;
    SceneObject o;
    o.add_animator("a", &remover);
    o.add_animator("b", scale.get());
    remover.action = [&](Probe&) { o.remove_animator("b"); };
    // "b" still steps this frame (it was in the snapshot) and finishes: its own
    // removal then finds nothing.
    o.update(0.5f);
    EXPECT_EQ(o.get_local_scale(), Vector<float>(2, 2));
    EXPECT_EQ(o.get_animators().size(), 1u);
}

TEST(SceneObjectAnimators, ReplacingUnderTheSameNameKeepsOnlyTheNewOne) {
    auto first = engine::core::make_ref<SceneObjectAnimatorMoveFixed>(Vector<float>(1, 0));
    auto second = engine::core::make_ref<SceneObjectAnimatorMoveFixed>(Vector<float>(0, 1));
    SceneObject o;
    o.add_animator("m", first.get());
    o.add_animator("m", second.get());
    o.update(1.0f);
    EXPECT_EQ(o.get_local_position(), Vector<float>(0, 1));
    EXPECT_EQ(o.get_animators().size(), 1u);
}
