#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/Shape.h"

#include "actors/ActorDatabaseParser.h"

#include "engine/core/Log.h"
#include "engine/core/Ref.h"
#include "engine/core/StringUtility.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/AnimationClip.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>

namespace engine::graphics {

namespace {

struct Registries {
    // Held by their users too (actors' meshes, controllers, the parser): an unload
    // forgets the names, and a record goes when its last user does.
    std::map<std::string, core::Ref<ActorData>> actors;
    std::vector<ActorFileSectionKind> sections;  // registered by the subsystems that read their rigs
    unsigned long generation = 0;  // grows with every unload
};

// Never destroyed: records hold script objects (skeletons, joints), which must not be
// released after the interpreter has gone at exit.
Registries& registries() {
    static auto* r = new Registries;
    return *r;
}

using Find = const std::string* (*)(const core::XMLParser::Attributes&, const char*);
constexpr Find find = &ActorDatabaseParser::find;

// Whether `end` leaves nothing but white space: the whole text was the number.
bool only_space(const char* end) {
    while (*end && std::isspace(static_cast<unsigned char>(*end))) ++end;
    return *end == '\0';
}

template <class Map>
std::vector<std::string> keys(const Map& map) {
    std::vector<std::string> result;
    result.reserve(map.size());
    for (const auto& entry : map) result.push_back(entry.first);
    return result;
}

}  // namespace

// Parser -----------------------------------------------------------------------------

ActorDatabaseParser::ActorDatabaseParser() : generation_(registries().generation) {
    for (const ActorFileSectionKind& kind : registries().sections) sections_.push_back(kind.make());
}

ActorDatabaseParser::~ActorDatabaseParser() = default;

const std::string* ActorDatabaseParser::find(const Attributes& a, const char* key) {
    auto it = a.find(key);
    return it == a.end() ? nullptr : &it->second;
}

std::string ActorDatabaseParser::quoted(const std::string& s) { return "\"" + s + "\""; }

bool add_actor_file_section(const ActorFileSectionKind& kind) {
    registries().sections.push_back(kind);
    return true;
}

void ActorDatabaseParser::problem(const std::string& text) {
    if (problems_++ == 0) first_problem_ = "line " + std::to_string(current_line()) + ": " + text;
}

void ActorDatabaseParser::report(const std::string& document_name) const {
    if (problems_ == 0) return;
    core::Log::warning("graphics",
                       "Actor database %s: %d element(s) or value(s) skipped or read in part; the first at %s.",
                       document_name.c_str(), problems_, first_problem_.c_str());
}

// Numbers read as atof and atoi read them (text that is not a number is 0, trailing
// text is ignored); anything but a whole number is counted as a problem.
float ActorDatabaseParser::read_float(const std::string& element, const char* key, const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !only_space(end))
        problem(quoted(element) + " " + key + "=" + quoted(text) + " is not a number (read as " +
                std::to_string(float(value)) + ")");
    return float(value);
}

int ActorDatabaseParser::read_int(const std::string& element, const char* key, const std::string& text) {
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || !only_space(end))
        problem(quoted(element) + " " + key + "=" + quoted(text) + " is not an integer (read as " +
                std::to_string(int(value)) + ")");
    return int(value);
}

void ActorDatabaseParser::follow_registries() {
    if (generation_ != registries().generation) {
        // The registries were emptied under this parse (a script hook called "unload"):
        // the records being filled are gone.
        actor_ = nullptr;
        mesh_ = nullptr;
        pending_mesh_.reset();
        blend_shape_ = nullptr;
        jiggle_ = nullptr;
        curve_ = nullptr;
        for (const auto& section : sections_) section->forget();
        clip_.reset();
        clip_actor_ = nullptr;
        track_joint_ = -1;
        generation_ = registries().generation;
    }
}

void ActorDatabaseParser::finish() {
    follow_registries();
    end_mesh();
    end_clip();
}

