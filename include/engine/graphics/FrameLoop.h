#pragma once

#include "engine/core/Colour.h"

#include <chrono>
#include <functional>
#include <optional>

namespace engine::window {
class Window;
}

namespace engine::graphics {

/// Where the frame loop reads the time and how it waits: the steady clock in a game,
/// a clock the test drives in the tests of the loop. Times count from any fixed start.
/// Called from the script thread only.
class FrameClock {
public:
    using Duration = std::chrono::nanoseconds;

    virtual ~FrameClock() = default;
    /// The time now.
    virtual Duration now() = 0;
    /// Returns at `deadline`, or at once when it has passed.
    virtual void sleep_until(Duration deadline) = 0;
};

/// The game loop of a small game, for native programs and for `libgraphics.run`. Each
/// frame it processes the window's events, clears the window to the clear colour (when
/// one is set), calls the game's update(dt), then the current scene's update(dt),
/// begin_frame(), render() and end_frame(), and swaps the buffers; frames start 1/fps
/// apart (see FramePacer). The current scene is held while it works and asked for
/// again after each step, so an update may replace it (a level change).
///
/// It stops when the window closes (process_events() is false), when update returns
/// false, or when `should_stop` says so between steps (a script hook's exception
/// waiting to leave, a Ctrl-C). Exceptions from update or should_stop leave `run`.
/// Script thread only.
///
///     FrameLoop loop(window, 60.0, clock);
///     loop.set_update([&](double dt) { hero.step(dt); return true; });
///     loop.run();
class FrameLoop {
public:
    /// The game's step; false ends the loop.
    using Update = std::function<bool(double dt)>;
    /// Asked between steps; true ends the loop.
    using StopCheck = std::function<bool()>;

    /// The paced frame rates: from a frame a day to 1e9 (the clock's resolution), or 0
    /// for no pacing.
    static bool is_valid_fps(double fps);

    /// `fps` must be valid (`is_valid_fps`); `clock` outlives the loop.
    FrameLoop(window::Window& window, double fps, FrameClock& clock);

    void set_update(Update update) { update_ = std::move(update); }
    void set_stop_check(StopCheck check) { should_stop_ = std::move(check); }
    /// The colour each frame starts from, or none to leave the last frame's picture.
    void set_clear_colour(const std::optional<core::Colour>& colour) { clear_colour_ = colour; }

    /// Runs frames until one of the ends above; returns how many were drawn.
    int run();

private:
    bool stopping() const;

    window::Window& window_;
    double fps_;
    FrameClock& clock_;
    Update update_;                            // null: the scene alone
    StopCheck should_stop_;                    // null: only the window and update end it
    std::optional<core::Colour> clear_colour_;  // none: the picture is left alone
};

/// The time of a game: the steady clock; its waits are plain sleeps.
class SteadyFrameClock : public FrameClock {
public:
    Duration now() override;
    void sleep_until(Duration deadline) override;
};

}  // namespace engine::graphics
