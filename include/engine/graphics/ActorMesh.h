#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Matrix.h"
#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/core/SharedObject.h"
#include "engine/core/Vector.h"
#include "engine/graphics/ActorMeshData.h"
#include "engine/graphics/Spring.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace engine::graphics {

struct ActorMeshData;
struct Jiggle;
class SceneObject;
class Skeleton;
class Texture;
class Transform;

/// The drawable instance of one mesh record of an actor: each frame it is skinned
/// against a skeleton (blend shapes, then linear blend skinning over up to four joints a
/// vertex), its soft vertices follow on springs (jiggle), and it draws with OpenGL
/// client-side arrays once per texture layer. It may carry per-vertex colours, a texture
/// matrix and scene objects drawn in its space. Per-frame work allocates nothing once
/// the arrays are sized. Script thread only (the thread that imported libgraphics and
/// owns the GL context).
///
///     mesh.set_data(record);
///     mesh.transform_vertices(skeleton);   // each frame the pose changed
///     mesh.update(dt);                     // jiggle
///     mesh.render(actor);
class ActorMesh : public core::Object {
public:
    /// A soft region of the mesh: one spring per vertex, made on the first update.
    struct JiggleState {
        const Jiggle* jiggle = nullptr;  // the record (id, stiffness, damping, weights); not owned
        float scale = 1.0f;              // script-adjustable strength
        std::vector<Spring> springs;     // one per vertex; empty until the first update
    };

    ActorMesh();
    /// Copies every member: the copy has its own texture handles (sharing the same
    /// pictures) and its own reference on each attached scene object.
    ActorMesh(const ActorMesh& other);
    ActorMesh& operator=(const ActorMesh&) = delete;
    /// Releases the textures and the attached scene objects.
    ~ActorMesh() override;

    /// Sets the mesh record (kept by `owner` when given, else it must outlive the mesh), makes one jiggle
    /// state per jiggle of it, takes its visibility and uniform colour and, when it names a picture, a
    /// texture layer "texture" of it. Only the first call does anything.
    void set_data(const ActorMeshData* data, core::Ref<const core::SharedObject> owner = {});
    const ActorMeshData* get_data() const { return data_; }
    /// Every live mesh drawing `data` lets go of it (and of its jiggle states), as if
    /// it had never been given a record: the actor database calls this before deleting
    /// records, so a mesh that outlives "unload" draws nothing instead of reading freed
    /// memory.
    /// The record's id (the mesh name); empty without a record.
    const std::string& get_id() const;

    /// A hidden mesh is neither drawn nor picked.
    void set_visible(bool visible);
    /// Its place in its actor's drawing: meshes draw in ascending order, equal ones in
    /// the record's order (all 0 at first).
    void set_draw_order(float order) { draw_order_ = order; }
    float get_draw_order() const { return draw_order_; }
    bool is_visible() const { return visible_; }

    /// The skinning pass: blend shapes weighted by their driver joints' rotations, then
    /// each vertex moved by up to four joints, `world * bind` of each joint computed once.
    /// Weights are used as they are (not normalised), and the first zero weight ends a
    /// vertex's influences; a vertex whose first weight is zero lands on (0, 0).
    void transform_vertices(const Skeleton* skeleton);
    /// The same pass with `world * bind` of the joints given: `joint_matrices[j]` for
    /// every index j in `get_joints_used()` (the zero matrix for a joint the skeleton
    /// lacks). The skeleton drives the blend shapes only. An actor computes the matrices
    /// once for all its meshes, which share its skeleton.
    void transform_vertices(const Skeleton* skeleton, const core::Matrix* joint_matrices);
    /// Asks for the memory a skinning pass and a step read of the mesh itself (its
    /// first fields), ahead of them.
    void prefetch() const;
    /// The joint indices the record's vertices name, ascending (empty without a record).
    const std::vector<std::uint8_t>& get_joints_used();
    /// The jiggle pass (dt clamped to 1/60 s), then one update of each attached scene
    /// object. Returns whether any spring is still moving.
    bool update(float dt);
    /// Draws the mesh in `transform`'s space when visible, then the attached objects.
    /// Expects the vertex and texture-coordinate client arrays enabled (the scene's pass
    /// and the module's context set-up do that).
    void render(const Transform& transform);

