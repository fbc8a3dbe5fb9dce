#include "engine/graphics/Spring.h"

#include <cmath>

namespace engine::graphics {

namespace {

// Length that treats a vector shorter than about 3.5e-4 (squared length below the
// float epsilon) as zero, so that a spring on its target comes to rest.
float length(const core::Vector<float>& v) {
    const float squared = v.x * v.x + v.y * v.y;
    return squared < 1.1920929e-07f ? 0.0f : std::sqrt(squared);
}

}  // namespace

Spring::Spring(const core::Vector<float>& position, const core::Vector<float>& velocity, float stiffness, float damping,
               float max_distance, float rest_threshold)
    : position_(position),
      velocity_(velocity),
      stiffness_(stiffness),
      damping_(damping),
      max_distance_(max_distance),
      rest_threshold_(rest_threshold) {}

bool Spring::update(float dt, const core::Vector<float>& target) {
    const core::Vector<float> d = target - position_;
    float len = length(d);
    if (len > 0.0f) {
        const float inverse = 1.0f / len;  // rounded before scaling
        const core::Vector<float> n = d * inverse;
        if (max_distance_ > 0.0f && max_distance_ < len) {
            // Never trail further than max_distance: jump before integrating.
            len = max_distance_;
            position_ = target - n * max_distance_;
        }
        const float a = stiffness_ * len * dt;
        velocity_ = velocity_ + n * a;
    }
    position_ = position_ + velocity_ * dt;
    // The damping factor scales linearly with dt * 60, exact only at 1/60 s: one
    // multiplication per soft vertex, and meshes step at 60 Hz with damping values tuned
    // to this factor. Above 1/60 s the factor can pass 1, hence Spring.h's advice
    // (Spring.DampingScalesWithTheStep).
    velocity_ = velocity_ * ((1.0f - damping_) * (dt * 60.0f));
    if (rest_threshold_ <= len) return true;
    // A squared speed against the threshold, which the distance is compared with plainly:
    // no square root per vertex, and at the usual threshold of 1 both mean one unit (a
    // spring rests below one unit away and one unit a second). Another threshold t rests
    // below t units away and sqrt(t) units a second
    // (Spring.RestComparesSquaredSpeedWithTheThreshold).
    if (rest_threshold_ <= velocity_.x * velocity_.x + velocity_.y * velocity_.y) return true;
    velocity_ = core::Vector<float>();
    position_ = target;
    return false;
}

}  // namespace engine::graphics
