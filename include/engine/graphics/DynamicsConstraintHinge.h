#pragma once

#include "engine/graphics/DynamicsConstraint.h"

#include <string>

namespace engine::graphics {

/// Two rig bodies hinged together ("ConstraintHinge"), with optional angle limits.
/// Owned by its ActorRigDynamics; script thread only.
class DynamicsConstraintHinge : public DynamicsConstraint {
public:
    DynamicsConstraintHinge(std::string body_0, std::string body_1)
        : DynamicsConstraint(Hinge), body_0_(std::move(body_0)), body_1_(std::move(body_1)) {}

    const std::string& get_body_0() const { return body_0_; }
    const std::string& get_body_1() const { return body_1_; }
    /// Enables the limits, in radians.
    void set_limits(float lower, float upper) {
        limits_enabled_ = true;
        lower_ = lower;
        upper_ = upper;
    }
    bool has_limits() const { return limits_enabled_; }
    float get_lower() const { return lower_; }
    float get_upper() const { return upper_; }

    /// A revolute joint between the two bodies at the first one's centre of mass, limited
    /// when limits are given. Nothing when either body is missing.
    void create(ActorControllerDynamics& controller) override;

private:
    std::string body_0_;  // the hinge sits at this body's centre of mass
    std::string body_1_;
    bool limits_enabled_ = false;  // angle limits given
    float lower_ = 0.0f;           // radians
    float upper_ = 0.0f;           // radians
};

}  // namespace engine::graphics
