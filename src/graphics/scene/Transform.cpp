#include "engine/graphics/Transform.h"

#include "engine/core/Maths.h"
#include "engine/window/OpenGL.h"

#include "common/Prefetch.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace engine::graphics {

using core::Matrix;
using core::Vector;

namespace {

// Branches still to mark in dirty_transform; reused, so a warm walk allocates nothing.
std::vector<Transform*>& dirty_walk_forks() {
    thread_local std::vector<Transform*> forks;
    return forks;
}

}  // namespace

Transform::Transform(const Transform& other)
    : core::Object(other),
      position_(other.position_),
      rotation_(other.rotation_),
      scale_(other.scale_),
      skew_(other.skew_),
      inheritance_(other.inheritance_),
      min_rotation_(other.min_rotation_),
      max_rotation_(other.max_rotation_),
      bind_rotation_(other.bind_rotation_),
      bind_transform_(other.bind_transform_) {
    if (Transform* parent = other.parent_.get()) parent->attach(this);
}

Transform& Transform::operator=(const Transform& other) {
    if (this == &other) return *this;
    position_ = other.position_;
    rotation_ = other.rotation_;
    bind_rotation_ = other.bind_rotation_;
    min_rotation_ = other.min_rotation_;
    max_rotation_ = other.max_rotation_;
    local_dirty_ = true;
    dirty_transform();
    return *this;
}

Transform::~Transform() {
    // Both ends of a link are weak: a transform going away (its links to itself read
    // null already) leaves its parent's children, and its children live on parentless.
    if (Transform* parent = parent_.get()) parent->forget_child(this);
    std::vector<core::WeakRef<Transform>> children;
    children.swap(children_);
    for (Transform* child : children) {
        if (!child) continue;
        child->parent_.reset();
        child->dirty_transform();
    }
}

void Transform::forget_child(const Transform* child) {
    auto it = std::find_if(children_.begin(), children_.end(),
                           [&](const core::WeakRef<Transform>& link) { return link.is(child); });
    if (it != children_.end()) children_.erase(it);
}

void Transform::set_position(const Vector<float>& position) {
    if (position.x == position_.x && position.y == position_.y) return;
    position_ = position;
    local_dirty_ = true;
    dirty_transform();
}

void Transform::set_scale(const Vector<float>& scale) {
    if (scale.x == scale_.x && scale.y == scale_.y) return;
    scale_ = scale;
    local_dirty_ = true;
    dirty_transform();
}

void Transform::set_rotation(float rotation) {
    const float constrained = constrain_rotation(rotation);
    if (constrained == rotation_) return;
    rotation_ = constrained;
    local_dirty_ = true;
    dirty_transform();
}

void Transform::set_skew(float skew) {
    if (skew == skew_) return;
    skew_ = skew;
    local_dirty_ = true;
    dirty_transform();
}

void Transform::set_inheritance(unsigned flags) {
    flags &= inherit_all;
    if (flags == inheritance_) return;
    inheritance_ = flags;
    dirty_transform();
}

void Transform::set_rotation_constraint(float min_rotation, float max_rotation) {
    min_rotation_ = min_rotation;
    max_rotation_ = max_rotation;
}

float Transform::constrain_rotation(float angle) const {
    const float a = core::normalise_angle(angle);
    if (a < min_rotation_) return min_rotation_;
    if (a > max_rotation_) return max_rotation_;
    return a;
}

void Transform::generate_bind_transform() {
    if (parent_) {
        bind_transform_ =
            Matrix(Vector<float>(), -bind_rotation_) * Matrix(-position_, 0.0f) * parent_->bind_transform_;
    } else {
        // The root's position is left out of its bind pose: the pose is the hierarchy's
        // shape, and where the root stands in the world changes at run time, so a bind
        // pose holds wherever the actor is placed (Transform.RootBindTransformIgnoresPosition).
        bind_transform_.set_translation(Vector<float>());
        bind_transform_.set_rotation(-bind_rotation_);
    }
}

namespace {

// T(x, y) R(rotation) K(skew) S(scale): the x axis turns by the rotation, the y axis by
// rotation + skew.
Matrix compose(const Vector<float>& position, float rotation, float skew, const Vector<float>& scale) {
    const float ca = std::cos(rotation), sa = std::sin(rotation);
    // Without skew the y axis turns by the same angle (the very same float, down to the
    // sign of a zero): its sine and cosine are the ones just found.
    const float turned = rotation + skew;
    const bool same = turned == rotation && std::signbit(turned) == std::signbit(rotation);
    const float cb = same ? ca : std::cos(turned), sb = same ? sa : std::sin(turned);
    return Matrix(scale.x * ca, -scale.x * sa, scale.y * sb, scale.y * cb, position.x, position.y);
}

}  // namespace

void Transform::update_local() const {
    if (!local_dirty_) return;
    if (skew_ != 0.0f) {
        local_transform_ = compose(position_, rotation_, skew_, scale_);
        local_dirty_ = false;
        return;
    }
    local_transform_.set_rotation(rotation_);
    // Unit scale, the usual case, skips a multiplication that would change nothing: the
    // matrix stays the pure rotation written above
    // (Transform.UnitScaleGivesPureRotationPlusTranslation).
    if (scale_.x != 1.0f || scale_.y != 1.0f) {
        Matrix scale;
        scale.set_scale(scale_);
        local_transform_ = local_transform_ * scale;
    }
    local_transform_.set_translation(position_);
    local_dirty_ = false;
}

