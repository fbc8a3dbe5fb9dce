#pragma once

#include "engine/graphics/FrameLoop.h"

#include <chrono>

namespace engine::graphics {

/// The pace of the frame loop. Frames start a period (1/fps) apart; a frame late by less
/// than a period keeps the schedule (the next one starts on time, sooner after it), and
/// one later than that moves the schedule to when it ended instead of making the next
/// ones hurry to catch up. Each frame is handed the time since the previous one started,
/// at most `longest_step`. With fps 0 frames follow each other at once.
/// Holds no clock: the loop passes its own. Script thread only.
///
///     FramePacer pacer(fps, clock.now());
///     while (running) { draw(pacer.dt()); pacer.next_frame(clock); }
class FramePacer {
public:
    /// A stall (a breakpoint, a dragged window) is not passed on whole: objects would jump.
    static constexpr double longest_step = 0.25;

    /// `fps` is positive, or 0 for no pacing; the first frame starts at `start`.
    FramePacer(double fps, FrameClock::Duration start);

    /// The seconds handed to the current frame: the time since the previous frame
    /// started (at most `longest_step`); for the first frame, one period (1/60 s
    /// without pacing).
    double dt() const { return dt_; }
    /// The time between frame starts; zero without pacing.
    FrameClock::Duration period() const { return period_; }

    /// Ends the current frame: sleeps on `clock` until the next one is due, and starts it.
    void next_frame(FrameClock& clock);

private:
    FrameClock::Duration period_;   // between frame starts; zero: no pacing
    FrameClock::Duration started_;  // when the current frame started
    FrameClock::Duration due_;      // when the next frame is due to start
    double dt_;                     // handed to the current frame, in seconds
};

}  // namespace engine::graphics
