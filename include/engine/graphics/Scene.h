#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Matrix.h"
#include "engine/core/Vector.h"
#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/graphics/SpriteBatch.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace engine::graphics {

class Framebuffer;
class OverlapIndex;
class SceneLayer;
class SceneListener;
class SceneObject;

/// The root of everything drawn: named layers in z order, listeners told about every
/// phase of the frame, and framebuffer redirections that capture what has been drawn
/// so far. The most recently constructed scene is the current one (`Scene::get()`).
///
/// Each frame: update(dt); begin_frame(); render() (and render_layer(id) for layers
/// that are not common); end_frame().
///
/// The scene holds one reference to each layer, listener and redirected framebuffer;
/// layers hold their objects. Listeners and objects may add or remove listeners and
/// objects during the frame: removed ones stay alive until the frame's pass ends.
///
/// Script thread only (the thread that imported libgraphics and owns the GL context):
/// a scene runs script hooks and draws.
class Scene : public core::Object {
public:
    /// Layer scale flags, combined with `|`.
    enum ScaleFlag {
        TRANSLATE = 1,          ///< positions follow the non-uniform scene scale
        TRANSLATE_UNIFORM = 2,  ///< positions scale by the uniform factor
        SCALE_MIN = 4,          ///< the uniform factor is min(sx, sy)
        SCALE_MAX = 8,          ///< the uniform factor is max(sx, sy)
    };

    /// Becomes the current scene.
    Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;
    /// Releases layers, listeners and redirections. No scene is current afterwards,
    /// even if another one was: scenes are not stacked, so a game keeps one scene (the
    /// module's) or makes the one it wants current by constructing it. A warning says
    /// so when other scenes are left behind without a current one.
    ~Scene() override;

    /// The current scene, or null.
    static Scene* get();

    /// Moves what layers with scale flags draw, so it counts as a change of their shapes.
    void set_scale(const core::Vector<float>& scale);
    const core::Vector<float>& get_scale() const { return scale_; }

    /// Inserts the layer before the first layer of greater or equal z: a newcomer is
    /// drawn before, so under, the layers of equal z already there. A fixed rule, so the
    /// order of a game's layers follows from their z and the order of the add_layer
    /// calls alone; give layers distinct z to choose it (Scene.LayerOfEqualZAddedLaterGoesFirst).
    /// False when the id is taken.
    bool add_layer(SceneLayer* layer);
    SceneLayer* get_layer(const std::string& id) const;
    SceneLayer* get_layer(unsigned int index) const;
    unsigned int get_num_layers() const { return static_cast<unsigned int>(layers_.size()); }
    /// The layer's flags, 0 for an unknown layer.
    int get_layer_scale_flags(const std::string& id) const;

    /// Moves the object into the layer (after objects of equal z), calling on_remove
    /// for its old layer and on_add for the new one. False for an unknown layer, which
    /// leaves the object where it was.
    bool add_object(SceneObject* object, const std::string& layer_id);
    /// Takes the object out of its layer and its redirection; false when in no layer.
    bool remove_object(SceneObject* object);
    SceneObject* get_object(const std::string& id) const;
    /// Re-sorts the layer's objects by z (Scene.SortLayerOrdersByZ). Objects of equal z
    /// may change places: every z change re-sorts its layer, and an unstable sort needs
    /// no buffer, so it allocates nothing per frame. Give objects distinct z where their
    /// order matters.
    void sort_layer(const std::string& layer_id);
    void add_listener(SceneListener* listener);
    void remove_listener(SceneListener* listener);
    /// Adds `adapter` as the listener standing for `key` (a script object without the
    /// listener class, wrapped by the extension), unless one stands for that key
    /// already; `remove_keyed_listener(key)` finds it again.
    void add_keyed_listener(const void* key, SceneListener* adapter);
    /// Removes the listener standing for `key`; false when there is none.
    bool remove_keyed_listener(const void* key);

    /// From now on, everything drawn before `object` in a frame goes into `framebuffer`,
    /// and `object` itself into the next target. Objects in no common layer get none.
    void register_framebuffer(SceneObject* object, Framebuffer* framebuffer);

    /// Whether render passes gather consecutive sprites of the same texture and layer
    /// matrix into one draw call (the default). The picture is the same either way;
    /// switched off, every object draws itself.
    void set_batching(bool batching) { batching_ = batching; }
    bool is_batching() const { return batching_; }

