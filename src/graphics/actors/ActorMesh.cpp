#include "engine/graphics/ActorMesh.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorMeshData.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Texture.h"
#include "engine/graphics/Transform.h"
#include "engine/window/OpenGL.h"
#include "engine/window/OpenGLEntryPoints.h"

#include "common/Prefetch.h"

#include <GL/gl.h>

#include <algorithm>
#include <cmath>
#include <unordered_set>

namespace engine::graphics {

namespace {
// The longest jiggle step: the spring's damping is tuned for steps of 1/60 s, so a long
// frame (a hitch, a breakpoint) advances the springs by 1/60 s only.
constexpr float kMaxJiggleStep = 1.0f / 60.0f;
// A jiggle's stiffness in the file is in units of this many.
constexpr float kJiggleStiffnessUnit = 6000.0f;
constexpr float kJiggleMaxStretch = 5.0f;
constexpr float kJiggleRestThreshold = 1.0f;

}  // namespace

ActorMesh::ActorMesh() = default;

ActorMesh::ActorMesh(const ActorMesh& other)
    : core::Object(other),
      data_(other.data_),
      positions_(other.positions_),
      jiggles_(other.jiggles_),
      scene_objects_(other.scene_objects_),
      owner_(other.owner_),
      rest_positions_(other.rest_positions_),
      visible_(other.visible_),
      draw_order_(other.draw_order_),
      colour_(other.colour_),
      uniform_colour_(other.uniform_colour_),
      colour_offset_(other.colour_offset_),
      blend_(other.blend_),
      vertex_colours_(other.vertex_colours_),
      texture_matrix_(other.texture_matrix_),
      texture_matrix_identity_(other.texture_matrix_identity_) {
    for (const auto& [name, texture] : other.textures_)
        textures_.emplace_back(name, std::make_unique<Texture>(*texture));
}

ActorMesh::~ActorMesh() { remove_all_scene_objects(); }

void ActorMesh::set_data(const ActorMeshData* data, core::Ref<const core::SharedObject> owner) {
    if (data_ || !data) return;
    data_ = data;
    owner_ = std::move(owner);
    jiggles_.reserve(data->jiggles.size());
    for (const auto& jiggle : data->jiggles) {
        JiggleState state;
        state.jiggle = jiggle.get();
        jiggles_.push_back(std::move(state));
    }
    visible_ = data->visible;
    if (data->uniform_colour) set_colour(data->colour);
    set_colour_offset(data->colour_offset);
    blend_ = data->blend;
    // The record's own picture (an imported character's atlas), shared through the
    // texture database and loaded in the background like any texture.
    if (!data->texture.empty()) set_texture("texture", Texture(data->texture, true, false));
}

void ActorMesh::find_joints_used() {
    bool used[256] = {};
    for (const ActorVertex& vertex : data_->vertices)
        for (int k = 0; k < 4 && vertex.joint_weights[k] != 0.0f; ++k) used[vertex.joint_indices[k]] = true;
    joints_used_.clear();
    for (unsigned j = 0; j < 256; ++j)
        if (used[j]) joints_used_.push_back(std::uint8_t(j));
    joints_for_ = data_;
}

const std::string& ActorMesh::get_id() const {
    static const std::string none;
    return data_ ? data_->id : none;
}

// Skinning ----------------------------------------------------------------------------

void ActorMesh::prefetch() const { prefetch_bytes(this, kHotBytes); }

const std::vector<std::uint8_t>& ActorMesh::get_joints_used() {
    if (!data_)
        joints_used_.clear();
    else if (joints_for_ != data_)
        find_joints_used();
    return joints_used_;
}

void ActorMesh::transform_vertices(const Skeleton* skeleton) {
    if (!data_) return;
    const unsigned num_joints = skeleton ? skeleton->get_num_joints() : 0;
    // world * bind once per joint for the whole pass: every vertex of the frame uses the
    // same matrices. One slot per possible 8-bit joint index, shared by every mesh
    // skinned this way (only the slots a mesh names are written and read, so one small
    // table stays in cache where one per mesh would not). A joint the skeleton lacks has
    // the zero matrix, so its influence adds nothing and the vertex loop needs no check.
    // Only the joints the record's vertices name are computed (found once per record):
    // a part bound to one joint of a large skeleton pays for one matrix.
    thread_local std::vector<core::Matrix> matrices(256);
    for (const std::uint8_t j : get_joints_used()) {
        const Transform* joint = j < num_joints ? skeleton->get_joint(j) : nullptr;
        matrices[j] =
            joint ? joint->get_world_transform() * joint->get_bind_transform() : core::Matrix(0, 0, 0, 0, 0, 0);
    }
    transform_vertices(skeleton, matrices.data());
}

void ActorMesh::transform_vertices(const Skeleton* skeleton, const core::Matrix* joint_matrices) {
    if (!data_) return;
    // Blend-shape weights: the curve at the driver joint's local rotation. Only shapes
    // whose weight is not zero are visited per vertex.
    const auto& shapes = data_->blend_shapes;
    // Without shapes (the record never changes) the scratch is neither touched nor read:
    // it lies beyond the fields a crowd's skinning fetches ahead.
    if (!shapes.empty()) active_shapes_.clear();
    for (size_t b = 0; b < shapes.size(); ++b) {
        const BlendShape& shape = *shapes[b];
        const Transform* driver = skeleton && shape.curve ? skeleton->get_joint(shape.joint_driver_id) : nullptr;
        const float w = driver ? shape.curve->evaluate(driver->get_local_rotation()) : 0.0f;
        if (w != 0.0f) active_shapes_.push_back({&shape.offsets, w});
    }

    const std::vector<ActorVertex>& vertices = data_->vertices;
    const size_t n = vertices.size();
    positions_.resize(n);
    const core::Matrix* matrices = joint_matrices;
    const bool shaped = !shapes.empty() && !active_shapes_.empty();
    for (size_t v = 0; v < n; ++v) {
        const ActorVertex& vertex = vertices[v];
        core::Vector<float> p = vertex.position;
        if (shaped)
            for (const ActiveShape& shape : active_shapes_)
                if (v < shape.offsets->size()) p += (*shape.offsets)[v] * shape.weight;
        core::Vector<float> r;  // weights are summed as they are, not normalised
        for (int k = 0; k < 4; ++k) {
            const float w = vertex.joint_weights[k];
            // The first zero weight ends the influences, even if later ones are not zero.
            if (w == 0.0f) break;
            r += (p * matrices[vertex.joint_indices[k]]) * w;
        }
        positions_[v] = r;
    }
    // The jiggle pass reads the skinned positions while it writes the drawn ones; a
    // mesh without jiggles draws them as they are and keeps no second copy.
    if (!jiggles_.empty()) rest_positions_ = positions_;
}

// Jiggle ------------------------------------------------------------------------------

bool ActorMesh::update(float dt) {
    bool moving = false;
    const float step = std::min(dt, kMaxJiggleStep);
    const std::vector<core::Vector<float>>& input = rest_positions_;
    for (JiggleState& state : jiggles_) {
        if (state.springs.empty()) {
            state.springs.reserve(input.size());
            for (const core::Vector<float>& p : input)
                state.springs.emplace_back(p, core::Vector<float>(), state.jiggle->stiffness * kJiggleStiffnessUnit,
                                           state.jiggle->damping, kJiggleMaxStretch, kJiggleRestThreshold);
        }
        const std::vector<float>& weights = state.jiggle->weights;
        const size_t n = std::min({input.size(), weights.size(), state.springs.size(), positions_.size()});
        for (size_t i = 0; i < n; ++i) {
            const float w = weights[i];
            // Weight 0 or less leaves the vertex to the other jiggles (the last one that
            // weights it wins) or at its skinned position.
            if (w <= 0.0f) continue;
            Spring& spring = state.springs[i];
            moving |= spring.update(step, input[i]);
            const float s = w * state.scale;
            positions_[i] = input[i] * (1.0f - s) + spring.get_position() * s;
        }
    }
    // Attached objects step with the mesh; a hook may detach any of them (itself
    // included), so each is held for its own step and the walk re-checks the list.
    for (size_t i = 0; i < scene_objects_.size(); ++i) {
        const core::Ref<SceneObject> object = scene_objects_[i].second;
        object->update(dt);
        const bool still_here = i < scene_objects_.size() && scene_objects_[i].second == object;
        if (!still_here) --i;  // the list shifted under us: look at this place again
    }
    return moving;
}

// Colours, textures and attached objects ----------------------------------------------

void ActorMesh::set_colour(const core::Colour& colour) {
    if (vertex_colours_.empty()) {
        colour_ = colour;
        uniform_colour_ = true;
        return;
    }
    for (core::Colour& c : vertex_colours_) {
        c.r = colour.r;
        c.g = colour.g;
        c.b = colour.b;
        // An alpha of exactly 1 keeps each vertex's own alpha.
        if (colour.a != 1.0f) c.a = colour.a;
    }
}

void ActorMesh::set_vertex_colour(unsigned index, const core::Colour& colour) {
    if (!data_) return;
    if (vertex_colours_.empty()) {
        vertex_colours_.reserve(data_->vertices.size());
        for (const ActorVertex& v : data_->vertices) vertex_colours_.push_back(v.colour);
    }
    if (index < vertex_colours_.size()) vertex_colours_[index] = colour;
}

void ActorMesh::set_texture(const std::string& name, const Texture& source) {
    for (auto& layer : textures_) {
        if (layer.first == name) {
            layer.second = std::make_unique<Texture>(source);
            return;
        }
    }
    textures_.emplace_back(name, std::make_unique<Texture>(source));
}

void ActorMesh::remove_texture(const std::string& name) {
    auto it = std::find_if(textures_.begin(), textures_.end(), [&](const auto& layer) { return layer.first == name; });
    if (it != textures_.end()) textures_.erase(it);
}

void ActorMesh::set_texture_transform(const core::Matrix& matrix) {
    if (matrix.is_identity()) {
        texture_matrix_identity_ = true;
        return;
    }
    texture_matrix_ = matrix;
    texture_matrix_identity_ = false;
}

core::Matrix ActorMesh::get_texture_transform() const {
    return texture_matrix_identity_ ? core::Matrix() : texture_matrix_;
}

bool ActorMesh::add_scene_object(const std::string& name, SceneObject* object) {
    if (!object || is_carried_by(object)) return false;
    auto at = std::find_if(scene_objects_.begin(), scene_objects_.end(),
                           [&](const auto& entry) { return entry.second->get_z() >= object->get_z(); });
    scene_objects_.insert(at, {name, core::Ref<SceneObject>(object)});
    return true;
}

bool ActorMesh::is_carried_by(const SceneObject* object) const {
    // Attachments are refused whenever they would close a cycle, so this walk ends; the
    // meshes seen are skipped so that an actor riding on many meshes is looked at once.
    std::vector<const SceneObject*> pending{object};
    std::vector<const ActorMesh*> seen;
    while (!pending.empty()) {
        const auto* actor = dynamic_cast<const Actor*>(pending.back());
        pending.pop_back();
        if (!actor) continue;
        for (unsigned i = 0; i < actor->get_num_meshes(); ++i) {
            const ActorMesh* mesh = actor->get_mesh(i);
            if (mesh == this) return true;
            if (std::find(seen.begin(), seen.end(), mesh) != seen.end()) continue;
            seen.push_back(mesh);
            for (const auto& entry : mesh->get_scene_objects()) pending.push_back(entry.second);
        }
    }
    return false;
}

void ActorMesh::remove_scene_objects(const std::string& name) {
    std::vector<core::Ref<SceneObject>> released;
    for (auto it = scene_objects_.begin(); it != scene_objects_.end();) {
        if (it->first == name) {
            released.push_back(std::move(it->second));
            it = scene_objects_.erase(it);
        } else {
            ++it;
        }
    }
    // Released once the list is consistent (on leaving): a destructor may look at the mesh.
}

void ActorMesh::remove_all_scene_objects() {
    std::vector<std::pair<std::string, core::Ref<SceneObject>>> released;
    released.swap(scene_objects_);
}

void ActorMesh::set_jiggle_scale(const std::string& id, float scale) {
    for (JiggleState& state : jiggles_)
        if (state.jiggle->id == id) state.scale = scale;
    // Actors riding on the mesh jiggle along with it.
    for (const auto& entry : scene_objects_)
        if (auto* actor = dynamic_cast<Actor*>(entry.second.get())) actor->set_jiggle_scale(id, scale);
}

void ActorMesh::reset_jiggle_scales() {
    for (JiggleState& state : jiggles_) state.scale = 1.0f;
    for (const auto& entry : scene_objects_)
        if (auto* actor = dynamic_cast<Actor*>(entry.second.get())) actor->reset_jiggle_scales();
}

// Drawing -----------------------------------------------------------------------------

namespace {
const char* const kBlendNames[] = {"normal", "add", "multiply", "screen", "darken", "lighten", "subtract"};
}  // namespace

bool parse_part_blend(const std::string& text, PartBlend& blend) {
    for (int b = 0; b < int(std::size(kBlendNames)); ++b)
        if (text == kBlendNames[b]) {
            blend = PartBlend(b);
            return true;
        }
    return false;
}

const char* part_blend_name(PartBlend blend) { return kBlendNames[int(blend)]; }

namespace {

using window::glActiveTexture;

bool has_offset(const core::Colour& o) { return o.r != 0.0f || o.g != 0.0f || o.b != 0.0f || o.a != 0.0f; }

// A texture unit back to the baseline: disabled, modulating.
void end_unit(int unit) {
    glActiveTexture(GLenum(GL_TEXTURE0 + unit));
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glDisable(GL_TEXTURE_2D);
    glActiveTexture(GL_TEXTURE0);
}

int texture_unit_count() {
    GLint units = 1;
    glGetIntegerv(GL_MAX_TEXTURE_UNITS, &units);
    return glActiveTexture ? int(units) : 1;
}

// A colour offset is added after the picture and the colour by texture units 1 and 2:
// unit 1 adds what is above zero, unit 2 takes away what is below. A unit takes part
// only with a picture bound (its texels are not read), so the part's own is bound.
void offset_unit(const Texture& picture, int unit, GLenum operation, const float* constant) {
    picture.bind(unit);
    glActiveTexture(GLenum(GL_TEXTURE0 + unit));
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_COMBINE);
    glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_RGB, GLint(operation));
    glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_ALPHA, GLint(operation));
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_RGB, GL_PREVIOUS);
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_RGB, GL_SRC_COLOR);
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_RGB, GL_CONSTANT);
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_RGB, GL_SRC_COLOR);
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_ALPHA, GL_PREVIOUS);
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_ALPHA, GL_SRC_ALPHA);
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_ALPHA, GL_CONSTANT);
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_ALPHA, GL_SRC_ALPHA);
    glTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, constant);
    glActiveTexture(GL_TEXTURE0);
}

