#pragma once

#include "engine/core/Ref.h"
#include "engine/core/SharedObject.h"
#include "engine/core/Vector.h"
#include "engine/graphics/ActorIKChain.h"
#include "engine/graphics/ActorMeshData.h"
#include "engine/graphics/AnimationClip.h"

#include "engine/core/Vector.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class Skeleton;

/// A named outline riding on a joint (an imported character's bounding box), for
/// scripts' hit tests: never drawn. Plain value; script thread only.
struct ActorPolygon {
    std::string name;                         // the box's name
    std::string joint;                        // the joint it rides on
    std::vector<core::Vector<float>> points;  // in the joint's space, in order
};

/// One actor template of the actor database ("ActorData"): its skeleton, its meshes,
/// and the layer and depth of actors made from it. Owned by the database's registry
/// until "unload". Script thread only.
/// An outline the actor file names for picking and overlap ("BoundingPolygon"): the
/// actors made from the record take it as Actor::set_bounding_polygon would.
struct ActorBoundingPolygon {
    std::string name;                         // unique within the record
    std::vector<core::Vector<float>> points;  // bind pose, actor space; three or more, finite
    std::string joint;                        // an earlier joint of the record, or empty
};

class ActorData : public core::SharedObject {
public:
    /// Makes the skeleton through the class factory under "Skeleton" (a script subclass
    /// registered under that name is used).
    explicit ActorData(std::string id);
    ActorData(const ActorData&) = delete;
    ActorData& operator=(const ActorData&) = delete;
    /// Deletes the meshes and releases the skeleton.
    ~ActorData();

    const std::string& get_id() const { return id_; }
    /// The template skeleton (owned here; actors copy it). Null if the factory failed.
    Skeleton* get_skeleton() const { return skeleton_; }
    const std::vector<std::unique_ptr<ActorMeshData>>& get_meshes() const { return meshes_; }
    /// The mesh record named `id`, or null.
    const ActorMeshData* get_mesh(const std::string& id) const;
    /// Appends a finished mesh record (owned here from now on) and returns it. Records
    /// join only once complete and checked: whatever can see them may draw them.
    ActorMeshData* add_mesh(std::unique_ptr<ActorMeshData> mesh);
    /// The clip of that name, or null. Clips stay put until the record goes, so
    /// players may keep the pointer until "unload".
    const AnimationClip* get_clip(const std::string& name) const;
    const std::map<std::string, std::unique_ptr<AnimationClip>>& get_clips() const { return clips_; }
    /// Takes the clip; false (and the clip dropped) when one of that name exists.
    bool add_clip(std::unique_ptr<AnimationClip> clip);

    std::string layer;  // scene layer of actors made from it; empty: none
    float z = 0.0f;     // their depth in it
    std::vector<ActorBoundingPolygon> bounding_polygons;  // checked outlines, in document order
    /// The clip an actor carried by another plays when the carrier names none.
    std::string default_clip;
    /// Outlines for hit tests, in the file's order.
    std::vector<ActorPolygon> polygons;
    /// Limbs a clip player turns towards their targets after each pose, in order.
    std::vector<ActorIKChain> ik_chains;

private:
    std::string id_;                                               // registry key
    core::Ref<Skeleton> skeleton_;                                 // the setup pose; null when the factory failed
    std::vector<std::unique_ptr<ActorMeshData>> meshes_;           // in document order
    std::map<std::string, std::unique_ptr<AnimationClip>> clips_;  // by name
};

}  // namespace engine::graphics
