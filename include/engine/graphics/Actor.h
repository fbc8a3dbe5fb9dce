#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Matrix.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Shape.h"

#include <cstdint>
#include <string>
#include <vector>

namespace engine::graphics {

class ActorController;
class ActorMesh;
struct ActorMeshData;
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
    /// this actor see their weak link read null.
    ~Actor() override;

    /// The id the actor was made from, known to the database or not: an IK controller
    /// finds its rig by it.
    const std::string& get_data_id() const { return data_id_; }

    /// The skeleton the meshes are skinned to, or null. The actor holds one reference.
    Skeleton* get_skeleton() const { return skeleton_; }
    /// Releases the old skeleton and takes a reference on the new one (null allowed).
    void set_skeleton(Skeleton* skeleton);

    ActorController* get_controller() const { return controller_; }
    /// Holds the new controller in place of the old one, then tells it this actor
    /// (`set_actor`). Null allowed.
    void set_controller(ActorController* controller);

    void set_debug(bool debug) { debug_ = debug; }
    bool get_debug() const { return debug_; }

    unsigned get_num_meshes() const { return unsigned(meshes_.size()); }
    /// Null past the end.
    ActorMesh* get_mesh(unsigned index) const;
    /// The first mesh of that id, or null.
    ActorMesh* get_mesh(const std::string& id) const;

    /// The order the meshes draw in: mesh indices, each once, by their drawing order
    /// (ActorMesh::get_draw_order; part order tracks of clips set it), equal ones in the
    /// record's order.
    const std::vector<unsigned>& get_draw_order() const;
    /// Draws the meshes in `order` (gives each mesh its place as drawing order); false,
    /// and nothing changes, unless it names every mesh once.
    bool set_draw_order(const std::vector<unsigned>& order);

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

    /// An outline picking and overlap use in place of the meshes' triangles.
    struct BoundingPolygon {
        std::string name;                         // unique among the actor's outlines
        std::vector<core::Vector<float>> points;  // as given: the bind pose, actor space
        std::string joint;                        // moves it; empty: fixed to the actor
        Shape triangles;                          // the outline split into triangles
    };
    /// Names an outline (a simple polygon, convex or not, corners in either order) in the
    /// actor's space as posed at bind time, moved with `joint` as a vertex bound wholly to
    /// it would be (empty: fixed to the actor). Replaces the outline of that name. False,
    /// changing nothing, for fewer than three corners, corners that are not finite, an
    /// outline with no area or crossing itself, or a joint the skeleton does not have.
    bool set_bounding_polygon(const std::string& name, const std::vector<core::Vector<float>>& points,
                              const std::string& joint);
    /// False when there was no outline of that name.
    bool remove_bounding_polygon(const std::string& name);
    const std::vector<BoundingPolygon>& get_bounding_polygons() const { return bounding_polygons_; }
    /// The named outlines when there are any, else the visible meshes' triangles as last
    /// skinned (the bind pose before the first skinning), under the world transform.
    void get_shape(Shape& out) override;

    /// Stage 0: the controller's first line, the skeleton and the mesh lists; 1: the
    /// joint list, the meshes, the carried actors and the controller's stage 0; 2: the
    /// joints, the controller's stage 1 and the carried actors' own stage 0; 3: the
    /// joints' child lists, the controller's stage 2 and the carried actors' stage 1
    /// (their later stages come during this actor's update, before theirs).
    void prefetch(unsigned stage) const override;
    /// Runs the controller; re-skins when it reports a change (or never did), then jiggle.
    void on_update(float dt) override;
    /// The meshes in drawing order (see ActorMesh::set_draw_order), then the skeleton
    /// when `debug` is set.
    void on_render() override;

    /// Gives `actor` a clip player playing `clip` (from its start, looping as the clip
    /// says) and returns the player. Installed by the clip player, which stands above
    /// the actors; carried actors start their clips through it.
    using ClipStarter = core::Ref<ActorController> (*)(Actor& actor, const std::string& clip);
    static void set_clip_starter(ClipStarter starter);

private:
    void make_carried();
    void skin_meshes();                         // world * bind per joint, then every mesh
    void find_skin_joints();                    // skin_joints_ and skin_records_ from the meshes
    bool before(unsigned a, unsigned b) const;  // mesh a draws before mesh b
    void sort_drawing() const;                  // drawn_ in the meshes' drawing order

    std::string data_id_;                        // the id asked for (records may be unloaded)
    core::Ref<Skeleton> skeleton_;               // null allowed
    std::vector<core::Ref<ActorMesh>> meshes_;   // in the record's order
    mutable std::vector<unsigned> drawn_;        // mesh indices in drawing order
    std::vector<bool> draw_order_seen_;          // scratch of set_draw_order's check
    bool debug_ = false;                         // draw the skeleton after the meshes
    bool vertices_transformed_ = false;          // skinned at least once
    bool transformed_this_frame_ = false;        // re-skinned in the current frame
    core::Ref<ActorController> controller_;      // null allowed
    std::vector<BoundingPolygon> bounding_polygons_;  // in the order first named
    std::vector<core::Ref<Actor>> carried_;      // made for the meshes to carry
    std::vector<core::Ref<ActorController>> carried_players_;  // their clip players
    std::vector<std::uint8_t> skin_joints_;      // joints any mesh's vertices name, ascending
    std::vector<const ActorMeshData*> skin_records_;  // per mesh, the record skin_joints_ was found for
    std::vector<core::Matrix> skin_matrices_;    // per joint index up to the last of skin_joints_
};

}  // namespace engine::graphics
