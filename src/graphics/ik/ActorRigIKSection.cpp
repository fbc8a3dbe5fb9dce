#include "actors/ActorDatabaseParser.h"

#include "engine/core/Log.h"
#include "engine/core/Ref.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorRigIK.h"
#include "engine/graphics/Skeleton.h"

#include <map>

namespace engine::graphics {

namespace {

const std::string* find(const core::XMLParser::Attributes& a, const char* key) {
    return ActorDatabaseParser::find(a, key);
}
std::string quoted(const std::string& s) { return ActorDatabaseParser::quoted(s); }

// IK rigs by id, held by their users too (controllers): an unload forgets the names.
// Never destroyed: rigs hold script objects, released only while the interpreter lives.
std::map<std::string, core::Ref<ActorRigIK>>& rigs() {
    static auto* table = new std::map<std::string, core::Ref<ActorRigIK>>;
    return *table;
}

// "ActorRigIK" elements of actor files, with their "IKHandlePosition" and
// "IKHandleRotation" elements.
class IKRigSection final : public ActorFileSection {
public:
    bool start(ActorDatabaseParser& parser, const std::string& name, const Attributes& a) override {
        if (name == "ActorRigIK")
            start_ik_rig(parser, a);
        else if (name == "IKHandlePosition")
            start_ik_handle_position(parser, a);
        else if (name == "IKHandleRotation")
            start_ik_handle_rotation(parser, a);
        else
            return false;
        return true;
    }
    void end(const std::string& name) override {
        if (name == "ActorRigIK") ik_rig_ = nullptr;
    }
    void forget() override { ik_rig_ = nullptr; }

private:
    void start_ik_rig(ActorDatabaseParser& parser, const Attributes& a);
    void start_ik_handle_position(ActorDatabaseParser& parser, const Attributes& a);
    void start_ik_handle_rotation(ActorDatabaseParser& parser, const Attributes& a);

    core::Ref<ActorRigIK> ik_rig_;  // being filled
};

void IKRigSection::start_ik_rig(ActorDatabaseParser& parser, const Attributes& a) {
    const std::string* id = find(a, "id");
    if (!id) return parser.problem("\"ActorRigIK\" without \"id\" (skipped with its contents)");
    auto& table = rigs();
    if (table.count(*id))
        return parser.problem("\"ActorRigIK\" " + quoted(*id) + " is loaded already (skipped with its contents)");
    ik_rig_ = core::make_ref<ActorRigIK>();
    table[*id] = ik_rig_;
}

void IKRigSection::start_ik_handle_position(ActorDatabaseParser& parser, const Attributes& a) {
    if (!ik_rig_) return parser.problem("\"IKHandlePosition\" outside an \"ActorRigIK\"");
    const std::string* effector = find(a, "effector_id");
    const std::string* type = find(a, "type");
    if (!effector || !type) return parser.problem("\"IKHandlePosition\" without \"effector_id\" or \"type\" (skipped)");
    IKHandlePosition* handle = ik_rig_->add_position_handle(*effector, *type);
    if (!handle)
        return parser.problem("\"IKHandlePosition\" " + quoted(*effector) + ": the effector is taken or the type " +
                              quoted(*type) + " is not point, aim, chain or spine (skipped)");
    if (const std::string* v = find(a, "chain_offset"))
        handle->set_chain_offset(parser.read_float("IKHandlePosition", "chain_offset", *v));
    if (const std::string* v = find(a, "spine_offset"))
        handle->set_spine_offset(parser.read_float("IKHandlePosition", "spine_offset", *v));
    if (const std::string* v = find(a, "direction"))
        if (!handle->set_direction(parser.read_int("IKHandlePosition", "direction", *v)))
            parser.problem("\"IKHandlePosition\" " + quoted(*effector) + " direction=" + quoted(*v) +
                           " is not 1 or -1 (kept at 1)");
    if (const std::string* v = find(a, "bind_position")) handle->set_bind_position(core::Vector<float>(*v));
}

void IKRigSection::start_ik_handle_rotation(ActorDatabaseParser& parser, const Attributes& a) {
    if (!ik_rig_) return parser.problem("\"IKHandleRotation\" outside an \"ActorRigIK\"");
    const std::string* joint = find(a, "joint_id");
    if (!joint) return parser.problem("\"IKHandleRotation\" without \"joint_id\" (skipped)");
    IKHandleRotation* handle = ik_rig_->add_rotation_handle(*joint);
    if (!handle) return parser.problem("\"IKHandleRotation\" " + quoted(*joint) + " is taken (skipped)");
    if (const std::string* v = find(a, "bind_rotation"))
        handle->set_bind_rotation(parser.read_float("IKHandleRotation", "bind_rotation", *v));
}

std::string joint_name(const Skeleton& skeleton, int index) {
    for (const auto& [name, at] : skeleton.get_joint_names())
        if (index >= 0 && at == unsigned(index)) return name;
    return {};
}

// An imported character's IK chains become a rig of its id, solved by its clip players:
// each chain a handle of its end joint, its bone along +x, following its target joint.
void build_rig_from_chains(const ActorData& data) {
    const Skeleton* skeleton = data.get_skeleton();
    if (data.ik_chains.empty() || !skeleton) return;
    if (rigs().count(data.get_id())) {
        core::Log::warning("graphics", "Actor '%s': an IK rig of that id is loaded already; its %zu IK chains are not used.",
                           data.get_id().c_str(), data.ik_chains.size());
        return;
    }
    const core::Ref<ActorRigIK> rig = core::make_ref<ActorRigIK>();
    rig->set_posed_with_clips(true);
    std::size_t skipped = 0;
    for (const ActorIKChain& chain : data.ik_chains) {
        const std::string end = joint_name(*skeleton, int(chain.end));
        IKHandlePosition* handle = end.empty() ? nullptr : rig->add_position_handle(end, chain.root >= 0 ? "chain" : "aim");
        if (!handle) {
            ++skipped;  // an unnamed joint, or a second constraint on the same joint
            continue;
        }
        handle->set_bone_length(chain.length);
        handle->set_direction(chain.bend_positive ? 1 : -1);
        handle->set_weight(chain.weight);
        handle->set_target_id(joint_name(*skeleton, int(chain.target)));
        handle->set_driver_id(joint_name(*skeleton, chain.driver));
    }
    if (skipped)
        core::Log::warning("graphics", "Actor '%s': %zu of its IK chains end at a joint another chain ends at, or at an unnamed one (not solved).",
                           data.get_id().c_str(), skipped);
    rigs()[data.get_id()] = rig;
}

const bool registered = add_actor_file_section(
    {[]() -> std::unique_ptr<ActorFileSection> { return std::make_unique<IKRigSection>(); },
     [] {
         auto gone = std::move(rigs());
         rigs().clear();
     },
     &build_rig_from_chains});

}  // namespace

namespace ActorDatabase {

ActorRigIK* find_ik_rig(const std::string& id) {
    auto it = rigs().find(id);
    return it == rigs().end() ? nullptr : it->second.get();
}

std::vector<std::string> ik_rig_ids() {
    std::vector<std::string> ids;
    for (const auto& entry : rigs()) ids.push_back(entry.first);
    return ids;
}

}  // namespace ActorDatabase
}  // namespace engine::graphics
