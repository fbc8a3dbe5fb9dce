#include "python/ActorControllerWrapper.h"
#include "python/Bindings.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorController.h"

namespace engine::graphics::python {

namespace {

bp::object actor(const ActorController& c) { return to_python(c.get_actor()); }

}  // namespace

void define_actor_controller() {
    using Wrapper = ActorControllerWrapper<ActorController>;
    bp::class_<ActorController, Held<Wrapper>, boost::noncopyable> cls(
        "ActorController",
        "ActorController()\n\n"
        "Poses an actor each frame. Subclass it and override update(dt) (return True when\n"
        "the pose changed), render() and on_actor(actor).",
        bp::init<>());
    define_controller_hooks<ActorController, Wrapper>(cls);
    cls.add_property("actor", &actor,
                     "actor: Actor | None\n\n"
                     "The actor this controller poses, or None.")
        .def("set_actor", &ActorController::set_actor, bp::arg("actor"),
             "set_actor(actor: Actor | None) -> None\n\n"
             "Stores it (not owned) and calls on_actor(actor).");
    register_with_factory(cls, "ActorController");
}

}  // namespace engine::graphics::python
