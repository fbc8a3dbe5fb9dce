#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/graphics/FinishedCallback.h"

namespace engine::graphics {

class SceneObject;

/// Base of the small objects that animate one scene object a little every frame. A
/// scene object keeps its animators by name, holding one reference each
/// (`SceneObject::add_animator`), and steps them in name order before its own update.
/// An animator that is done calls `remove_animator(this)` on its object as its very
/// last action (the call may destroy it). Script thread only (the thread that imported
/// libgraphics and owns the GL context), like the scene that steps it; so is every
/// concrete animator.
class SceneObjectAnimator : public core::Object {
public:
    SceneObjectAnimator() = default;
    SceneObjectAnimator(const SceneObjectAnimator&) = delete;
    SceneObjectAnimator& operator=(const SceneObjectAnimator&) = delete;
    ~SceneObjectAnimator() override;

    /// One step: waits out the delay first, then steps by the part of `dt` past it.
    void update(float dt);

    /// The animated object (a weak link: null before it is added and after the object
    /// is destroyed).
    void set_object(SceneObject* object);
    SceneObject* get_object() const { return object_; }

    /// Seconds still to wait before the first step.
    float get_delay() const { return delay_; }
    void set_delay(float delay) { delay_ = delay; }

    /// Called once when the animator finishes on its own, after it left its object
    /// (so the call may add another animator under the same name). Set by
    /// `SceneObject::add_animator`; dropped, uncalled, when the animator is removed or
    /// replaced before it finishes.
    const FinishedCallback& get_on_finished() const { return on_finished_; }

protected:
    /// The per-step work of each animator. Concrete animators do nothing while they
    /// have no object.
    virtual void on_update(float dt) = 0;

    /// The finish protocol: removes this animator from its object, which may destroy
    /// it, then calls the finished callback. Call it as the very last action of a step
    /// and touch no member afterwards.
    void finish();

    core::WeakRef<SceneObject> object_;  // reads null once the object is gone

private:
    friend class SceneObject;
    float delay_ = 0.0f;             // seconds before the animator starts
    FinishedCallback on_finished_;  // asked for by add_animator, or null
};

}  // namespace engine::graphics
