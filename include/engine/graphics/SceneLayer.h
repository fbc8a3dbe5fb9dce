#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace engine::graphics {

class SceneObject;

/// A named, ordered list of scene objects drawn under one set of scale flags. The
/// scene orders layers by z and a layer orders its objects by their z. A layer holds
/// one reference to each of its objects. Script thread only (the thread that imported
/// libgraphics and owns the GL context).
class SceneLayer : public core::Object {
public:
    /// `scale_flags` is a Scene::ScaleFlag combination; `common` layers are drawn by
    /// Scene::render() and take part in framebuffer redirection.
    SceneLayer(const std::string& id, float z, int scale_flags, bool common);
    SceneLayer(const SceneLayer&) = delete;
    SceneLayer& operator=(const SceneLayer&) = delete;
    /// Releases its objects, which then belong to no layer.
    ~SceneLayer() override;

    const std::string& get_id() const { return id_; }
    void set_id(const std::string& id) { id_ = id; }
    float get_z() const { return z_; }
    /// Does not move the layer among the scene's layers: z orders layers on insertion.
    void set_z(float z) { z_ = z; }
    int get_scale_flags() const { return scale_flags_; }
    /// Changes where its objects are drawn, so it counts as a change of their shapes.
    void set_scale_flags(int flags);
    bool is_common() const { return common_; }
    void set_common(bool common) { common_ = common; }

    /// In drawing order.
    const std::vector<core::Ref<SceneObject>>& get_objects() const { return objects_; }

    /// Visits the layer's objects in order while objects join and leave it. Each pass
    /// visits only objects that were in the layer when it began, each at most once: an
    /// object that leaves does not make the next one miss its turn, and one that joins
    /// during the pass waits for the next one, so a pass ends whatever the hooks it runs
    /// do to the layer. Re-sorting the layer mid-pass (a z change) may make an object
    /// that moved before the current position wait for the next pass too.
    class Walk {
    public:
        explicit Walk(SceneLayer& layer);
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;
        ~Walk() {
            layer_.walk_ = saved_position_;
            layer_.walk_pass_ = saved_pass_;
        }
        /// Moves to the next object not yet visited by this pass; false past the last one.
        bool next();
        std::size_t index() const { return std::size_t(layer_.walk_); }

    private:
        SceneLayer& layer_;
        std::ptrdiff_t saved_position_;  // an enclosing walk of the same layer, restored after
        std::uint64_t saved_pass_;
    };

private:
    friend class Scene;

    static constexpr std::ptrdiff_t kNoWalk = PTRDIFF_MIN;

    // Keep a walk under way in step with insertions and removals; an object joining
    // during a walk counts as visited by it.
    void inserted(std::ptrdiff_t index);
    void erased(std::ptrdiff_t index) {
        if (walk_ != kNoWalk && index <= walk_) --walk_;
    }

    std::string id_;                     // unique within a scene
    float z_;                            // ordering key among layers
    int scale_flags_;                    // ScaleFlag combination
    bool common_;                        // drawn by Scene::render()
    std::vector<core::Ref<SceneObject>> objects_;  // drawing order
    std::ptrdiff_t walk_ = kNoWalk;      // object being visited by a pass (-1 before the first)
    std::uint64_t walk_pass_ = 0;        // the pass under way, 0 when none
};

}  // namespace engine::graphics
