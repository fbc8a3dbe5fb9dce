#pragma once

#include <cstddef>
#include <cstdint>

namespace engine::window {

/// Something that lives in the window's GL context: a texture, a framebuffer, a
/// shader program, a vertex buffer. Every live resource is known to the window that
/// owns the context, which takes them all down and back up with it: `release_gpu()`
/// after its listeners heard `on_destroy` (the context is still current), and
/// `restore_gpu()` once a new context is current, before its listeners hear
/// `on_create`. So a resource survives `set_video_mode` without anyone else tracking it.
///
/// A resource is the one owner of its GL objects: it cannot be copied, since two
/// owners of one GL name would delete it twice.
///
/// Script thread only (the thread that owns the window's context).
class GpuResource {
public:
    GpuResource(const GpuResource&) = delete;
    GpuResource& operator=(const GpuResource&) = delete;

    /// Deletes the GL objects and keeps what `restore_gpu` needs to make them again.
    virtual void release_gpu() = 0;
    /// Makes the GL objects again in the new current context.
    virtual void restore_gpu() = 0;

    /// How many resources are alive.
    static std::size_t count();
    /// Every live resource, in order of construction: called by the window.
    static void release_all();
    static void restore_all();
    /// Changes whenever a new context is made current (each `restore_all`): code that
    /// left state on the old context's stacks sees that it is gone.
    static std::uint64_t context_generation();

protected:
    /// Joins the live resources.
    GpuResource();
    /// Leaves them; the derived class has deleted its GL objects by then.
    virtual ~GpuResource();
};

}  // namespace engine::window
