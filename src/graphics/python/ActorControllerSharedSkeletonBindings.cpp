#include "python/ActorControllerWrapper.h"
#include "python/Bindings.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerSharedSkeleton.h"

namespace engine::graphics::python {

namespace {

bp::object source(const ActorControllerSharedSkeleton& c) { return to_python(c.get_source()); }

}  // namespace

void define_actor_controller_shared_skeleton() {
    using Wrapper = ActorControllerWrapper<ActorControllerSharedSkeleton, Actor*>;
    bp::class_<ActorControllerSharedSkeleton, Held<Wrapper>, bp::bases<ActorController>, boost::noncopyable> cls(
        "ActorControllerSharedSkeleton",
        "ActorControllerSharedSkeleton(source: Actor)\n\n"
        "Re-skins its actor in the frames the source actor re-skinned.\n"
        "Share the skeleton itself with actor.skeleton = source.skeleton.",
        bp::init<Actor*>(bp::arg("source")));
    define_controller_hooks<ActorControllerSharedSkeleton, Wrapper>(cls);
    cls.add_property("source", &source,
                     "source: Actor | None\n\n"
                     "The actor whose skeleton is shared (None once it is gone).");
    register_with_factory(cls, "ActorControllerSharedSkeleton");
}

}  // namespace engine::graphics::python
