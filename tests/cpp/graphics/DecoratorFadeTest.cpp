#include "engine/graphics/DecoratorFade.h"

#include "engine/graphics/Texture.h"
#include "engine/graphics/TextureData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using engine::graphics::DecoratorFade;
using engine::graphics::Texture;
using Hooks = std::vector<std::string>;

// The transition textures are private, empty textures made from no bytes: nothing is
// uploaded, so no GL context is needed.

namespace {

Texture empty_texture() { return Texture(nullptr, {0, 0}, 4); }

// Writes down each hook with the state of the fade it was given.
class RecordingFade : public DecoratorFade {
public:
    struct Call {
        std::string hook;
        float from, to, delay, remaining, duration, progress;
    };
    std::vector<Call> calls;

    int count(const std::string& hook) const {
        int n = 0;
        for (const Call& c : calls) n += c.hook == hook;
        return n;
    }
    // The hooks called so far, in order.
    std::vector<std::string> hooks() const {
        std::vector<std::string> names;
        for (const Call& c : calls) names.push_back(c.hook);
        return names;
    }

protected:
    void on_fade_begin(const Fade& f) override { record("begin", f); }
    void on_fade_end(const Fade& f) override { record("end", f); }

private:
    void record(const std::string& hook, const Fade& f) {
        calls.push_back({hook, f.from, f.to, f.delay, f.remaining, f.duration, f.progress});
    }
};

// Whether the front fade is there and has counted its delay, remaining time and progress
// to these values (within float rounding); prints what it has when not.
::testing::AssertionResult front_fade_is(const DecoratorFade& d, float delay, float remaining, float progress) {
    const DecoratorFade::Fade* f = d.get_fade();
    if (!f) return ::testing::AssertionFailure() << "no fade";
    const auto near = [](float a, float b) { return std::abs(a - b) <= 1e-6f; };
    if (near(f->delay, delay) && near(f->remaining, remaining) && near(f->progress, progress))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "delay " << f->delay << ", remaining " << f->remaining << ", progress "
                                         << f->progress;
}

}  // namespace

TEST(DecoratorFade, StartsWithoutFade) {
    RecordingFade d;
    EXPECT_EQ(d.get_fade(), nullptr);
    d.update(1.0f);  // nothing to step
    EXPECT_TRUE(d.calls.empty());
}

TEST(DecoratorFade, QueuedFadeHoldsItsValuesAndACopyOfTheTexture) {
    RecordingFade d;
    Texture texture = empty_texture();
    texture.set_wrap_mode(0x2901);  // GL_REPEAT
    d.fade(0.25f, 0.75f, 1.0f, 2.0f, texture);
    const DecoratorFade::Fade* f = d.get_fade();
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->from, 0.25f);
    EXPECT_EQ(f->to, 0.75f);
    EXPECT_EQ(f->delay, 1.0f);
    EXPECT_EQ(f->remaining, 2.0f);
    EXPECT_EQ(f->duration, 2.0f);
    EXPECT_EQ(f->progress, 0.0f);
    ASSERT_NE(f->transition_texture, nullptr);
    EXPECT_NE(f->transition_texture.get(), &texture);
    EXPECT_EQ(f->transition_texture->get_data(), texture.get_data());  // shared data
    EXPECT_EQ(f->transition_texture->get_wrap_mode(), 0x2901u);
    EXPECT_EQ(texture.get_data()->get_ref_count(), 2);
}

TEST(DecoratorFade, DelayOneDurationTwoUpdatedByOneAndAHalfHasProgressAQuarter) {
    RecordingFade d;
    d.fade(1.0f, 0.0f, 1.0f, 2.0f, empty_texture());
    d.update(1.5f);
    EXPECT_TRUE(front_fade_is(d, 0.0f, 1.5f, 0.25f));
    ASSERT_EQ(d.hooks(), Hooks{"begin"});
    // The hook sees the fade before the left-over time is taken off.
    EXPECT_EQ(d.calls[0].remaining, 2.0f);
    EXPECT_EQ(d.calls[0].progress, 0.0f);
}

TEST(DecoratorFade, UpdateWithinTheDelayOnlyCountsItDown) {
    RecordingFade d;
    d.fade(1.0f, 0.0f, 1.0f, 2.0f, empty_texture());
    d.update(0.25f);
    EXPECT_TRUE(front_fade_is(d, 0.75f, 2.0f, 0.0f));
    EXPECT_TRUE(d.calls.empty());
}

