#include "python/Bindings.h"

#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/Skeleton.h"

namespace engine::graphics::python {

namespace {

// The database functions appear to scripts as static methods of "actor_database".
struct ActorDatabaseScope {};

bool load(bp::object source) { return ActorDatabase::load(source.ptr()); }

bp::list to_list(const std::vector<std::string>& items) {
    bp::list result;
    for (const std::string& item : items) result.append(item);
    return result;
}

bp::list actor_ids() { return to_list(ActorDatabase::actor_data_ids()); }
bp::list ik_rig_ids() { return to_list(ActorDatabase::ik_rig_ids()); }
bp::list dynamics_rig_ids() { return to_list(ActorDatabase::dynamics_rig_ids()); }

bp::object get_skeleton(const std::string& id) {
    const ActorData* data = ActorDatabase::find_actor_data(id);
    return data ? to_python(data->get_skeleton()) : bp::object();
}

bp::list mesh_ids(const std::string& id) {
    bp::list result;
    if (const ActorData* data = ActorDatabase::find_actor_data(id))
        for (const auto& mesh : data->get_meshes()) result.append(mesh->id);
    return result;
}

}  // namespace

void define_actor_database() {
    bp::class_<ActorDatabaseScope>("actor_database",
                                   "actor_database\n\n"
                                   "The actors and rigs loaded from actor files, which Actor(data_id) and the\n"
                                   "controllers use.",
                                   bp::no_init)
        .def("load", &load, bp::arg("source"),
             "load(source: str | IO[str] | IO[bytes]) -> bool\n\n"
             "Reads actors and rigs from a path or a file-like object; returns True.")
        .staticmethod("load")
        .def("unload", &ActorDatabase::unload,
             "unload() -> None\n\n"
             "Forgets every actor and rig.")
        .staticmethod("unload")
        // What is loaded, for scripts and tools.
        .def("actor_ids", &actor_ids,
             "actor_ids() -> list[str]\n\n"
             "The loaded actor ids, sorted.")
        .staticmethod("actor_ids")
        .def("ik_rig_ids", &ik_rig_ids,
             "ik_rig_ids() -> list[str]\n\n"
             "The loaded IK rig ids, sorted.")
        .staticmethod("ik_rig_ids")
        .def("dynamics_rig_ids", &dynamics_rig_ids,
             "dynamics_rig_ids() -> list[str]\n\n"
             "The loaded dynamics rig ids, sorted.")
        .staticmethod("dynamics_rig_ids")
        .def("get_skeleton", &get_skeleton, bp::arg("id"),
             "get_skeleton(id: str) -> Skeleton | None\n\n"
             "The actor's template skeleton (clone it to pose it).")
        .staticmethod("get_skeleton")
        .def("mesh_ids", &mesh_ids, bp::arg("id"),
             "mesh_ids(id: str) -> list[str]\n\n"
             "The actor's mesh ids, in order.")
        .staticmethod("mesh_ids");
}

}  // namespace engine::graphics::python
