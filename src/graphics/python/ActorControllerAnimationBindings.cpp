#include "python/ActorControllerWrapper.h"
#include "python/Bindings.h"

#include "engine/core/script/Python.h"
#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerAnimation.h"
#include "engine/graphics/ActorControllerIK.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/AnimationClip.h"
#include "engine/graphics/Skeleton.h"

#include <cmath>

namespace engine::graphics::python {

namespace {

using Controller = ActorControllerAnimation;

// A script's callable, called as a hook is: an exception it raises is reported (or
// held in "raise" mode) like one from any other hook.
struct ScriptCallable {
    bp::object callable;
    template <class... Args>
    void operator()(const Args&... args) const {
        core::call_method(callable.ptr(), "__call__", bp::make_tuple(args...).ptr());
    }
};

void check_callable(const bp::object& value, const char* what) {
    if (!value.is_none() && !PyCallable_Check(value.ptr()))
        raise(PyExc_TypeError,
              std::string(what) + " must be callable or None, not " + Py_TYPE(value.ptr())->tp_name + ".");
}

int loops_of(const bp::object& loops) {
    if (loops.is_none()) return -1;
    const int n = bp::extract<int>(loops);
    if (n < 0) raise(PyExc_ValueError, "loops must be None (the clip's own count), 0 (forever) or more.");
    return n;
}

void check_clip(const Controller& c, const std::string& clip, const char* what) {
    if (!c.get_actor()) raise(PyExc_RuntimeError, std::string(what) + ": the controller has no actor.");
    if (!c.find_clip(clip))
        raise(PyExc_KeyError,
              std::string(what) + ": actor '" + c.get_actor()->get_data_id() + "' has no clip '" + clip + "'.");
}

void play(Controller& c, const std::string& clip, float fade, const bp::object& loops, float speed, int layer,
          float weight) {
    check_clip(c, clip, "play()");
    const std::string why = c.play(clip, fade, loops_of(loops), speed, layer, weight);
    if (!why.empty()) raise(PyExc_ValueError, "play(): " + why + ".");
}

void queue(Controller& c, const std::string& clip, float fade, const bp::object& loops, float speed, int layer) {
    check_clip(c, clip, "queue()");
    const std::string why = c.queue(clip, fade, loops_of(loops), speed, layer);
    if (!why.empty()) raise(PyExc_ValueError, "queue(): " + why + ".");
}

void check_layer(int layer, const char* what) {
    if (layer < 0 || layer >= Controller::kMaxLayers)
        raise(PyExc_ValueError, std::string(what) + ": layer " + std::to_string(layer) + " is outside 0.." +
                                    std::to_string(Controller::kMaxLayers - 1) + ".");
}

void stop(Controller& c, int layer, float fade) {
    check_layer(layer, "stop()");
    if (!std::isfinite(fade) || fade < 0.0f) raise(PyExc_ValueError, "stop(): fade must be a number of seconds >= 0.");
    c.stop(layer, fade);
}

void set_additive(Controller& c, int layer, bool additive) {
    check_layer(layer, "set_additive()");
    c.set_additive(layer, additive);
}

void set_speed(Controller& c, int layer, float speed) {
    check_layer(layer, "set_speed()");
    if (!std::isfinite(speed)) raise(PyExc_ValueError, "set_speed(): speed must be a number.");
    c.set_speed(layer, speed);
}

bp::object clip(const Controller& c, int layer) {
    const AnimationClip* found = c.get_clip(layer);
    return found ? bp::object(found->get_name()) : bp::object();
}

void set_weight(Controller& c, int layer, float weight) {
    if (!c.set_weight(layer, weight))
        raise(PyExc_ValueError, "set_weight(): layer 0..15 and weight 0..1, got " + std::to_string(layer) + " and " +
                                    std::to_string(weight) + ".");
}

void set_mask(Controller& c, int layer, const bp::object& joints) {
    std::vector<std::string> names;
    if (!joints.is_none()) {
        const bp::ssize_t count = bp::len(joints);
        for (bp::ssize_t i = 0; i < count; ++i) names.push_back(bp::extract<std::string>(joints[i]));
    }
    const std::string why = c.set_mask(layer, names);
    if (!why.empty()) {
        if (c.get_actor() && c.get_actor()->get_skeleton() && layer >= 0 && layer < Controller::kMaxLayers)
            raise(PyExc_KeyError, "set_mask(): the actor has no joint '" + why + "'.");
        raise(PyExc_ValueError, "set_mask(): " + why + ".");
    }
}

void on_event(Controller& c, const bp::object& callback) {
    check_callable(callback, "on_event()");
    c.set_event_callback(callback.is_none()
                             ? nullptr
                             : std::make_shared<const std::function<void(const std::string&, const std::string&, int)>>(
                                   ScriptCallable{callback}));
}

void on_finished(Controller& c, const bp::object& callback) {
    check_callable(callback, "on_finished()");
    c.set_finished_callback(callback.is_none() ? nullptr
                                               : std::make_shared<const std::function<void(const std::string&, int)>>(
                                                     ScriptCallable{callback}));
}

bp::tuple pair(const float v[2]) { return bp::make_tuple(v[0], v[1]); }

// {joint: {"position": (x, y), "rotation": r, "scale": (x, y), "skew": s}}, the channels the clip
// keys, as offsets from the setup pose (scale as a factor).
bp::dict sample(const Controller& c, const std::string& name, float time) {
    check_clip(c, name, "sample()");
    const AnimationClip* found = c.find_clip(name);
    const ActorData* data = ActorDatabase::find_actor_data(c.get_actor()->get_data_id());
    std::map<unsigned, std::string> names;
    if (data && data->get_skeleton())
        for (const auto& [joint, index] : data->get_skeleton()->get_joint_names()) names[index] = joint;
    bp::dict result;
    for (const ClipTrack& track : found->get_tracks()) {
        float value[4];
        AnimationClip::sample(track, time, value);
        const std::string joint = names.count(track.joint) ? names[track.joint] : std::to_string(track.joint);
        if (!result.has_key(joint)) result[joint] = bp::dict();
        bp::dict entry = bp::extract<bp::dict>(result[joint]);
        entry[channel_name(track.channel)] =
            is_single_value_channel(track.channel) ? bp::object(value[0]) : bp::object(pair(value));
    }
    for (const ClipTrack& track : found->get_part_tracks()) {
        float value[4];
        AnimationClip::sample(track, time, value);
        const std::string part = data && track.joint < data->get_meshes().size() ? data->get_meshes()[track.joint]->id
                                                                                 : std::to_string(track.joint);
        if (!result.has_key(part)) result[part] = bp::dict();
        bp::dict entry = bp::extract<bp::dict>(result[part]);
        if (track.channel == ClipChannel::visible)
            entry["visible"] = value[0] >= 0.5f;
        else if (track.channel == ClipChannel::order)
            entry["order"] = value[0];
        else
            entry[channel_name(track.channel)] = bp::make_tuple(value[0], value[1], value[2], value[3]);
    }
    return result;
}

}  // namespace

bp::object ik(const Controller& c) { return to_python(c.get_ik()); }

void set_ik(Controller& c, const bp::object& value) {
    if (value.is_none()) return c.set_ik(nullptr);
    bp::extract<ActorControllerIK*> ik(value);
    if (!ik.check()) raise(PyExc_TypeError, "ActorControllerAnimation.ik takes an ActorControllerIK or None.");
    c.set_ik(ik());
}

void define_actor_controller_animation() {
    using Wrapper = ActorControllerWrapper<Controller>;
    bp::class_<Controller, Held<Wrapper>, bp::bases<ActorController>, boost::noncopyable> cls(
        "ActorControllerAnimation",
        "ActorControllerAnimation()\n\n"
        "Plays the actor's clips (actor_database clips of its data id) on layers, with\n"
        "crossfades, weights, joint masks and additive layers.",
        bp::init<>());
    define_controller_hooks<Controller, Wrapper>(cls);
    cls.def("play", &play,
            (bp::arg("name"), bp::arg("fade") = 0.0f, bp::arg("loops") = bp::object(), bp::arg("speed") = 1.0f,
             bp::arg("layer") = 0, bp::arg("weight") = 1.0f),
            "play(name: str, fade: float = 0.0, loops: int | None = None, speed: float = 1.0, layer: int = 0, "
            "weight: float = 1.0) -> None\n\n"
            "Starts the clip at time 0 on the layer, crossfading from what it showed over fade\n"
            "seconds. loops None takes the clip's count, 0 plays forever. KeyError for an unknown\n"
            "clip, ValueError for a bad value, RuntimeError without an actor.")
        .def("queue", &queue,
             (bp::arg("name"), bp::arg("fade") = 0.0f, bp::arg("loops") = bp::object(), bp::arg("speed") = 1.0f,
              bp::arg("layer") = 0),
             "queue(name: str, fade: float = 0.0, loops: int | None = None, speed: float = 1.0, layer: int = 0) "
             "-> None\n\n"
             "Plays the clip when the layer's clip finishes (at once if the layer is idle). One\n"
             "clip waits per layer: queueing again replaces it.")
        .add_property("ik", &ik, &set_ik,
                      "ik: ActorControllerIK | None\n\n"
                      "The IK controller solved after each pose, or None. An actor whose IK rig is\n"
                      "posed with clips (a DragonBones character's) gets one at its bind pose, each\n"
                      "handle following its target joint; give a handle another constraint to aim it\n"
                      "elsewhere. Set one to have any actor's rig solved after each pose.")
        .def("stop", &stop, (bp::arg("layer") = 0, bp::arg("fade") = 0.0f),
             "stop(layer: int = 0, fade: float = 0.0) -> None\n\n"
             "Fades the layer out over fade seconds (at once with 0) and forgets its queue.")
        .def("clip", &clip, bp::arg("layer") = 0,
             "clip(layer: int = 0) -> str | None\n\n"
             "The layer's current clip, or None when idle.")
        .def("time", &Controller::get_time, bp::arg("layer") = 0,
             "time(layer: int = 0) -> float\n\n"
             "The layer's time in its clip (0 when idle).")
        .def("fade_weight", &Controller::get_fade_weight, bp::arg("layer") = 0,
             "fade_weight(layer: int = 0) -> float\n\n"
             "How far the layer's crossfade is: 0 at its start, 1 once done.")
        .def("weight", &Controller::get_weight, bp::arg("layer") = 0, "weight(layer: int = 0) -> float")
        .def("set_weight", &set_weight, (bp::arg("layer"), bp::arg("weight")),
             "set_weight(layer: int, weight: float) -> None\n\n"
             "How much the layer counts, 0..1 (ValueError otherwise).")
        .def("additive", &Controller::is_additive, bp::arg("layer") = 0, "additive(layer: int = 0) -> bool")
        .def("set_additive", &set_additive, (bp::arg("layer"), bp::arg("additive")),
             "set_additive(layer: int, additive: bool) -> None\n\n"
             "An additive layer adds its clips' offsets to the layers below instead of\n"
             "blending toward them.")
        .def("set_mask", &set_mask, (bp::arg("layer"), bp::arg("joints")),
             "set_mask(layer: int, joints: list[str] | None) -> None\n\n"
             "The joints the layer touches (None: all). KeyError for a joint the actor lacks.")
        .def("speed", &Controller::get_speed, bp::arg("layer") = 0, "speed(layer: int = 0) -> float")
        .def("set_speed", &set_speed, (bp::arg("layer"), bp::arg("speed")),
             "set_speed(layer: int, speed: float) -> None\n\n"
             "The playing clip's speed (negative plays backward, 0 holds).")
        .def("on_event", &on_event, bp::arg("callback"),
             "on_event(callback: Callable[[str, str, int], object] | None) -> None\n\n"
             "callback(event, clip, layer) for each event key crossed, during scene.update.")
        .def("on_finished", &on_finished, bp::arg("callback"),
             "on_finished(callback: Callable[[str, int], object] | None) -> None\n\n"
             "callback(clip, layer) when a clip has played all its loops, during scene.update.")
        .def("sample", &sample, (bp::arg("name"), bp::arg("time")),
             "sample(name: str, time: float) -> dict[str, dict[str, object]]\n\n"
             "The clip's keyed values at time without playing it: {joint: {'position': (x, y),\n"
             "'rotation': r, 'scale': (x, y), 'skew': s}}, offsets from the setup pose (scale as a factor), and\n"
             "{part: {'visible': bool, 'colour': (r, g, b, a), 'order': place}} for the meshes it keys.");
    register_with_factory(cls, "ActorControllerAnimation");
}

}  // namespace engine::graphics::python
