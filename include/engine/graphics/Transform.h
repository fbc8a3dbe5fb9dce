#pragma once

#include "engine/core/Matrix.h"
#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/core/Vector.h"

#include <cstdint>
#include <vector>

namespace engine::graphics {

/// A node of a 2D transform hierarchy: position, rotation and scale relative to a
/// parent, with lazily rebuilt local and world matrices, rotation limits and a bind
/// pose. Parent and child links are weak (`core::WeakRef`): neither end keeps the other,
/// a link reads null once its transform is going away, and a transform that goes
/// leaves its parent and leaves its children without a parent. Script
/// thread only (the thread that imported libgraphics and owns the GL context).
///
///     Transform arm, hand;
///     arm.attach(&hand);
///     hand.set_position({0, 40});   // the hand's world matrix now follows the arm
class Transform : public core::Object {
public:
    /// The default rotation limits: the float nearest 3.14159, the half turn the
    /// animators use too, so limits written with that figure equal the default. An angle
    /// of exactly pi (what normalise_angle gives for -pi as well) is therefore clamped to
    /// it, 2.5e-6 rad less, which no one sees (Transform.DefaultLimitIsTheFloatOf314159NotPi).
    static constexpr float kDefaultRotationLimit = 3.14159f;

    Transform() = default;
    /// Copies position, rotation, scale, limits, bind rotation and bind transform; the
    /// copy has no children and, if the source has a parent, becomes its last sibling.
    Transform(const Transform& other);
    /// Copies position, rotation, bind rotation and limits only; scale, bind transform,
    /// parent and children stay. Assignment poses a node that already has its place in a
    /// hierarchy (copying a pose onto a skeleton), and the scale and bind matrix belong to
    /// that place; the copy constructor makes a new node and takes them all
    /// (Transform.AssignmentKeepsTargetScaleParentAndChildren).
    Transform& operator=(const Transform& other);
    /// Leaves the parent, and leaves every child parentless and marked dirty.
    ~Transform() override;

    const core::Vector<float>& get_local_position() const { return position_; }
    float get_local_rotation() const { return rotation_; }
    const core::Vector<float>& get_local_scale() const { return scale_; }

    /// Setters do nothing when given the current value (one comparison, no flag touched).
    void set_position(const core::Vector<float>& position);
    void set_scale(const core::Vector<float>& scale);
    /// Normalises the angle and clamps it to the rotation limits.
    void set_rotation(float rotation);

    /// Skew in radians: the local y axis turns by rotation + skew while the x axis turns
    /// by the rotation alone (0, the usual case, keeps the axes square). Imported
    /// characters (DragonBones) use it; the local matrix is T R(rotation) K(skew) S.
    void set_skew(float skew);
    float get_skew() const { return skew_; }

    /// What a transform takes from its parent's world matrix. The default, everything,
    /// is the plain product parent * local; dropping a part composes as skeletal
    /// animation tools do (world position, rotation and scale rebuilt separately).
    enum Inherit : unsigned {
        inherit_translation = 1,  // else the local position is a position in the parent-less space
        inherit_rotation = 2,     // else the world rotation is the local rotation
        inherit_scale = 4,        // else the parent's scale and skew are left out
        inherit_reflection = 8,   // with inherit_scale off: a mirrored parent mirrors the child too
        inherit_all = 15,
    };
    /// A combination of Inherit flags; bits beyond inherit_all are ignored.
    void set_inheritance(unsigned flags);
    unsigned get_inheritance() const { return inheritance_; }

    /// Stores the limits only: the current rotation is clamped at the next
    /// `set_rotation`, not now, so setting limits never moves an object by itself
    /// (Transform.NewConstraintDoesNotReclampUntilNextSetRotation).
    void set_rotation_constraint(float min_rotation, float max_rotation);
    float get_min_rotation() const { return min_rotation_; }
    float get_max_rotation() const { return max_rotation_; }

