#pragma once

#include "python/Bindings.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorController.h"

namespace engine::graphics::python {

/// The held type of every controller class: a script subclass's "update", "render"
/// and "on_actor" replace the native ones. Which ones a script class defines is decided
/// once per class, so a native controller costs no Python work per frame.
template <class T, class... Args>
class ActorControllerWrapper : public ObjectWrapper<T, Args...> {
public:
    explicit ActorControllerWrapper(PyObject* self, Args... args)
        : ObjectWrapper<T, Args...>(self, std::forward<Args>(args)...),
          hooks_((overrides<T>(self, "update") ? kUpdate : 0u) | (overrides<T>(self, "render") ? kRender : 0u) |
                 (overrides<T>(self, "on_actor") ? kOnActor : 0u)) {}

    // A script's "update" answers whether it changed the pose; None counts as False.
    bool update(float dt) override {
        if (!(hooks_ & kUpdate)) return T::update(dt);
        PyObject* result = core::call_method_result(this->self_, "update", bp::make_tuple(dt).ptr());
        if (!result) return false;
        const int changed = PyObject_IsTrue(result);
        Py_DECREF(result);
        if (changed < 0) core::handle_hook_error(this->self_);
        return changed > 0;
    }
    void render() override {
        if (hooks_ & kRender)
            core::call_method(this->self_, "render");
        else
            T::render();
    }

    /// The native implementations, for the script names (a script's override may call
    /// them through super()). `self` is always a wrapper: Python makes only those.
    static bool native_update(T& self, float dt) { return self.T::update(dt); }
    static void native_render(T& self) { self.T::render(); }
    static void native_on_actor(T& self, Actor* actor) {
        auto* wrapper = dynamic_cast<ActorControllerWrapper*>(&self);
        if (!wrapper) raise(PyExc_TypeError, "on_actor() of this class needs an instance of it.");
        wrapper->T::on_actor(actor);
    }

protected:
    void on_actor(Actor* actor) override {
        if (hooks_ & kOnActor)
            core::call_method(this->self_, "on_actor", bp::make_tuple(to_python(actor)).ptr());
        else
            T::on_actor(actor);
    }

private:
    enum : unsigned { kUpdate = 1, kRender = 2, kOnActor = 4 };

    unsigned hooks_;  // which hooks the script class defines
};

/// The binding's definitions shared by every controller class.
template <class T, class Wrapper, class Class>
Class& define_controller_hooks(Class& cls) {
    cls.def("update", &Wrapper::native_update, bp::arg("dt"),
            "update(dt: float) -> bool\n\n"
            "Poses the actor's skeleton; True when the pose changed this frame.")
        .def("render", &Wrapper::native_render,
             "render() -> None\n\n"
             "Debug drawing in the actor's space.")
        .def("on_actor", &Wrapper::native_on_actor, bp::arg("actor"),
             "on_actor(actor: Actor | None) -> None\n\n"
             "Told the actor after set_actor (None when it is taken away).");
    return cls;
}

}  // namespace engine::graphics::python
