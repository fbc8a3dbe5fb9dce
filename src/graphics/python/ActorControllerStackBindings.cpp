#include "python/ActorControllerWrapper.h"
#include "python/Bindings.h"

#include "engine/graphics/ActorControllerStack.h"

namespace engine::graphics::python {

namespace {

void add(ActorControllerStack& s, ActorController* controller) {
    if (!controller) raise(PyExc_TypeError, "add(): a controller is needed, not None.");
    if (!s.add(controller)) raise(PyExc_ValueError, "add(): the controller is this stack or in it already.");
}

void remove(ActorControllerStack& s, ActorController* controller) {
    if (!s.remove(controller)) raise(PyExc_ValueError, "remove(): the controller is not in the stack.");
}

bp::list controllers(const ActorControllerStack& s) {
    bp::list result;
    for (ActorController* c : s.get_controllers()) result.append(to_python(c));
    return result;
}

}  // namespace

void define_actor_controller_stack() {
    using Wrapper = ActorControllerWrapper<ActorControllerStack>;
    bp::class_<ActorControllerStack, Held<Wrapper>, bp::bases<ActorController>, boost::noncopyable> cls(
        "ActorControllerStack",
        "ActorControllerStack()\n\n"
        "Controllers posing one actor in turn, each from the pose the one before left\n"
        "(clips, then IK). The actor re-skins when any changed the pose.",
        bp::init<>());
    define_controller_hooks<ActorControllerStack, Wrapper>(cls);
    cls.def("add", &add, bp::arg("controller"),
            "add(controller: ActorController) -> None\n\n"
            "Appends it and gives it the stack's actor (ValueError if it is in it already).")
        .def("remove", &remove, bp::arg("controller"),
             "remove(controller: ActorController) -> None\n\n"
             "Takes it out (ValueError if it is not in the stack).")
        .add_property("controllers", &controllers,
                      "controllers: list[ActorController]\n\n"
                      "In update order.");
    register_with_factory(cls, "ActorControllerStack");
}

}  // namespace engine::graphics::python
