#include "engine/graphics/ActorIKChain.h"

#include "engine/core/Matrix.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <cmath>

namespace engine::graphics {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Angles here turn +x towards +y, as the world matrices do; a joint's own rotation
// turns the other way, so a change of d here is -d there.
double normalise(double a) {
    a = std::remainder(a, 2.0 * kPi);
    return a <= -kPi ? a + 2.0 * kPi : a;
}

double angle_of(const core::Matrix& m) { return std::atan2(double(m[1]), double(m[0])); }

void turn(Transform& joint, double by) { joint.set_rotation(float(double(joint.get_local_rotation()) - by)); }

}  // namespace

bool ActorIKChain::solve(Skeleton& skeleton, const core::Vector<float>* point) const {
    float w = weight;
    bool bend = bend_positive;
    if (const Transform* d = driver >= 0 ? skeleton.get_joint(unsigned(driver)) : nullptr) {
        const float r = d->get_local_rotation();
        if (std::fabs(r) >= 0.5f) {
            w = std::min(std::max(std::fabs(r) - 1.0f, 0.0f), 1.0f);
            bend = r > 0.0f;
        }
    }
    return solve(skeleton, point, w, bend);
}

bool ActorIKChain::solve(Skeleton& skeleton, const core::Vector<float>* point, float weight, bool bend_positive) const {
    Transform* bone = skeleton.get_joint(end);
    const Transform* goal = point ? nullptr : skeleton.get_joint(target);
    Transform* parent = root >= 0 ? skeleton.get_joint(unsigned(root)) : nullptr;
    if (!bone || (!goal && !point) || (root >= 0 && !parent)) return false;
    const core::Vector<float> t = point ? *point : goal->get_world_transform().get_translation();
    const double w = weight;
    if (!std::isfinite(t.x) || !std::isfinite(t.y) || !std::isfinite(w)) return false;
    if (!parent) {
        const core::Matrix& b = bone->get_world_transform();
        if (double(t.x) == b[4] && double(t.y) == b[5]) return false;  // no way to aim at its own origin
        const double aim = std::atan2(double(t.y) - b[5], double(t.x) - b[4]);
        turn(*bone, normalise(aim - angle_of(b)) * w);
        return true;
    }
    const core::Matrix p = parent->get_world_transform();
    const core::Matrix c = bone->get_world_transform();
    const double px = p[4], py = p[5], cx = c[4], cy = c[5];
    const double reach = double(length) * std::hypot(double(c[0]), double(c[1]));  // the end joint's, in world units
    const double upper = std::hypot(cx - px, cy - py);
    const double dx = double(t.x) - px, dy = double(t.y) - py;
    const double span = std::hypot(dx, dy);
    const double raw_a = std::atan2(cy - py, cx - px);
    const double raw_c = angle_of(c);
    double a;
    if (reach + upper <= span || span + reach <= upper || span + upper <= reach) {
        // Out of reach (or folded flat): straight towards the target, or away from it
        // when the end is the longer bone and the target lies within.
        a = std::atan2(dy, dx);
        if (!(reach + upper <= span) && upper < reach) a += kPi;
    } else {
        const double h = (upper * upper - reach * reach + span * span) / (2.0 * span * span);
        const double r = std::sqrt(std::max(0.0, upper * upper - h * h * span * span)) / span;
        const double hx = px + dx * h, hy = py + dy * h;
        const double rx = -dy * r, ry = dx * r;
        const Transform* grand = parent->get_parent();
        bool mirrored = false;
        if (grand) {
            const core::Matrix& g = grand->get_world_transform();
            mirrored = double(g[0]) * g[3] - double(g[1]) * g[2] < 0.0;
        }
        const bool minus = mirrored != bend_positive;
        a = std::atan2((minus ? hy - ry : hy + ry) - py, (minus ? hx - rx : hx + rx) - px);
    }
    if (!std::isfinite(a)) return false;
    const double turned = normalise(a - raw_a);
    turn(*parent, turned * w);
    // The end joint moved with its parent; it now aims from where it is.
    const core::Matrix moved = bone->get_world_transform();
    const double aim = std::atan2(double(t.y) - moved[5], double(t.x) - moved[4]);
    turn(*bone, normalise(aim - turned - raw_c) * w);
    return true;
}

}  // namespace engine::graphics
