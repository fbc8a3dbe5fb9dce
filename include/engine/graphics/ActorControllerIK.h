#pragma once

#include "engine/graphics/ActorController.h"

#include <map>
#include <string>
#include <vector>

namespace engine::graphics {

class ActorRigIK;
class IKHandlePosition;
class IKConstraintPosition;
class IKConstraintRotation;

/// Poses an actor by inverse kinematics: it finds the IK rig registered under the
/// actor's data id and, each frame, solves every handle of it that has a constraint
/// (a target) under the handle's joint name. It holds one reference on each constraint.
/// Script thread only.
///
///     ik.set_position_constraint("hand", new IKConstraintPositionFixed({30, -40}));
///     actor.set_controller(&ik);   // the rig is found here
class ActorControllerIK : public ActorController {
public:
    ActorControllerIK();
    /// Releases every constraint.
    ~ActorControllerIK() override;

    /// Steps every position constraint, then every rotation constraint (name order),
    /// then solves the rig. False without a rig.
    bool update(float dt) override;
    /// Debug drawing: one red point per position target, in the actor's space.
    void render() override;

    /// The rig, or null (no actor, or no rig under its data id). Owned by the database.
    ActorRigIK* get_rig() const { return rig_.get(); }

    /// Replaces the constraint under `joint` (null removes it), takes a reference on
    /// the new one and tells it the joint's world position ((0, 0) without that joint).
    void set_position_constraint(const std::string& joint, IKConstraintPosition* constraint);
    /// The same for rotations: `initialise` gets the joint's local and world rotation.
    void set_rotation_constraint(const std::string& joint, IKConstraintRotation* constraint);
    /// Null when there is none.
    IKConstraintPosition* get_position_constraint(const std::string& joint) const;
    IKConstraintRotation* get_rotation_constraint(const std::string& joint) const;
    /// Releases and forgets it; an unknown name does nothing.
    void remove_position_constraint(const std::string& joint);
    void remove_rotation_constraint(const std::string& joint);
    const std::map<std::string, core::Ref<IKConstraintPosition>>& get_position_constraints() const {
        return positions_;
    }
    const std::map<std::string, core::Ref<IKConstraintRotation>>& get_rotation_constraints() const {
        return rotations_;
    }

    /// Fixed constraints at the rig's bind positions and rotations, made through the
    /// class factory ("IKConstraintPositionFixed", "IKConstraintRotationFixed"). Nothing
    /// without a rig.
    void set_bind_pose();
    /// For every position handle that names a target joint, a constraint following
    /// that joint ("IKConstraintPositionHold", with the handle's weight); the other
    /// handles keep what they have. This is an imported character's own IK, which its
    /// clip players set up. Nothing without a rig.
    void follow_targets();

    bool is_ignoring_chain_offsets() const { return ignoring_chain_offsets_; }
    void set_ignoring_chain_offsets(bool ignore) { ignoring_chain_offsets_ = ignore; }

protected:
    void on_actor(Actor* actor) override;

private:
    void release(core::Ref<const core::Object> constraint);
    void set_handle_constraint(const IKHandlePosition& handle, bool targets_only);
    void finish_stepping();

    core::Ref<ActorRigIK> rig_;                                          // the actor's record; kept across unloads
    std::map<std::string, core::Ref<IKConstraintPosition>> positions_;  // null: removed while stepping
    std::map<std::string, core::Ref<IKConstraintRotation>> rotations_;  // null: removed while stepping
    bool ignoring_chain_offsets_ = false;                                // chain offsets left out of the solve
    int stepping_ = 0;                                                   // updates or solves under way
    std::vector<core::Ref<const core::Object>> released_while_stepping_;  // released when the step ends
};

}  // namespace engine::graphics
