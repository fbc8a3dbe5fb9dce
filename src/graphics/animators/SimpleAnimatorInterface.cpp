// Script classes of the animators that scale or turn their object. None of them is
// registered with the factory.
#include "module/Bindings.h"

#include "engine/graphics/SceneObjectAnimatorPulse.h"
#include "engine/graphics/SceneObjectAnimatorRotate.h"
#include "engine/graphics/SceneObjectAnimatorScale.h"

namespace engine::graphics {

namespace bp = python::bp;

void SceneObjectAnimatorPulse::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorPulse, float, float, float>;
    bp::class_<SceneObjectAnimatorPulse, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorPulse",
        bp::init<float, float, float>((bp::arg("scale_start"), bp::arg("scale_peak"), bp::arg("duration"))));
}

void SceneObjectAnimatorRotate::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorRotate, float, float, float>;
    bp::class_<SceneObjectAnimatorRotate, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorRotate",
        bp::init<float, float, float>((bp::arg("target_velocity"), bp::arg("acceleration"), bp::arg("duration"))))
        .def("set_velocity", &SceneObjectAnimatorRotate::set_velocity, bp::arg("target_velocity"));
}

void SceneObjectAnimatorScale::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorScale, float, float>;
    bp::class_<SceneObjectAnimatorScale, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorScale", bp::init<float, float>((bp::arg("target_scale"), bp::arg("duration"))));
}

}  // namespace engine::graphics
