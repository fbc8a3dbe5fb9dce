#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"

namespace engine::graphics {

class Actor;

/// What poses an actor: each frame the actor calls `update`, and re-skins its meshes
/// when it returns true. Script classes derive from it and override "update", "render"
/// and "on_actor". An actor holds its controller; the controller's actor is a weak
/// link that reads null once that actor dies. Script thread only.
///
///     class Wave(ActorController):
///         def update(self, dt):
///             self.actor.skeleton.joints["forearm"].rotation += dt; return True
class ActorController : public core::Object {
public:
    ActorController() = default;
    ActorController(const ActorController&) = delete;
    ActorController& operator=(const ActorController&) = delete;
    ~ActorController() override;

    /// Poses the actor's skeleton; true when the pose changed this frame. Does nothing here.
    virtual bool update(float dt);
    /// Debug drawing, in the actor's space (called from the actor's skeleton drawing).
    virtual void render();
    /// Asks for the memory the next update reads, in stages (see SceneObject::prefetch):
    /// the actor calls it a little before the update. Nothing here.
    virtual void prefetch(unsigned stage) const { (void)stage; }

    /// Stores the actor (a weak link, null allowed), then tells `on_actor`.
    void set_actor(Actor* actor);
    Actor* get_actor() const { return actor_.get(); }

protected:
    friend class Actor;
    /// Told the new actor after `set_actor`. Does nothing here.
    virtual void on_actor(Actor* actor);

private:
    core::WeakRef<Actor> actor_;  // null once that actor died
};

}  // namespace engine::graphics
