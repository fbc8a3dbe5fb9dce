#include "engine/graphics/ActorData.h"

#include "common/FactoryObjects.h"

#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics {

ActorData::ActorData(std::string id) : id_(std::move(id)), skeleton_(create_through_factory<Skeleton>("Skeleton")) {}

ActorData::~ActorData() = default;

const ActorMeshData* ActorData::get_mesh(const std::string& id) const {
    for (const auto& mesh : meshes_)
        if (mesh->id == id) return mesh.get();
    return nullptr;
}

ActorMeshData* ActorData::add_mesh(std::unique_ptr<ActorMeshData> mesh) {
    meshes_.push_back(std::move(mesh));
    return meshes_.back().get();
}

const AnimationClip* ActorData::get_clip(const std::string& name) const {
    auto it = clips_.find(name);
    return it == clips_.end() ? nullptr : it->second.get();
}

bool ActorData::add_clip(std::unique_ptr<AnimationClip> clip) {
    const std::string name = clip->get_name();
    return clips_.emplace(name, std::move(clip)).second;
}

}  // namespace engine::graphics