void ActorDatabaseParser::on_element_start(const std::string& name, const Attributes& a) {
    follow_registries();
    if (name == "ActorData")
        start_actor_data(a);
    else if (name == "Joint")
        start_joint(a);
    else if (name == "BoundingPolygon")
        start_bounding_polygon(a);
    else if (name == "ActorMeshData")
        start_mesh(a);
    else if (name == "BlendShape")
        start_blend_shape(a);
    else if (name == "AnimCurve")
        start_curve();
    else if (name == "Keyframe")
        start_keyframe(a);
    else if (name == "Jiggle")
        start_jiggle(a);
    else if (name == "Vertex")
        start_vertex(a);
    else if (name == "Face")
        start_face(a);
    else if (name == "ActorClip")
        start_clip(a);
    else if (name == "ClipTrack")
        start_clip_track(a);
    else if (name == "PartTrack")
        start_part_track(a);
    else if (name == "ClipKey")
        start_clip_key(a);
    else if (name == "ClipEvent")
        start_clip_event(a);
    else
        for (const auto& section : sections_)
            if (section->start(*this, name, a)) return;
}

void ActorDatabaseParser::on_element_end(const std::string& name) {
    follow_registries();
    if (name == "ActorData")
        actor_ = nullptr;
    else if (name == "ActorMeshData")
        end_mesh();
    else if (name == "BlendShape")
        blend_shape_ = nullptr;
    else if (name == "Jiggle")
        jiggle_ = nullptr;
    else if (name == "AnimCurve")
        curve_ = nullptr;
    else if (name == "ActorClip")
        end_clip();
    else if (name == "ClipTrack" || name == "PartTrack")
        track_joint_ = -1;
    for (const auto& section : sections_) section->end(name);
}

void ActorDatabaseParser::start_actor_data(const Attributes& a) {
    const std::string* id = find(a, "id");
    if (!id) return problem("\"ActorData\" without \"id\" (skipped with its contents)");
    auto& actors = registries().actors;
    if (actors.count(*id)) {
        actor_ = nullptr;
        return problem("\"ActorData\" " + quoted(*id) + " is loaded already (skipped with its contents)");
    }
    actor_ = core::make_ref<ActorData>(*id);
    actors[*id] = actor_;
    if (const std::string* v = find(a, "layer")) actor_->layer = *v;
    if (const std::string* v = find(a, "z")) actor_->z = read_float("ActorData", "z", *v);
}

void ActorDatabaseParser::start_joint(const Attributes& a) {
    if (!actor_) return problem("\"Joint\" outside an \"ActorData\"");
    Skeleton* skeleton = actor_->get_skeleton();
    if (!skeleton) return problem("\"Joint\" of an \"ActorData\" without a skeleton");
    const std::string* id = find(a, "id");
    const std::string name = id ? *id : std::string();
    // The joint comes from the class factory, whose script class may unload the
    // database: the skeleton is held across the call, and a record unloaded meanwhile
    // is not filled any further.
    const core::Ref<Skeleton> held(skeleton);
    Transform* joint = skeleton->add_joint(name);
    follow_registries();
    if (!actor_)
        return problem("\"Joint\" " + quoted(name) + ": the database was unloaded while it was made (skipped)");
    if (!joint) return problem("\"Joint\" " + quoted(name) + " is taken or could not be made (skipped)");
    if (const std::string* v = find(a, "parent")) {
        // A value that begins with a number names an index (trailing text is ignored),
        // so only an earlier joint can be named by index.
        int index = 0;
        Transform* parent = std::sscanf(v->c_str(), "%d", &index) == 1
                                ? (index >= 0 ? skeleton->get_joint(unsigned(index)) : nullptr)
                                : skeleton->get_joint(*v);
        if (parent && parent != joint)
            parent->attach(joint);
        else
            problem("\"Joint\" " + quoted(name) + ": parent " + quoted(*v) +
                    " is not an earlier joint (left unattached)");
    }
    if (const std::string* v = find(a, "position")) joint->set_position(core::Vector<float>(*v));
    if (const std::string* v = find(a, "rotation")) joint->set_rotation(read_float("Joint", "rotation", *v));
    if (const std::string* v = find(a, "bind_rotation"))
        joint->set_bind_rotation(read_float("Joint", "bind_rotation", *v));
    if (const std::string* v = find(a, "rotation_constraint")) {
        const core::Vector<float> limits(*v);
        joint->set_rotation_constraint(limits.x, limits.y);
    }
}

