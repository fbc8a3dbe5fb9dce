#include "engine/graphics/FrameLoop.h"

#include "module/FramePacer.h"

#include "engine/core/Ref.h"
#include "engine/core/ScriptHooks.h"
#include "engine/graphics/Scene.h"
#include "engine/window/Window.h"

#include <thread>

namespace engine::graphics {

namespace {
// Either bound keeps the period well inside the clock's range.
constexpr double kLowestFps = 1.0 / 86400.0;
constexpr double kHighestFps = 1e9;
}  // namespace

bool FrameLoop::is_valid_fps(double fps) { return fps == 0.0 || (fps >= kLowestFps && fps <= kHighestFps); }

FrameLoop::FrameLoop(window::Window& window, double fps, FrameClock& clock)
    : window_(window), fps_(fps), clock_(clock) {}

bool FrameLoop::stopping() const { return core::script_error_held() || (should_stop_ && should_stop_()); }

int FrameLoop::run() {
    FramePacer pacer(fps_, clock_.now());
    int frames = 0;
    while (window_.process_events()) {
        if (stopping()) break;
        // Before update(dt), which may draw too: a moving object leaves no copies.
        if (clear_colour_) window_.clear(*clear_colour_);
        const double dt = pacer.dt();
        if (update_ && !update_(dt)) break;
        // Held while it works, and asked for again after each step: an update may
        // replace the current scene, which would otherwise be freed under its own walk.
        if (const core::Ref<Scene> scene{Scene::get()}) scene->update(float(dt));
        if (stopping()) break;
        if (const core::Ref<Scene> scene{Scene::get()}) {
            scene->begin_frame();
            scene->render();
            scene->end_frame();
        }
        if (stopping()) break;
        window_.swap_buffers();
        ++frames;
        pacer.next_frame(clock_);
    }
    return frames;
}

FrameClock::Duration SteadyFrameClock::now() {
    return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
}

void SteadyFrameClock::sleep_until(Duration deadline) {
    std::this_thread::sleep_until(std::chrono::steady_clock::time_point(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(deadline)));
}

}  // namespace engine::graphics
