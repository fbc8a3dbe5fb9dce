#pragma once

#include "engine/core/script/Object.h"

namespace engine::graphics {

class Actor;

/// What poses an actor: each frame the actor calls `update`, and re-skins its meshes
/// when it returns true. Script classes derive from it and override "update", "render"
/// and "on_actor". An actor holds one reference on its controller; the controller's
/// actor is non-owning and becomes null when that actor dies. Script thread only.
///
///     class Wave(ActorController):
///         def update(self, dt):
///             self.actor.skeleton.joints["forearm"].rotation += dt; return True
class ActorController : public core::Object {
public:
    ActorController() = default;
    ActorController(const ActorController&) = delete;
    ActorController& operator=(const ActorController&) = delete;
    /// Stops watching its actor.
    ~ActorController() override;

    /// Poses the actor's skeleton; true when the pose changed this frame. Does nothing here.
    virtual bool update(float dt);
    /// Debug drawing, in the actor's space (called from the actor's skeleton drawing).
    virtual void render();

    /// Stores the actor (non-owning, null allowed), then tells `on_actor`.
    void set_actor(Actor* actor);
    Actor* get_actor() const { return actor_; }

protected:
    friend class Actor;
    /// Told the new actor after `set_actor`. Does nothing here.
    virtual void on_actor(Actor* actor);
    /// `actor` is being destroyed: every pointer to it goes. Never calls a script.
    virtual void forget_actor(const Actor* actor);

private:
    Actor* actor_ = nullptr;  // non-owning; null once that actor died
};

}  // namespace engine::graphics