void Transform::update_world() const {
    if (!world_dirty_) return;
    // The usual case, joints cleaned parent first: no walk.
    if (!parent_ || !parent_->world_dirty_) {
        update_world_from_parent();
        return;
    }
    // Up to the nearest clean ancestor, then down again: iterative, since chains may be
    // far deeper than the stack allows recursion. The path is reused, so a warm update
    // allocates nothing.
    thread_local std::vector<const Transform*> path;
    for (const Transform* t = this; t && t->world_dirty_; t = t->parent_) path.push_back(t);
    while (!path.empty()) {
        path.back()->update_world_from_parent();
        path.pop_back();
    }
}

void Transform::update_world_from_parent() const {
    // Partial inheritance builds the world matrix from the parts, not the local matrix,
    // which stays stale until asked for.
    if (!parent_ || inheritance_ == inherit_all) update_local();
    if (!parent_) {
        // A root's world rotation is its rotation as stored, not normalised again.
        world_rotation_ = rotation_;
        world_transform_ = local_transform_;
        world_position_ = position_;
    } else if (inheritance_ != inherit_all) {
        compose_partially();
    } else {
        world_transform_ = parent_->world_transform_ * local_transform_;
        world_position_ = world_transform_.get_translation();
        // A plain sum of angles, even under a non-uniform scale where the drawn angle
        // differs: rotation limits, bind rotations and scripts reason in these sums, and
        // the world matrix, which draws, is exact anyway (Transform.ChildWorldRotationIsNormalisedSum).
        world_rotation_ = core::normalise_angle(parent_->world_rotation_ + rotation_);
    }
    world_dirty_ = false;
    world_x_angle_known_ = false;
    ++world_version_;
}

// Siblings that compose partially (an imported character's bones under one parent) all
// need their parent's angle: found once.
float Transform::get_world_x_angle() const {
    if (!world_x_angle_known_) {
        world_x_angle_ = -std::atan2(world_transform_[1], world_transform_[0]);
        world_x_angle_known_ = true;
    }
    return world_x_angle_;
}

// The parent's world matrix taken apart as rotation (of its x axis), skew and
// non-negative scales, then the parts this transform inherits put together again.
void Transform::compose_partially() const {
    const Matrix& p = parent_->world_transform_;
    const float parent_rotation = parent_->get_world_x_angle();
    const bool mirrored = p[0] * p[3] - p[1] * p[2] < 0.0f;
    const bool translation = inheritance_ & inherit_translation;
    const bool rotation = inheritance_ & inherit_rotation;
    if (inheritance_ & inherit_scale) {
        const float own = rotation ? rotation_ : rotation_ - parent_rotation;
        world_transform_ = p * compose(position_, own, skew_, scale_);
        if (!translation) world_transform_.set_translation(position_);
    } else {
        const Vector<float> at = translation ? position_ * p : position_;
        float r = rotation_;
        float skew = skew_;
        if (rotation) {
            r = rotation_ + parent_rotation;
            if (mirrored) {
                r -= 2.0f * rotation_;
                if (inheritance_ & inherit_reflection) skew = skew_ + float(M_PI);
            }
        }
        world_transform_ = compose(at, r, skew, scale_);
    }
    world_position_ = world_transform_.get_translation();
    world_rotation_ = rotation ? core::normalise_angle(parent_->world_rotation_ + rotation_) : rotation_;
}

const Matrix& Transform::get_local_transform() const {
    update_local();
    return local_transform_;
}

const Vector<float>& Transform::get_world_position() const {
    update_world();
    return world_position_;
}

float Transform::get_world_rotation() const {
    update_world();
    return world_rotation_;
}

const Matrix& Transform::get_world_transform() const {
    update_world();
    return world_transform_;
}

void Transform::load_into_opengl() const { window::load_into_opengl(get_world_transform()); }

void Transform::dirty_transform() {
    // A transform is cleaned only after its parent, so below a dirty transform every
    // descendant is dirty already: the walk stops there. That keeps attaching a fresh
    // subtree constant-time, and building a chain linear. The same holds here: a
    // transform already dirty has nothing clean below it, so a clip writing every joint
    // of a chain walks the chain once, not once per joint. Iterative, like update_world:
    // it follows one clean child at a time and keeps the others (a fork) for later, so
    // a skeleton's chains need no list at all.
    note_change();  // picking and overlap see it, dirty already or not
    if (world_dirty_) return;
    std::vector<Transform*>* forks = nullptr;
    Transform* t = this;
    for (;;) {
        t->world_dirty_ = true;
        Transform* next = nullptr;
        for (Transform* child : t->children_) {
            if (!child || child->world_dirty_) continue;  // null: a child on its way out
            if (!next) {
                next = child;
                continue;
            }
            if (!forks) forks = &dirty_walk_forks();
            forks->push_back(child);
        }
        if (!next) {
            if (!forks || forks->empty()) return;
            next = forks->back();
            forks->pop_back();
        }
        t = next;
    }
}

void Transform::prefetch_links() const { prefetch_table(children_); }

void Transform::attach(Transform* child) {
    if (Transform* parent = child->parent_.get()) parent->detach(child);
    child->parent_ = this;
    children_.emplace_back(child);
    child->dirty_transform();
}

void Transform::detach(Transform* child) {
    if (!child->parent_.is(this)) return;
    child->parent_.reset();
    forget_child(child);
    child->dirty_transform();
}

}  // namespace engine::graphics
