#include "python/Bindings.h"

#include "engine/core/script/XMLSource.h"
#include "python/SceneObjectWrapper.h"

#include "engine/graphics/ParticleEmitter.h"
#include "engine/graphics/ParticleSystem.h"
#include "engine/graphics/ParticleSystemData.h"

namespace engine::graphics::python {

namespace {

// The database functions appear to scripts as static methods of "particle_database".
struct ParticleDatabaseScope {};

bool load(bp::object source, const std::string& base_path) {
    return ParticleDatabase::load([&](core::XMLParser& parser) { core::parse_xml_source(parser, source.ptr()); },
                                  base_path);
}

/// The emitters of a particle system as scripts index them ("emitters"): by position;
/// a name finds nothing, since emitters have none.
class ParticleEmitterProxy : public Proxy<ParticleSystem> {
public:
    using Proxy<ParticleSystem>::Proxy;

    bp::object get_item(const bp::object& key) const {
        const auto& emitters = owner().get_emitters();
        return core::python::get_item(
            key, long(emitters.size()), [&](long i) { return to_python(emitters[std::size_t(i)]); },
            [](const std::string&) { return bp::object(); });
    }

    /// An int is contained when it is a valid index (negative ones counted from the
    /// end); an emitter when it is one of the system's; anything else is not.
    bool contains(const bp::object& key) const {
        const auto& emitters = owner().get_emitters();
        PyObject* k = key.ptr();
        if (PyLong_Check(k)) {
            int overflow = 0;
            long i = PyLong_AsLongAndOverflow(k, &overflow);
            if (overflow) return false;
            if (i < 0) i += long(emitters.size());
            return i >= 0 && i < long(emitters.size());
        }
        bp::extract<ParticleEmitter*> emitter(key);
        if (key.is_none() || !emitter.check()) return false;
        ParticleEmitter* e = emitter();
        for (ParticleEmitter* mine : emitters)
            if (mine && mine == e) return true;
        return false;
    }

    long length() const { return long(owner().get_emitters().size()); }
};

ParticleEmitterProxy emitters(ParticleSystem& system) { return ParticleEmitterProxy(&system); }
core::Vector<float> gravity(const ParticleSystem& system) { return system.get_gravity(); }

}  // namespace

void define_particle_system() {
    bp::class_<ParticleDatabaseScope>("particle_database",
                                      "particle_database\n\n"
                                      "The particle system definitions that ParticleSystem(data_id) uses.",
                                      bp::no_init)
        .def("load", &load, (bp::arg("source"), bp::arg("base_path") = std::string()),
             "load(source: str | IO[str] | IO[bytes], base_path: str = '') -> bool\n\n"
             "Reads particle system definitions from a path or a file-like object; 'texture'\n"
             "paths are joined to base_path. An id defined already keeps its earlier definition.\n"
             "Unusable elements are skipped with a warning. Returns True.")
        .staticmethod("load")
        .def("unload", &ParticleDatabase::unload,
             "unload() -> None\n\n"
             "Drops every definition; systems made from them keep theirs.")
        .staticmethod("unload");

    bp::object emitter =
        bp::class_<ParticleEmitter, Held<ObjectWrapper<ParticleEmitter>>, bp::bases<Transform>, boost::noncopyable>(
            "ParticleEmitter",
            "ParticleEmitter()\n\n"
            "One emitter of a ParticleSystem: a child transform of the system, made through the\n"
            "factory under 'ParticleEmitter'. Its five emission numbers start from its definition\n"
            "and belong to this emitter alone.",
            bp::init<>())
            .add_property("emission_rate", &ParticleEmitter::get_emission_rate, &ParticleEmitter::set_emission_rate,
                          "emission_rate: float\n\n"
                          "Particles per second (float).")
            .add_property("emission_limit", &ParticleEmitter::get_emission_limit, &ParticleEmitter::set_emission_limit,
                          "emission_limit: float\n\n"
                          "Particles in the emitter's life at most; 0: unlimited (float).")
            .add_property("spread", &ParticleEmitter::get_spread, &ParticleEmitter::set_spread,
                          "spread: float\n\n"
                          "Radians around the heading; 0: straight ahead, 3.14159 or more: every direction.")
            .add_property("min_speed", &ParticleEmitter::get_min_speed, &ParticleEmitter::set_min_speed,
                          "min_speed: float\n\n"
                          "Slowest start speed, pixels per second (float).")
            .add_property("max_speed", &ParticleEmitter::get_max_speed, &ParticleEmitter::set_max_speed,
                          "max_speed: float\n\n"
                          "Fastest start speed, pixels per second (float).")
            .add_property("emitted", &ParticleEmitter::get_emitted,
                          "emitted: int\n\n"
                          "Particles emitted so far (int, read-only).");
    register_with_factory(emitter, "ParticleEmitter");

    bp::object proxy =
        bp::class_<ParticleEmitterProxy>("ParticleEmitterProxy",
                                         "ParticleEmitterProxy\n\n"
                                         "The emitters of a ParticleSystem, by position.",
                                         bp::no_init)
            .def("__getitem__", &ParticleEmitterProxy::get_item,
                 "__getitem__(index: int, /) -> ParticleEmitter | None\n\n"
                 "By position (negative from the end); None where the factory's 'ParticleEmitter' class\n"
                 "failed to make the emitter.")
            .def("__contains__", &ParticleEmitterProxy::contains, "__contains__(item: object, /) -> bool")
            .def("__len__", &ParticleEmitterProxy::length, "__len__() -> int");
    register_with_factory(proxy, "ParticleEmitterProxy");

    using Wrapper = SceneObjectWrapper<ParticleSystem, const std::string&>;
    bp::object cls = bp::class_<ParticleSystem, Held<Wrapper>, bp::bases<SceneObject>, boost::noncopyable>(
                         "ParticleSystem",
                         "ParticleSystem(data_id: str)\n\n"
                         "A scene object that emits, moves and draws particles from the particle database's\n"
                         "definition data_id, in that definition's layer. An unknown id gives a system with\n"
                         "no emitters.",
                         bp::init<const std::string&>(bp::arg("data_id")))
                         .add_property("gravity", &gravity, &ParticleSystem::set_gravity,
                                       "gravity: Vector\n\n"
                                       "Acceleration of every particle, pixels per second squared (Vector).")
                         .add_property("emitters", &emitters,
                                       "emitters: ParticleEmitterProxy\n\n"
                                       "The emitters in definition order (ParticleEmitterProxy).")
                         .add_property("data_id", &ParticleSystem::get_data_id,
                                       "data_id: str\n\n"
                                       "The definition's id ('' without one).")
                         .add_property(
                             "particle_count", +[](const ParticleSystem& s) { return s.get_particle_count(); },
                             "particle_count: int\n\n"
                             "Particle records in every pool, dead ones included (int).")
                         .add_property(
                             "pool_count", +[](const ParticleSystem& s) { return s.get_pool_count(); },
                             "pool_count: int\n\n"
                             "Pools, one per texture, in order of first use (int).");
    register_with_factory(cls, "ParticleSystem");
}

}  // namespace engine::graphics::python
