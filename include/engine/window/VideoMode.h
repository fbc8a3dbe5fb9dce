#pragma once

#include "engine/core/Vector.h"

namespace engine::window {

/// The size and mode of a window's drawing surface. A plain value: any thread.
class VideoMode {
public:
    VideoMode() = default;
    VideoMode(const core::Vector<int>& resolution, bool fullscreen)
        : resolution_(resolution), fullscreen_(fullscreen) {}

    /// Client size in pixels: x = width, y = height.
    const core::Vector<int>& get_resolution() const { return resolution_; }
    bool is_fullscreen() const { return fullscreen_; }

private:
    core::Vector<int> resolution_;  // width, height in pixels
    bool fullscreen_ = false;
};

}  // namespace engine::window
