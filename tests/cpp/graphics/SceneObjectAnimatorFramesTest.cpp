#include "engine/graphics/SceneObjectAnimatorFrames.h"

#include "core/TestSupport.h"
#include "engine/graphics/Sprite.h"
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using engine::core::Vector;
using engine::core::test::LogCapture;
using namespace engine::graphics;

// A record without a picture whose sequences have frames told apart by their
// rectangle's left edge (frame i at u = i / 8). Native-only animators are owned by the
// test and declared before the sprite, which goes first.

namespace {

struct FrameAnimator : ::testing::Test {
    FrameAnimator() {
        SpriteDatabase::unload();
        auto* data = new SpriteData;
        data->id = "walker";
        SpriteAnimation four;
        for (int i = 0; i < 4; ++i) {
            SpriteFrame f;
            f.top_left = Vector<float>(float(i) / 8, 0);
            f.bottom_right = Vector<float>(float(i + 1) / 8, 1);
            f.dimensions = Vector<float>(float(10 + i), 8);
            f.duration = 0.125f * float(i + 1);
            four.frames.push_back(f);
        }
        data->animations[""] = four;
        four.direction = SpriteAnimation::Direction::ping_pong;
        data->animations["bob"] = four;
        SpriteDatabase::add(data);
    }
    ~FrameAnimator() override { SpriteDatabase::unload(); }

    // The frame a sprite shows, from its rectangle.
    static int shown(const Sprite& s) { return int(s.get_top_left().x * 8 + 0.5f); }

    LogCapture log;
};

std::vector<int> run(Sprite& s, float dt, int count) {
    std::vector<int> frames;
    for (int i = 0; i < count; ++i) {
        s.update(dt);
        frames.push_back(int(s.get_top_left().x * 8 + 0.5f));
    }
    return frames;
}

}  // namespace

TEST_F(FrameAnimator, EachFrameShowsForItsOwnDuration) {
    SceneObjectAnimatorFrames a("", 0.0f, 0, "");
    Sprite s("walker");
    s.add_animator("play", &a);
    // 1/8, 2/8, 3/8, 4/8 seconds, stepped by 1/16.
    const std::vector<int> expected = {0, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 0};
    EXPECT_EQ(run(s, 0.0625f, 20), expected);
    EXPECT_EQ(a.get_frame(), 0);
    EXPECT_EQ(a.get_loops_done(), 1);
}

TEST_F(FrameAnimator, ShowingAFrameSetsItsRectangleAndSize) {
    SceneObjectAnimatorFrames a("", 4.0f, 0, "");
    Sprite s("walker");
    s.add_animator("play", &a);
    s.update(0.25f);
    EXPECT_EQ(s.get_top_left(), Vector<float>(0.125f, 0.0f));
    EXPECT_EQ(s.get_bottom_right(), Vector<float>(0.25f, 1.0f));
    EXPECT_EQ(s.get_dimensions(), Vector<float>(11, 8));
}

TEST_F(FrameAnimator, FpsReplacesTheDurations) {
    SceneObjectAnimatorFrames a("", 8.0f, 0, "");
    Sprite s("walker");
    s.add_animator("play", &a);
    EXPECT_EQ(run(s, 0.125f, 5), (std::vector<int>{1, 2, 3, 0, 1}));
}

TEST_F(FrameAnimator, FiniteLoopsFinishAfterTheLastFrameAndCallBack) {
    SceneObjectAnimatorFrames a("", 8.0f, 2, "");
    Sprite s("walker");
    int calls = 0;
    s.add_animator("play", &a, std::make_shared<const std::function<void()>>([&] { ++calls; }));
    EXPECT_EQ(run(s, 0.125f, 7), (std::vector<int>{1, 2, 3, 0, 1, 2, 3}));
    EXPECT_EQ(calls, 0);
    s.update(0.125f);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(shown(s), 3);
    EXPECT_TRUE(s.get_animators().empty());
}

