#include "python/Bindings.h"
#include "python/SceneObjectWrapper.h"
#include "python/TextureSource.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorController.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/Skeleton.h"

#include <cmath>
#include <string>
#include <vector>

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

// Says which rule an outline broke; the native call only answers false.
void set_bounding_polygon(Actor& a, const std::string& name, const bp::object& points, const std::string& joint) {
    const std::string where = "Actor.set_bounding_polygon('" + name + "'): ";
    std::vector<core::Vector<float>> corners;
    const long count = bp::len(points);
    for (long i = 0; i < count; ++i) {
        bp::extract<core::Vector<float>> corner(points[i]);
        if (!corner.check()) raise(PyExc_TypeError, where + "every corner must be a pair of numbers or a Vector.");
        corners.push_back(corner());
        if (!std::isfinite(corners.back().x) || !std::isfinite(corners.back().y))
            raise(PyExc_ValueError, where + "corner " + std::to_string(i) + " is not finite.");
    }
    if (corners.size() < 3) raise(PyExc_ValueError, where + "an outline needs at least three corners.");
    if (!joint.empty() && (!a.get_skeleton() || !a.get_skeleton()->get_joint(joint)))
        raise(PyExc_ValueError, where + "the skeleton has no joint '" + joint + "'.");
    if (!a.set_bounding_polygon(name, corners, joint))
        raise(PyExc_ValueError, where + "the outline has no area or crosses itself.");
}

bp::dict bounding_polygons(const Actor& a) {
    bp::dict result;
    for (const Actor::BoundingPolygon& polygon : a.get_bounding_polygons()) {
        bp::list corners;
        for (const core::Vector<float>& p : polygon.points) corners.append(p);
        result[polygon.name] = bp::make_tuple(corners, polygon.joint);
    }
    return result;
}

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
    bp::object cls = bp::class_<Actor, Held<Wrapper>, bp::bases<SceneObject>, boost::noncopyable>(
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
                         .def("set_bounding_polygon", &set_bounding_polygon,
                              (bp::arg("name"), bp::arg("points"), bp::arg("joint") = std::string()),
                              "set_bounding_polygon(name: str, points: list[VectorLike], joint: str = '') -> None\n\n"
                              "Names an outline that picking and overlap use instead of the meshes' triangles\n"
                              "(once an actor has one, only its outlines count). points: a simple polygon, convex\n"
                              "or not, in either order, in the actor's space as posed at bind time; it moves with\n"
                              "joint as a vertex bound wholly to that joint would ('': fixed to the actor).\n"
                              "Replaces the outline of that name. ValueError for fewer than three corners, a\n"
                              "corner at infinity or NaN, an unknown joint, or an outline that has no area or\n"
                              "crosses itself.")
                         .def("remove_bounding_polygon", &Actor::remove_bounding_polygon, bp::arg("name"),
                              "remove_bounding_polygon(name: str) -> bool\n\n"
                              "False when there was no outline of that name.")
                         .add_property("bounding_polygons", &bounding_polygons,
                                       "bounding_polygons: dict[str, tuple[list[Vector], str]]\n\n"
                                       "Each outline's corners as given and its joint, by name (a copy).")
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
