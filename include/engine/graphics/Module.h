#pragma once

#include "engine/graphics/RenderContext.h"

namespace engine::window {
class Window;
}

namespace engine::graphics {

// Every function here is for the script thread only: the thread that imported
// libgraphics and owns the GL context. The same holds for every class of this module
// but TextureLoader's own thread (which only decodes), ImageBuffer::decode and Spring.

/// Makes `window` the one the graphics module draws into (null: none). Setting one
/// installs the module's window listener (which creates and releases the module's GL
/// objects with the context and follows resizes); null detaches it. What the module
/// knows of the context is in RenderContext.h.
void set_window(window::Window* window);

}  // namespace engine::graphics
