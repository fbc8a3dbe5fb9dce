#include "engine/graphics/IKConstraintPosition.h"
#include "engine/graphics/IKConstraintPositionHold.h"
#include "engine/graphics/IKConstraintRotation.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics {

void IKConstraintPosition::initialise(const core::Vector<float>&) {}
void IKConstraintPosition::update(float) {}
core::Vector<float> IKConstraintPosition::get_position() { return {}; }

bool IKConstraintPosition::set_weight(float weight) {
    if (!(weight >= 0.0f && weight <= 1.0f)) return false;
    weight_ = weight;
    return true;
}

IKConstraintPositionHold::IKConstraintPositionHold(Transform* transform, const core::Vector<float>& local,
                                                   const core::Vector<float>& offset)
    : transform_(transform), local_(local), offset_(offset) {}

IKConstraintPositionHold::~IKConstraintPositionHold() = default;

core::Vector<float> IKConstraintPositionHold::get_position() {
    if (!transform_) return offset_;
    return local_ * transform_->get_world_transform() + offset_;
}

void IKConstraintRotation::initialise(float, float) {}
void IKConstraintRotation::update(float) {}
float IKConstraintRotation::get_rotation(const core::Vector<float>&) { return 0.0f; }

}  // namespace engine::graphics
