#pragma once

#include "engine/core/Colour.h"
#include "engine/graphics/DecoratorFade.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/SpriteBatch.h"

#include <cstdint>

#include <string>
#include <utility>
#include <vector>

namespace engine::graphics {

class SpriteData;
struct SpriteFrame;
class Texture;

/// A scene object that draws one textured rectangle described by a record of the
/// sprite database: four corner colours, optional alpha stops across its width, and
/// a queue of fades (uniform, or a dissolve through a transition texture when shader
/// programs are available). Script thread only (the thread that imported libgraphics
/// and owns the GL context).
///
///     sprite_database.load("sprites.xml", "images")
///     ship = Sprite("ship")          # origin, size, colour, layer from the record
///     ship.fade(1, 0, 0, 2, Texture("dissolve.png"))
class Sprite : public SceneObject, public DecoratorFade {
public:
    /// Takes the record `data_id` (one reference and one use, loading its texture on
    /// its first use) and enters the record's layer; an unknown id gives a sprite that
    /// draws nothing.
    explicit Sprite(const std::string& data_id);
    ~Sprite() override;

    /// The record's id, empty without one.
    std::string get_data_id() const;
    /// The record (held by the sprite), or null.
    const SpriteData* get_data() const { return data_; }

    const core::Vector<float>& get_origin() const { return origin_; }
    void set_origin(const core::Vector<float>& origin) {
        origin_ = origin;
        quad_stale_ = true;
        note_change();
    }
    const core::Vector<float>& get_dimensions() const { return dimensions_; }
    void set_dimensions(const core::Vector<float>& dimensions) {
        dimensions_ = dimensions;
        quad_stale_ = true;
        note_change();
    }

    /// Corner 0's colour.
    const core::Colour& get_colour() const { return colours_[0]; }
    /// Sets all four corners.
    void set_colour(const core::Colour& colour);
    /// Corners: 0 at -origin, 1 right of it, 2 opposite, 3 above corner 0. A corner
    /// outside 0..3 reads as corner 0 and is not written.
    const core::Colour& get_colour(int corner) const;
    void set_colour(int corner, const core::Colour& colour);

    /// The texture rectangle drawn, in texture coordinates (0 to 1 across the picture,
    /// top row first); starts as the record's and may change every frame.
    const core::Vector<float>& get_top_left() const { return top_left_; }
    void set_top_left(const core::Vector<float>& top_left) {
        top_left_ = top_left;
        quad_stale_ = true;
    }
    const core::Vector<float>& get_bottom_right() const { return bottom_right_; }
    void set_bottom_right(const core::Vector<float>& bottom_right) {
        bottom_right_ = bottom_right;
        quad_stale_ = true;
    }
    /// Whether the rectangle holds the picture turned 90 degrees clockwise (a packed
    /// sheet's rotated frame): the sprite draws it upright.
    bool is_rotated() const { return rotated_; }
    void set_rotated(bool rotated) {
        rotated_ = rotated;
        quad_stale_ = true;
    }
    /// Mirrors everything drawn about the origin: left for right (x), top for bottom (y).
    bool get_flip_x() const { return flip_x_; }
    void set_flip_x(bool flip) {
        flip_x_ = flip;
        quad_stale_ = true;
        note_change();
    }
    bool get_flip_y() const { return flip_y_; }
    void set_flip_y(bool flip) {
        flip_y_ = flip;
        quad_stale_ = true;
        note_change();
    }
    /// Shows one frame of a sequence: its rectangle, rotation, dimensions and origin.
    void show_frame(const SpriteFrame& frame);

    /// The record's texture, or null.
    Texture* get_texture() const;

    /// Sets the alpha at `position` (0 at the left edge, 1 at the right); stops stay
    /// sorted by position and a stop at an existing position replaces it.
    void set_alpha_stop(float position, float alpha);
    void clear_alpha_stops() { alpha_stops_.clear(); }
    const std::vector<std::pair<float, float>>& get_alpha_stops() const { return alpha_stops_; }

    /// The rectangle drawn (flips included) under the world transform, in layer
    /// coordinates; nothing for a sprite without a record, which draws nothing.
    void get_shape(Shape& out) override;
    using SceneObject::contains;
    /// Whether `point` (layer coordinates) lies in the rectangle on a texel whose alpha
    /// exceeds `alpha_threshold` (0 to 1): the texture's alpha alone, not the colours,
    /// alpha stops or fades. The texture keeps a copy of its alpha from the first such
    /// question on (TextureData::get_alpha). A sprite without texture is opaque.
    bool contains(const core::Vector<float>& point, float alpha_threshold);
    bool is_solid_at(const core::Vector<float>& point, float alpha_threshold) override {
        return contains(point, alpha_threshold);
    }

    /// A sprite's update is the scene object's frame step (which steps the fades).
    using SceneObject::update;
    void on_update(float dt) override;
    void on_render() override;
    /// Adds the sprite's quads to `batch` unless a dissolve draws it through programs.
    bool add_to_batch(SpriteBatch& batch, const core::Matrix& layer_transform) override;

protected:
    /// Keeps the faded alpha once the fade is gone.
    void on_fade_end(const Fade& fade) override;

private:
    struct Geometry;
    Geometry geometry() const;
    float fade_alpha() const;  // alpha factor of a fade without programs
    bool has_strip() const;
    void write_quad(SpriteBatch::Vertex* out, float alpha_factor) const;
    void write_strip(SpriteBatch::Vertex* out, float alpha_factor) const;
    std::size_t triangle_count() const;
    void write_triangles(SpriteBatch::Vertex* out, float alpha_factor) const;

    core::Ref<SpriteData> data_;                        // one use too, or null
    core::Vector<float> origin_;                        // pivot within the rectangle
    core::Vector<float> dimensions_;                    // size of the rectangle
    core::Vector<float> top_left_;                      // texture rectangle drawn
    core::Vector<float> bottom_right_;                  // its opposite corner
    bool rotated_ = false;                              // rectangle stored turned clockwise
    bool flip_x_ = false;                               // mirrored about the origin
    bool flip_y_ = false;                               // mirrored top for bottom
    core::Colour colours_[4];                           // corner colours
    std::vector<std::pair<float, float>> alpha_stops_;  // (position, alpha), sorted
    SpriteBatch::Vertex quad_[4];                       // corners as last batched, unfaded
    std::uint32_t quad_version_ = 0;                    // world version quad_ was made from
    bool quad_stale_ = true;                            // quad_ must be made again
};

}  // namespace engine::graphics
