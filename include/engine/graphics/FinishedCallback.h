#pragma once

#include <functional>
#include <memory>

namespace engine::graphics {

/// What an animator or a fade queue calls when it finishes, asked for by a script (or
/// native code). Shared, so that the caller can keep it alive through the call (the
/// call may replace it) without copying the function, which could allocate. Made,
/// called and dropped on the script thread (the thread that imported libgraphics).
using FinishedCallback = std::shared_ptr<const std::function<void()>>;

}  // namespace engine::graphics
