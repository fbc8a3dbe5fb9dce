#include "actors/ActorDatabaseParser.h"

#include "engine/core/Ref.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorRigDynamics.h"

#include <map>

namespace engine::graphics {

namespace {

const std::string* find(const core::XMLParser::Attributes& a, const char* key) {
    return ActorDatabaseParser::find(a, key);
}
std::string quoted(const std::string& s) { return ActorDatabaseParser::quoted(s); }

// Dynamics rigs by id, held by their users too (controllers): an unload forgets the
// names. Never destroyed, like the other registries.
std::map<std::string, core::Ref<ActorRigDynamics>>& rigs() {
    static auto* table = new std::map<std::string, core::Ref<ActorRigDynamics>>;
    return *table;
}

// "ActorRigDynamics" elements of actor files, with their "RigidBody" and constraint
// elements. The end tag clears nothing: a rig stays current until the next one starts
// or the document ends, so a "RigidBody" after the end tag still joins it.
class DynamicsRigSection final : public ActorFileSection {
public:
    bool start(ActorDatabaseParser& parser, const std::string& name, const Attributes& a) override {
        if (name == "ActorRigDynamics")
            start_dynamics_rig(parser, a);
        else if (name == "RigidBody")
            start_rigid_body(parser, a);
        else if (name == "ConstraintHinge" || name == "ConstraintJoint" || name == "ConstraintParent")
            start_constraint(parser, name, a);
        else
            return false;
        return true;
    }
    void forget() override { dynamics_rig_ = nullptr; }

private:
    void start_dynamics_rig(ActorDatabaseParser& parser, const Attributes& a);
    void start_rigid_body(ActorDatabaseParser& parser, const Attributes& a);
    void start_constraint(ActorDatabaseParser& parser, const std::string& name, const Attributes& a);

    core::Ref<ActorRigDynamics> dynamics_rig_;  // being filled
};

void DynamicsRigSection::start_dynamics_rig(ActorDatabaseParser& parser, const Attributes& a) {
    const std::string* id = find(a, "id");
    if (!id) return parser.problem("\"ActorRigDynamics\" without \"id\" (skipped)");
    auto& table = rigs();
    if (table.count(*id)) return parser.problem("\"ActorRigDynamics\" " + quoted(*id) + " is loaded already (skipped)");
    dynamics_rig_ = core::make_ref<ActorRigDynamics>();
    table[*id] = dynamics_rig_;
}

void DynamicsRigSection::start_rigid_body(ActorDatabaseParser& parser, const Attributes& a) {
    if (!dynamics_rig_) return parser.problem("\"RigidBody\" outside an \"ActorRigDynamics\"");
    const std::string* id = find(a, "id");
    if (!id) return parser.problem("\"RigidBody\" without \"id\" (skipped)");
    DynamicsRigidBody* body = dynamics_rig_->add_rigid_body(*id);
    if (!body) return parser.problem("\"RigidBody\" " + quoted(*id) + " is taken (skipped)");
    if (const std::string* v = find(a, "position")) body->position = core::Vector<float>(*v);
    if (const std::string* v = find(a, "mass")) body->mass = parser.read_float("RigidBody", "mass", *v);
    if (const std::string* v = find(a, "damping")) body->damping = parser.read_float("RigidBody", "damping", *v);
}

void DynamicsRigSection::start_constraint(ActorDatabaseParser& parser, const std::string& name, const Attributes& a) {
    if (!dynamics_rig_) return parser.problem(quoted(name) + " outside an \"ActorRigDynamics\"");
    if (name == "ConstraintHinge") {
        const std::string* body_0 = find(a, "body_0_id");
        const std::string* body_1 = find(a, "body_1_id");
        if (!body_0 || !body_1)
            return parser.problem("\"ConstraintHinge\" without \"body_0_id\" or \"body_1_id\" (skipped)");
        DynamicsConstraintHinge* hinge = dynamics_rig_->add_hinge_constraint(*body_0, *body_1);
        if (const std::string* v = find(a, "rotation_constraint")) {
            const core::Vector<float> limits(*v);
            hinge->set_limits(limits.x, limits.y);
        }
        return;
    }
    const std::string* body = find(a, "body_id");
    const std::string* joint = find(a, "joint_id");
    if (!body || !joint) return parser.problem(quoted(name) + " without \"body_id\" or \"joint_id\" (skipped)");
    // The two kinds take their names in opposite orders, joint first for a joint
    // constraint and body first for a parent constraint.
    if (name == "ConstraintJoint")
        dynamics_rig_->add_joint_constraint(*joint, *body);
    else
        dynamics_rig_->add_parent_constraint(*body, *joint);
}

const bool registered = add_actor_file_section(
    {[]() -> std::unique_ptr<ActorFileSection> { return std::make_unique<DynamicsRigSection>(); },
     [] {
         auto gone = std::move(rigs());
         rigs().clear();
     }});

}  // namespace

namespace ActorDatabase {

ActorRigDynamics* find_dynamics_rig(const std::string& id) {
    auto it = rigs().find(id);
    return it == rigs().end() ? nullptr : it->second.get();
}

std::vector<std::string> dynamics_rig_ids() {
    std::vector<std::string> ids;
    for (const auto& entry : rigs()) ids.push_back(entry.first);
    return ids;
}

}  // namespace ActorDatabase
}  // namespace engine::graphics
