#include "engine/graphics/Actor.h"

#include "common/FactoryObjects.h"
#include "common/Prefetch.h"
#include "engine/core/Log.h"
#include "engine/core/Ref.h"
#include "engine/graphics/ActorController.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/ActorMeshData.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include "engine/window/OpenGL.h"

#include <GL/gl.h>

#include <algorithm>
#include <cmath>

namespace engine::graphics {

Actor::Actor(const std::string& data_id) : data_id_(data_id) {
    // An unknown id: no skeleton, no meshes, no error.
    const ActorData* data = ActorDatabase::find_actor_data(data_id);
    if (!data) return;
    // Skeletons, joints and meshes come from the class factory, whose script classes
    // may unload the database: the template skeleton is held across the copy, and the
    // record is used only while no unload happened.
    const unsigned long generation = ActorDatabase::generation();
    const core::Ref<Skeleton> source(data->get_skeleton());
    const std::string layer = data->layer;
    const float z = data->z;
    const std::vector<ActorBoundingPolygon> outlines = data->bounding_polygons;
    skeleton_ = create_through_factory<Skeleton>("Skeleton");
    if (skeleton_ && source) *skeleton_ = *source;
    const std::size_t count = ActorDatabase::generation() == generation ? data->get_meshes().size() : 0;
    meshes_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        core::Ref<ActorMesh> mesh = create_through_factory<ActorMesh>("ActorMesh");
        if (ActorDatabase::generation() != generation) break;
        if (!mesh) continue;  // printed by the factory
        mesh->set_data(data->get_meshes()[i].get(), data);
        meshes_.push_back(std::move(mesh));
    }
    if (ActorDatabase::generation() == generation) make_carried();
    if (ActorDatabase::generation() != generation)
        core::Log::warning("graphics",
                           "Actor '%s': the actor database was unloaded while the actor was made "
                           "(by a factory class); it has no meshes.",
                           data_id.c_str());
    // Checked by the parser; a joint is missing only if a factory skeleton lost it.
    for (const ActorBoundingPolygon& outline : outlines)
        if (!set_bounding_polygon(outline.name, outline.points, outline.joint))
            core::Log::warning("graphics",
                               "Actor '%s': bounding polygon '%s' names joint '%s', which its skeleton "
                               "does not have (left out).",
                               data_id.c_str(), outline.name.c_str(), outline.joint.c_str());
    set_layer(layer);
    set_z(z);
}

namespace {
Actor::ClipStarter clip_starter = nullptr;  // installed by the clip player
}  // namespace

void Actor::set_clip_starter(ClipStarter starter) { clip_starter = starter; }

// The actors each mesh carries, each riding on its joint and playing its clip. Records
// may carry each other in a ring: past a few levels nothing more is made.
void Actor::make_carried() {
    static int depth = 0;
    constexpr int kDeepest = 8;
    for (ActorMesh* mesh : std::vector<core::Ref<ActorMesh>>(meshes_)) {
        const ActorMeshData* data = mesh->get_data();
        if (!data) continue;
        for (const CarriedActor& c : std::vector<CarriedActor>(data->carried)) {
            if (depth >= kDeepest) {
                core::Log::warning("graphics",
                                   "Actor '%s': actors carried more than %d deep (a record carrying "
                                   "itself?); '%s' is not made.",
                                   data_id_.c_str(), kDeepest, c.id.c_str());
                return;
            }
            ++depth;
            const core::Ref<Actor> child = core::make_ref<Actor>(c.id);
            carried_.push_back(child);
            --depth;
            child->set_position(c.position);
            child->set_rotation(c.rotation);
            child->set_skew(c.skew);
            child->set_scale(c.scale);
            if (Transform* joint = skeleton_ && c.joint >= 0 ? skeleton_->get_joint(unsigned(c.joint)) : nullptr)
                joint->attach(child);
            const ActorData* record = ActorDatabase::find_actor_data(c.id);
            const std::string clip = !c.clip.empty() ? c.clip : record ? record->default_clip : std::string();
            if (!clip.empty()) {
                // The clip player stands above the actors: it lends them its maker.
                if (clip_starter) carried_players_.push_back(clip_starter(*child, clip));
            }
            mesh->add_scene_object(c.id, child);
        }
    }
}

