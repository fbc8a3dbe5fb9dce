#pragma once

#include "engine/core/Colour.h"
#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

class Framebuffer;

/// A scene object that shows a framebuffer's picture as a rectangle from -origin to
/// dimensions - origin in its own space, upright (the captured window's top-left at
/// the rectangle's top-left), tinted by its colour. Registered as a redirection
/// (`Scene::register_framebuffer`) it shows what was drawn before it in the frame.
/// Script thread only (the thread that imported libgraphics and owns the GL context).
class FramebufferDisplay : public SceneObject {
public:
    /// Holds one reference to the framebuffer (null: draws nothing). Dimensions default
    /// to the framebuffer's.
    explicit FramebufferDisplay(Framebuffer* framebuffer);
    ~FramebufferDisplay() override;

    Framebuffer* get_framebuffer() const { return framebuffer_; }

    /// The rectangle's size; (-1, -1) until set means the framebuffer's own size.
    core::Vector<float> get_dimensions() const;
    void set_dimensions(const core::Vector<float>& dimensions) {
        dimensions_ = dimensions;
        note_change();
    }
    const core::Vector<float>& get_origin() const { return origin_; }
    void set_origin(const core::Vector<float>& origin) {
        origin_ = origin;
        note_change();
    }
    const core::Colour& get_colour() const { return colour_; }
    void set_colour(const core::Colour& colour) { colour_ = colour; }

    /// The rectangle shown, under the world transform: layer coordinates.
    void get_shape(Shape& out) override;
    void on_render() override;

private:
    core::Ref<Framebuffer> framebuffer_;      // may be null
    core::Vector<float> dimensions_{-1, -1};  // (-1, -1): the framebuffer's size
    core::Vector<float> origin_;              // pivot in the rectangle
    core::Colour colour_;                     // tint, opaque white
};

}  // namespace engine::graphics
