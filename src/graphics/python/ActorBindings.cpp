#include "python/Bindings.h"
#include "python/SceneObjectWrapper.h"
#include "python/TextureSource.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorController.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/Skeleton.h"

namespace engine::graphics::python {

namespace {

/// The meshes of an actor ("meshes"): by index or by mesh name. An unknown name raises
/// KeyError, deliberately unlike the joints proxy's IndexError.
class ActorMeshProxy : public Proxy<Actor> {
public:
    using Proxy<Actor>::Proxy;

    bp::object get_item(const bp::object& key) const {
        const Actor& actor = owner();
        PyObject* k = key.ptr();
        if (PyLong_Check(k))
            return to_python(actor.get_mesh(unsigned(core::python::resolve_index(k, len()))));
        if (PyUnicode_Check(k)) {
            const std::string name = bp::extract<std::string>(key);
            const ActorMesh* mesh = actor.get_mesh(name);
            if (!mesh) raise(PyExc_KeyError, name);
            return to_python(mesh);
        }
        raise(PyExc_IndexError, "Unsupported key.");
    }
    long len() const { return long(owner().get_num_meshes()); }
    bool contains(const bp::object& key) const {
        PyObject* k = key.ptr();
        if (PyLong_Check(k)) {
            int overflow = 0;
            long i = PyLong_AsLongAndOverflow(k, &overflow);
            if (overflow) return false;
            if (i < 0) i += len();
            return i >= 0 && i < len();
        }
        if (PyUnicode_Check(k)) return owner().get_mesh(std::string(bp::extract<std::string>(key))) != nullptr;
        return false;
    }
};

ActorMeshProxy meshes(Actor& a) { return ActorMeshProxy(&a); }

bp::list draw_order(const Actor& a) {
    bp::list ids;
    for (unsigned m : a.get_draw_order()) ids.append(a.get_mesh(m)->get_id());
    return ids;
}

bp::object skeleton(const Actor& a) { return to_python(a.get_skeleton()); }
void set_skeleton(Actor& a, const bp::object& value) {
    if (value.is_none()) return a.set_skeleton(nullptr);
    bp::extract<Skeleton*> skeleton(value);
    if (!skeleton.check()) raise(PyExc_TypeError, "Actor.skeleton takes a Skeleton or None.");
    a.set_skeleton(skeleton());
}

bp::object controller(const Actor& a) { return to_python(a.get_controller()); }
void set_controller(Actor& a, const bp::object& value) {
    if (value.is_none()) return a.set_controller(nullptr);
    bp::extract<ActorController*> controller(value);
    if (!controller.check()) raise(PyExc_TypeError, "Actor.controller takes an ActorController or None.");
    a.set_controller(controller());
}

void set_texture(Actor& a, const std::string& name, const bp::object& source) {
    with_texture_source(source, "set_texture", [&](const Texture& texture) { a.set_texture(name, texture); });
}

std::string data_id(const Actor& a) { return a.get_data_id(); }

}  // namespace

void define_actor() {
    bp::object proxy =
        bp::class_<ActorMeshProxy>("ActorMeshProxy",
                                   "ActorMeshProxy\n\n"
                                   "The meshes of an Actor, by index (negative from the end) or by name.",
                                   bp::no_init)
            .def("__getitem__", &ActorMeshProxy::get_item,
                 "__getitem__(key: int | str, /) -> ActorMesh\n\n"
                 "meshes[key] -> ActorMesh: by index (negative from the end; IndexError past the end) or by name "
                 "(KeyError for an unknown one).")
            .def("__len__", &ActorMeshProxy::len, "__len__() -> int")
            .def("__contains__", &ActorMeshProxy::contains,
                 "__contains__(key: object, /) -> bool\n\n"
                 "An index valid after the negative adjustment, or a mesh name; anything else is not contained.");
    register_with_factory(proxy, "ActorMeshProxy");

    using Wrapper = SceneObjectWrapper<Actor, const std::string&>;
    bp::object cls = bp::class_<Actor, Wrapper, bp::bases<SceneObject>, boost::noncopyable>(
                         "Actor",
                         "Actor(data_id: str)\n\n"
                         "A skeletal character from the actor database, posed by its controller.\n"
                         "An unknown id gives an actor with no skeleton and no meshes.",
                         bp::init<const std::string&>(bp::arg("data_id")))
                         .add_property("meshes", &meshes,
                                       "meshes: ActorMeshProxy\n\n"
                                       "The meshes, by index or by name (an ActorMeshProxy).")
                         .add_property("debug", &Actor::get_debug, &Actor::set_debug,
                                       "debug: bool\n\n"
                                       "Draw the bones, joints and the controller's targets over the meshes.")
                         .add_property("data_id", &data_id, "data_id: str")
                         .add_property("draw_order", &draw_order,
                                       "draw_order: list[str]\n\n"
                                       "Mesh ids in the order they draw (clips' part order tracks change it).")
                         .add_property("skeleton", &skeleton, &set_skeleton,
                                       "skeleton: Skeleton | None\n\n"
                                       "The skeleton the meshes follow; set another actor's to share it (None clears).")
                         .add_property("controller", &controller, &set_controller,
                                       "controller: ActorController | None\n\n"
                                       "What poses the actor each frame (None: never skinned, the bind pose is drawn).")
                         .def("set_texture", &set_texture, (bp::arg("name"), bp::arg("texture")),
                              "set_texture(name: str, texture: Texture | str) -> None\n\n"
                              "On every mesh (a Texture or a path).")
                         .def("remove_texture", &Actor::remove_texture, bp::arg("name"),
                              "remove_texture(name: str) -> None\n\n"
                              "From every mesh.")
                         .def("set_colour", &Actor::set_colour, bp::arg("colour"),
                              "set_colour(colour: ColourLike) -> None\n\n"
                              "On every mesh.")
                         .def("set_jiggle_scale", &Actor::set_jiggle_scale, (bp::arg("id"), bp::arg("scale")),
                              "set_jiggle_scale(id: str, scale: float) -> None\n\n"
                              "On every mesh and the actors attached to them.")
                         .def("reset_jiggle_scales", &Actor::reset_jiggle_scales,
                              "reset_jiggle_scales() -> None\n\n"
                              "Every scale back to 1.")
                         // For scripts and tests that watch the frame.
                         .def("transformed_vertices_this_frame", &Actor::transformed_vertices_this_frame,
                              "transformed_vertices_this_frame() -> bool\n\n"
                              "Whether the meshes were re-skinned this frame.");
    register_with_factory(cls, "Actor");
}

}  // namespace engine::graphics::python