// Drawing order, then the record's order.
bool Actor::before(unsigned a, unsigned b) const {
    const float x = meshes_[a]->get_draw_order(), y = meshes_[b]->get_draw_order();
    return x != y ? x < y : a < b;
}

// Controllers may outlive the actor: their weak links read null, and no script runs.
Actor::~Actor() {
    // The carried actors leave their meshes (which a script may keep) before they go.
    for (ActorMesh* mesh : meshes_)
        for (const Actor* child : carried_) mesh->remove_scene_objects(child->get_data_id());
}

void Actor::sort_drawing() const {
    // Ascending drawing order, equal ones in the record's: an insertion sort of the last
    // frame's order, which is sorted already unless a clip changed it.
    if (drawn_.size() != meshes_.size()) {
        drawn_.resize(meshes_.size());
        for (unsigned i = 0; i < drawn_.size(); ++i) drawn_[i] = i;
    }
    for (std::size_t i = 1; i < drawn_.size(); ++i)
        for (std::size_t j = i; j > 0 && before(drawn_[j], drawn_[j - 1]); --j) std::swap(drawn_[j], drawn_[j - 1]);
}

const std::vector<unsigned>& Actor::get_draw_order() const {
    sort_drawing();
    return drawn_;
}

void Actor::set_skeleton(Skeleton* skeleton) {
    if (skeleton == skeleton_) return;
    note_change();  // outlines follow the new skeleton's joints
    skeleton_ = skeleton;
}

void Actor::set_controller(ActorController* controller) {
    // Stored before it is told (on_actor sees itself as this actor's controller), and
    // held across the telling: on_actor may be script code that takes it off again.
    const core::Ref<ActorController> held(controller);
    const core::Ref<ActorController> old = std::move(controller_);
    controller_ = held;
    if (controller) controller->set_actor(this);
}

// .get(): a Ref on either side of ?: would copy it, counting for nothing.
ActorMesh* Actor::get_mesh(unsigned index) const { return index < meshes_.size() ? meshes_[index].get() : nullptr; }

ActorMesh* Actor::get_mesh(const std::string& id) const {
    for (ActorMesh* mesh : meshes_)
        if (mesh->get_id() == id) return mesh;
    return nullptr;
}

bool Actor::set_draw_order(const std::vector<unsigned>& order) {
    if (order.size() != meshes_.size()) return false;
    // Each index once: a mesh drawn twice or never would be a silent wrong picture.
    std::vector<bool>& seen = draw_order_seen_;
    seen.assign(meshes_.size(), false);
    for (unsigned m : order) {
        if (m >= meshes_.size() || seen[m]) return false;
        seen[m] = true;
    }
    for (unsigned place = 0; place < order.size(); ++place) meshes_[order[place]]->set_draw_order(float(place));
    return true;
}

void Actor::set_texture(const std::string& name, const Texture& source) {
    for (ActorMesh* mesh : meshes_) mesh->set_texture(name, source);
}

void Actor::remove_texture(const std::string& name) {
    for (ActorMesh* mesh : meshes_) mesh->remove_texture(name);
}

void Actor::set_colour(const core::Colour& colour) {
    for (ActorMesh* mesh : meshes_) mesh->set_colour(colour);
}

void Actor::set_jiggle_scale(const std::string& id, float scale) {
    for (ActorMesh* mesh : meshes_) mesh->set_jiggle_scale(id, scale);
}

void Actor::reset_jiggle_scales() {
    for (ActorMesh* mesh : meshes_) mesh->reset_jiggle_scales();
}

