// Script classes of the animators. Only the sprite fade and wipe are registered with
// the factory, since data files create them by name.
#include "python/Bindings.h"

#include "engine/graphics/SceneObject.h"
#include "engine/graphics/SceneObjectAnimator.h"
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

namespace engine::graphics::python {

namespace {

using Vector = core::Vector<float>;

template <class T, class... Args>
using AnimatorClass = bp::class_<T, ObjectWrapper<T, Args...>, bp::bases<SceneObjectAnimator>, boost::noncopyable>;

// The script class of one kind of animator T, constructed from Args named by
// `keywords`; script classes may derive from it.
template <class T, class... Args, class Keywords>
AnimatorClass<T, Args...> animator_class(const char* name, const Keywords& keywords) {
    return AnimatorClass<T, Args...>(name, bp::init<Args...>(keywords));
}

bp::object animator_object(const SceneObjectAnimator& a) { return to_python(a.get_object()); }

}  // namespace

void define_animator() {
    // Animators are made by their concrete classes; the base has no constructor.
    bp::class_<SceneObjectAnimator, boost::noncopyable>("SceneObjectAnimator", bp::no_init)
        .add_property("delay", &SceneObjectAnimator::get_delay, &SceneObjectAnimator::set_delay)
        .add_property("object", &animator_object);

    animator_class<SceneObjectAnimatorAlphaPulse, float, float, float>(
        "SceneObjectAnimatorAlphaPulse", (bp::arg("alpha_start"), bp::arg("alpha_peak"), bp::arg("period")));

    animator_class<SceneObjectAnimatorMove, const Vector&, float, float>(
        "SceneObjectAnimatorMove", (bp::arg("target"), bp::arg("acceleration"), bp::arg("max_speed")));

    animator_class<SceneObjectAnimatorMoveFixed, const Vector&>("SceneObjectAnimatorMoveFixed", bp::arg("velocity"));

    using Newtonian = SceneObjectAnimatorMoveNewtonian;
    animator_class<Newtonian, const Vector&>("SceneObjectAnimatorMoveNewtonian", bp::arg("velocity"))
        .add_property("num_bounces", &Newtonian::get_num_bounces, &Newtonian::set_num_bounces)
        .add_property("bounce_target", &Newtonian::get_bounce_target, &Newtonian::set_bounce_target)
        .add_property("bounce_damping", &Newtonian::get_bounce_damping, &Newtonian::set_bounce_damping)
        .add_property("gravity", &Newtonian::get_gravity, &Newtonian::set_gravity);

    animator_class<SceneObjectAnimatorMoveSmooth, const Vector&, float, bool>(
        "SceneObjectAnimatorMoveSmooth", (bp::arg("target"), bp::arg("duration"), bp::arg("ease_in")));

    animator_class<SceneObjectAnimatorMoveSpline, float>("SceneObjectAnimatorMoveSpline", bp::arg("duration"))
        .def("add_control_point", &SceneObjectAnimatorMoveSpline::add_control_point, bp::arg("point"));

    animator_class<SceneObjectAnimatorPulse, float, float, float>(
        "SceneObjectAnimatorPulse", (bp::arg("scale_start"), bp::arg("scale_peak"), bp::arg("duration")));

    animator_class<SceneObjectAnimatorRotate, float, float, float>(
        "SceneObjectAnimatorRotate", (bp::arg("target_velocity"), bp::arg("acceleration"), bp::arg("duration")))
        .def("set_velocity", &SceneObjectAnimatorRotate::set_velocity, bp::arg("target_velocity"));

    animator_class<SceneObjectAnimatorScale, float, float>("SceneObjectAnimatorScale",
                                                           (bp::arg("target_scale"), bp::arg("duration")));

    animator_class<SceneObjectAnimatorSlide, const Vector&, float, bool>(
        "SceneObjectAnimatorSlide", (bp::arg("target"), bp::arg("duration"), bp::arg("ease_in")));

    register_with_factory(animator_class<SceneObjectAnimatorSpriteFade, float, float>(
                              "SceneObjectAnimatorSpriteFade", (bp::arg("target_alpha"), bp::arg("duration"))),
                          "SceneObjectAnimatorSpriteFade");

    register_with_factory(animator_class<SceneObjectAnimatorSpriteWipe, bool, float>(
                              "SceneObjectAnimatorSpriteWipe", (bp::arg("reveal"), bp::arg("duration"))),
                          "SceneObjectAnimatorSpriteWipe");
}

}  // namespace engine::graphics::python