    /// The colour begin_frame() fills the window with, or none (the default): then the
    /// scene leaves the window's picture alone, and the game clears it or draws over all
    /// of it. Redirected framebuffers are cleared either way.
    void set_clear_colour(const std::optional<core::Colour>& colour) { clear_colour_ = colour; }
    const std::optional<core::Colour>& get_clear_colour() const { return clear_colour_; }

    /// The visible objects whose drawn shape holds `point`, top-most first (the reverse
    /// of drawing order: layers from the last drawn, objects within a layer likewise),
    /// into `out` (cleared first); only `layer`'s when not null. `point` is in window
    /// coordinates: the scene's own, which each object's layer matrix maps its layer
    /// coordinates to. A sprite counts only where its texture's alpha exceeds
    /// `alpha_threshold` when that is 0 or more. A point that is not finite hits nothing.
    void objects_at(const core::Vector<float>& point, const SceneLayer* layer, float alpha_threshold,
                    std::vector<SceneObject*>& out);
    /// The visible objects, `object` excepted, whose drawn shape shares interior with
    /// `object`'s, top-most first, into `out` (cleared first); only `layer`'s when not
    /// null. Nothing for an invisible object. Both questions share one index of the
    /// scene's shapes, built at the first question after anything moved or changed
    /// and reused until something does.
    void overlapping(SceneObject& object, const SceneLayer* layer, std::vector<SceneObject*>& out);
    /// Every pair of visible objects whose drawn shapes share interior, once each, into
    /// `out` (cleared first): (object of `first`, object of `second`) when both layers
    /// are given and differ, else the pairs within `first` (within the whole scene when
    /// it is null too). Ordered by the first object, top-most first. The same index.
    void overlapping_pairs(const SceneLayer* first, const SceneLayer* second,
                           std::vector<std::pair<SceneObject*, SceneObject*>>& out);
    /// The index behind objects_at and overlapping (tests and diagnostics).
    const OverlapIndex& get_overlap_index() const { return *overlap_index_; }

    void update(float dt);
    void render();
    void render_layer(const std::string& layer_id);
    /// Starts a frame: clears the window when a clear colour is set, then binds and
    /// clears the first redirection's framebuffer (bind_framebuffer).
    void begin_frame();
    /// Binds and clears the framebuffer of the first visible redirected object.
    void bind_framebuffer();
    /// Draws into the window again; a framebuffer still bound is reported, unbound and
    /// its picture drawn to the window.
    void end_frame();

    core::Matrix get_layer_transform(int flags, const core::Vector<float>& position) const;
    core::Matrix get_layer_transform(const std::string& layer_id, const core::Vector<float>& position) const;
    void load_layer_transform(int flags, const core::Vector<float>& position) const;
    void load_layer_transform(const std::string& layer_id, const core::Vector<float>& position) const;

private:
    struct Redirection {
        SceneObject* object;       // non-owning: the object leaves on destruction
        core::Ref<Framebuffer> framebuffer;
    };
    friend class SceneObject;  // leaves its layer without a release when destroyed
    class Pass;                // marks a frame pass during which removals defer their release

    void render_layer(SceneLayer& layer);
    // Draws the gathered batch, then checks the GL state against the baseline.
    void flush_batch(int modelview_depth);
    void erase_redirection(SceneObject* object);
    bool take_object(SceneObject* object, bool release);
    bool erase_object(SceneLayer& layer, SceneObject* object, bool release);
    void release_later(core::Ref<const core::Object> object);
    template <class Hook>
    void notify(Hook hook);

    core::Vector<float> scale_{1.0f, 1.0f};                                 // global scene scale
    std::vector<core::Ref<SceneLayer>> layers_;                             // drawing order
    std::set<core::Ref<SceneListener>, std::less<>> listeners_;             // by pointer
    std::map<const void*, SceneListener*> keyed_listeners_;                 // adapters by key, in listeners_
    std::vector<Redirection> redirections_;                                 // drawing order of their objects
    std::size_t cursor_ = 0;                                                // next redirection to switch at
    int passes_ = 0;                                                        // frame passes under way
    std::vector<core::Ref<const core::Object>> deferred_;                   // released when the pass ends
    std::vector<SceneListener*> listener_snapshot_;                         // reused by every notification
    bool batching_ = true;                                                  // render passes batch sprites
    std::optional<core::Colour> clear_colour_;                              // begin_frame clears the window to it
    SpriteBatch batch_;                                                     // empty between objects that draw themselves
    std::unique_ptr<OverlapIndex> overlap_index_;                           // picking and overlap's broad phase
};

}  // namespace engine::graphics