// A crowd's actors lie all over memory and a frame's drawing pushes them out of the
// caches: asked for ahead, in stages, their memory arrives together instead of one
// wait after another.
void Actor::prefetch(unsigned stage) const {
    if (stage == 0) {
        if (controller_) prefetch_bytes(controller_, sizeof(ActorController));  // then it asks for the rest
        prefetch_table(skin_records_);
        if (skeleton_) prefetch_bytes(skeleton_, sizeof(Skeleton));
        prefetch_table(meshes_);
        prefetch_table(carried_);
        prefetch_table(skin_joints_);
        prefetch_table(skin_matrices_);
    } else if (stage == 1) {
        if (controller_) controller_->prefetch(0);
        if (skeleton_) skeleton_->prefetch(0);
        for (const ActorMesh* mesh : meshes_) mesh->prefetch();
        for (const Actor* child : carried_) prefetch_bytes(child, sizeof(Actor));
    } else if (stage == 2) {
        if (controller_) controller_->prefetch(1);
        if (skeleton_) skeleton_->prefetch(1);
        for (const Actor* child : carried_) child->prefetch(0);
    } else if (stage == 3) {
        if (controller_) controller_->prefetch(2);
        if (skeleton_) skeleton_->prefetch(2);
        for (const Actor* child : carried_) child->prefetch(1);
    }
}

void Actor::on_update(float dt) {
    transformed_this_frame_ = false;
    // No controller: never skinned, never jiggled; the meshes keep their bind pose.
    if (!controller_) return;
    // The carried actors update after this one's skinning, through their meshes.
    for (const Actor* child : carried_) child->prefetch(2);
    // Held for the step: a script controller may drop itself from the actor.
    const core::Ref<ActorController> controller = controller_;
    const bool changed = controller->update(dt);
    for (const Actor* child : carried_) child->prefetch(3);
    if (changed || !vertices_transformed_) {
        skin_meshes();
        vertices_transformed_ = true;
        transformed_this_frame_ = true;
    }
    // A mesh without springs or attached objects has nothing to step.
    for (ActorMesh* mesh : meshes_)
        if (!mesh->get_jiggles().empty() || !mesh->get_scene_objects().empty()) mesh->update(dt);
    note_change();  // skinning and springs move what the actor covers
}

void Actor::find_skin_joints() {
    bool used[256] = {};
    skin_records_.clear();
    for (ActorMesh* mesh : meshes_) {
        for (const std::uint8_t j : mesh->get_joints_used()) used[j] = true;
        skin_records_.push_back(mesh->get_data());
    }
    skin_joints_.clear();
    for (unsigned j = 0; j < 256; ++j)
        if (used[j]) skin_joints_.push_back(std::uint8_t(j));
    skin_matrices_.resize(skin_joints_.empty() ? 0 : skin_joints_.back() + 1u);
}

// All of an actor's meshes share its skeleton: world * bind of each joint they name is
// computed once here, in one small table, rather than once per mesh that names it.
void Actor::skin_meshes() {
    // The joints are gathered once, and again should a mesh be given another record.
    bool same = skin_records_.size() == meshes_.size();
    for (std::size_t i = 0; same && i < meshes_.size(); ++i) same = skin_records_[i] == meshes_[i]->get_data();
    if (!same) find_skin_joints();
    const Skeleton* skeleton = skeleton_;
    const unsigned num_joints = skeleton ? skeleton->get_num_joints() : 0;
    for (const std::uint8_t j : skin_joints_) {
        const Transform* joint = j < num_joints ? skeleton->get_joint(j) : nullptr;
        // A joint the skeleton lacks moves nothing: the zero matrix.
        skin_matrices_[j] =
            joint ? joint->get_world_transform() * joint->get_bind_transform() : core::Matrix(0, 0, 0, 0, 0, 0);
    }
    for (ActorMesh* mesh : meshes_) mesh->transform_vertices(skeleton, skin_matrices_.data());
}

