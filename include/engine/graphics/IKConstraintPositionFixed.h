#pragma once

#include "engine/graphics/IKConstraintPosition.h"

namespace engine::graphics {

/// A position target that stays where it is put. Script thread only.
class IKConstraintPositionFixed : public IKConstraintPosition {
public:
    explicit IKConstraintPositionFixed(const core::Vector<float>& position) : position_(position) {}

    core::Vector<float> get_position() override { return position_; }
    void set_position(const core::Vector<float>& position) { position_ = position; }

private:
    core::Vector<float> position_;  // the target
};

}  // namespace engine::graphics
