#include "python/Bindings.h"
#include "python/TextureSource.h"

#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/ActorMeshData.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Texture.h"

namespace engine::graphics::python {

namespace {

// Makes the mesh draw mesh `mesh_id` of actor `actor_id`; false when either is unknown
// or the mesh has a record already.
bool set_data(ActorMesh& mesh, const std::string& actor_id, const std::string& mesh_id) {
    const ActorData* data = ActorDatabase::find_actor_data(actor_id);
    const ActorMeshData* record = data ? data->get_mesh(mesh_id) : nullptr;
    if (!record || mesh.get_data()) return false;
    mesh.set_data(record, data);
    return true;
}

void set_vertex_colour(ActorMesh& mesh, long index, const core::Colour& colour) {
    const long count = mesh.get_data() ? long(mesh.get_data()->vertices.size()) : 0;
    if (index < 0) index += count;
    if (index < 0 || index >= count) raise(PyExc_IndexError, std::to_string(index));
    mesh.set_vertex_colour(unsigned(index), colour);
}

void set_texture(ActorMesh& mesh, const std::string& name, const bp::object& source) {
    with_texture_source(source, "set_texture", [&](const Texture& texture) { mesh.set_texture(name, texture); });
}

void add_scene_object(ActorMesh& mesh, const std::string& name, SceneObject* object) {
    if (!mesh.add_scene_object(name, &require(object, "The scene object")))
        raise(PyExc_ValueError,
              "ActorMesh.add_scene_object: the object carries this mesh (it is the mesh's actor, or "
              "an actor riding on it); attaching it would make a cycle.");
}

void transform_vertices(ActorMesh& mesh, const Skeleton* skeleton) { mesh.transform_vertices(skeleton); }
void render(ActorMesh& mesh, const Transform* transform) { mesh.render(require(transform, "The transform")); }

bp::list vectors(const std::vector<core::Vector<float>>& items) {
    bp::list result;
    for (const auto& v : items) result.append(v);
    return result;
}
bp::list positions(const ActorMesh& mesh) { return vectors(mesh.get_positions()); }
bp::list rest_positions(const ActorMesh& mesh) { return vectors(mesh.get_rest_positions()); }

bp::list vertex_colours(const ActorMesh& mesh) {
    bp::list result;
    for (const auto& c : mesh.get_vertex_colours()) result.append(c);
    return result;
}

bp::list texture_names(const ActorMesh& mesh) {
    bp::list result;
    for (unsigned i = 0; i < mesh.get_num_textures(); ++i) result.append(mesh.get_texture_name(i));
    return result;
}

bp::list scene_objects(const ActorMesh& mesh) {
    bp::list result;
    for (const auto& [name, object] : mesh.get_scene_objects()) result.append(bp::make_tuple(name, to_python(object)));
    return result;
}

bp::dict jiggle_scales(const ActorMesh& mesh) {
    bp::dict result;
    for (const auto& state : mesh.get_jiggles()) result[state.jiggle->id] = state.scale;
    return result;
}

core::Colour colour(const ActorMesh& mesh) { return mesh.get_colour(); }
core::Colour colour_offset(const ActorMesh& mesh) { return mesh.get_colour_offset(); }
std::string blend(const ActorMesh& mesh) { return part_blend_name(mesh.get_blend()); }
void set_blend(ActorMesh& mesh, const std::string& name) {
    PartBlend blend = PartBlend::normal;
    if (!parse_part_blend(name, blend))
        raise(PyExc_ValueError, "ActorMesh.blend: '" + name +
                                    "' is not 'normal', 'add', 'multiply', 'screen', 'darken', 'lighten' or 'subtract'.");
    mesh.set_blend(blend);
}
std::string id(const ActorMesh& mesh) { return mesh.get_id(); }

}  // namespace

void define_actor_mesh() {
    bp::object cls =
        bp::class_<ActorMesh, Held<ObjectWrapper<ActorMesh>>, boost::noncopyable>(
            "ActorMesh",
            "ActorMesh()\n\n"
            "One skinned mesh of an actor: its textures, colours, attached scene objects and\n"
            "jiggle springs.",
            bp::init<>())
            .add_property("visible", &ActorMesh::is_visible, &ActorMesh::set_visible, "visible: bool")
            .add_property("draw_order", &ActorMesh::get_draw_order, &ActorMesh::set_draw_order,
                          "draw_order: float\n\n"
                          "Its place in its actor's drawing: meshes draw in ascending order, equal ones in\n"
                          "the record's order (all 0 at first).")
            .def("set_colour", &ActorMesh::set_colour, bp::arg("colour"),
                 "set_colour(colour: ColourLike) -> None\n\n"
                 "The whole mesh, or the red, green and blue of every vertex colour (and the alpha unless it is "
                 "exactly 1).")
            .def("set_vertex_colour", &set_vertex_colour, (bp::arg("index"), bp::arg("colour")),
                 "set_vertex_colour(index: int, colour: ColourLike) -> None\n\n"
                 "Per-vertex colours from then on; IndexError past the vertices.")
            .def("disable_vertex_colours", &ActorMesh::disable_vertex_colours,
                 "disable_vertex_colours() -> None\n\n"
                 "Back to the colours of the actor file.")
            .def("set_texture", &set_texture, (bp::arg("name"), bp::arg("texture")),
                 "set_texture(name: str, texture: Texture | str) -> None\n\n"
                 "Replaces the layer of that name or adds one (a Texture or a path).")
            .def("remove_texture", &ActorMesh::remove_texture, bp::arg("name"), "remove_texture(name: str) -> None")
            .def("add_scene_object", &add_scene_object, (bp::arg("name"), bp::arg("object")),
                 "add_scene_object(name: str, object: SceneObject) -> None\n\n"
                 "Drawn and updated with the mesh, in its space, in z order; ValueError for an actor that\n"
                 "carries this mesh (its own actor, or one riding on it), which would make a cycle.")
            .def("remove_scene_objects", &ActorMesh::remove_scene_objects, bp::arg("name"),
                 "remove_scene_objects(name: str) -> None\n\n"
                 "Removes the scene objects added under name.")
            .def("remove_all_scene_objects", &ActorMesh::remove_all_scene_objects, "remove_all_scene_objects() -> None")
            // For scripts that draw meshes themselves and for tools.
            .add_property("id", &id,
                          "id: str\n\n"
                          "The mesh's name in the actor file ('' without data).")
            .def("set_data", &set_data, (bp::arg("actor_id"), bp::arg("mesh_id")),
                 "set_data(actor_id: str, mesh_id: str) -> bool\n\n"
                 "Draws that mesh of a loaded actor; only the first call counts.")
            .def("transform_vertices", &transform_vertices, bp::arg("skeleton"),
                 "transform_vertices(skeleton: Skeleton) -> None\n\n"
                 "Skins the mesh to the skeleton's pose (blend shapes first).")
            .def("update", &ActorMesh::update, bp::arg("dt"),
                 "update(dt: float) -> bool\n\n"
                 "One jiggle step (at most 1/60 s); True while a spring moves.")
            .def("render", &render, bp::arg("transform"),
                 "render(transform: Transform) -> None\n\n"
                 "Draws the mesh in that transform's space.")
            .add_property("colour", &colour, "colour: Colour")
            .add_property("colour_offset", &colour_offset, &ActorMesh::set_colour_offset,
                          "colour_offset: Colour\n\n"
                          "Added to every drawn colour after the picture and the colour multiply it, each\n"
                          "of r, g, b, a within -1..1 (clamped): a tint. (0, 0, 0, 0) adds nothing.")
            .add_property("blend", &blend, &set_blend,
                          "blend: str\n\n"
                          "How its colours meet what lies below: 'normal', 'add', 'multiply', 'screen',\n"
                          "'darken', 'lighten' or 'subtract', each weighed by the picture's alpha. The\n"
                          "record's to begin with (a DragonBones slot's blend mode). ValueError otherwise.")
            .add_property("uniform_colour", &ActorMesh::is_uniform_colour,
                          "uniform_colour: bool\n\n"
                          "True while the mesh has one colour rather than per-vertex colours.")
            .add_property("vertex_colours", &vertex_colours, "vertex_colours: list[Colour]")
            .add_property("texture_names", &texture_names, "texture_names: list[str]")
            .add_property("texture_transform", &ActorMesh::get_texture_transform, &ActorMesh::set_texture_transform,
                          "texture_transform: Matrix\n\n"
                          "Transforms the texture coordinates of every layer.")
            .add_property("scene_objects", &scene_objects,
                          "scene_objects: list[tuple[str, SceneObject]]\n\n"
                          "[(name, object)] in ascending z.")
            .def("set_jiggle_scale", &ActorMesh::set_jiggle_scale, (bp::arg("id"), bp::arg("scale")),
                 "set_jiggle_scale(id: str, scale: float) -> None")
            .def("reset_jiggle_scales", &ActorMesh::reset_jiggle_scales, "reset_jiggle_scales() -> None")
            .add_property("jiggle_scales", &jiggle_scales,
                          "jiggle_scales: dict[str, float]\n\n"
                          "{jiggle id: scale}.")
            .add_property("positions", &positions,
                          "positions: list[Vector]\n\n"
                          "What is drawn: skinned and jiggled positions ([] before skinning).")
            .add_property("rest_positions", &rest_positions,
                          "rest_positions: list[Vector]\n\n"
                          "The skinned positions of the frame, before jiggle.");
    register_with_factory(cls, "ActorMesh");
}

}  // namespace engine::graphics::python