void ActorDatabaseParser::start_mesh(const Attributes& a) {
    if (!actor_) return problem("\"ActorMeshData\" outside an \"ActorData\" (skipped with its contents)");
    const std::string* id = find(a, "id");
    if (!id) return problem("\"ActorMeshData\" without \"id\" (skipped with its contents)");
    end_mesh();  // a mesh inside a mesh ends the outer one
    pending_mesh_ = std::make_unique<ActorMeshData>(*id);
    mesh_ = pending_mesh_.get();
}

// Triangles naming a vertex the mesh does not have are dropped, so that drawing never
// reads past the vertex array; faces may come before or after the vertices.
void ActorDatabaseParser::end_mesh() {
    if (!mesh_) return;
    std::vector<std::uint16_t>& indices = mesh_->indices;
    const size_t count = mesh_->vertices.size();
    size_t kept = 0;
    for (size_t t = 0; t + 2 < indices.size(); t += 3) {
        if (indices[t] < count && indices[t + 1] < count && indices[t + 2] < count) {
            std::copy(indices.begin() + long(t), indices.begin() + long(t) + 3, indices.begin() + long(kept));
            kept += 3;
        } else {
            problem("\"Face\" " + std::to_string(indices[t]) + ", " + std::to_string(indices[t + 1]) + ", " +
                    std::to_string(indices[t + 2]) + " of \"ActorMeshData\" " + quoted(mesh_->id) +
                    " names a vertex it does not have (dropped)");
        }
    }
    indices.resize(kept);
    mesh_ = nullptr;
    // Only now can scripts see it (a factory hook running inside the element cannot draw
    // a record whose faces are not checked yet).
    if (actor_) actor_->add_mesh(std::move(pending_mesh_));
    pending_mesh_.reset();
}

void ActorDatabaseParser::start_blend_shape(const Attributes& a) {
    if (!mesh_) return problem("\"BlendShape\" outside an \"ActorMeshData\" (skipped with its contents)");
    mesh_->blend_shapes.push_back(std::make_unique<BlendShape>());
    blend_shape_ = mesh_->blend_shapes.back().get();
    if (const std::string* v = find(a, "joint_driver_id")) blend_shape_->joint_driver_id = *v;
}

void ActorDatabaseParser::start_curve() {
    if (!blend_shape_) return problem("\"AnimCurve\" outside a \"BlendShape\" (skipped with its contents)");
    blend_shape_->curve = std::make_unique<AnimCurve>();  // a second curve replaces the first
    curve_ = blend_shape_->curve.get();
}

void ActorDatabaseParser::start_keyframe(const Attributes& a) {
    if (!curve_) return problem("\"Keyframe\" outside an \"AnimCurve\"");
    const std::string* key = find(a, "key");
    const std::string* value = find(a, "value");
    if (!key || !value) return problem("\"Keyframe\" without \"key\" or \"value\" (skipped)");
    const float k = read_float("Keyframe", "key", *key);
    curve_->add_keyframe(k, read_float("Keyframe", "value", *value));
}

void ActorDatabaseParser::start_jiggle(const Attributes& a) {
    if (!mesh_) return problem("\"Jiggle\" outside an \"ActorMeshData\" (skipped with its contents)");
    const std::string* id = find(a, "id");
    if (!id) return problem("\"Jiggle\" without \"id\" (skipped with its contents)");
    mesh_->jiggles.push_back(std::make_unique<Jiggle>(*id));
    jiggle_ = mesh_->jiggles.back().get();
    if (const std::string* v = find(a, "stiffness")) jiggle_->stiffness = read_float("Jiggle", "stiffness", *v);
    if (const std::string* v = find(a, "damping")) jiggle_->damping = read_float("Jiggle", "damping", *v);
}

