#pragma once

#include "engine/core/Ref.h"
#include "engine/graphics/IKConstraintPosition.h"

namespace engine::graphics {

class Transform;

/// A target that follows another object: `local` in `transform`'s space, plus
/// `offset`. It holds one reference on the transform, so the object it follows lives
/// at least as long as it does. Script thread only.
class IKConstraintPositionHold : public IKConstraintPosition {
public:
    IKConstraintPositionHold(Transform* transform, const core::Vector<float>& local, const core::Vector<float>& offset);
    ~IKConstraintPositionHold() override;

    /// `local` through the transform's world matrix, plus `offset`; `offset` alone
    /// without a transform.
    core::Vector<float> get_position() override;

    Transform* get_transform() const { return transform_; }

private:
    core::Ref<Transform> transform_;  // may be null
    core::Vector<float> local_;   // point in the transform's space
    core::Vector<float> offset_;  // added afterwards, in the skeleton's space
};

}  // namespace engine::graphics