TEST(DecoratorFade, DelayUsedUpExactlyBeginsOnTheNextUpdate) {
    RecordingFade d;
    d.fade(1.0f, 0.0f, 0.5f, 2.0f, empty_texture());
    d.update(0.5f);  // nothing left over
    EXPECT_EQ(d.count("begin"), 0);
    EXPECT_EQ(d.get_fade()->delay, 0.0f);
    EXPECT_EQ(d.get_fade()->progress, 0.0f);
    d.update(0.5f);
    EXPECT_EQ(d.count("begin"), 1);
    EXPECT_FLOAT_EQ(d.get_fade()->progress, 0.25f);
}

TEST(DecoratorFade, WithoutDelayBeginsAtTheFirstUpdate) {
    RecordingFade d;
    d.fade(0.0f, 1.0f, 0.0f, 4.0f, empty_texture());
    d.update(1.0f);
    EXPECT_EQ(d.count("begin"), 1);
    EXPECT_FLOAT_EQ(d.get_fade()->progress, 0.25f);
    d.update(2.0f);
    EXPECT_FLOAT_EQ(d.get_fade()->progress, 0.75f);
}

TEST(DecoratorFade, BeginAndEndAreCalledOnceEach) {
    RecordingFade d;
    d.fade(1.0f, 0.5f, 0.5f, 1.0f, empty_texture());
    for (int i = 0; i < 20; ++i) d.update(0.125f);
    ASSERT_EQ(d.hooks(), (Hooks{"begin", "end"}));
    EXPECT_EQ(d.calls[1].progress, 1.0f);
    EXPECT_EQ(d.calls[1].from, 1.0f);
    EXPECT_EQ(d.calls[1].to, 0.5f);
    EXPECT_EQ(d.get_fade(), nullptr);
}

TEST(DecoratorFade, EndedFadeIsRemovedAndItsTextureReleased) {
    RecordingFade d;
    Texture texture = empty_texture();
    d.fade(1.0f, 0.0f, 0.0f, 1.0f, texture);
    EXPECT_EQ(texture.get_data()->get_ref_count(), 2);
    d.update(0.5f);
    EXPECT_EQ(texture.get_data()->get_ref_count(), 2);
    d.update(0.5f);
    EXPECT_EQ(d.get_fade(), nullptr);
    EXPECT_EQ(texture.get_data()->get_ref_count(), 1);
}

TEST(DecoratorFade, UpdateCoveringDelayAndDurationBeginsAndEndsAtOnce) {
    RecordingFade d;
    d.fade(1.0f, 0.0f, 1.0f, 2.0f, empty_texture());
    d.update(5.0f);
    ASSERT_EQ(d.hooks(), (Hooks{"begin", "end"}));
    EXPECT_EQ(d.get_fade(), nullptr);
}

TEST(DecoratorFade, NextFadeStartsOnTheFollowingUpdateWithoutLeftOverTime) {
    RecordingFade d;
    d.fade(1.0f, 0.0f, 0.0f, 1.0f, empty_texture());
    d.fade(0.0f, 1.0f, 0.0f, 2.0f, empty_texture());
    d.update(1.5f);  // ends the first; its surplus half second is not carried over
    EXPECT_EQ(d.count("end"), 1);
    const DecoratorFade::Fade* second = d.get_fade();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->from, 0.0f);
    EXPECT_EQ(second->remaining, 2.0f);
    EXPECT_EQ(second->progress, 0.0f);
    EXPECT_EQ(d.count("begin"), 1);
    d.update(0.5f);
    EXPECT_EQ(d.count("begin"), 2);
    EXPECT_FLOAT_EQ(d.get_fade()->progress, 0.25f);
    EXPECT_EQ(d.calls.back().from, 0.0f);
}

TEST(DecoratorFade, OnlyTheFrontFadeIsStepped) {
    RecordingFade d;
    d.fade(1.0f, 0.0f, 0.0f, 10.0f, empty_texture());
    d.fade(0.0f, 1.0f, 3.0f, 1.0f, empty_texture());
    d.update(1.0f);
    d.update(8.0f);
    EXPECT_EQ(d.count("end"), 0);
    d.update(1.0f);
    ASSERT_NE(d.get_fade(), nullptr);
    EXPECT_EQ(d.get_fade()->delay, 3.0f);  // the second fade's delay has not started
}

