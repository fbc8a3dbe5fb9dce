#pragma once

#include "engine/graphics/IKConstraintRotation.h"

namespace engine::graphics {

/// A rotation target that stays what it is set to. Script thread only.
class IKConstraintRotationFixed : public IKConstraintRotation {
public:
    explicit IKConstraintRotationFixed(float rotation, bool in_world_space = false)
        : IKConstraintRotation(in_world_space), rotation_(rotation) {}

    float get_rotation(const core::Vector<float>&) override { return rotation_; }
    void set_rotation(float rotation) { rotation_ = rotation; }

private:
    float rotation_;  // radians
};

}  // namespace engine::graphics
