#include "python/Bindings.h"

#include "engine/graphics/IKConstraintPosition.h"
#include "engine/graphics/IKConstraintPositionFixed.h"
#include "engine/graphics/IKConstraintPositionHold.h"
#include "engine/graphics/IKConstraintRotation.h"
#include "engine/graphics/IKConstraintRotationFixed.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics::python {

namespace {

/// The held type of the position targets: a script subclass's "initialise", "update"
/// and "get_position" replace the native ones, looked up once per class.
template <class T, class... Args>
class IKConstraintPositionWrapper : public ObjectWrapper<T, Args...> {
public:
    explicit IKConstraintPositionWrapper(PyObject* self, Args... args)
        : ObjectWrapper<T, Args...>(self, std::forward<Args>(args)...),
          hooks_((overrides<T>(self, "initialise") ? kInitialise : 0u) | (overrides<T>(self, "update") ? kUpdate : 0u) |
                 (overrides<T>(self, "get_position") ? kGet : 0u)) {}

    void initialise(const core::Vector<float>& position) override {
        if (hooks_ & kInitialise)
            core::call_method(this->self_, "initialise", bp::make_tuple(position).ptr());
        else
            T::initialise(position);
    }
    void update(float dt) override {
        if (hooks_ & kUpdate)
            core::call_method(this->self_, "update", bp::make_tuple(dt).ptr());
        else
            T::update(dt);
    }
    // A script's answer that is no vector is reported as a TypeError, and the last
    // good target stands.
    core::Vector<float> get_position() override {
        if (!(hooks_ & kGet)) return T::get_position();
        PyObject* result = core::call_method_result(this->self_, "get_position");
        if (!result) return last_;
        bp::object answer{bp::handle<>(result)};
        bp::extract<core::Vector<float>> position(answer);
        if (position.check()) return last_ = position();
        PyErr_Format(PyExc_TypeError, "get_position() must return a Vector, not %s.", Py_TYPE(result)->tp_name);
        core::handle_hook_error(this->self_);
        return last_;
    }

    static void native_initialise(T& self, const core::Vector<float>& p) { self.T::initialise(p); }
    static void native_update(T& self, float dt) { self.T::update(dt); }
    static core::Vector<float> native_get_position(T& self) { return self.T::get_position(); }

private:
    enum : unsigned { kInitialise = 1, kUpdate = 2, kGet = 4 };
    unsigned hooks_;             // which hooks the script class defines
    core::Vector<float> last_;   // the script's last usable answer
};

/// The same for rotation targets ("initialise", "update", "get_rotation").
template <class T, class... Args>
class IKConstraintRotationWrapper : public ObjectWrapper<T, Args...> {
public:
    explicit IKConstraintRotationWrapper(PyObject* self, Args... args)
        : ObjectWrapper<T, Args...>(self, std::forward<Args>(args)...),
          hooks_((overrides<T>(self, "initialise") ? kInitialise : 0u) | (overrides<T>(self, "update") ? kUpdate : 0u) |
                 (overrides<T>(self, "get_rotation") ? kGet : 0u)) {}

    void initialise(float local_rotation, float world_rotation) override {
        if (hooks_ & kInitialise)
            core::call_method(this->self_, "initialise", bp::make_tuple(local_rotation, world_rotation).ptr());
        else
            T::initialise(local_rotation, world_rotation);
    }
    void update(float dt) override {
        if (hooks_ & kUpdate)
            core::call_method(this->self_, "update", bp::make_tuple(dt).ptr());
        else
            T::update(dt);
    }
    float get_rotation(const core::Vector<float>& joint_world_position) override {
        if (!(hooks_ & kGet)) return T::get_rotation(joint_world_position);
        PyObject* result =
            core::call_method_result(this->self_, "get_rotation", bp::make_tuple(joint_world_position).ptr());
        if (!result) return last_;
        const double value = PyFloat_AsDouble(result);
        if (value == -1.0 && PyErr_Occurred()) {
            PyErr_Clear();
            PyErr_Format(PyExc_TypeError, "get_rotation() must return a number, not %s.", Py_TYPE(result)->tp_name);
            Py_DECREF(result);
            core::handle_hook_error(this->self_);
            return last_;
        }
        Py_DECREF(result);
        return last_ = float(value);
    }

    static void native_initialise(T& self, float local, float world) { self.T::initialise(local, world); }
    static void native_update(T& self, float dt) { self.T::update(dt); }
    static float native_get_rotation(T& self, const core::Vector<float>& p) { return self.T::get_rotation(p); }

private:
    enum : unsigned { kInitialise = 1, kUpdate = 2, kGet = 4 };
    unsigned hooks_;      // which hooks the script class defines
    float last_ = 0.0f;   // the script's last usable answer
};

template <class T, class Wrapper, class Class>
void define_position_hooks(Class& cls) {
    cls.def("initialise", &Wrapper::native_initialise, bp::arg("current_position"),
            "initialise(current_position: Vector) -> None\n\n"
            "Told the effector's position when set on a controller.")
        .def("update", &Wrapper::native_update, bp::arg("dt"),
             "update(dt: float) -> None\n\n"
             "Once a frame, before the solve.")
        .def("get_position", &Wrapper::native_get_position,
             "get_position() -> Vector\n\n"
             "The target in the actor's space, asked every frame.");
}

template <class T, class Wrapper, class Class>
void define_rotation_hooks(Class& cls) {
    cls.def("initialise", &Wrapper::native_initialise, (bp::arg("local_rotation"), bp::arg("world_rotation")),
            "initialise(local_rotation: float, world_rotation: float) -> None\n\n"
            "Told the joint's rotations when set on a controller.")
        .def("update", &Wrapper::native_update, bp::arg("dt"),
             "update(dt: float) -> None\n\n"
             "Once a frame, before the solve.")
        .def("get_rotation", &Wrapper::native_get_rotation, bp::arg("joint_world_position"),
             "get_rotation(joint_world_position: Vector) -> float\n\n"
             "The target rotation in radians, asked every frame.");
}

core::Vector<float> position(IKConstraintPosition& c) { return c.get_position(); }
core::Vector<float> fixed_position(IKConstraintPositionFixed& c) { return c.get_position(); }
float rotation(IKConstraintRotationFixed& c) { return c.get_rotation({}); }
bp::object hold_transform(const IKConstraintPositionHold& c) { return to_python(c.get_transform()); }

void set_weight(IKConstraintPosition& c, float weight) {
    if (!c.set_weight(weight))
        raise(PyExc_ValueError, "IKConstraintPosition.weight: a number within 0..1, got " + std::to_string(weight) + ".");
}

}  // namespace