bool begin_offset(const Texture& picture, const core::Colour& o) {
    if (texture_unit_count() < 3) return false;
    const float add[4] = {std::max(o.r, 0.0f), std::max(o.g, 0.0f), std::max(o.b, 0.0f), std::max(o.a, 0.0f)};
    const float take[4] = {std::max(-o.r, 0.0f), std::max(-o.g, 0.0f), std::max(-o.b, 0.0f), std::max(-o.a, 0.0f)};
    offset_unit(picture, 1, GL_ADD, add);
    offset_unit(picture, 2, GL_SUBTRACT, take);
    return true;
}

// Units 1 and 2 back to the baseline: disabled, modulating.
void end_offset() {
    end_unit(1);
    end_unit(2);
}

using window::glBlendEquation;

// The stage before blending that shapes what the blend reads: the colour towards white
// where the picture is clear (multiply, darken), or weighed by its alpha (screen,
// lighten). Like the offsets, it needs a picture bound on its unit.
void shape_unit(const Texture& picture, int unit, bool towards_white) {
    static const float white[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    picture.bind(unit);
    glActiveTexture(GLenum(GL_TEXTURE0 + unit));
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_COMBINE);
    glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_RGB, towards_white ? GL_INTERPOLATE : GL_MODULATE);
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_RGB, GL_PREVIOUS);
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_RGB, GL_SRC_COLOR);
    if (towards_white) {
        // colour * alpha + white * (1 - alpha)
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_RGB, GL_CONSTANT);
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_RGB, GL_SRC_COLOR);
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE2_RGB, GL_PREVIOUS);
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND2_RGB, GL_SRC_ALPHA);
        glTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, white);
    } else {
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_RGB, GL_PREVIOUS);
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_RGB, GL_SRC_ALPHA);
    }
    glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_ALPHA, GL_REPLACE);
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_ALPHA, GL_PREVIOUS);
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_ALPHA, GL_SRC_ALPHA);
    glActiveTexture(GL_TEXTURE0);
}