// A fade of no duration ends at the first update, whatever that update covers.
struct ZeroDurationCase {
    const char* name;
    float to;
    float delay;      // the fade's
    float dt;         // of the first update
    Hooks hooks;      // called by that update
    float end_delay;  // the delay the end hook sees
};

class ZeroDurationFade : public ::testing::TestWithParam<ZeroDurationCase> {};

TEST_P(ZeroDurationFade, EndsAtTheFirstUpdate) {
    const ZeroDurationCase& c = GetParam();
    RecordingFade d;
    d.fade(1.0f, c.to, c.delay, 0.0f, empty_texture());
    d.update(c.dt);
    ASSERT_EQ(d.hooks(), c.hooks);
    EXPECT_EQ(d.calls.back().to, c.to);
    EXPECT_EQ(d.calls.back().delay, c.end_delay);
    if (d.calls.size() == 2) {
        EXPECT_EQ(d.calls.back().progress, 1.0f);  // it had begun
    }
    EXPECT_EQ(d.get_fade(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    DecoratorFade, ZeroDurationFade,
    ::testing::Values(ZeroDurationCase{"BeginsAndEnds", 0.25f, 0.0f, 0.016f, {"begin", "end"}, 0.0f},
                      // No time is left over, so the begin hook's condition does not hold; the fade
                      // still has nothing remaining and ends.
                      ZeroDurationCase{"UpdatedByZeroEndsWithoutBeginning", 0.0f, 0.0f, 0.0f, {"end"}, 0.0f},
                      // Nothing remains to run from the start, so the first update ends the fade while
                      // its delay is still counting down, without the begin hook.
                      ZeroDurationCase{"EndsEvenWithinItsDelay", 0.0f, 1.0f, 0.5f, {"end"}, 0.5f}),
    [](const ::testing::TestParamInfo<ZeroDurationCase>& info) { return std::string(info.param.name); });

TEST(DecoratorFade, DestructionReleasesQueuedTextures) {
    Texture texture = empty_texture();
    {
        RecordingFade d;
        d.fade(1.0f, 0.0f, 0.0f, 1.0f, texture);
        d.fade(1.0f, 0.0f, 0.0f, 1.0f, texture);
        EXPECT_EQ(texture.get_data()->get_ref_count(), 3);
    }
    EXPECT_EQ(texture.get_data()->get_ref_count(), 1);
}

TEST(DecoratorFade, FadesFinishedIsCalledWhenTheQueueEmpties) {
    DecoratorFade d;
    int calls = 0;
    d.set_on_fades_finished(std::make_shared<const std::function<void()>>([&] { ++calls; }));
    d.fade(1, 0, 0, 1, empty_texture());
    d.fade(0, 1, 0, 1, empty_texture());
    d.update(1.0f);
    EXPECT_EQ(calls, 0);  // the second is still queued
    d.update(1.0f);
    EXPECT_EQ(calls, 1);
    d.update(1.0f);
    EXPECT_EQ(calls, 1);  // nothing ended
}

TEST(DecoratorFade, FadesFinishedMayReplaceItselfAndQueueMore) {
    DecoratorFade d;
    int calls = 0;
    d.set_on_fades_finished(std::make_shared<const std::function<void()>>([&] {
        ++calls;
        d.set_on_fades_finished(nullptr);  // the running call stays alive
        d.fade(1, 0, 0, 1, empty_texture());
    }));
    d.fade(1, 0, 0, 1, empty_texture());
    d.update(1.0f);
    EXPECT_EQ(calls, 1);
    EXPECT_NE(d.get_fade(), nullptr);
    d.update(1.0f);
    EXPECT_EQ(calls, 1);
}

TEST(DecoratorFade, UniformFadeHasNoTransitionTextureAndRunsLikeAnyOther) {
    RecordingFade d;
    d.fade(1.0f, 0.0f, 0.0f, 1.0f);
    ASSERT_NE(d.get_fade(), nullptr);
    EXPECT_EQ(d.get_fade()->transition_texture, nullptr);
    d.update(0.5f);
    EXPECT_TRUE(front_fade_is(d, 0.0f, 0.5f, 0.5f));
    d.update(0.5f);
    EXPECT_EQ(d.hooks(), (Hooks{"begin", "end"}));
    EXPECT_EQ(d.get_fade(), nullptr);
}
