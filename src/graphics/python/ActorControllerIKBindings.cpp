#include "python/ActorControllerWrapper.h"
#include "python/Bindings.h"

#include "engine/graphics/ActorControllerIK.h"
#include "engine/graphics/ActorRigIK.h"
#include "engine/graphics/IKConstraintPosition.h"
#include "engine/graphics/IKConstraintRotation.h"

#include <cmath>

namespace engine::graphics::python {

namespace {

// Scripts reach the rig through its controller, and every access finds the rig anew:
// a view kept across the database's "unload" raises instead of reading freed records.
ActorRigIK& rig_of(const ActorControllerIK& controller) {
    ActorRigIK* rig = controller.get_rig();
    if (!rig) raise(PyExc_RuntimeError, "The controller has no IK rig any more (the actor database was unloaded).");
    return *rig;
}

/// One handle of a rig, found by index on each access.
template <bool Rotation>
class HandleView : public Proxy<ActorControllerIK> {
public:
    HandleView(ActorControllerIK* controller, unsigned index) : Proxy(controller), index_(index) {}

    auto& handle() const {
        ActorRigIK& rig = rig_of(owner());
        if constexpr (Rotation) {
            if (IKHandleRotation* h = rig.get_rotation_handle(index_)) return *h;
        } else {
            if (IKHandlePosition* h = rig.get_position_handle(index_)) return *h;
        }
        raise(PyExc_RuntimeError, "The IK handle is gone.");
    }

private:
    unsigned index_;  // position in the rig
};
using PositionHandleView = HandleView<false>;
using RotationHandleView = HandleView<true>;

/// The rig's handles ("position_handles", "rotation_handles"): by index or by joint id.
template <bool Rotation>
class HandleProxy : public Proxy<ActorControllerIK> {
public:
    using Proxy::Proxy;

    long len() const {
        const ActorRigIK& rig = rig_of(owner());
        return long(Rotation ? rig.get_num_rotation_handles() : rig.get_num_position_handles());
    }
    bp::object get_item(const bp::object& key) const {
        ActorControllerIK* controller = &owner();
        return core::python::get_item(
            key, len(), [&](long i) { return bp::object(HandleView<Rotation>(controller, unsigned(i))); },
            [&](const std::string& id) {
                const ActorRigIK& rig = rig_of(*controller);
                const unsigned count = unsigned(len());
                for (unsigned i = 0; i < count; ++i) {
                    const std::string& name = Rotation ? rig.get_rotation_handle(i)->get_joint_id()
                                                       : rig.get_position_handle(i)->get_effector_id();
                    if (name == id) return bp::object(HandleView<Rotation>(controller, i));
                }
                return bp::object();
            });
    }
};
/// The position handles, with `add` for handles a script gives the rig.
class ActorRigIKPositionHandleProxy : public HandleProxy<false> {
public:
    using HandleProxy::HandleProxy;

    // Bound on this class: Boost.Python converts self to the class a method names.
    long len() const { return HandleProxy::len(); }
    bp::object get_item(const bp::object& key) const { return HandleProxy::get_item(key); }
    bool contains(const bp::object& key) const {
        bp::extract<std::string> id(key);
        return id.check() && rig_of(owner()).get_position_handle(id()) != nullptr;
    }

