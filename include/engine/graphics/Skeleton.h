#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"

#include <map>
#include <string>
#include <vector>

namespace engine::graphics {

class Transform;

/// The pose of an actor: an ordered list of joints, each an ordinary Transform, with an
/// index from joint name to position. A joint's position in the list is its index
/// everywhere else (vertex joint indices, IK effectors, dynamics bodies). The hierarchy
/// is the joints' own parent links; the skeleton only owns the list and the names.
/// Joints are made through the class factory under "Transform", so a script subclass
/// registered under that name is used; the skeleton holds one reference to each.
/// Script thread only (the thread that imported libgraphics and owns the GL context).
///
///     Skeleton s;
///     s.add_joint("hip");
///     s.get_joint(0u)->attach(s.add_joint("knee"));
class Skeleton : public core::Object {
public:
    Skeleton() = default;
    /// Not copy-constructible: a copy sharing the joints would release references it
    /// never took. Copy-assign into a fresh skeleton instead.
    Skeleton(const Skeleton&) = delete;
    /// Makes a new joint for each of `other`'s (rotation reset to its bind rotation;
    /// position, scale, skew, inheritance and limits copied) at
    /// the same index and under the same name, links each new joint to the new twin of
    /// its parent and generates the bind transforms. Meant for a freshly made skeleton:
    /// joints already here (those a factory subclass adds in its constructor) stay,
    /// after the new ones and under their names; a name the copy has too goes to the
    /// copy's joint, with a warning.
    Skeleton& operator=(const Skeleton& other);
    /// Releases every joint.
    ~Skeleton() override;

    /// Appends a joint named `name` and returns it (owned by the skeleton). Returns null
    /// and adds nothing when another joint already has that name. An empty name adds an
    /// unnamed joint. A factory failure is printed and appends a null joint.
    Transform* add_joint(const std::string& name);

    /// The joint at `index`, or null past the end.
    Transform* get_joint(unsigned index) const { return index < joints_.size() ? joints_[index].get() : nullptr; }
    /// The joint named `name`, or null.
    Transform* get_joint(const std::string& name) const;
    /// The index of the joint named `name`, or -1.
    int get_joint_index(const std::string& name) const;
    unsigned get_num_joints() const { return unsigned(joints_.size()); }
    /// Asks for memory ahead of a pose: stage 0 the joint list, stage 1 the joints,
    /// stage 2 their child lists.
    void prefetch(unsigned stage) const;
    /// Joint names by index (unnamed joints are absent).
    const std::map<std::string, unsigned>& get_joint_names() const { return names_; }

    /// Makes every joint's current pose its bind pose, root first (in index order, so a
    /// parent must come before its children).
    void generate_bind_transforms();

private:
    core::Ref<Transform> make_joint();

    std::vector<core::Ref<Transform>> joints_;  // null after a factory failure
    std::map<std::string, unsigned> names_;  // joint name to index
};

}  // namespace engine::graphics