void define_ik_constraint() {
    {
        using Wrapper = IKConstraintPositionWrapper<IKConstraintPosition>;
        bp::class_<IKConstraintPosition, Held<Wrapper>, boost::noncopyable> cls(
            "IKConstraintPosition",
            "IKConstraintPosition()\n\n"
            "The target of an IK position handle. Subclass it and override\n"
            "get_position() (and initialise, update) to move the target each frame.",
            bp::init<>());
        define_position_hooks<IKConstraintPosition, Wrapper>(cls);
        cls.add_property("position", &position,
                         "position: Vector\n\n"
                         "The target now (get_position()).")
            .add_property("reversed", &IKConstraintPosition::is_reversed, &IKConstraintPosition::set_reversed,
                          "reversed: bool\n\n"
                          "Mirror a chain's bend.")
            .add_property("enabled", &IKConstraintPosition::is_enabled, &IKConstraintPosition::set_enabled,
                          "enabled: bool\n\n"
                          "Solved only while True.")
            .add_property("weight", &IKConstraintPosition::get_weight, &set_weight,
                          "weight: float\n\n"
                          "How much of the solution replaces the pose: 1 (the default) wholly, 0 not at\n"
                          "all. ValueError outside 0..1.");
        register_with_factory(cls, "IKConstraintPosition");
    }
    {
        using Wrapper = IKConstraintPositionWrapper<IKConstraintPositionFixed, const core::Vector<float>&>;
        bp::class_<IKConstraintPositionFixed, Held<Wrapper>, bp::bases<IKConstraintPosition>, boost::noncopyable> cls(
            "IKConstraintPositionFixed",
            "IKConstraintPositionFixed(position: VectorLike)\n\n"
            "A target that stays where it is put.",
            bp::init<const core::Vector<float>&>(bp::arg("position")));
        define_position_hooks<IKConstraintPositionFixed, Wrapper>(cls);
        cls.add_property("position", &fixed_position, &IKConstraintPositionFixed::set_position,
                         "position: Vector\n\n"
                         "The target.");
        register_with_factory(cls, "IKConstraintPositionFixed");
    }
    {
        using Wrapper = IKConstraintPositionWrapper<IKConstraintPositionHold, Transform*, const core::Vector<float>&,
                                                    const core::Vector<float>&>;
        bp::class_<IKConstraintPositionHold, Held<Wrapper>, bp::bases<IKConstraintPosition>, boost::noncopyable> cls(
            "IKConstraintPositionHold",
            "IKConstraintPositionHold(transform: Transform, local: VectorLike, offset: VectorLike)\n\n"
            "Follows `local` in the transform's space, plus\n"
            "`offset`; it keeps the transform alive.",
            bp::init<Transform*, const core::Vector<float>&, const core::Vector<float>&>(
                (bp::arg("transform"), bp::arg("local"), bp::arg("offset"))));
        define_position_hooks<IKConstraintPositionHold, Wrapper>(cls);
        cls.add_property("transform", &hold_transform,
                         "transform: Transform\n\n"
                         "The transform followed.");
        register_with_factory(cls, "IKConstraintPositionHold");
    }
    {
        using Wrapper = IKConstraintRotationWrapper<IKConstraintRotation, bool>;
        bp::class_<IKConstraintRotation, Held<Wrapper>, boost::noncopyable> cls(
            "IKConstraintRotation",
            "IKConstraintRotation(in_world_space: bool = False)\n\n"
            "The target of an IK rotation handle. Subclass it and\n"
            "override get_rotation(joint_world_position) to turn or aim the joint each frame.",
            bp::init<bool>(bp::arg("in_world_space") = false));
        define_rotation_hooks<IKConstraintRotation, Wrapper>(cls);
        cls.add_property("in_world_space", &IKConstraintRotation::is_in_world_space,
                         "in_world_space: bool\n\n"
                         "Whether the rotation is in world space rather than the joint's parent's.");
        register_with_factory(cls, "IKConstraintRotation");
    }
    {
        using Wrapper = IKConstraintRotationWrapper<IKConstraintRotationFixed, float, bool>;
        bp::class_<IKConstraintRotationFixed, Held<Wrapper>, bp::bases<IKConstraintRotation>, boost::noncopyable> cls(
            "IKConstraintRotationFixed",
            "IKConstraintRotationFixed(rotation: float, in_world_space: bool = False)\n\n"
            "A rotation that stays what it is set to.",
            bp::init<float, bool>((bp::arg("rotation"), bp::arg("in_world_space") = false)));
        define_rotation_hooks<IKConstraintRotationFixed, Wrapper>(cls);
        cls.add_property("rotation", &rotation, &IKConstraintRotationFixed::set_rotation,
                         "rotation: float\n\n"
                         "Radians.");
        register_with_factory(cls, "IKConstraintRotationFixed");
    }
}

}  // namespace engine::graphics::python