void ActorDatabaseParser::start_vertex(const Attributes& a) {
    if (blend_shape_) {
        // An offset is added even without "offset", keeping the count aligned with the
        // mesh's vertices.
        blend_shape_->offsets.emplace_back();
        if (const std::string* v = find(a, "offset")) blend_shape_->offsets.back() = core::Vector<float>(*v);
        return;
    }
    if (jiggle_) {
        jiggle_->weights.push_back(0.0f);
        if (const std::string* v = find(a, "weight")) jiggle_->weights.back() = read_float("Vertex", "weight", *v);
        return;
    }
    if (!mesh_) return problem("\"Vertex\" outside an \"ActorMeshData\"");
    ActorVertex vertex;
    if (const std::string* v = find(a, "position")) vertex.position = core::Vector<float>(*v);
    if (const std::string* v = find(a, "colour")) vertex.colour = core::Colour(*v);
    if (const std::string* v = find(a, "tex_coord")) vertex.tex_coord = core::Vector<float>(*v);
    if (const std::string* v = find(a, "joint_indices")) {
        const std::vector<std::string> items = core::StringUtility::split(*v, ',');
        for (size_t k = 0; k < 4 && k < items.size(); ++k)
            vertex.joint_indices[k] = std::uint8_t(read_int("Vertex", "joint_indices", items[k]));  // wraps at 256
    }
    if (const std::string* v = find(a, "joint_weights")) {
        const std::vector<std::string> items = core::StringUtility::split(*v, ',');
        for (size_t k = 0; k < 4 && k < items.size(); ++k)
            vertex.joint_weights[k] = read_float("Vertex", "joint_weights", items[k]);
    }
    mesh_->vertices.push_back(vertex);
}

void ActorDatabaseParser::start_bounding_polygon(const Attributes& a) {
    if (!actor_) return problem("\"BoundingPolygon\" outside an \"ActorData\"");
    const std::string* id = find(a, "id");
    const std::string* points = find(a, "points");
    if (!id || !points) return problem("\"BoundingPolygon\" without \"id\" or \"points\" (skipped)");
    const std::string what = "\"BoundingPolygon\" " + quoted(*id);
    for (const ActorBoundingPolygon& other : actor_->bounding_polygons)
        if (other.name == *id) return problem(what + " is taken (skipped)");
    ActorBoundingPolygon polygon{*id, {}, {}};
    // Corners "x, y" separated by semicolons: "0, 0; 20, 0; 10, 30".
    for (const std::string& item : core::StringUtility::split(*points, ';')) {
        const core::Vector<float> corner(item);
        if (!std::isfinite(corner.x) || !std::isfinite(corner.y))
            return problem(what + ": a corner is not finite (skipped)");
        polygon.points.push_back(corner);
    }
    Shape triangles;
    std::vector<std::uint32_t> scratch;
    if (polygon.points.size() < 3 || !triangles.add_polygon(polygon.points.data(), polygon.points.size(), scratch) ||
        triangles.empty())
        return problem(what + " needs three or more corners round some area, not crossing itself (skipped)");
    if (const std::string* joint = find(a, "joint")) {
        const Skeleton* skeleton = actor_->get_skeleton();
        if (!skeleton || !skeleton->get_joint(*joint))
            return problem(what + ": joint " + quoted(*joint) + " is not an earlier joint (skipped)");
        polygon.joint = *joint;
    }
    actor_->bounding_polygons.push_back(std::move(polygon));
}

void ActorDatabaseParser::start_face(const Attributes& a) {
    if (!mesh_) return problem("\"Face\" outside an \"ActorMeshData\"");
    const std::string* v = find(a, "vertex_indices");
    if (!v) return problem("\"Face\" without \"vertex_indices\" (skipped)");
    const std::vector<std::string> items = core::StringUtility::split(*v, ',');
    if (items.size() != 3)
        return problem("\"Face\" with " + std::to_string(items.size()) + " vertex indices, not 3 (skipped)");
    for (const std::string& item : items)
        mesh_->indices.push_back(std::uint16_t(read_int("Face", "vertex_indices", item)));
}