    /// Does not recompute the bind transform; call `generate_bind_transform`.
    void set_bind_rotation(float rotation) { bind_rotation_ = rotation; }
    float get_bind_rotation() const { return bind_rotation_; }
    /// Rebuilds the inverse bind matrix from the parent's, which must be generated
    /// already: callers go from the root down.
    void generate_bind_transform();
    const core::Matrix& get_bind_transform() const { return bind_transform_; }

    /// The local matrix T(position) R(rotation) S(scale), rebuilt when stale.
    const core::Matrix& get_local_transform() const;
    /// World caches, rebuilt on demand by walking up to the nearest clean ancestor.
    const core::Vector<float>& get_world_position() const;
    float get_world_rotation() const;
    const core::Matrix& get_world_transform() const;
    /// Multiplies the current OpenGL matrix by the world transform.
    void load_into_opengl() const;
    /// Changes whenever the world matrix is recomputed (it counts recomputations): what
    /// a cache derived from the world matrix saw is stale once this differs.
    std::uint32_t get_world_version() const {
        update_world();
        return world_version_;
    }

    /// Counts, process-wide, every change of a transform's placement (any set, attach or
    /// detach) and every change scene objects report of the area they cover (size,
    /// visibility, layer): a cache built from many objects' shapes, the scene's overlap
    /// index, is stale once this differs from what it saw.
    static std::uint64_t get_change_count() { return change_count_; }
    static void note_change() { ++change_count_; }

    Transform* get_parent() const { return parent_.get(); }
    /// Weak links, in order of attachment; each reads as its transform.
    const std::vector<core::WeakRef<Transform>>& get_children() const { return children_; }

    /// Makes `child` the last child of this transform, taking it from any parent it has
    /// (this one included). `child` must not be this transform or one of its ancestors.
    void attach(Transform* child);
    /// Removes `child` if it is a child of this transform; otherwise nothing.
    void detach(Transform* child);

    /// Asks for the child list's memory (a pose marking world caches stale walks it).
    void prefetch_links() const;

    /// Whether the caches are stale (for tests and diagnostics).
    bool is_local_dirty() const { return local_dirty_; }
    bool is_world_dirty() const { return world_dirty_; }

protected:
    /// Marks this transform's and all descendants' world caches stale.
    void dirty_transform();
    float constrain_rotation(float angle) const;

private:
    /// Drops the link to `child` (alive or on its way out) from the children.
    void forget_child(const Transform* child);
    void update_local() const;
    void update_world() const;
    void update_world_from_parent() const;  // the parent's world caches are clean
    void compose_partially() const;         // update_world_from_parent without inherit_all
    float get_world_x_angle() const;        // of the clean world matrix, found once per recomputation

    core::Vector<float> position_;                 // local translation
    float rotation_ = 0.0f;                        // local rotation, radians, within the limits
    core::Vector<float> scale_{1.0f, 1.0f};        // local scale
    float skew_ = 0.0f;                            // local skew, radians
    unsigned inheritance_ = inherit_all;           // Inherit flags
    mutable core::Matrix local_transform_;         // cache of the local matrix
    mutable bool local_dirty_ = true;              // local cache stale
    mutable core::Vector<float> world_position_;   // cache: world translation
    mutable float world_rotation_ = 0.0f;          // cache: accumulated rotation
    mutable core::Matrix world_transform_;         // cache of the world matrix
    mutable bool world_dirty_ = true;              // world caches stale
    mutable std::uint32_t world_version_ = 0;      // recomputations of the world caches
    mutable float world_x_angle_ = 0.0f;           // cache: angle of the world x axis (partial children)
    mutable bool world_x_angle_known_ = false;     // world_x_angle_ is the current world matrix's
    float min_rotation_ = -kDefaultRotationLimit;  // lower rotation limit
    float max_rotation_ = kDefaultRotationLimit;   // upper rotation limit
    float bind_rotation_ = 0.0f;                   // rotation of the bind pose
    core::Matrix bind_transform_;                  // inverse bind matrix
    core::WeakRef<Transform> parent_;              // null once the parent is gone
    static inline std::uint64_t change_count_ = 0;  // see get_change_count
    std::vector<core::WeakRef<Transform>> children_;  // in order of attachment
};

}  // namespace engine::graphics
