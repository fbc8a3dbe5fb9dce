#pragma once

#include "engine/core/Ref.h"
#include "engine/core/XMLParser.h"

#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class ActorData;
class ActorRigDynamics;
class ActorRigIK;

/// The three process-wide registries of the actor database: actor templates, IK rigs
/// and dynamics rigs, each by id, filled from XML and emptied only by `unload`.
/// Records from several documents accumulate; an id already present is skipped, not
/// replaced. Script thread only.
namespace ActorDatabase {

/// Reads the document `feed` gives (a file, or a script's path or file object through
/// the extension); `name` is used in messages. Returns true whatever the document
/// held: what could be read is registered, and anything skipped is summed up in one
/// warning. An exception from `feed` leaves the call with nothing reported.
bool load(const core::XMLFeed& feed, const std::string& name);
/// Reads a document held in memory; `name` is used in messages.
bool load_text(const std::string& document, const std::string& name = "<text>");
/// One page of a DragonBones atlas: its JSON text, a name for messages and the folder
/// its picture's path is relative to.
struct DragonBonesAtlas {
    std::string text;
    std::string name;
    std::string base_path;
};

/// Reads a DragonBones 5 export: the skeleton JSON text and its atlas JSON text (empty:
/// none, so images and meshes go without a picture and without size, and are skipped),
/// the atlas picture found relative to `base_path`. Makes one actor record per armature,
/// id the armature's name, with its clips, and enters them once all are built. The
/// names are used in messages. Returns the ids entered; whatever was skipped (an
/// armature whose id is taken, a bad value, a reference to nothing) is summed up in one
/// warning. Never throws for bad data.
std::vector<std::string> load_dragonbones_text(const std::string& skeleton, const std::string& skeleton_name,
                                               const std::string& atlas, const std::string& atlas_name,
                                               const std::string& base_path);
/// The same with any number of atlas pages, searched in turn for each region (none:
/// the atlases written into the skeleton file, if any, their pictures relative to
/// `base_path`).
std::vector<std::string> load_dragonbones_text(const std::string& skeleton, const std::string& skeleton_name,
                                               const std::vector<DragonBonesAtlas>& atlases,
                                               const std::string& base_path);
/// Enters a finished record under its id. False, and the record dropped, when the id
/// is taken.
bool add_actor_data(core::Ref<ActorData> data);
/// Forgets every record of the three registries; records still in use stay with their users.
void unload();

/// Grows with every `unload`. Code that holds a record across a call into script code
/// (a factory class, a hook) or keeps pointers into records (clip players) compares it
/// before and after: a record of an older generation is gone.
unsigned long generation();

/// Null for an unknown id. The records stay owned by the registries.
ActorData* find_actor_data(const std::string& id);
ActorRigIK* find_ik_rig(const std::string& id);
ActorRigDynamics* find_dynamics_rig(const std::string& id);

/// The ids of each registry, in id order.
std::vector<std::string> actor_data_ids();
std::vector<std::string> ik_rig_ids();
std::vector<std::string> dynamics_rig_ids();

}  // namespace ActorDatabase
}  // namespace engine::graphics
