// Feeds arbitrary bytes to the DragonBones importer: the skeleton JSON, then after a
// NUL byte (if any) the atlas JSON. The atlas picture does not exist, so the page size
// comes from the atlas itself. Every iteration starts and ends with an empty database.
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/AnimationClip.h"
#include "engine/graphics/Skeleton.h"

#include "FuzzSupport.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace ActorDatabase = engine::graphics::ActorDatabase;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    engine::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t nul = input.find('\0');
    const std::string skeleton = input.substr(0, nul);
    const std::string atlas = nul == std::string::npos ? std::string() : input.substr(nul + 1);
    for (const std::string& id : ActorDatabase::load_dragonbones_text(skeleton, "fuzz", atlas, "fuzz", "")) {
        // Each record is whole: drawable meshes, joints that exist, clips that play.
        const engine::graphics::ActorData* record = ActorDatabase::find_actor_data(id);
        if (!record || !record->get_skeleton()) std::abort();
        const unsigned joints = record->get_skeleton()->get_num_joints();
        for (const auto& mesh : record->get_meshes()) {
            for (std::uint16_t i : mesh->indices)
                if (i >= mesh->vertices.size()) std::abort();
            for (const auto& v : mesh->vertices)
                if (!std::isfinite(v.position.x) || !std::isfinite(v.position.y) || v.joint_indices[0] >= joints)
                    std::abort();
        }
        for (const auto& chain : record->ik_chains)
            if (chain.end >= joints || chain.target >= joints || chain.root >= int(joints)) std::abort();
        for (const auto& [name, clip] : record->get_clips())
            if (!(clip->get_duration() > 0.0f) || !std::isfinite(clip->get_duration())) std::abort();
    }
    ActorDatabase::unload();
    return 0;
}
