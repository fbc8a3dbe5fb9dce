#pragma once

#include "engine/core/Vector.h"

#include <vector>

namespace engine::graphics {

/// One picture of a frame sequence: where it lies in the record's texture and how the
/// sprite is placed while it shows. Plain data, copied freely; any thread.
struct SpriteFrame {
    core::Vector<float> top_left;  // texture coordinates of the stored rectangle
    core::Vector<float> bottom_right;
    core::Vector<float> dimensions;  // size of the drawn rectangle, in pixels
    core::Vector<float> origin;      // pivot within the drawn rectangle
    bool rotated = false;            // stored turned 90 degrees clockwise in the texture
    float duration = 0.1f;           // seconds it shows, always > 0
};

/// A named frame sequence of a sprite record, played by SceneObjectAnimatorFrames.
/// Plain data; script thread only, like the records that hold it.
struct SpriteAnimation {
    /// The order the frames play in.
    enum class Direction { forward, reverse, ping_pong, ping_pong_reverse };

    std::vector<SpriteFrame> frames;  // never empty once in a record
    Direction direction = Direction::forward;
};

}  // namespace engine::graphics
