#pragma once

#include "engine/graphics/FinishedCallback.h"
#include "engine/graphics/SceneObjectAnimator.h"
#include "engine/graphics/Transform.h"

#include <utility>
#include <vector>
#include <cstdint>
#include <string>

namespace engine::graphics {

class Shape;
class SpriteBatch;

/// Base of everything a scene draws: a transform with an id in the global registry,
/// a layer, a depth (z) within the layer, a visibility flag, per-object scale flags
/// and named animators. Subclasses step in `on_update` and draw in `on_render` (which
/// loads its own world transform); script subclasses override "OnAdd", "OnRemove",
/// "OnUpdate" and "OnRender". Script thread only (the thread that imported libgraphics
/// and owns the GL context), as is the id registry.
class SceneObject : public Transform {
public:
    SceneObject() = default;
    SceneObject(const SceneObject&) = delete;
    SceneObject& operator=(const SceneObject&) = delete;
    /// Leaves the registry, releases its animators and leaves its layer.
    ~SceneObject() override;

    /// Registers the object under `id`, replacing whatever object held that id (the
    /// displaced one keeps its id but is no longer found). An empty id unregisters.
    void set_id(const std::string& id);
    const std::string& get_id() const { return id_; }
    /// The registered object of that id, or null.
    static SceneObject* get_object(const std::string& id);

    bool is_visible() const { return visible_; }
    void set_visibility(bool visible) {
        if (visible != visible_) note_change();
        visible_ = visible;
    }

    float get_z() const { return z_; }
    /// Re-sorts the object's layer when the value changes.
    void set_z(float z);

    /// A ScaleFlag combination, or -1: the layer's flags apply.
    int get_scale_flags() const { return scale_flags_; }
    void set_scale_flags(int flags) {
        scale_flags_ = flags;
        note_change();
    }

    const std::string& get_layer() const { return layer_; }
    /// Moves the object into the current scene's layer of that id; a missing layer
    /// leaves it where it was.
    void set_layer(const std::string& layer_id);

    /// Replaces any animator of that name; the object holds one reference to it.
    /// `on_finished`, when given, is called once when the animator finishes on its own
    /// (during this object's update, after the animator left), not when it is removed.
    void add_animator(const std::string& name, SceneObjectAnimator* animator,
                      FinishedCallback on_finished = FinishedCallback());
    SceneObjectAnimator* get_animator(const std::string& name) const;
    void remove_animator(const std::string& name);
    /// Removes the first entry, in name order, holding this animator.
    void remove_animator(SceneObjectAnimator* animator);
    bool any_animators() const { return !animators_.empty(); }
    /// (name, animator) pairs in name order.
    using AnimatorList = std::vector<std::pair<std::string, core::Ref<SceneObjectAnimator>>>;
    const AnimatorList& get_animators() const { return animators_; }

    /// One frame: the animators in name order (from a snapshot, so they may remove
    /// themselves or each other), then `on_update`.
    void update(float dt);
    /// Draws the object unless it is invisible, under its layer matrix when asked.
    void render(bool apply_layer_transform);
    /// The layer matrix the object is drawn under in the current scene (its own scale
    /// flags, or its layer's), or the identity when no scene is current.
    core::Matrix get_layer_transform() const;

    /// Asks for the memory the next update will read, ahead of time: first the list of
    /// animators, then (once that has arrived) the animators themselves.
    void prefetch_animator_list() const {
        if (!animators_.empty()) __builtin_prefetch(animators_.data());
    }
    void prefetch_animators() const {
        for (const auto& entry : animators_) __builtin_prefetch(entry.second.get());
    }
    /// Asks for the memory of what the object's update reaches beyond itself, in stages
    /// a few objects apart, each reading only what the one before asked for: stage 0
    /// what the object points at, stage 1 what those point at, and so on up to
    /// kPrefetchStages - 1. Nothing here; an actor fetches its controller, skeleton,
    /// joints and meshes.
    virtual void prefetch(unsigned stage) const { (void)stage; }
    static constexpr unsigned kPrefetchStages = 4;

    /// Writes the area the object draws into `out` (cleared first), in its layer's
    /// coordinates: the space its position is given in, before the layer matrix. A plain
    /// scene object, and a script's own drawing, cover nothing; visibility is left to the
    /// callers below. Picking and overlap read it; it may lay out what it draws (text).
    virtual void get_shape(Shape& out);
    /// Whether `point`, in layer coordinates, lies in the drawn shape (edges included);
    /// never for an invisible object nor for a point that is not finite.
    bool contains(const core::Vector<float>& point);
    /// Whether a pick at `point` (layer coordinates, inside the shape) that asks for
    /// alpha above `alpha_threshold` hits the object: a sprite reads its texture's
    /// alpha there; everything else is solid.
    virtual bool is_solid_at(const core::Vector<float>& point, float alpha_threshold);
    /// The shape as drawn: get_shape under the object's layer matrix, in the scene's
    /// (window) coordinates. Empty for an invisible object.
    void get_drawn_shape(Shape& out);
    /// Whether the two objects' drawn shapes share interior (a touch is no overlap);
    /// false when either is invisible, and for an object with itself.
    bool overlaps(SceneObject& other);

    /// Hooks, called by the scene; they do nothing here.
    virtual void on_add(const std::string& layer_id);
    virtual void on_remove(const std::string& layer_id);
    virtual void on_update(float dt);
    virtual void on_render();
    /// Adds what `on_render` would draw to `batch` (the object's quads in world space,
    /// under `layer_transform`) and returns true, or returns false when the object must
    /// draw itself; the scene then draws the batch first. Nothing is batched here.
    virtual bool add_to_batch(SpriteBatch& batch, const core::Matrix& layer_transform);

private:
    friend class OverlapIndex;
    friend class Scene;
    friend class SceneLayer;
    friend class SceneObjectAnimator;
    void step_animators(float dt);
    void release(core::Ref<SceneObjectAnimator> animator);

    std::string id_;                                            // name in the global registry
    bool visible_ = true;                                       // drawn and redirected when true
    std::string layer_;                                         // id of the holding layer
    float z_ = 0.0f;                                            // depth within the layer
    int scale_flags_ = -1;                                      // -1: the layer's flags
    AnimatorList animators_;                                             // name order
    std::vector<core::Ref<SceneObjectAnimator>> removed_while_stepping_;  // released when the step ends
    int stepping_ = 0;                                                   // animator steps under way
    std::uint64_t last_pass_ = 0;                               // the latest layer walk that visited it
    std::uint64_t overlap_key_ = 0;                             // its entry in the latest overlap index built
};

}  // namespace engine::graphics
