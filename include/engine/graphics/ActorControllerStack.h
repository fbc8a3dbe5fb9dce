#pragma once

#include "engine/graphics/ActorController.h"

#include <vector>

namespace engine::graphics {

/// Several controllers posing one actor in turn: each frame every controller updates
/// in order, each starting from the pose the one before it left, and the actor
/// re-skins when any of them changed the pose. A clip player then IK puts a hand on a
/// target while the clip walks. Every controller is given the stack's actor, and the
/// stack holds one reference on each. Script thread only.
///
///     stack.add(&animation);   // poses the skeleton from clips
///     stack.add(&ik);          // then adjusts that pose
///     actor.set_controller(&stack);
class ActorControllerStack : public ActorController {
public:
    ActorControllerStack() = default;
    /// Releases every controller (they keep the actor they were given until it dies).
    ~ActorControllerStack() override;

    /// Updates every controller in order; true when any changed the pose.
    bool update(float dt) override;
    /// Every controller's debug drawing, in order.
    void render() override;

    /// Appends `controller` (null, this stack, or one already in it: false) and gives
    /// it the stack's actor.
    bool add(ActorController* controller);
    /// Takes its actor away, removes and releases it; false when it is not in the stack.
    bool remove(ActorController* controller);
    const std::vector<core::Ref<ActorController>>& get_controllers() const { return controllers_; }

protected:
    void on_actor(Actor* actor) override;

private:
    std::vector<core::Ref<ActorController>> controllers_;  // in update order
    std::vector<core::Ref<ActorController>> stepping_;   // the list being updated (a snapshot)
    std::vector<core::Ref<ActorController>> rendering_;  // the list being drawn (a snapshot)
};

}  // namespace engine::graphics
