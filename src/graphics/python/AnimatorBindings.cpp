// Script classes of the animators. Only the sprite fade and wipe are registered with
// the factory, since data files create them by name.
#include "python/Bindings.h"

#include "engine/graphics/SceneObject.h"
#include "engine/graphics/SceneObjectAnimator.h"
#include "engine/graphics/SceneObjectAnimatorAlphaPulse.h"
#include "engine/graphics/SceneObjectAnimatorFrames.h"
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

namespace engine::graphics::python {

namespace {

using Vector = core::Vector<float>;

template <class T, class... Args>
using AnimatorClass = bp::class_<T, Held<ObjectWrapper<T, Args...>>, bp::bases<SceneObjectAnimator>, boost::noncopyable>;

// The script class of one kind of animator T, constructed from Args named by
// `keywords` and documented by `doc`; script classes may derive from it.
template <class T, class... Args, class Keywords>
AnimatorClass<T, Args...> animator_class(const char* name, const char* doc, const Keywords& keywords) {
    return AnimatorClass<T, Args...>(name, doc, bp::init<Args...>(keywords));
}

bp::object animator_object(const SceneObjectAnimator& a) { return to_python(a.get_object()); }

}  // namespace

void define_animator() {
    // Animators are made by their concrete classes; the base has no constructor.
    bp::class_<SceneObjectAnimator, boost::noncopyable>(
        "SceneObjectAnimator",
        "SceneObjectAnimator\n\n"
        "Changes one property of one scene object a little every frame until it is done;\n"
        "attach it with SceneObject.add_animator. Made through its subclasses.",
        bp::no_init)
        .add_property("delay", &SceneObjectAnimator::get_delay, &SceneObjectAnimator::set_delay,
                      "delay: float\n\n"
                      "Seconds to wait before the first step.")
        .add_property("object", &animator_object,
                      "object: SceneObject | None\n\n"
                      "The object animated, or None once it is gone.");

    animator_class<SceneObjectAnimatorAlphaPulse, float, float, float>(
        "SceneObjectAnimatorAlphaPulse",
        "SceneObjectAnimatorAlphaPulse(alpha_start: float, alpha_peak: float, period: float)\n\n"
        "For ever: swings a sprite's alpha from alpha_start to alpha_peak and back once\n"
        "per period.",
        (bp::arg("alpha_start"), bp::arg("alpha_peak"), bp::arg("period")));

    using Frames = SceneObjectAnimatorFrames;
    animator_class<Frames, std::string, float, int, const std::string&>(
        "SceneObjectAnimatorFrames",
        "SceneObjectAnimatorFrames(animation: str = '', fps: float = 0.0, loops: int = 0, direction: str = '')\n\n"
        "Plays a frame sequence of the sprite's record (a sheet's animation; '' is every\n"
        "frame of the sheet): each frame for its own duration, or 1 / fps seconds when fps\n"
        "is above 0. loops: how many passes before it finishes (0: for ever); a ping-pong\n"
        "pass goes there and back and ends on the first frame. direction: 'forward',\n"
        "'reverse', 'pingpong' or 'pingpong_reverse' instead of the sequence's own; ''\n"
        "keeps it. The last frame shown stays after the end. ValueError for a negative or\n"
        "infinite fps, negative loops or another direction.",
        (bp::arg("animation") = std::string(), bp::arg("fps") = 0.0f, bp::arg("loops") = 0,
         bp::arg("direction") = std::string()))
        .add_property("animation",
                      bp::make_function(&Frames::get_animation, bp::return_value_policy<bp::copy_const_reference>()),
                      "animation: str\n\n"
                      "The name of the sequence played.")
        .add_property("fps", &Frames::get_fps,
                      "fps: float\n\n"
                      "Frames per second; 0: each frame's own duration.")
        .add_property("loops", &Frames::get_loops,
                      "loops: int\n\n"
                      "Passes before it finishes; 0: for ever.")
        .add_property("frame", &Frames::get_frame,
                      "frame: int\n\n"
                      "The index in the sequence of the frame shown; -1 before the first step.")
        .add_property("loops_done", &Frames::get_loops_done,
                      "loops_done: int\n\n"
                      "Whole passes played so far.");

    animator_class<SceneObjectAnimatorMove, const Vector&, float, float>(
        "SceneObjectAnimatorMove",
        "SceneObjectAnimatorMove(target: VectorLike, acceleration: float, max_speed: float)\n\n"
        "Moves in a straight line to target, speeding up by acceleration up to max_speed\n"
        "(units per step).",
        (bp::arg("target"), bp::arg("acceleration"), bp::arg("max_speed")));

    animator_class<SceneObjectAnimatorMoveFixed, const Vector&>(
        "SceneObjectAnimatorMoveFixed",
        "SceneObjectAnimatorMoveFixed(velocity: VectorLike)\n\n"
        "For ever: moves at a constant velocity, in units per second.",
        bp::arg("velocity"));

    using Newtonian = SceneObjectAnimatorMoveNewtonian;
    animator_class<Newtonian, const Vector&>(
        "SceneObjectAnimatorMoveNewtonian",
        "SceneObjectAnimatorMoveNewtonian(velocity: VectorLike)\n\n"
        "A thrown object: keeps its velocity while gravity pulls it; with bounce_target set\n"
        "it bounces num_bounces times on that line and ends on it.",
        bp::arg("velocity"))
        .add_property("num_bounces", &Newtonian::get_num_bounces, &Newtonian::set_num_bounces,
                      "num_bounces: int\n\n"
                      "How many times it bounces on bounce_target.")
        .add_property("bounce_target", &Newtonian::get_bounce_target, &Newtonian::set_bounce_target,
                      "bounce_target: float\n\n"
                      "The y of the line it bounces on; 0 or less: no line.")
        .add_property("bounce_damping", &Newtonian::get_bounce_damping, &Newtonian::set_bounce_damping,
                      "bounce_damping: float\n\n"
                      "The part of its speed a bounce keeps.")
        .add_property("gravity", &Newtonian::get_gravity, &Newtonian::set_gravity,
                      "gravity: float\n\n"
                      "Downward acceleration, units per second squared.");

    animator_class<SceneObjectAnimatorMoveSmooth, const Vector&, float, bool>(
        "SceneObjectAnimatorMoveSmooth",
        "SceneObjectAnimatorMoveSmooth(target: VectorLike, duration: float, ease_in: bool)\n\n"
        "Moves to target in exactly duration along an eased curve.",
        (bp::arg("target"), bp::arg("duration"), bp::arg("ease_in")));

    animator_class<SceneObjectAnimatorMoveSpline, float>(
        "SceneObjectAnimatorMoveSpline",
        "SceneObjectAnimatorMoveSpline(duration: float)\n\n"
        "For ever: moves along the Bezier curve of the control points in duration, then\n"
        "stays on the last point.",
        bp::arg("duration"))
        .def("add_control_point", &SceneObjectAnimatorMoveSpline::add_control_point, bp::arg("point"),
             "add_control_point(point: VectorLike) -> None\n\n"
             "Appends a point of the curve.");

    animator_class<SceneObjectAnimatorPulse, float, float, float>(
        "SceneObjectAnimatorPulse",
        "SceneObjectAnimatorPulse(scale_start: float, scale_peak: float, duration: float)\n\n"
        "One pulse of uniform scale, up to scale_peak at half time and back to scale_start.",
        (bp::arg("scale_start"), bp::arg("scale_peak"), bp::arg("duration")));

    animator_class<SceneObjectAnimatorRotate, float, float, float>(
        "SceneObjectAnimatorRotate",
        "SceneObjectAnimatorRotate(target_velocity: float, acceleration: float, duration: float)\n\n"
        "Turns the object at a velocity approaching target_velocity by acceleration per\n"
        "second; a duration of 0 or less turns for ever.",
        (bp::arg("target_velocity"), bp::arg("acceleration"), bp::arg("duration")))
        .def("set_velocity", &SceneObjectAnimatorRotate::set_velocity, bp::arg("target_velocity"),
             "set_velocity(target_velocity: float) -> None\n\n"
             "A new velocity to approach at the same acceleration.");

    animator_class<SceneObjectAnimatorScale, float, float>(
        "SceneObjectAnimatorScale",
        "SceneObjectAnimatorScale(target_scale: float, duration: float)\n\n"
        "Scales uniformly, in a straight line, from the current scale to target_scale.",
        (bp::arg("target_scale"), bp::arg("duration")));

    animator_class<SceneObjectAnimatorSlide, const Vector&, float, bool>(
        "SceneObjectAnimatorSlide",
        "SceneObjectAnimatorSlide(target: VectorLike, duration: float, ease_in: bool)\n\n"
        "Another eased move to target in duration, with a smaller overshoot.",
        (bp::arg("target"), bp::arg("duration"), bp::arg("ease_in")));

    register_with_factory(animator_class<SceneObjectAnimatorSpriteFade, float, float>(
                              "SceneObjectAnimatorSpriteFade",
                              "SceneObjectAnimatorSpriteFade(target_alpha: float, duration: float)\n\n"
                              "Fades a sprite's corner alphas in a straight line to target_alpha over duration.",
                              (bp::arg("target_alpha"), bp::arg("duration"))),
                          "SceneObjectAnimatorSpriteFade");

    register_with_factory(animator_class<SceneObjectAnimatorSpriteWipe, bool, float>(
                              "SceneObjectAnimatorSpriteWipe",
                              "SceneObjectAnimatorSpriteWipe(reveal: bool, duration: float)\n\n"
                              "Wipes a sprite in (reveal=True) or out from left to right, with a soft edge.",
                              (bp::arg("reveal"), bp::arg("duration"))),
                          "SceneObjectAnimatorSpriteWipe");
}

}  // namespace engine::graphics::python
