#include "engine/graphics/Sprite.h"

#include "engine/core/Log.h"

#include "engine/graphics/Program.h"
#include "engine/graphics/SpriteBatch.h"
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"

#include <GL/gl.h>

#include <algorithm>
#include <vector>

namespace engine::graphics {

using core::Colour;
using core::Vector;

namespace {

// The sprite program, compiled for both profiles from one source.
const char* const kSpriteSource =
    "#include \"Transition.cgh\"\n"
    "\n"
    "\n"
    "struct vertex_input\n"
    "{\n"
    "float2 position : POSITION;\n"
    "float4 colour : COLOR0;\n"
    "float2 texcoord : TEXCOORD0;\n"
    "};\n"
    "\n"
    "struct vertex_output\n"
    "{\n"
    "float4 position : POSITION;\n"
    "float4 colour : COLOR0;\n"
    "float2 diffuse_texcoord : TEXCOORD0;\n"
    "float2 transition_texcoord : TEXCOORD1;\n"
    "};\n"
    "\n"
    "vertex_output vp_main(vertex_input vertex,\n"
    "uniform float4x4 mvp : state.matrix.mvp)\n"
    "{\n"
    "vertex_output result;\n"
    "\n"
    "result.position = mul(mvp, float4(vertex.position, 0, 1));\n"
    "result.colour = vertex.colour;\n"
    "result.diffuse_texcoord = vertex.texcoord;\n"
    "result.transition_texcoord = float2(result.position) * 0.5 + 0.5;\n"
    "\n"
    "return result;\n"
    "}\n"
    "\n"
    "\n"
    "struct fragment_input\n"
    "{\n"
    "float4 colour : COLOR0;\n"
    "float2 diffuse_texcoord : TEXCOORD0;\n"
    "float2 transition_texcoord : TEXCOORD1;\n"
    "};\n"
    "\n"
    "float4 fp_main(fragment_input fragment,\n"
    "uniform float3 transition,\n"
    "uniform sampler2D diffuse_texture,\n"
    "uniform sampler2D transition_texture) : COLOR0\n"
    "{\n"
    "float4 colour = tex2D(diffuse_texture, fragment.diffuse_texcoord) * fragment.colour;\n"
    "colour.a *= transition_alpha(transition_texture, fragment.transition_texcoord, transition.x, transition.y, "
    "transition.z);\n"
    "\n"
    "return colour;\n"
    "}\n";

struct SpritePrograms {
    VertexProgram vertex;
    FragmentProgram fragment;
};

// Compiled once per process, at the first dissolve; a failed attempt is not repeated.
// Never destroyed: programs go with the Cg context.
SpritePrograms* sprite_programs() {
    static bool tried = false;
    static SpritePrograms* programs = nullptr;
    if (!tried) {
        tried = true;
        auto* made = new SpritePrograms;
        if (made->vertex.set_source(kSpriteSource, "vp_main") && made->fragment.set_source(kSpriteSource, "fp_main"))
            programs = made;
        else
            delete made;
    }
    return programs;
}

using Vertex = SpriteBatch::Vertex;

// Reused buffers of the sprite being drawn, so drawing allocates nothing once grown.
std::vector<Vertex>& scratch_triangles() {
    static std::vector<Vertex> vertices;
    return vertices;
}
std::vector<Vertex>& scratch_rows() {
    static std::vector<Vertex> vertices;
    return vertices;
}

// A sprite is drawn as plain triangles, whether on its own or in a batch, because the
// driver splits quads and strips differently depending on how many come in one call
// (a lone quad takes the other diagonal than quads in a run): listing the triangles
// makes one sprite's pixels the same in every call. Corners go (bottom left, bottom
// right, top right, top left); the rectangle is cut along bottom left to top right.
void quad_triangles(const Vertex* corners, Vertex* out) {
    out[0] = corners[0];
    out[1] = corners[1];
    out[2] = corners[2];
    out[3] = corners[0];
    out[4] = corners[2];
    out[5] = corners[3];
}

// Rows come as (upper, lower) per alpha stop; each pair of neighbouring stops gives
// the two triangles a strip through those rows would: (upper, lower, upper next) and
// (upper next, lower, lower next).
void strip_triangles(const Vertex* rows, std::size_t stops, Vertex* out) {
    for (std::size_t i = 0; i + 1 < stops; ++i) {
        const Vertex* r = rows + 2 * i;
        *out++ = r[0];
        *out++ = r[1];
        *out++ = r[2];
        *out++ = r[2];
        *out++ = r[1];
        *out++ = r[3];
    }
}

Colour with_alpha_factor(Colour c, float factor) {
    c.a *= factor;
    return c;
}

}  // namespace

Sprite::Sprite(const std::string& data_id) : data_(SpriteDatabase::acquire(data_id)) {
    if (!data_) {
        // The sprite stays empty (white, no size, no layer): a typo must not be silent.
        core::Log::warning("graphics", "Unknown sprite id '%s': the sprite is empty.", data_id.c_str());
        return;
    }
    data_->add_use();
    origin_ = data_->origin;
    dimensions_ = data_->dimensions;
    set_colour(data_->colour);
    set_layer(data_->layer);  // a missing layer leaves the sprite in none
    set_scale_flags(data_->scale_flags);
}

Sprite::~Sprite() {
    if (!data_) return;
    data_->remove_use();
    data_->dec_ref();
}

std::string Sprite::get_data_id() const { return data_ ? data_->id : std::string(); }

void Sprite::set_colour(const Colour& colour) {
    for (Colour& c : colours_) c = colour;
    quad_stale_ = true;
}

const Colour& Sprite::get_colour(int corner) const {
    return corner >= 0 && corner < 4 ? colours_[corner] : colours_[0];
}

void Sprite::set_colour(int corner, const Colour& colour) {
    if (corner >= 0 && corner < 4) colours_[corner] = colour;
    quad_stale_ = true;
}

Texture* Sprite::get_texture() const { return data_ ? data_->get_texture() : nullptr; }

void Sprite::set_alpha_stop(float position, float alpha) {
    auto at = std::find_if(alpha_stops_.begin(), alpha_stops_.end(),
                           [&](const std::pair<float, float>& stop) { return stop.first >= position; });
    if (at != alpha_stops_.end() && at->first == position)
        at->second = alpha;
    else
        alpha_stops_.insert(at, {position, alpha});
}

void Sprite::on_update(float dt) { DecoratorFade::update(dt); }

void Sprite::on_fade_end(const Fade& fade) {
    // The faded alpha stays once the fade is gone.
    for (Colour& c : colours_) c.a = fade.to;
    quad_stale_ = true;
}

namespace {

// The dissolve's programs, bound for `fade`, or null when the sprite draws without
// them (no programs in this build, or no transition picture).
SpritePrograms* bind_dissolve(const DecoratorFade::Fade& fade, Texture* texture) {
    SpritePrograms* programs = sprite_programs();
    if (!programs || !fade.transition_texture || !fade.transition_texture->is_valid()) return nullptr;
    programs->vertex.bind();
    programs->fragment.bind();
    const float transition[3] = {2.0f * fade.progress - 1.0f, fade.from, fade.to};
    programs->fragment.set_parameter("transition", transition, 3);
    if (texture) programs->fragment.set_texture("diffuse_texture", *texture);
    programs->fragment.set_texture("transition_texture", *fade.transition_texture);
    return programs;
}

bool dissolves(const DecoratorFade::Fade* fade) {
    return fade && fade->transition_texture && fade->transition_texture->is_valid() && sprite_programs();
}

}  // namespace

float Sprite::fade_alpha() const {
    const Fade* fade = get_fade();
    return fade ? (1.0f - fade->progress) * fade->from + fade->progress * fade->to : 1.0f;
}

bool Sprite::has_strip() const {
    return alpha_stops_.size() >= 2 && alpha_stops_.front().first <= 0.0f && alpha_stops_.back().first >= 1.0f;
}

void Sprite::on_render() {
    if (!data_) return;
    Texture* texture = data_->get_texture();
    const Fade* fade = get_fade();
    SpritePrograms* programs = fade ? bind_dissolve(*fade, texture) : nullptr;
    const float alpha = programs ? 1.0f : fade_alpha();
    if (!programs) {
        if (texture)
            texture->bind(0);
        else
            glDisable(GL_TEXTURE_2D);
    }

    std::vector<Vertex>& triangles = scratch_triangles();
    triangles.resize(3 * triangle_count());
    write_triangles(triangles.data(), alpha);
    SpriteBatch::draw_triangles(triangles.data(), triangles.size());

    if (programs) {
        programs->vertex.unbind();
        programs->fragment.unbind();
    }
    // Texturing stays as the sprite left it: switching it off after every sprite makes
    // the driver rebuild its texture state for the next one, the largest cost of a frame.
}

bool Sprite::add_to_batch(SpriteBatch& batch, const core::Matrix& layer_transform) {
    if (!data_) return true;  // draws nothing
    if (dissolves(get_fade())) return false;
    batch.set_state(data_->get_texture(), layer_transform);
    Vertex* out = batch.add_triangles(triangle_count());
    if (has_strip() || get_fade()) {
        write_triangles(out, fade_alpha());
        return true;
    }
    // A plain sprite that has not changed since it was last batched reuses its corners.
    const std::uint32_t version = get_world_version();
    if (quad_stale_ || version != quad_version_) {
        write_quad(quad_, 1.0f);
        quad_version_ = version;
        quad_stale_ = false;
    }
    quad_triangles(quad_, out);
    return true;
}

std::size_t Sprite::triangle_count() const { return has_strip() ? 2 * (alpha_stops_.size() - 1) : 2; }

void Sprite::write_triangles(Vertex* out, float alpha_factor) const {
    if (has_strip()) {
        std::vector<Vertex>& rows = scratch_rows();
        rows.resize(2 * alpha_stops_.size());
        write_strip(rows.data(), alpha_factor);
        strip_triangles(rows.data(), alpha_stops_.size(), out);
    } else {
        Vertex corners[4];
        write_quad(corners, alpha_factor);
        quad_triangles(corners, out);
    }
}

// The rectangle in local space and its texture coordinates, shared by both shapes.
struct Sprite::Geometry {
    const core::Matrix& world;
    float left, bottom, right, top;
    const Vector<float>& top_left;  // texture coordinates
    const Vector<float>& bottom_right;
};

Sprite::Geometry Sprite::geometry() const {
    return Geometry{get_world_transform(),     -origin_.x,      -origin_.y,         dimensions_.x - origin_.x,
                    dimensions_.y - origin_.y, data_->top_left, data_->bottom_right};
}

void Sprite::write_quad(Vertex* out, float alpha_factor) const {
    const Geometry g = geometry();
    const Vector<float>& tl = g.top_left;
    const Vector<float>& br = g.bottom_right;
    auto vertex = [&](float x, float y, int corner, float u, float v) {
        const Vector<float> p = Vector<float>(x, y) * g.world;
        return Vertex{{p.x, p.y}, with_alpha_factor(colours_[corner], alpha_factor), {u, v}};
    };
    out[0] = vertex(g.left, g.bottom, 0, tl.x, tl.y);
    out[1] = vertex(g.right, g.bottom, 1, br.x, tl.y);
    out[2] = vertex(g.right, g.top, 2, br.x, br.y);
    out[3] = vertex(g.left, g.top, 3, tl.x, br.y);
}

void Sprite::write_strip(Vertex* out, float alpha_factor) const {
    const Geometry g = geometry();
    for (const auto& [p, alpha] : alpha_stops_) {
        const float x = g.left * (1.0f - p) + g.right * p;
        const float u = g.top_left.x * (1.0f - p) + g.bottom_right.x * p;
        const Vector<float> upper = Vector<float>(x, g.top) * g.world;
        const Vector<float> lower = Vector<float>(x, g.bottom) * g.world;
        Colour upper_colour = colours_[2] * p + colours_[3] * (1.0f - p);
        upper_colour.a *= alpha * alpha_factor;
        Colour lower_colour = colours_[0] * (1.0f - p) + colours_[1] * p;
        // The lower row (local y = -origin: the texture's top row, the top edge on screen
        // in the pixel projection) takes the stops' alpha but not an alpha-scaling fade.
        // So, in builds without shader programs, a sprite faded while it has alpha stops
        // (a wipe under way) fades as a ramp down its height: the top edge keeps its alpha
        // until the fade ends and sets every corner's alpha to the end value. The dissolve
        // of builds with programs fades both rows alike. The ramp is how faded
        // wipes look in those builds, pinned by
        // SpriteDrawing.AlphaFadeOverAlphaStopsLeavesTheTopEdgeUnfaded; fading the lower
        // row too would be a visible change.
        lower_colour.a *= alpha;
        *out++ = Vertex{{upper.x, upper.y}, upper_colour, {u, g.bottom_right.y}};
        *out++ = Vertex{{lower.x, lower.y}, lower_colour, {u, g.top_left.y}};
    }
}

}  // namespace engine::graphics