// Clips: each is checked as it is read and stored whole at its end tag; a key, track
// or event that cannot be used is skipped and counted, the rest of the clip kept.
void ActorDatabaseParser::start_clip(const Attributes& a) {
    end_clip();
    ActorData* owner = actor_;
    if (const std::string* v = find(a, "actor")) {
        owner = ActorDatabase::find_actor_data(*v);
        if (!owner) return problem("\"ActorClip\" for actor " + quoted(*v) + ", which is not loaded (skipped)");
    }
    if (!owner) return problem("\"ActorClip\" outside an \"ActorData\" and without \"actor\" (skipped)");
    const std::string* id = find(a, "id");
    const std::string* duration = find(a, "duration");
    if (!id || !duration) return problem("\"ActorClip\" without \"id\" or \"duration\" (skipped)");
    const float seconds = read_float("ActorClip", "duration", *duration);
    const int loops = find(a, "loops") ? read_int("ActorClip", "loops", *find(a, "loops")) : 1;
    const std::string why = AnimationClip::check(*id, seconds, loops);
    if (!why.empty()) return problem("\"ActorClip\": " + why + " (skipped)");
    if (owner->get_clip(*id))
        return problem("\"ActorClip\" " + quoted(*id) + " of " + quoted(owner->get_id()) +
                       " is loaded already (skipped)");
    clip_ = std::make_unique<AnimationClip>(*id, seconds, loops);
    clip_actor_ = owner;
}

void ActorDatabaseParser::end_clip() {
    track_joint_ = -1;
    if (clip_ && clip_actor_) clip_actor_->add_clip(std::move(clip_));
    clip_.reset();
    clip_actor_ = nullptr;
}

void ActorDatabaseParser::start_clip_track(const Attributes& a) {
    track_joint_ = -1;
    if (!clip_) return problem("\"ClipTrack\" outside an \"ActorClip\" (skipped with its keys)");
    const std::string* joint = find(a, "joint");
    const std::string* channel = find(a, "channel");
    if (!joint || !channel) return problem("\"ClipTrack\" without \"joint\" or \"channel\" (skipped with its keys)");
    const Skeleton* skeleton = clip_actor_->get_skeleton();
    const Transform* found = skeleton ? skeleton->get_joint(*joint) : nullptr;
    if (!found)
        return problem("\"ClipTrack\" of clip " + quoted(clip_->get_name()) + ": actor " +
                       quoted(clip_actor_->get_id()) + " has no joint " + quoted(*joint) + " (skipped with its keys)");
    ClipChannel kind;
    if (!parse_joint_channel(*channel, kind))
        return problem("\"ClipTrack\" channel " + quoted(*channel) +
                       " is not position, rotation, scale or skew (skipped with its keys)");
    const int c = int(kind);
    for (unsigned j = 0; j < skeleton->get_num_joints(); ++j)
        if (skeleton->get_joint(j) == found) track_joint_ = int(j);
    track_channel_ = c;
}

void ActorDatabaseParser::start_part_track(const Attributes& a) {
    track_joint_ = -1;
    if (!clip_) return problem("\"PartTrack\" outside an \"ActorClip\" (skipped with its keys)");
    const std::string* part = find(a, "part");
    const std::string* channel = find(a, "channel");
    if (!part || !channel) return problem("\"PartTrack\" without \"part\" or \"channel\" (skipped with its keys)");
    const auto& meshes = clip_actor_->get_meshes();
    int index = -1;
    for (size_t m = 0; m < meshes.size() && index < 0; ++m)
        if (meshes[m]->id == *part) index = int(m);
    if (index < 0)
        return problem("\"PartTrack\" of clip " + quoted(clip_->get_name()) + ": actor " +
                       quoted(clip_actor_->get_id()) + " has no mesh " + quoted(*part) + " (skipped with its keys)");
    ClipChannel kind;
    if (!parse_part_channel(*channel, kind))
        return problem("\"PartTrack\" channel " + quoted(*channel) +
                       " is not visible, colour, order or offset (skipped with its keys)");
    track_joint_ = index;
    track_channel_ = int(kind);
}

