#pragma once

#include "engine/core/XMLParser.h"
#include "engine/core/Ref.h"
#include "engine/core/SharedObject.h"
#include "engine/core/Vector.h"
#include "engine/graphics/ParticleEmitterData.h"

#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

/// A particle system definition read from a "ParticleSystemData" element: owned by the
/// particle database under its id (one reference) and by every ParticleSystem made from
/// it (one reference each), so systems keep it after `particle_database.unload()`.
/// Script thread only.
class ParticleSystemData : public core::SharedObject {
public:
    std::string id;
    std::string layer;                              // joined by systems at construction
    core::Vector<float> gravity{0.0f, 9.8f};        // pixels per second squared
    std::vector<std::unique_ptr<ParticleEmitterData>> emitters;  // in document order
};

/// The table of particle system definitions by id, filled from XML. Process-wide;
/// script thread only.
namespace ParticleDatabase {

/// Reads the particle database document `feed` gives; "texture"
/// paths are joined to `base_path` like os.path.join. Elements that cannot be used are
/// skipped with a warning each, malformed XML keeps what was read before it (warned by
/// the XML parser); nothing is thrown. Returns true.
bool load(const core::XMLFeed& feed, const std::string& base_path);
/// The same from a document held in memory.
bool load_text(const std::string& document, const std::string& base_path);
/// Drops every definition; systems keep theirs.
void unload();
/// The definition of `id`, not counted for the caller, or null.
ParticleSystemData* find(const std::string& id);
/// The definition of `id`, held for the caller, or null.
core::Ref<ParticleSystemData> acquire(const std::string& id);
/// How many definitions the table holds.
std::size_t size();

}  // namespace ParticleDatabase
}  // namespace engine::graphics
