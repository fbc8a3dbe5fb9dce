#pragma once

#include "engine/core/SharedObject.h"
#include "engine/graphics/IKHandlePosition.h"
#include "engine/graphics/IKHandleRotation.h"

#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class ActorControllerIK;

/// The IK handles of one actor type ("ActorRigIK"), found by the actor's data id. Owned
/// by the actor database's IK rig registry until "unload"; script thread only.
class ActorRigIK : public core::SharedObject {
public:
    /// A new handle, or null when the effector already has one or `type` is not exactly
    /// "point", "aim", "chain" or "spine". Owned by the rig.
    IKHandlePosition* add_position_handle(const std::string& effector_id, const std::string& type);
    /// A new handle, or null when the joint already has one. Owned by the rig.
    IKHandleRotation* add_rotation_handle(const std::string& joint_id);

    unsigned get_num_position_handles() const { return unsigned(position_handles_.size()); }
    /// Null past the end.
    IKHandlePosition* get_position_handle(unsigned index) const;
    /// Null for an unknown effector.
    IKHandlePosition* get_position_handle(const std::string& effector_id) const;
    unsigned get_num_rotation_handles() const { return unsigned(rotation_handles_.size()); }
    IKHandleRotation* get_rotation_handle(unsigned index) const;
    IKHandleRotation* get_rotation_handle(const std::string& joint_id) const;

    /// Whether clip players solve the rig after each pose (ActorControllerAnimation makes
    /// itself an ActorControllerIK at its bind pose). Set on rigs built from imported
    /// characters, whose clips are made to play with their IK; false by default.
    bool is_posed_with_clips() const { return posed_with_clips_; }
    void set_posed_with_clips(bool with_clips) { posed_with_clips_ = with_clips; }

    /// Solves every handle that has a constraint on `controller`: the rotation handles
    /// first, then the enabled position handles, each in rig order, against the
    /// controller's actor's skeleton. True when any joint moved. A rotation handle whose
    /// joint the skeleton lacks stops the whole solve at once (false, later handles not
    /// solved). Calls script constraints; allocates nothing.
    bool solve_constraints(ActorControllerIK* controller);

private:
    std::vector<std::unique_ptr<IKHandlePosition>> position_handles_;  // document order
    std::vector<std::unique_ptr<IKHandleRotation>> rotation_handles_;  // document order
    bool posed_with_clips_ = false;                                     // clip players solve it
};

}  // namespace engine::graphics