    PositionHandleView add(const std::string& effector_id, const std::string& type, float bone_length,
                           const std::string& target_id) const {
        ActorRigIK& rig = rig_of(owner());
        IKHandlePosition::Type kind;
        if (!IKHandlePosition::parse_type(type, kind))
            raise(PyExc_ValueError, "position_handles.add(): type '" + type + "' is not point, aim, chain or spine.");
        if (rig.get_position_handle(effector_id))
            raise(PyExc_ValueError, "position_handles.add(): joint '" + effector_id + "' has a handle already.");
        if (!(bone_length >= 0.0f || bone_length == -1.0f) || !std::isfinite(bone_length))
            raise(PyExc_ValueError, "position_handles.add(): bone_length must be -1 or a finite length >= 0.");
        IKHandlePosition* handle = rig.add_position_handle(effector_id, type);
        handle->set_bone_length(bone_length);
        handle->set_target_id(target_id);
        return PositionHandleView(&owner(), rig.get_num_position_handles() - 1);
    }
};
using ActorRigIKRotationHandleProxy = HandleProxy<true>;

/// The rig of a controller ("rig").
class RigView : public Proxy<ActorControllerIK> {
public:
    using Proxy::Proxy;
    ActorRigIKPositionHandleProxy position_handles() const { return ActorRigIKPositionHandleProxy(&owner()); }
    ActorRigIKRotationHandleProxy rotation_handles() const { return ActorRigIKRotationHandleProxy(&owner()); }
};

const char* const kTypeNames[] = {"point", "aim", "chain", "spine"};

std::string effector_id(const PositionHandleView& v) { return v.handle().get_effector_id(); }
std::string type(const PositionHandleView& v) { return kTypeNames[v.handle().get_type()]; }
int direction(const PositionHandleView& v) { return v.handle().get_direction(); }
void set_direction(const PositionHandleView& v, int d) {
    if (!v.handle().set_direction(d))
        raise(PyExc_ValueError, "IKHandlePosition.direction: 1 or -1, got " + std::to_string(d) + ".");
}
core::Vector<float> bind_position(const PositionHandleView& v) { return v.handle().get_bind_position(); }
void set_bind_position(const PositionHandleView& v, const core::Vector<float>& p) { v.handle().set_bind_position(p); }
float chain_offset(const PositionHandleView& v) { return v.handle().get_chain_offset(); }
void set_chain_offset(const PositionHandleView& v, float o) { v.handle().set_chain_offset(o); }
float spine_offset(const PositionHandleView& v) { return v.handle().get_spine_offset(); }
void set_spine_offset(const PositionHandleView& v, float o) { v.handle().set_spine_offset(o); }
float spine_root_angle(const PositionHandleView& v) { return v.handle().get_spine_root_angle(); }
float spine_middle_angle(const PositionHandleView& v) { return v.handle().get_spine_middle_angle(); }
float bone_length(const PositionHandleView& v) { return v.handle().get_bone_length(); }
void set_bone_length(const PositionHandleView& v, float length) {
    if (!v.handle().set_bone_length(length))
        raise(PyExc_ValueError, "IKHandlePosition.bone_length: -1 or a finite length >= 0.");
}
std::string target_id(const PositionHandleView& v) { return v.handle().get_target_id(); }
void set_target_id(const PositionHandleView& v, const std::string& joint) { v.handle().set_target_id(joint); }
float handle_weight(const PositionHandleView& v) { return v.handle().get_weight(); }
void set_handle_weight(const PositionHandleView& v, float weight) {
    if (!v.handle().set_weight(weight)) raise(PyExc_ValueError, "IKHandlePosition.weight: a number within 0..1.");
}
std::string driver_id(const PositionHandleView& v) { return v.handle().get_driver_id(); }
void set_driver_id(const PositionHandleView& v, const std::string& joint) { v.handle().set_driver_id(joint); }
std::string joint_id(const RotationHandleView& v) { return v.handle().get_joint_id(); }
float bind_rotation(const RotationHandleView& v) { return v.handle().get_bind_rotation(); }
void set_bind_rotation(const RotationHandleView& v, float r) { v.handle().set_bind_rotation(r); }

bp::object rig(ActorControllerIK& c) { return c.get_rig() ? bp::object(RigView(&c)) : bp::object(); }

void set_position_constraint(ActorControllerIK& c, const std::string& joint, IKConstraintPosition* constraint) {
    c.set_position_constraint(joint, constraint);
}
void set_rotation_constraint(ActorControllerIK& c, const std::string& joint, IKConstraintRotation* constraint) {
    c.set_rotation_constraint(joint, constraint);
}
bp::object get_position_constraint(const ActorControllerIK& c, const std::string& joint) {
    return to_python(c.get_position_constraint(joint));
}
bp::object get_rotation_constraint(const ActorControllerIK& c, const std::string& joint) {
    return to_python(c.get_rotation_constraint(joint));
}

template <class Map>
bp::dict to_dict(const Map& map) {
    bp::dict result;
    for (const auto& [name, constraint] : map)
        if (constraint) result[name] = to_python(constraint);
    return result;
}
bp::dict position_constraints(const ActorControllerIK& c) { return to_dict(c.get_position_constraints()); }
bp::dict rotation_constraints(const ActorControllerIK& c) { return to_dict(c.get_rotation_constraints()); }

}  // namespace

void define_actor_controller_ik() {
    bp::class_<PositionHandleView>("IKHandlePosition",
                                   "IKHandlePosition\n\n"
                                   "A position handle of an IK rig: the effector it moves and how the chain bends.",
                                   bp::no_init)
        .add_property("effector_id", &effector_id,
                      "effector_id: str\n\n"
                      "The joint the handle moves.")
        .add_property("type", &type,
                      "type: str\n\n"
                      "'point', 'aim', 'chain' or 'spine'.")
        .add_property("direction", &direction, &set_direction,
                      "direction: int\n\n"
                      "The bend of a chain: 1, or -1 the other way (ValueError for any other value).")
        .add_property("bind_position", &bind_position, &set_bind_position, "bind_position: Vector")
        .add_property("chain_offset", &chain_offset, &set_chain_offset, "chain_offset: float")
        .add_property("spine_offset", &spine_offset, &set_spine_offset,
                      "spine_offset: float\n\n"
                      "Measured on the first spine solve; setting it changes nothing.")
        .add_property("spine_root_angle", &spine_root_angle,
                      "spine_root_angle: float\n\n"
                      "Measured on the first spine solve (0 until then).")
        .add_property("spine_middle_angle", &spine_middle_angle,
                      "spine_middle_angle: float\n\n"
                      "Measured on the first spine solve (0 until then).")
        .add_property("bone_length", &bone_length, &set_bone_length,
                      "bone_length: float\n\n"
                      "-1 for the classic rules. Otherwise the effector is a bone along its own +x axis,\n"
                      "this long, as animation tools draw bones: 'aim' turns it to point at the target,\n"
                      "'chain' turns its parent and it so its tip reaches the target, bending as\n"
                      "direction says, straight at full reach. ValueError for a negative length.")
        .add_property("target_id", &target_id, &set_target_id,
                      "target_id: str\n\n"
                      "The joint set_bind_pose makes the handle follow (an IKConstraintPositionHold on\n"
                      "it); '' for a fixed target at bind_position.")
        .add_property("weight", &handle_weight, &set_handle_weight,
                      "weight: float\n\n"
                      "The weight set_bind_pose gives the handle's constraint, 0..1.")
        .add_property("driver_id", &driver_id, &set_driver_id,
                      "driver_id: str\n\n"
                      "A joint whose rotation, keyed by clips, overrides the weight and bend ('' for\n"
                      "none): a DragonBones character's IK timelines.");
    bp::class_<RotationHandleView>("IKHandleRotation",
                                   "IKHandleRotation\n\n"
                                   "A rotation handle of an IK rig: the joint it turns.",
                                   bp::no_init)
        .add_property("joint_id", &joint_id,
                      "joint_id: str\n\n"
                      "The joint the handle turns.")
        .add_property("bind_rotation", &bind_rotation, &set_bind_rotation, "bind_rotation: float");
    bp::object position_proxy =
        bp::class_<ActorRigIKPositionHandleProxy>("ActorRigIKPositionHandleProxy",
                                                  "ActorRigIKPositionHandleProxy\n\n"
                                                  "The position handles of an IK rig, by index or by effector id.",
                                                  bp::no_init)
            .def("__getitem__", &ActorRigIKPositionHandleProxy::get_item,
                 "__getitem__(key: int | str, /) -> IKHandlePosition\n\n"
                 "position_handles[key] -> IKHandlePosition: by index or effector id; IndexError otherwise.")
            .def("__len__", &ActorRigIKPositionHandleProxy::len, "__len__() -> int")
            .def("__contains__", &ActorRigIKPositionHandleProxy::contains,
                 "__contains__(effector_id: object, /) -> bool\n\n"
                 "Whether the rig has a position handle for that effector joint.")
            .def("add", &ActorRigIKPositionHandleProxy::add,
                 (bp::arg("effector_id"), bp::arg("type"), bp::arg("bone_length") = -1.0f, bp::arg("target_id") = ""),
                 "add(effector_id: str, type: str, bone_length: float = -1.0, target_id: str = '') -> IKHandlePosition\n\n"
                 "Adds a handle to the rig, which every actor of its id shares; its constraint is\n"
                 "yours to set. ValueError for an unknown type, a joint with a handle already or a\n"
                 "bad bone_length.");
    register_with_factory(position_proxy, "ActorRigIKPositionHandleProxy");
    bp::object rotation_proxy =
        bp::class_<ActorRigIKRotationHandleProxy>("ActorRigIKRotationHandleProxy",
                                                  "ActorRigIKRotationHandleProxy\n\n"
                                                  "The rotation handles of an IK rig, by index or by joint id.",
                                                  bp::no_init)
            .def("__getitem__", &ActorRigIKRotationHandleProxy::get_item,
                 "__getitem__(key: int | str, /) -> IKHandleRotation\n\n"
                 "rotation_handles[key] -> IKHandleRotation: by index or joint id; IndexError otherwise.")
            .def("__len__", &ActorRigIKRotationHandleProxy::len, "__len__() -> int");
    register_with_factory(rotation_proxy, "ActorRigIKRotationHandleProxy");
    bp::class_<RigView>("ActorRigIK",
                        "ActorRigIK\n\n"
                        "The IK rig of an ActorControllerIK's actor: its position and rotation handles.",
                        bp::no_init)
        .add_property("position_handles", &RigView::position_handles, "position_handles: ActorRigIKPositionHandleProxy")
        .add_property("rotation_handles", &RigView::rotation_handles,
                      "rotation_handles: ActorRigIKRotationHandleProxy");

    using Wrapper = ActorControllerWrapper<ActorControllerIK>;
    bp::class_<ActorControllerIK, Held<Wrapper>, bp::bases<ActorController>, boost::noncopyable> cls(
        "ActorControllerIK",
        "ActorControllerIK()\n\n"
        "Poses its actor by the IK rig of the actor's data id. Give it targets with\n"
        "set_position_constraint(joint, constraint) and set_rotation_constraint(joint, constraint).",
        bp::init<>());
    define_controller_hooks<ActorControllerIK, Wrapper>(cls);
    cls.def("set_position_constraint", &set_position_constraint, (bp::arg("joint"), bp::arg("constraint")),
            "set_position_constraint(joint: str, constraint: IKConstraintPosition | None) -> None\n\n"
            "The target of the handle of that effector (None removes).")
        .def("get_position_constraint", &get_position_constraint, bp::arg("joint"),
             "get_position_constraint(joint: str) -> IKConstraintPosition | None")
        .def("remove_position_constraint", &ActorControllerIK::remove_position_constraint, bp::arg("joint"),
             "remove_position_constraint(joint: str) -> None\n\n"
             "Removes the target of that effector's handle.")
        .def("set_rotation_constraint", &set_rotation_constraint, (bp::arg("joint"), bp::arg("constraint")),
             "set_rotation_constraint(joint: str, constraint: IKConstraintRotation | None) -> None\n\n"
             "The target of the rotation handle of that joint.")
        .def("get_rotation_constraint", &get_rotation_constraint, bp::arg("joint"),
             "get_rotation_constraint(joint: str) -> IKConstraintRotation | None")
        .def("remove_rotation_constraint", &ActorControllerIK::remove_rotation_constraint, bp::arg("joint"),
             "remove_rotation_constraint(joint: str) -> None\n\n"
             "Removes the target of that joint's rotation handle.")
        .def("follow_targets", &ActorControllerIK::follow_targets,
             "follow_targets() -> None\n\n"
             "Gives every position handle that names a target_id a constraint following that\n"
             "joint (an IKConstraintPositionHold with the handle's weight); other handles keep\n"
             "theirs. A DragonBones character's clip player does this for its own IK.")
        .def("set_bind_pose", &ActorControllerIK::set_bind_pose,
             "set_bind_pose() -> None\n\n"
             "Fixed targets at the rig's bind positions and rotations (a handle with a target_id\n"
             "follows that joint instead). Nothing without a rig.")
        .add_property("ignore_chain_offsets", &ActorControllerIK::is_ignoring_chain_offsets,
                      &ActorControllerIK::set_ignoring_chain_offsets, "ignore_chain_offsets: bool")
        .add_property("rig", &rig,
                      "rig: ActorRigIK | None\n\n"
                      "The IK rig (its position_handles and rotation_handles), or None.")
        .add_property("position_constraints", &position_constraints,
                      "position_constraints: dict[str, IKConstraintPosition]\n\n"
                      "{joint: constraint}.")
        .add_property("rotation_constraints", &rotation_constraints,
                      "rotation_constraints: dict[str, IKConstraintRotation]\n\n"
                      "{joint: constraint}.");
    register_with_factory(cls, "ActorControllerIK");
}

}  // namespace engine::graphics::python
