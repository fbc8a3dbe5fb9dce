#pragma once

#include "engine/graphics/ActorController.h"

namespace engine::graphics {

/// The controller of an actor that shares another actor's skeleton (set with
/// `Actor::set_skeleton(source->get_skeleton())`): it re-skins exactly in the frames in
/// which the source re-skinned. The source is a weak link; once it dies the controller
/// reports no change. Update the source first (it must come earlier in the layer).
/// Script thread only.
class ActorControllerSharedSkeleton : public ActorController {
public:
    explicit ActorControllerSharedSkeleton(Actor* source);
    ~ActorControllerSharedSkeleton() override;

    /// Whether the source re-skinned this frame.
    bool update(float dt) override;
    Actor* get_source() const { return source_.get(); }

private:
    core::WeakRef<Actor> source_;  // null once it died
};

}  // namespace engine::graphics
