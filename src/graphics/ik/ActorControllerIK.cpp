#include "engine/graphics/ActorControllerIK.h"

#include "engine/core/Log.h"
#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorDatabase.h"
#include "common/FactoryObjects.h"
#include "engine/graphics/ActorRigIK.h"
#include "engine/graphics/IKConstraintPosition.h"
#include "engine/graphics/IKConstraintPositionFixed.h"
#include "engine/graphics/IKConstraintPositionHold.h"
#include "engine/graphics/IKConstraintRotation.h"
#include "engine/graphics/IKConstraintRotationFixed.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include "engine/window/OpenGL.h"

#include <GL/gl.h>

#include <algorithm>

namespace engine::graphics {

namespace {

// The fixed targets of a bind pose, made through the factory under
// "IKConstraintPositionFixed" and "IKConstraintRotationFixed" with their constructor
// arguments; natively plain objects. Null after a reported failure.
core::Ref<IKConstraintPosition> create_fixed_position_constraint(const core::Vector<float>& position) {
    return create_through_factory<IKConstraintPosition>("IKConstraintPositionFixed", {position}, [&] {
        return core::Ref<IKConstraintPosition>(new IKConstraintPositionFixed(position));
    });
}

// A bind pose target following a joint of the skeleton, made through the factory under
// "IKConstraintPositionHold" (the joint, no local point, no offset).
core::Ref<IKConstraintPosition> create_hold_position_constraint(Transform* joint) {
    const core::Vector<float> none;
    return create_through_factory<IKConstraintPosition>("IKConstraintPositionHold", {joint, none, none}, [&] {
        return core::Ref<IKConstraintPosition>(new IKConstraintPositionHold(joint, none, none));
    });
}

core::Ref<IKConstraintRotation> create_fixed_rotation_constraint(float rotation, bool in_world_space) {
    return create_through_factory<IKConstraintRotation>("IKConstraintRotationFixed", {rotation, in_world_space}, [&] {
        return core::Ref<IKConstraintRotation>(new IKConstraintRotationFixed(rotation, in_world_space));
    });
}

// Constraints removed while the controller steps are erased when the step ends.
template <class Map>
void erase_removed(Map& map) {
    for (auto it = map.begin(); it != map.end();) it = it->second ? std::next(it) : map.erase(it);
}

}  // namespace

ActorControllerIK::ActorControllerIK() = default;

ActorControllerIK::~ActorControllerIK() = default;

void ActorControllerIK::on_actor(Actor* actor) {
    rig_ = actor ? ActorDatabase::find_ik_rig(actor->get_data_id()) : nullptr;
    if (!actor) return;
    // The solve reports no change for these; say why once, here.
    if (!rig_) {
        core::Log::warning("graphics", "ActorControllerIK: no IK rig '%s' is loaded; the actor is not posed.",
                           actor->get_data_id().c_str());
        return;
    }
    const Skeleton* skeleton = actor->get_skeleton();
    for (unsigned i = 0; i < rig_->get_num_position_handles(); ++i) {
        const std::string& id = rig_->get_position_handle(i)->get_effector_id();
        const std::string& target = rig_->get_position_handle(i)->get_target_id();
        if (!skeleton || !skeleton->get_joint(id))
            core::Log::warning("graphics", "ActorControllerIK: IK rig '%s' names joint '%s', which actor '%s' lacks.",
                               actor->get_data_id().c_str(), id.c_str(), actor->get_data_id().c_str());
        else if (!target.empty() && !skeleton->get_joint(target))
            core::Log::warning("graphics",
                               "ActorControllerIK: IK rig '%s' has joint '%s' follow joint '%s', which actor '%s' "
                               "lacks; its bind pose holds a fixed point instead.",
                               actor->get_data_id().c_str(), id.c_str(), target.c_str(), actor->get_data_id().c_str());
    }
    for (unsigned i = 0; i < rig_->get_num_rotation_handles(); ++i) {
        const std::string& id = rig_->get_rotation_handle(i)->get_joint_id();
        if (!skeleton || !skeleton->get_joint(id))
            core::Log::warning("graphics",
                               "ActorControllerIK: IK rig '%s' names joint '%s', which actor '%s' lacks; "
                               "no handle of the rig is solved while it has a rotation constraint.",
                               actor->get_data_id().c_str(), id.c_str(), actor->get_data_id().c_str());
    }
}

void ActorControllerIK::release(core::Ref<const core::Object> constraint) {
    // A constraint's own hook may be removing it: it lives until the step ends.
    if (constraint && stepping_ > 0) released_while_stepping_.push_back(std::move(constraint));
}

void ActorControllerIK::finish_stepping() {
    if (--stepping_ > 0) return;
    erase_removed(positions_);
    erase_removed(rotations_);
    if (released_while_stepping_.empty()) return;
    std::vector<core::Ref<const core::Object>> released;
    released.swap(released_while_stepping_);
}

void ActorControllerIK::set_position_constraint(const std::string& joint, IKConstraintPosition* constraint) {
    remove_position_constraint(joint);
    if (!constraint) return;
    positions_[joint] = constraint;
    Actor* actor = get_actor();
    const Skeleton* skeleton = actor ? actor->get_skeleton() : nullptr;
    const Transform* target = skeleton ? skeleton->get_joint(joint) : nullptr;
    constraint->initialise(target ? target->get_world_position() : core::Vector<float>());
}

void ActorControllerIK::set_rotation_constraint(const std::string& joint, IKConstraintRotation* constraint) {
    remove_rotation_constraint(joint);
    if (!constraint) return;
    rotations_[joint] = constraint;
    Actor* actor = get_actor();
    const Skeleton* skeleton = actor ? actor->get_skeleton() : nullptr;
    const Transform* target = skeleton ? skeleton->get_joint(joint) : nullptr;
    constraint->initialise(target ? target->get_local_rotation() : 0.0f, target ? target->get_world_rotation() : 0.0f);
}

IKConstraintPosition* ActorControllerIK::get_position_constraint(const std::string& joint) const {
    auto it = positions_.find(joint);
    return it == positions_.end() ? nullptr : it->second;
}

IKConstraintRotation* ActorControllerIK::get_rotation_constraint(const std::string& joint) const {
    auto it = rotations_.find(joint);
    return it == rotations_.end() ? nullptr : it->second;
}

void ActorControllerIK::remove_position_constraint(const std::string& joint) {
    auto it = positions_.find(joint);
    if (it == positions_.end()) return;
    core::Ref<IKConstraintPosition> old = std::move(it->second);  // null in place: a loop may hold the iterator
    if (stepping_ == 0) positions_.erase(it);
    release(std::move(old));
}

void ActorControllerIK::remove_rotation_constraint(const std::string& joint) {
    auto it = rotations_.find(joint);
    if (it == rotations_.end()) return;
    core::Ref<IKConstraintRotation> old = std::move(it->second);
    if (stepping_ == 0) rotations_.erase(it);
    release(std::move(old));
}

void ActorControllerIK::set_bind_pose() {
    // The constraints come from the class factory, whose script classes may unload the
    // database or give the actor another rig: the rig is held for the loop, and each
    // handle's values are read before the call.
    const core::Ref<ActorRigIK> rig = rig_;
    if (!rig) return;
    for (unsigned i = 0; i < rig->get_num_position_handles(); ++i)
        set_handle_constraint(*rig->get_position_handle(i), false);
    for (unsigned i = 0; i < rig->get_num_rotation_handles(); ++i) {
        const IKHandleRotation* handle = rig->get_rotation_handle(i);
        const std::string joint = handle->get_joint_id();
        set_rotation_constraint(joint, create_fixed_rotation_constraint(handle->get_bind_rotation(), false));
    }
}

void ActorControllerIK::follow_targets() {
    const core::Ref<ActorRigIK> rig = rig_;  // held: the factory may run script code
    if (!rig) return;
    for (unsigned i = 0; i < rig->get_num_position_handles(); ++i)
        set_handle_constraint(*rig->get_position_handle(i), true);
}

void ActorControllerIK::set_handle_constraint(const IKHandlePosition& handle, bool targets_only) {
    // Values read before the factory is called: its script class may change the rig.
    const std::string effector = handle.get_effector_id();
    const float weight = handle.get_weight();
    const Actor* actor = get_actor();
    const Skeleton* skeleton = actor ? actor->get_skeleton() : nullptr;
    const core::Ref<Transform> target(
        skeleton && !handle.get_target_id().empty() ? skeleton->get_joint(handle.get_target_id()) : nullptr);
    if (!target && targets_only) return;
    // A handle that names a target joint follows it (an imported character's
    // constraint); the others hold their bind position.
    const core::Ref<IKConstraintPosition> made =
        target ? create_hold_position_constraint(target) : create_fixed_position_constraint(handle.get_bind_position());
    if (made) made->set_weight(weight);
    set_position_constraint(effector, made);
}

bool ActorControllerIK::update(float dt) {
    ++stepping_;
    for (auto& [name, constraint] : positions_)
        if (constraint) constraint->update(dt);
    for (auto& [name, constraint] : rotations_)
        if (constraint) constraint->update(dt);
    // Held for the solve: a target's hook may take the actor or its rig away.
    const core::Ref<ActorRigIK> rig = rig_;
    const bool changed = rig && rig->solve_constraints(this);
    finish_stepping();
    return changed;
}

void ActorControllerIK::render() {
    Actor* actor = get_actor();
    if (!actor) return;
    const core::Matrix& world = actor->get_world_transform();
    glColor4f(1.0f, 0.0f, 0.0f, 0.5f);
    glPointSize(2.0f);
    ++stepping_;
    for (auto& [name, constraint] : positions_) {
        if (!constraint) continue;
        // Asked outside glBegin/glEnd: a script's get_position may draw or fail.
        const core::Vector<float> p = constraint->get_position() * world;
        glBegin(GL_POINTS);
        glVertex2f(p.x, p.y);
        glEnd();
    }
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glPointSize(1.0f);
    finish_stepping();
}

}  // namespace engine::graphics