void ActorDatabaseParser::start_clip_key(const Attributes& a) {
    if (track_joint_ < 0) return problem("\"ClipKey\" outside a usable \"ClipTrack\" (skipped)");
    const std::string* time = find(a, "time");
    const std::string* value = find(a, "value");
    if (!time || !value) return problem("\"ClipKey\" without \"time\" or \"value\" (skipped)");
    ClipKey key;
    key.time = read_float("ClipKey", "time", *time);
    const auto channel = ClipChannel(track_channel_);
    if (is_single_value_channel(channel)) {
        key.value[0] = read_float("ClipKey", "value", *value);
    } else {
        const size_t count = size_t(channel_values(channel));
        const std::vector<std::string> items = core::StringUtility::split(*value, ',');
        if (items.size() != count)
            return problem("\"ClipKey\" value " + quoted(*value) + " is not " +
                           (count == 4 ? "four numbers r,g,b,a" : "two numbers x,y") + " (skipped)");
        for (size_t k = 0; k < count; ++k) key.value[k] = read_float("ClipKey", "value", items[k]);
    }
    if (const std::string* easing = find(a, "easing")) {
        if (*easing == "step") {
            key.easing = ClipEasing::step;
        } else if (*easing == "bezier") {
            key.easing = ClipEasing::bezier;
            const std::string* curve = find(a, "curve");
            const std::vector<std::string> items =
                curve ? core::StringUtility::split(*curve, ',') : std::vector<std::string>();
            if (items.size() != 4)
                return problem("\"ClipKey\" with easing \"bezier\" needs curve=\"x1,y1,x2,y2\" (skipped)");
            for (size_t k = 0; k < 4; ++k) key.curve[k] = read_float("ClipKey", "curve", items[k]);
        } else if (*easing != "linear") {
            return problem("\"ClipKey\" easing " + quoted(*easing) + " is not step, linear or bezier (skipped)");
        }
    }
    const int turns = find(a, "turns") ? read_int("ClipKey", "turns", *find(a, "turns")) : 0;
    const std::string why = clip_->add_key(unsigned(track_joint_), channel, key, turns);
    if (!why.empty()) problem("\"ClipKey\": " + why + " (skipped)");
}

void ActorDatabaseParser::start_clip_event(const Attributes& a) {
    if (!clip_) return problem("\"ClipEvent\" outside an \"ActorClip\" (skipped)");
    const std::string* time = find(a, "time");
    const std::string* name = find(a, "name");
    if (!time || !name) return problem("\"ClipEvent\" without \"time\" or \"name\" (skipped)");
    const std::string why = clip_->add_event(read_float("ClipEvent", "time", *time), *name);
    if (!why.empty()) problem("\"ClipEvent\": " + why + " (skipped)");
}

// Registries ---------------------------------------------------------------------------

namespace ActorDatabase {

bool load(const core::XMLFeed& feed, const std::string& name) {
    ActorDatabaseParser parser;
    feed(parser);  // may throw (a script's source of the wrong kind): nothing is reported then
    parser.finish();
    parser.report(name);
    return true;
}

bool load_text(const std::string& document, const std::string& name) {
    ActorDatabaseParser parser;
    parser.parse_text(document, name);
    parser.finish();
    parser.report(name);
    return true;
}

bool add_actor_data(core::Ref<ActorData> data) {
    if (!data) return false;
    auto& actors = registries().actors;
    const std::string id = data->get_id();
    if (actors.count(id)) return false;
    const ActorData& entered = *data;
    actors[id] = std::move(data);
    for (const ActorFileSectionKind& kind : registries().sections)
        if (kind.entered) kind.entered(entered);
    return true;
}

void unload() {
    Registries& r = registries();
    ++r.generation;
    // Moved out first: a skeleton's script subclass may run code while it goes. Records
    // still in use (by actors' meshes, controllers) stay with their users.
    auto actors = std::move(r.actors);
    r.actors.clear();
    for (const ActorFileSectionKind& kind : r.sections) kind.unload();
}

unsigned long generation() { return registries().generation; }

ActorData* find_actor_data(const std::string& id) {
    auto& m = registries().actors;
    auto it = m.find(id);
    return it == m.end() ? nullptr : it->second.get();
}

std::vector<std::string> actor_data_ids() { return keys(registries().actors); }

}  // namespace ActorDatabase
}  // namespace engine::graphics
