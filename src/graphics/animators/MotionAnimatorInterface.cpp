// Script classes of the animators that move their object. None of them is registered
// with the factory.
#include "module/Bindings.h"

#include "engine/graphics/SceneObjectAnimatorMove.h"
#include "engine/graphics/SceneObjectAnimatorMoveFixed.h"
#include "engine/graphics/SceneObjectAnimatorMoveNewtonian.h"
#include "engine/graphics/SceneObjectAnimatorMoveSmooth.h"
#include "engine/graphics/SceneObjectAnimatorMoveSpline.h"
#include "engine/graphics/SceneObjectAnimatorSlide.h"

namespace engine::graphics {

namespace bp = python::bp;
using Vector = core::Vector<float>;

void SceneObjectAnimatorMove::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorMove, const Vector&, float, float>;
    bp::class_<SceneObjectAnimatorMove, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorMove",
        bp::init<const Vector&, float, float>((bp::arg("target"), bp::arg("acceleration"), bp::arg("max_speed"))));
}

void SceneObjectAnimatorMoveFixed::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorMoveFixed, const Vector&>;
    bp::class_<SceneObjectAnimatorMoveFixed, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorMoveFixed", bp::init<const Vector&>(bp::arg("velocity")));
}

void SceneObjectAnimatorMoveNewtonian::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorMoveNewtonian, const Vector&>;
    using T = SceneObjectAnimatorMoveNewtonian;
    bp::class_<T, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorMoveNewtonian", bp::init<const Vector&>(bp::arg("velocity")))
        .add_property("num_bounces", &T::get_num_bounces, &T::set_num_bounces)
        .add_property("bounce_target", &T::get_bounce_target, &T::set_bounce_target)
        .add_property("bounce_damping", &T::get_bounce_damping, &T::set_bounce_damping)
        .add_property("gravity", &T::get_gravity, &T::set_gravity);
}

void SceneObjectAnimatorMoveSmooth::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorMoveSmooth, const Vector&, float, bool>;
    bp::class_<SceneObjectAnimatorMoveSmooth, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorMoveSmooth",
        bp::init<const Vector&, float, bool>((bp::arg("target"), bp::arg("duration"), bp::arg("ease_in"))));
}

void SceneObjectAnimatorMoveSpline::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorMoveSpline, float>;
    bp::class_<SceneObjectAnimatorMoveSpline, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorMoveSpline", bp::init<float>(bp::arg("duration")))
        .def("add_control_point", &SceneObjectAnimatorMoveSpline::add_control_point, bp::arg("point"));
}

void SceneObjectAnimatorSlide::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorSlide, const Vector&, float, bool>;
    bp::class_<SceneObjectAnimatorSlide, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorSlide",
        bp::init<const Vector&, float, bool>((bp::arg("target"), bp::arg("duration"), bp::arg("ease_in"))));
}

}  // namespace engine::graphics