bool Actor::set_bounding_polygon(const std::string& name, const std::vector<core::Vector<float>>& points,
                                 const std::string& joint) {
    if (points.size() < 3 || (!joint.empty() && (!skeleton_ || !skeleton_->get_joint(joint)))) return false;
    BoundingPolygon polygon{name, points, joint, Shape()};
    std::vector<std::uint32_t> scratch;
    if (!polygon.triangles.add_polygon(points.data(), points.size(), scratch) || polygon.triangles.empty())
        return false;
    auto same = std::find_if(bounding_polygons_.begin(), bounding_polygons_.end(),
                             [&](const BoundingPolygon& p) { return p.name == name; });
    if (same != bounding_polygons_.end())
        *same = std::move(polygon);
    else
        bounding_polygons_.push_back(std::move(polygon));
    note_change();
    return true;
}

bool Actor::remove_bounding_polygon(const std::string& name) {
    auto same = std::find_if(bounding_polygons_.begin(), bounding_polygons_.end(),
                             [&](const BoundingPolygon& p) { return p.name == name; });
    if (same == bounding_polygons_.end()) return false;
    bounding_polygons_.erase(same);
    note_change();
    return true;
}

void Actor::get_shape(Shape& out) {
    out.clear();
    const core::Matrix& world = get_world_transform();
    if (!bounding_polygons_.empty()) {
        for (const BoundingPolygon& polygon : bounding_polygons_) {
            const Transform* joint =
                polygon.joint.empty() || !skeleton_ ? nullptr : skeleton_->get_joint(polygon.joint);
            // As skinning moves a vertex bound wholly to the joint: from the bind pose by
            // the joint's world matrix times its inverse bind matrix.
            out.add_shape(polygon.triangles,
                          joint ? world * (joint->get_world_transform() * joint->get_bind_transform()) : world);
        }
        return;
    }
    for (const ActorMesh* mesh : meshes_) {
        const ActorMeshData* data = mesh->get_data();
        if (!mesh->is_visible() || !data) continue;
        const std::vector<core::Vector<float>>& skinned = mesh->get_positions();
        const bool posed = skinned.size() == data->vertices.size();
        auto corner = [&](std::uint16_t index) {
            if (index >= data->vertices.size()) return core::Vector<float>(NAN, NAN);  // dropped with its triangle
            return (posed ? skinned[index] : data->vertices[index].position) * world;
        };
        const std::vector<std::uint16_t>& indices = data->indices;
        for (std::size_t i = 0; i + 2 < indices.size(); i += 3)
            out.add_triangle(corner(indices[i]), corner(indices[i + 1]), corner(indices[i + 2]));
    }
}

void Actor::on_render() {
    sort_drawing();
    for (unsigned i : drawn_) meshes_[i]->render(*this);
    if (debug_) render_skeleton();
}

void Actor::render_skeleton() {
    glDisable(GL_TEXTURE_2D);
    const core::Matrix& world = get_world_transform();
    if (skeleton_) {
        glColor4f(0.0f, 0.0f, 1.0f, 0.5f);
        glLineWidth(1.0f);
        glBegin(GL_LINES);
        for (unsigned i = 1; i < skeleton_->get_num_joints(); ++i) {
            const Transform* joint = skeleton_->get_joint(i);
            const Transform* parent = joint ? joint->get_parent() : nullptr;
            if (!parent) continue;  // a joint made without a parent draws no bone
            const core::Vector<float> a = joint->get_world_position() * world;
            const core::Vector<float> b = parent->get_world_position() * world;
            glVertex2f(a.x, a.y);
            glVertex2f(b.x, b.y);
        }
        glEnd();
        glColor4f(1.0f, 1.0f, 1.0f, 0.5f);
        glPointSize(2.0f);
        glBegin(GL_POINTS);
        for (unsigned i = 0; i < skeleton_->get_num_joints(); ++i) {
            const Transform* joint = skeleton_->get_joint(i);
            if (!joint) continue;
            const core::Vector<float> p = joint->get_world_position() * world;
            glVertex2f(p.x, p.y);
        }
        glEnd();
    }
    // Held while it draws: its debug drawing may call script code that takes it off.
    if (const core::Ref<ActorController> controller{controller_}) controller->render();
    // Back to the baseline, whatever the controller's drawing set.
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glPointSize(1.0f);
    glLineWidth(1.0f);
}

}  // namespace engine::graphics
