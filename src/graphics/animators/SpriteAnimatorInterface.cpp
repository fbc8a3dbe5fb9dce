// Script classes of the animators that change a sprite's colours and alpha stops.
#include "module/Bindings.h"

#include "engine/graphics/SceneObjectAnimatorAlphaPulse.h"
#include "engine/graphics/SceneObjectAnimatorSpriteFade.h"
#include "engine/graphics/SceneObjectAnimatorSpriteWipe.h"

namespace engine::graphics {

namespace bp = python::bp;

void SceneObjectAnimatorAlphaPulse::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorAlphaPulse, float, float, float>;
    bp::class_<SceneObjectAnimatorAlphaPulse, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
        "SceneObjectAnimatorAlphaPulse",
        bp::init<float, float, float>((bp::arg("alpha_start"), bp::arg("alpha_peak"), bp::arg("period"))));
}

void SceneObjectAnimatorSpriteFade::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorSpriteFade, float, float>;
    bp::object cls =
        bp::class_<SceneObjectAnimatorSpriteFade, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
            "SceneObjectAnimatorSpriteFade", bp::init<float, float>((bp::arg("target_alpha"), bp::arg("duration"))));
    // Data files create fades by name.
    python::register_with_factory(cls, "SceneObjectAnimatorSpriteFade");
}

void SceneObjectAnimatorSpriteWipe::define_interface() {
    using Wrapper = core::python::ObjectWrapper<SceneObjectAnimatorSpriteWipe, bool, float>;
    bp::object cls =
        bp::class_<SceneObjectAnimatorSpriteWipe, Wrapper, bp::bases<SceneObjectAnimator>, boost::noncopyable>(
            "SceneObjectAnimatorSpriteWipe", bp::init<bool, float>((bp::arg("reveal"), bp::arg("duration"))));
    // Data files create wipes by name.
    python::register_with_factory(cls, "SceneObjectAnimatorSpriteWipe");
}

}  // namespace engine::graphics
