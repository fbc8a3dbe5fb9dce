#include "python/Bindings.h"

#include "engine/graphics/Module.h"
#include "engine/graphics/Scene.h"

#include "engine/window/Window.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>

namespace engine::graphics::python {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// A stall (a breakpoint, a dragged window) is not passed on whole: objects would jump.
constexpr double longest_step = 0.25;
// The paced frame periods: from a day (slower would be a slide show of one picture) to
// a nanosecond (the clock's resolution); either bound keeps the period well inside the
// clock's range.
constexpr double lowest_fps = 1.0 / 86400.0;
constexpr double highest_fps = 1e9;

// Waits until `deadline` without holding the interpreter lock, so other Python threads
// run meanwhile.
void sleep_until(Clock::time_point deadline) {
    Py_BEGIN_ALLOW_THREADS
    std::this_thread::sleep_until(deadline);
    Py_END_ALLOW_THREADS
}

// The frame loop of a small game: see the docstring below.
int run(bp::object window_object, bp::object update, double fps) {
    bp::extract<window::Window*> get(window_object);
    if (window_object.is_none() || !get.check())
        raise(PyExc_TypeError, std::string("run(): window must be a libwindow.Window, not ") +
                                   Py_TYPE(window_object.ptr())->tp_name + ".");
    if (!update.is_none() && !PyCallable_Check(update.ptr()))
        raise(PyExc_TypeError, std::string("run(): update must be callable (update(dt)) or None, not ") +
                                   Py_TYPE(update.ptr())->tp_name + ".");
    if (!(fps == 0.0 || (fps >= lowest_fps && fps <= highest_fps))) {
        char got[32];
        std::snprintf(got, sizeof got, "%g", fps);
        raise(PyExc_ValueError, std::string("run(): fps must be from 1/86400 (a frame a day) to 1e9, or 0 for no "
                                            "pacing; got ") +
                                    got + ".");
    }
    window::Window* window = get();
    if (!window->is_open()) raise(PyExc_RuntimeError, "run(): the window is closed.");

    // What every first program does before its loop, done when it was not.
    if (get_window() != window) bp::import("libgraphics").attr("set_window")(window_object);
    if (!is_ortho_set()) set_ortho();

    const Clock::duration period =
        fps > 0.0 ? std::chrono::duration_cast<Clock::duration>(Seconds(1.0 / fps)) : Clock::duration::zero();
    Clock::time_point previous = Clock::now();
    Clock::time_point next = previous + period;
    double dt = fps > 0.0 ? 1.0 / fps : 1.0 / 60.0;  // the first frame's, before any was measured
    int frames = 0;
    while (window->process_events()) {
        // A hook's stop request (or any exception in "raise" mode) comes out of run.
        if (core::is_script_error_held()) break;
        // Ctrl-C reaches a loop that runs no Python code of its own.
        if (PyErr_CheckSignals() != 0) bp::throw_error_already_set();
        if (!update.is_none()) {
            const bp::object result = update(dt);
            if (result.ptr() == Py_False) break;
        }
        if (Scene* scene = Scene::get()) {
            scene->update(float(dt));
            if (core::is_script_error_held()) break;
            scene->begin_frame();
            scene->render();
            scene->end_frame();
            if (core::is_script_error_held()) break;
        }
        window->swap_buffers();
        ++frames;

        // A steady pace: frames start a period apart; one that ran late does not make
        // the next ones hurry to catch up.
        if (period != Clock::duration::zero()) {
            const Clock::time_point now = Clock::now();
            if (now < next)
                sleep_until(next);
            else if (now - next > period)
                next = now;
            next += period;
        }
        const Clock::time_point now = Clock::now();
        dt = std::min(Seconds(now - previous).count(), longest_step);
        previous = now;
    }
    return frames;
}

}  // namespace

void define_run() {
    bp::def("run", &run, (bp::arg("window"), bp::arg("update") = bp::object(), bp::arg("fps") = 60.0),
            "run(window: Window, update: Callable[[float], object] | None = None, fps: float = 60.0) -> int\n\n"
            "The game loop: each frame processes the window's events, calls update(dt) (dt:\n"
            "seconds since the previous frame, at most 0.25), then the current scene's update(dt),\n"
            "begin_frame(), render() and end_frame(), and swaps the buffers, starting frames\n"
            "1/fps seconds apart (fps=0: as fast as possible; otherwise 1/86400 to 1e9, else\n"
            "ValueError). Makes the window the module's\n"
            "window and sets the pixel projection when that was not done yet.\n\n"
            "Returns the number of frames drawn when the window is closed (or asked to close:\n"
            "process_events() returned False) or when update returns False (None, what a\n"
            "function without return gives, keeps going). An exception raised by update, or a\n"
            "stop request from a hook, comes out of run.");
}

}  // namespace engine::graphics::python
