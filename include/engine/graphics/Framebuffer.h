#pragma once

#include "engine/core/Object.h"
#include "engine/core/Vector.h"
#include "engine/window/GpuResource.h"

#include <deque>

// Cg's parameter handle, named without including Cg.
struct _CGparameter;
typedef struct _CGparameter* CGparameter;

namespace engine::graphics {

/// An off-screen render target: one framebuffer object with one RGBA colour texture.
/// Scenes draw into it and show it again as a texture. A process-wide current
/// framebuffer (null for the window) and a push/pop stack let nested code redirect
/// drawing and come back. As a GpuResource it is released with the GL context and
/// created again with the next one: a framebuffer survives `set_video_mode`. It owns
/// its GL objects and cannot be copied. Script thread only (the thread that imported libgraphics and owns the GL context), as are the current
/// framebuffer and the stack.
///
///     Framebuffer target;
///     target.create({256, 128});
///     target.bind_as_framebuffer();  /* draw */  Framebuffer::unbind();
class Framebuffer : public core::Object, public window::GpuResource {
public:
    /// No GL objects yet; dimensions (-1, -1) mean the window's resolution.
    Framebuffer();
    /// Deletes the GL objects (while a context exists).
    ~Framebuffer() override;

    /// Creates the GL objects at the stored dimensions, taking the window's resolution
    /// (and keeping it) while they are (-1, -1). False, with nothing created, when the
    /// framebuffer is incomplete or there is no context.
    bool create();
    /// Stores the dimensions, then `create()`; a refused size is not kept (a warning
    /// says why), so the dimensions stay what they were.
    bool create(const core::Vector<int>& dimensions);

    /// Framebuffer objects and non-power-of-two textures are both available.
    static bool is_supported();

    const core::Vector<int>& get_dimensions() const { return dimensions_; }
    unsigned int get_framebuffer_name() const { return framebuffer_; }
    unsigned int get_texture_name() const { return texture_; }

    /// Draws into this framebuffer from now on, with a viewport of its size.
    void bind_as_framebuffer() const;
    /// Draws into the window again, with the window's viewport.
    static void unbind();

    /// Binds the colour texture on texture unit `unit`; unit 0 stays the active unit
    /// afterwards. Sets no filter or wrap mode.
    void bind_as_texture(int unit) const;
    /// Hands the colour texture to a Cg sampler parameter, nothing else.
    void bind_as_texture(CGparameter parameter) const;

    /// Draws the colour texture over the whole viewport; blending is on afterwards.
    void render() const;

    /// Deletes the GL objects; the dimensions are kept for the next `create`.
    void release();

    /// Saves the current framebuffer (possibly none) on the stack.
    static void push();
    /// Makes the most recently pushed framebuffer current again. Popping an empty stack
    /// does nothing (and logs a warning).
    static void pop();
    static const Framebuffer* get_current_framebuffer();

    /// The context is about to go: release().
    void release_gpu() override;
    /// A new context: create() at the stored dimensions.
    void restore_gpu() override;

private:
    static void bind_target(const Framebuffer* target);

    unsigned int framebuffer_ = 0;          // GL framebuffer name, 0 when none
    unsigned int texture_ = 0;              // GL texture name, 0 when none
    core::Vector<int> dimensions_{-1, -1};  // pixels; (-1, -1): the window's size
};

}  // namespace engine::graphics
