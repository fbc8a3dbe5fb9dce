#pragma once

#include "engine/core/Colour.h"
#include "engine/graphics/SceneObject.h"

#include <string>
#include <vector>

namespace engine::graphics {

class ActorController;
class ActorMesh;
class Skeleton;
class Texture;

/// A skeletal character in the scene, made from an actor record of the actor database:
/// a private copy of the record's skeleton and one skinned mesh per mesh record, posed
/// each frame by its controller. Without a controller an actor is never skinned: its
/// meshes draw their bind pose and never jiggle. It draws itself (it joins no sprite
/// batch). Script thread only (the thread that imported libgraphics and owns the GL
/// context).
///
///     Actor hero("puppet");              // enters the record's layer at its z
///     hero.set_controller(&ik);          // ik.update poses hero's skeleton each frame
class Actor : public SceneObject {
public:
    /// An unknown id gives an actor with no skeleton and no meshes, and no error. The
    /// skeleton and meshes are made through the class factory ("Skeleton", "ActorMesh").
    /// Actors the record's meshes carry are made too, attached to their meshes (as
    /// scene objects named by their ids) and to their joints, each playing its clip.
    explicit Actor(const std::string& data_id);
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;
    /// Releases the meshes, the skeleton and the controller; controllers that point at
    /// this actor forget it.
    ~Actor() override;

    /// The id the actor was made from, known to the database or not: an IK controller
    /// finds its rig by it.
    const std::string& get_data_id() const { return data_id_; }

    /// The skeleton the meshes are skinned to, or null. The actor holds one reference.
    Skeleton* get_skeleton() const { return skeleton_; }
    /// Releases the old skeleton and takes a reference on the new one (null allowed).
    void set_skeleton(Skeleton* skeleton);

    ActorController* get_controller() const { return controller_; }
    /// Releases the old controller; the new one is told this actor (`set_actor`)
    /// before the actor takes its reference on it. Null allowed.
    void set_controller(ActorController* controller);

    void set_debug(bool debug) { debug_ = debug; }
    bool get_debug() const { return debug_; }

    unsigned get_num_meshes() const { return unsigned(meshes_.size()); }
    /// Null past the end.
    ActorMesh* get_mesh(unsigned index) const;
    /// The first mesh of that id, or null.
    ActorMesh* get_mesh(const std::string& id) const;

    /// Applied to every mesh in order.
    void set_texture(const std::string& name, const Texture& source);
    void remove_texture(const std::string& name);
    void set_colour(const core::Colour& colour);
    /// Applied to every mesh, which forward to actors attached to them.
    void set_jiggle_scale(const std::string& id, float scale);
    void reset_jiggle_scales();

    /// True during a frame in which the meshes were re-skinned.
    bool transformed_vertices_this_frame() const { return transformed_this_frame_; }
    /// Whether the meshes were ever skinned.
    bool vertices_transformed() const { return vertices_transformed_; }

    /// Debug drawing in the actor's space: bones in blue, joints in white, then the
    /// controller's own drawing.
    void render_skeleton();

    /// Runs the controller; re-skins when it reports a change (or never did), then jiggle.
    void on_update(float dt) override;
    /// The meshes in drawing order (see ActorMesh::set_draw_order), then the skeleton
    /// when `debug` is set.
    void on_render() override;

private:
    friend class ActorController;
    friend class ActorControllerSharedSkeleton;
    friend class ActorControllerDynamics;
    /// Controllers whose actor, source or collision actor this is register here, to be told when it dies.
    void watch(ActorController* controller) { watchers_.push_back(controller); }
    void unwatch(ActorController* controller);
    void make_carried();
    bool before(unsigned a, unsigned b) const;  // mesh a draws before mesh b

    std::string data_id_;                     // the id asked for (records may be unloaded)
    Skeleton* skeleton_ = nullptr;            // one reference (or created here, see release)
    bool skeleton_created_ = false;           // skeleton_ is the one the constructor made
    std::vector<ActorMesh*> meshes_;          // one reference each, in the record's order
    std::vector<unsigned> drawn_;             // mesh indices in drawing order
    bool debug_ = false;                      // draw the skeleton after the meshes
    bool vertices_transformed_ = false;       // skinned at least once
    bool transformed_this_frame_ = false;     // re-skinned in the current frame
    ActorController* controller_ = nullptr;   // one reference
    std::vector<ActorController*> watchers_;  // non-owning: controllers pointing here
    std::vector<Actor*> carried_;             // made here for the meshes to carry; released here
    std::vector<ActorController*> carried_players_;  // their clip players, made and released here
};

}  // namespace engine::graphics