TEST_F(FrameAnimator, PingPongGoesThereAndBackAndEndsWhereItBegan) {
    SceneObjectAnimatorFrames a("bob", 8.0f, 1, "");
    Sprite s("walker");
    s.add_animator("play", &a);
    EXPECT_EQ(run(s, 0.125f, 6), (std::vector<int>{1, 2, 3, 2, 1, 0}));
    EXPECT_FALSE(s.get_animators().empty());
    s.update(0.125f);
    EXPECT_TRUE(s.get_animators().empty());
    EXPECT_EQ(shown(s), 0);
}

TEST_F(FrameAnimator, DirectionArgumentReplacesTheSequences) {
    SceneObjectAnimatorFrames a("bob", 8.0f, 0, "reverse");
    Sprite s("walker");
    s.add_animator("play", &a);
    EXPECT_EQ(run(s, 0.125f, 5), (std::vector<int>{2, 1, 0, 3, 2}));
}

TEST_F(FrameAnimator, HugeNanAndNegativeStepsNeitherHangNorBreakTheCycle) {
    SceneObjectAnimatorFrames forever("", 0.0f, 0, "");
    SceneObjectAnimatorFrames twice("", 0.0f, 2, "");
    Sprite s("walker");
    Sprite t("walker");
    s.add_animator("play", &forever);
    t.add_animator("play", &twice);
    s.update(1e30f);
    EXPECT_EQ(forever.get_loops_done(), 0x7fffffff);  // the count stops at its largest
    s.update(std::numeric_limits<float>::quiet_NaN());
    s.update(-5.0f);
    EXPECT_GE(forever.get_frame(), 0);
    EXPECT_LT(forever.get_frame(), 4);
    t.update(1e30f);
    EXPECT_TRUE(t.get_animators().empty());
    EXPECT_EQ(shown(t), 3);
}

TEST_F(FrameAnimator, BadArgumentsThrow) {
    EXPECT_THROW(SceneObjectAnimatorFrames("", -1.0f, 0, ""), std::invalid_argument);
    EXPECT_THROW(SceneObjectAnimatorFrames("", std::numeric_limits<float>::infinity(), 0, ""), std::invalid_argument);
    EXPECT_THROW(SceneObjectAnimatorFrames("", std::numeric_limits<float>::quiet_NaN(), 0, ""), std::invalid_argument);
    EXPECT_THROW(SceneObjectAnimatorFrames("", 0.0f, -1, ""), std::invalid_argument);
    EXPECT_THROW(SceneObjectAnimatorFrames("", 0.0f, 0, "up"), std::invalid_argument);
}

TEST_F(FrameAnimator, AnUnknownSequenceWarnsOnceAndFinishes) {
    SceneObjectAnimatorFrames a("run", 0.0f, 0, "");
    Sprite s("walker");
    s.add_animator("play", &a);
    s.update(0.1f);
    EXPECT_TRUE(s.get_animators().empty());
    int warnings = 0;
    for (const auto& e : log.entries())
        if (e.message == "Sprite 'walker' has no frame sequence 'run': the frame animator stops.") ++warnings;
    EXPECT_EQ(warnings, 1);
}

// Counting allocations: the global operator new of this test binary counts while a
// test asks it to. Left out under the sanitizers, whose allocators replace it.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> allocations{0};  // operator new calls since the count was reset
}  // namespace

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

TEST_F(FrameAnimator, StepsAllocateNothingOnceStarted) {
    SceneObjectAnimatorFrames a("bob", 0.0f, 0, "");
    Sprite s("walker");
    s.add_animator("play", &a);
    s.update(0.01f);  // the first step looks the sequence up
    allocations = 0;
    for (int i = 0; i < 1000; ++i) s.update(0.05f);
    EXPECT_EQ(allocations.load(), 0);
    EXPECT_GE(a.get_loops_done(), 10);
}
#endif
