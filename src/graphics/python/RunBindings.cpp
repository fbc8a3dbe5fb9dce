#include "python/Bindings.h"

#include "engine/core/Ref.h"
#include "engine/graphics/FrameLoop.h"
#include "engine/graphics/Module.h"
#include "engine/graphics/Scene.h"

#include "engine/window/Window.h"


#include <chrono>
#include <cmath>
#include <optional>
#include <cstdio>
#include <string>
#include <thread>

namespace engine::graphics::python {

namespace {

// The time of a game: the steady clock. Sleeps without holding the interpreter lock, so
// other Python threads run meanwhile.
class SteadyClock final : public FrameClock {
public:
    Duration now() override {
        return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
    }
    void sleep_until(Duration deadline) override {
        const std::chrono::steady_clock::time_point until(
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(deadline));
        Py_BEGIN_ALLOW_THREADS
        std::this_thread::sleep_until(until);
        Py_END_ALLOW_THREADS
    }
};


// A clock given by a script (the tests of the loop): now() and sleep_until(deadline)
// in integer nanoseconds, so that the times run measures are exact.
class ScriptClock final : public FrameClock {
public:
    explicit ScriptClock(PyObject* clock) : clock_(bp::handle<>(bp::borrowed(clock))) {}

    Duration now() override {
        const bp::object time = clock_.attr("now")();
        if (!PyLong_Check(time.ptr()))
            raise(PyExc_TypeError, std::string("run(): the clock's now() must return int nanoseconds, not ") +
                                       Py_TYPE(time.ptr())->tp_name + ".");
        return Duration(bp::extract<long long>(time)());
    }
    void sleep_until(Duration deadline) override { clock_.attr("sleep_until")(deadline.count()); }

private:
    bp::object clock_;  // the script's clock
};

// The clock set with _set_run_clock, one reference, or null for the steady clock. A raw
// reference, since the module state outlives the interpreter.
PyObject* script_clock = nullptr;

void set_run_clock(bp::object clock) {
    if (!clock.is_none()) {
        for (const char* method : {"now", "sleep_until"}) {
            if (!PyObject_HasAttrString(clock.ptr(), method) || !PyCallable_Check(bp::object(clock.attr(method)).ptr()))
                raise(PyExc_TypeError, std::string("_set_run_clock(): the clock has no method ") + method + "().");
        }
    }
    PyObject* const kept = clock.is_none() ? nullptr : clock.ptr();
    Py_XINCREF(kept);
    Py_XDECREF(script_clock);
    script_clock = kept;
}

// None, or the colour each frame starts from.
std::optional<core::Colour> frame_clear_colour(bp::object value) {
    if (value.is_none()) return std::nullopt;
    bp::extract<core::Colour> colour(value);
    if (!colour.check())
        raise(PyExc_TypeError, std::string("run(): clear_colour must be a Colour, a tuple of 3 or 4 numbers, a "
                                           "colour string or None, not ") +
                                   Py_TYPE(value.ptr())->tp_name + ".");
    return colour();
}

// The frame loop of a small game: see the docstring below.
int run(bp::object window_object, bp::object update, double fps, bp::object clear_colour_object) {
    bp::extract<window::Window*> get(window_object);
    if (window_object.is_none() || !get.check())
        raise(PyExc_TypeError, std::string("run(): window must be a libwindow.Window, not ") +
                                   Py_TYPE(window_object.ptr())->tp_name + ".");
    if (!update.is_none() && !PyCallable_Check(update.ptr()))
        raise(PyExc_TypeError, std::string("run(): update must be callable (update(dt)) or None, not ") +
                                   Py_TYPE(update.ptr())->tp_name + ".");
    if (!FrameLoop::is_valid_fps(fps)) {
        char got[32];
        std::snprintf(got, sizeof got, "%g", fps);
        raise(PyExc_ValueError, std::string("run(): fps must be from 1/86400 (a frame a day) to 1e9, or 0 for no "
                                            "pacing; got ") +
                                    got + ".");
    }
    const std::optional<core::Colour> clear_colour = frame_clear_colour(clear_colour_object);
    window::Window* window = get();
    if (!window->is_open()) raise(PyExc_RuntimeError, "run(): the window is closed.");

    // What every first program does before its loop, done when it was not.
    if (get_window() != window) bp::import("libgraphics").attr("set_window")(window_object);
    if (!is_ortho_set()) set_ortho();

    SteadyClock steady_clock;
    std::optional<ScriptClock> given_clock;
    if (script_clock) given_clock.emplace(script_clock);
    FrameClock& clock = given_clock ? static_cast<FrameClock&>(*given_clock) : steady_clock;
    FrameLoop loop(*window, fps, clock);
    loop.set_clear_colour(clear_colour);
    // An exception the update raises leaves through the loop; None keeps going.
    if (!update.is_none()) loop.set_update([&update](double dt) { return bp::object(update(dt)).ptr() != Py_False; });
    // Ctrl-C reaches a loop that runs no Python code of its own.
    loop.set_stop_check([] {
        if (PyErr_CheckSignals() != 0) bp::throw_error_already_set();
        return false;
    });
    return loop.run();
}

}  // namespace

void define_run() {
    bp::def("run", &run,
            (bp::arg("window"), bp::arg("update") = bp::object(), bp::arg("fps") = 60.0,
             bp::arg("clear_colour") = bp::make_tuple(0, 0, 0)),
            "run(window: Window, update: Callable[[float], object] | None = None, fps: float = 60.0, "
            "clear_colour: ColourLike | None = (0, 0, 0)) -> int\n\n"
            "The game loop: each frame processes the window's events, clears the window to\n"
            "clear_colour (opaque black by default; None leaves the last frame's picture), calls\n"
            "update(dt) (dt: seconds since the previous frame, at most 0.25), then the current\n"
            "scene's update(dt), begin_frame(), render() and end_frame(), and swaps the buffers,\n"
            "starting frames 1/fps seconds apart (fps=0: as fast as possible; otherwise 1/86400\n"
            "to 1e9, else ValueError). Makes the window the module's window and sets the pixel\n"
            "projection when that was not done yet.\n\n"
            "Returns the number of frames drawn when the window is closed (or asked to close:\n"
            "process_events() returned False) or when update returns False (None, what a\n"
            "function without return gives, keeps going). An exception raised by update, or a\n"
            "stop request from a hook, comes out of run.");
    // The tests of the loop drive its time with a clock of their own.
    bp::def("_set_run_clock", &set_run_clock, bp::arg("clock"),
            "_set_run_clock(clock: object | None) -> None\n\n"
            "Makes run read the time from clock.now() and wait with clock.sleep_until(deadline),\n"
            "both in int nanoseconds from any fixed start; None: the steady clock again.");
}

}  // namespace engine::graphics::python
