#include "module/FramePacer.h"

#include <gtest/gtest.h>

#include <vector>

using engine::graphics::FrameClock;
using engine::graphics::FramePacer;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

// A clock that moves only when the test or a sleep moves it, and keeps the sleeps asked for.
class TestClock final : public FrameClock {
public:
    Duration now() override { return time; }
    void sleep_until(Duration deadline) override {
        sleeps.push_back(deadline - time);
        if (deadline > time) time = deadline;
    }

    Duration time = std::chrono::seconds(1000);  // far from zero: nothing may assume a start at 0
    std::vector<Duration> sleeps;                // how long each sleep lasted
};

constexpr nanoseconds kPeriod30(33'333'333);  // 1/30 s, truncated to whole nanoseconds

double seconds(nanoseconds d) { return std::chrono::duration<double>(d).count(); }

}  // namespace

TEST(FramePacer, FirstFrameIsHandedOnePeriod) {
    EXPECT_EQ(FramePacer(30.0, nanoseconds(0)).dt(), 1.0 / 30.0);
    EXPECT_EQ(FramePacer(0.0, nanoseconds(0)).dt(), 1.0 / 60.0);
}

TEST(FramePacer, PeriodIsOneOverFpsInWholeNanoseconds) {
    EXPECT_EQ(FramePacer(30.0, nanoseconds(0)).period(), kPeriod30);
    EXPECT_EQ(FramePacer(50.0, nanoseconds(0)).period(), milliseconds(20));
    EXPECT_EQ(FramePacer(0.0, nanoseconds(0)).period(), nanoseconds(0));
}

TEST(FramePacer, FramesStartOnePeriodApartWhateverTheirWork) {
    TestClock clock;
    FramePacer pacer(30.0, clock.now());
    for (const milliseconds work : {milliseconds(5), milliseconds(30), milliseconds(0), milliseconds(12)}) {
        clock.time += work;
        pacer.next_frame(clock);
        EXPECT_EQ(clock.sleeps.back(), kPeriod30 - work);
        EXPECT_EQ(pacer.dt(), seconds(kPeriod30));
    }
    EXPECT_EQ(clock.sleeps.size(), 4u);
}

TEST(FramePacer, FrameLateByLessThanAPeriodKeepsTheSchedule) {
    TestClock clock;
    const nanoseconds start = clock.now();
    FramePacer pacer(30.0, start);
    clock.time += milliseconds(40);  // 6.67 ms past the second frame's start
    pacer.next_frame(clock);
    EXPECT_TRUE(clock.sleeps.empty());
    EXPECT_EQ(pacer.dt(), 0.04);
    clock.time += milliseconds(5);
    pacer.next_frame(clock);  // the third frame starts on time, two periods after the first
    EXPECT_EQ(clock.time, start + 2 * kPeriod30);
    EXPECT_EQ(pacer.dt(), seconds(2 * kPeriod30 - milliseconds(40)));
}

TEST(FramePacer, FrameLaterThanAPeriodMovesTheSchedule) {
    TestClock clock;
    FramePacer pacer(30.0, clock.now());
    clock.time += milliseconds(100);  // three periods of work
    const nanoseconds ended = clock.time;
    pacer.next_frame(clock);
    EXPECT_TRUE(clock.sleeps.empty());
    EXPECT_EQ(pacer.dt(), 0.1);
    // The frames after it do not hurry: each starts a period after the previous one.
    for (int frame = 1; frame <= 3; ++frame) {
        clock.time += milliseconds(5);
        pacer.next_frame(clock);
        EXPECT_EQ(clock.time, ended + frame * kPeriod30);
        EXPECT_EQ(pacer.dt(), seconds(kPeriod30));
    }
}

TEST(FramePacer, StallIsHandedOnAsAQuarterOfASecond) {
    TestClock clock;
    FramePacer pacer(60.0, clock.now());
    clock.time += std::chrono::seconds(3);
    pacer.next_frame(clock);
    EXPECT_EQ(pacer.dt(), FramePacer::longest_step);
    EXPECT_EQ(pacer.dt(), 0.25);
}

TEST(FramePacer, WithoutPacingItNeverSleepsAndMeasuresEachFrame) {
    TestClock clock;
    FramePacer pacer(0.0, clock.now());
    for (const nanoseconds work : {nanoseconds(7'000'000), nanoseconds(1), nanoseconds(0), nanoseconds(123'456'789)}) {
        clock.time += work;
        pacer.next_frame(clock);
        EXPECT_EQ(pacer.dt(), seconds(work));
    }
    EXPECT_TRUE(clock.sleeps.empty());
}