// Sets the GL blending for a part and returns the texture unit it shaped (0: none).
// `next_unit` is the first unit the offsets left free.
int begin_blend(PartBlend blend, const Texture* picture, int next_unit) {
    const bool shaped = blend == PartBlend::multiply || blend == PartBlend::screen || blend == PartBlend::darken ||
                        blend == PartBlend::lighten;
    const int unit = shaped && picture && next_unit < texture_unit_count() ? next_unit : 0;
    if (unit) shape_unit(*picture, unit, blend == PartBlend::multiply || blend == PartBlend::darken);
    switch (blend) {
        case PartBlend::normal:
            break;
        case PartBlend::add:
            glBlendFunc(GL_SRC_ALPHA, GL_ONE);
            break;
        case PartBlend::multiply:  // what lies below times the colour
            glBlendFunc(GL_ZERO, GL_SRC_COLOR);
            break;
        case PartBlend::screen:  // 1 - (1 - below) (1 - colour)
            glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_COLOR);
            break;
        case PartBlend::darken:
        case PartBlend::lighten:
            if (glBlendEquation) glBlendEquation(blend == PartBlend::darken ? GL_MIN : GL_MAX);
            break;
        case PartBlend::subtract:
            glBlendFunc(GL_SRC_ALPHA, GL_ONE);
            if (glBlendEquation) glBlendEquation(GL_FUNC_REVERSE_SUBTRACT);
            break;
    }
    return unit;
}