    /// Without vertex colours: draws the whole mesh in `colour`. With them: every vertex
    /// takes its red, green and blue, and its alpha unless the alpha is exactly 1, which
    /// keeps each vertex's own alpha (ActorMeshTest.SetColourWithAlphaOneKeepsVertexAlphas).
    void set_colour(const core::Colour& colour);
    const core::Colour& get_colour() const { return colour_; }
    bool is_uniform_colour() const { return uniform_colour_; }
    /// Makes per-vertex colours from the record's on first use, then sets one. `index`
    /// must be below the vertex count.
    void set_vertex_colour(unsigned index, const core::Colour& colour);
    /// Back to the record's colours; the uniform-colour switch stays as it is.
    void disable_vertex_colours() { vertex_colours_.clear(); }
    const std::vector<core::Colour>& get_vertex_colours() const { return vertex_colours_; }
    /// Added to each drawn colour after the picture and the colour multiply it, each of
    /// r, g, b, a within -1..1 (clamped): how animation tools tint a part towards a
    /// colour. (0, 0, 0, 0), the default, adds nothing. A part without a picture adds it
    /// to its uniform colour.
    void set_colour_offset(const core::Colour& offset);
    const core::Colour& get_colour_offset() const { return colour_offset_; }
    /// How its colours meet what lies below (the record's to begin with). Multiply,
    /// screen, darken and lighten weigh by the picture's alpha through one more texture
    /// unit; a part without a picture blends its colour as it is.
    void set_blend(PartBlend blend) { blend_ = blend; }
    PartBlend get_blend() const { return blend_; }

    /// Replaces the layer of that name in place, or appends a layer. Names are unique.
    void set_texture(const std::string& name, const Texture& source);
    /// Drops the layer of that name, if any.
    void remove_texture(const std::string& name);
    unsigned get_num_textures() const { return unsigned(textures_.size()); }
    const std::string& get_texture_name(unsigned index) const { return textures_[index].first; }

    /// An identity matrix turns the texture matrix off and leaves the stored one as it
    /// was; any other is stored and used.
    void set_texture_transform(const core::Matrix& matrix);
    /// The stored matrix while it is used, else the identity.
    core::Matrix get_texture_transform() const;

    /// Takes a reference on `object` and keeps the list in ascending z, a newcomer in
    /// front of its equals. Attached objects are updated and drawn with the mesh. An
    /// object that carries this mesh (see `is_carried_by`) is refused: false, and
    /// nothing is taken, since every walk over attached objects would never end.
    bool add_scene_object(const std::string& name, SceneObject* object);
    /// Whether `object` is an actor with this mesh among its meshes or among those of
    /// the actors attached to them, at any depth.
    bool is_carried_by(const SceneObject* object) const;
    /// Releases every attached object of that name.
    void remove_scene_objects(const std::string& name);
    void remove_all_scene_objects();
    const std::vector<std::pair<std::string, core::Ref<SceneObject>>>& get_scene_objects() const {
        return scene_objects_;
    }

    /// Sets the strength of every jiggle of that id.
    void set_jiggle_scale(const std::string& id, float scale);
    /// Every strength back to 1.
    void reset_jiggle_scales();
    const std::vector<JiggleState>& get_jiggles() const { return jiggles_; }

    /// What is drawn: skinned and jiggled positions (empty until the first skinning).
    const std::vector<core::Vector<float>>& get_positions() const { return positions_; }
    /// This frame's skinned positions, before jiggle (the drawn ones for a mesh without
    /// jiggles).
    const std::vector<core::Vector<float>>& get_rest_positions() const {
        return jiggles_.empty() ? positions_ : rest_positions_;
    }

private:
    static constexpr std::size_t kHotBytes = 160;  // through scene_objects_, wherever the lines fall

    void draw_triangles() const;
    void find_joints_used();

    // What a frame's skinning and stepping read come first, so that they share a cache
    // line or two: a crowd's meshes are rarely in cache at their turn.
    const ActorMeshData* data_ = nullptr;              // the record, kept by owner_
    std::vector<core::Vector<float>> positions_;       // skinned then jiggled: drawn
    std::vector<JiggleState> jiggles_;                 // one per jiggle of the record
    std::vector<std::pair<std::string, core::Ref<SceneObject>>> scene_objects_;  // ascending z
    core::Ref<const core::SharedObject> owner_;        // what keeps data_ (its actor record), or null
    std::vector<core::Vector<float>> rest_positions_;  // skinned, input of the jiggle pass (jiggles only)
    bool visible_ = true;                              // drawn when true
    float draw_order_ = 0.0f;                          // ascending among its actor's meshes
    core::Colour colour_;                              // the uniform colour
    bool uniform_colour_ = false;                      // draw in colour_, no colour array
    core::Colour colour_offset_{0, 0, 0, 0};           // added after the colour
    PartBlend blend_ = PartBlend::normal;              // how it meets what lies below
    std::vector<core::Colour> vertex_colours_;         // per-vertex overrides; empty: the record's
    std::vector<std::pair<std::string, std::unique_ptr<Texture>>> textures_;  // layers, drawn in order
    core::Matrix texture_matrix_;                                             // used unless identity
    bool texture_matrix_identity_ = true;                                     // the texture matrix is off
    struct ActiveShape {
        const std::vector<core::Vector<float>>* offsets;  // the shape's offsets
        float weight;                                     // its weight this pass, not zero
    };
    std::vector<std::uint8_t> joints_used_;      // joint indices the record's vertices name, ascending
    const ActorMeshData* joints_for_ = nullptr;  // the record joints_used_ was found for
    std::vector<ActiveShape> active_shapes_;     // scratch: blend shapes of weight not zero
};

}  // namespace engine::graphics