// Back to the baseline's blending.
void end_blend(PartBlend blend, int unit) {
    if (blend == PartBlend::normal) return;
    if (unit) end_unit(unit);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    if (glBlendEquation) glBlendEquation(GL_FUNC_ADD);
}

float clamp_offset(float v) { return std::isfinite(v) ? std::clamp(v, -1.0f, 1.0f) : 0.0f; }

}  // namespace

void ActorMesh::set_colour_offset(const core::Colour& offset) {
    colour_offset_ = core::Colour(clamp_offset(offset.r), clamp_offset(offset.g), clamp_offset(offset.b),
                                  clamp_offset(offset.a));
}

void ActorMesh::draw_triangles() const {
    glDrawElements(GL_TRIANGLES, GLsizei(data_->indices.size()), GL_UNSIGNED_SHORT, data_->indices.data());
}

void ActorMesh::set_visible(bool visible) {
    if (visible != visible_) Transform::note_change();  // what its actor covers changed
    visible_ = visible;
}

void ActorMesh::render(const Transform& transform) {
    if (!visible_ || !data_) return;
    const GLsizei stride = sizeof(ActorVertex);
    const ActorVertex* records = data_->vertices.data();  // null without vertices
    glPushMatrix();
    transform.load_into_opengl();

    // A mesh without vertices draws only what is attached to it.
    bool colour_array = false;
    if (!data_->vertices.empty()) {
        if (!positions_.empty())
            glVertexPointer(2, GL_FLOAT, 0, positions_.data());
        else
            glVertexPointer(2, GL_FLOAT, stride, &records->position);

        const bool offset = has_offset(colour_offset_);
        if (uniform_colour_ && offset && textures_.empty()) {
            // Nothing to multiply: the offset goes straight onto the colour.
            const core::Colour& o = colour_offset_;
            glColor4f(colour_.r + o.r, colour_.g + o.g, colour_.b + o.b, colour_.a + o.a);
        } else if (uniform_colour_) {
            glColor4fv(colour_);
        } else {
            glEnableClientState(GL_COLOR_ARRAY);
            colour_array = true;
            if (!vertex_colours_.empty())
                glColorPointer(4, GL_FLOAT, 0, vertex_colours_.data());
            else
                glColorPointer(4, GL_FLOAT, stride, static_cast<const float*>(records->colour));
        }

        // The part's tint and blending; the baseline's state is put back after its
        // triangles.
        const Texture* picture = textures_.empty() ? nullptr : textures_.front().second.get();
        const bool offset_stage = offset && picture && begin_offset(*picture, colour_offset_);
        const int shaped_unit = begin_blend(blend_, picture, offset_stage ? 3 : 1);
        const bool texture_matrix = !texture_matrix_identity_;
        if (texture_matrix) {
            glMatrixMode(GL_TEXTURE);
            glPushMatrix();
            window::load_into_opengl(texture_matrix_);
        }

        if (textures_.size() > 1) {
            glTexCoordPointer(2, GL_FLOAT, stride, &records->tex_coord);
            for (const auto& layer : textures_) {
                layer.second->bind(0);
                draw_triangles();
            }
        } else if (textures_.size() == 1) {
            textures_.front().second->bind(0);
            glTexCoordPointer(2, GL_FLOAT, stride, &records->tex_coord);
            draw_triangles();
        } else {
            // Texturing stays off afterwards: the next texture bind turns it back on.
            glDisable(GL_TEXTURE_2D);
            glDisableClientState(GL_TEXTURE_COORD_ARRAY);
            draw_triangles();
            glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        }

        if (texture_matrix) {
            glPopMatrix();
            glMatrixMode(GL_MODELVIEW);
        }
        end_blend(blend_, shaped_unit);
        if (offset_stage) end_offset();
    }

    // A hook may detach objects while they draw: each is held for its own turn.
    for (size_t i = 0; i < scene_objects_.size(); ++i) {
        const core::Ref<SceneObject> object = scene_objects_[i].second;
        object->render(false);
        const bool still_here = i < scene_objects_.size() && scene_objects_[i].second == object;
        if (!still_here) --i;
    }

    if (colour_array) glDisableClientState(GL_COLOR_ARRAY);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);  // set by the mesh's colour or undefined after its colour array
    glPopMatrix();
}

}  // namespace engine::graphics
