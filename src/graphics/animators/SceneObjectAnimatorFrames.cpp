#include "engine/graphics/SceneObjectAnimatorFrames.h"

#include "engine/core/Log.h"
#include "engine/graphics/Sprite.h"
#include "engine/graphics/SpriteData.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

namespace engine::graphics {

using Direction = SpriteAnimation::Direction;

SceneObjectAnimatorFrames::SceneObjectAnimatorFrames(std::string animation, float fps, int loops,
                                                     const std::string& direction)
    : name_(std::move(animation)),
      fps_(fps),
      loops_(loops),
      override_direction_(!direction.empty()),
      direction_(Direction::forward) {
    if (!(fps >= 0.0f) || !std::isfinite(fps))
        throw std::invalid_argument(
            "SceneObjectAnimatorFrames: fps must be a finite number >= 0 (0: the frames' "
            "own durations), got " +
            std::to_string(fps));
    if (loops < 0)
        throw std::invalid_argument("SceneObjectAnimatorFrames: loops must be >= 0 (0: for ever), got " +
                                    std::to_string(loops));
    if (direction == "forward")
        direction_ = Direction::forward;
    else if (direction == "reverse")
        direction_ = Direction::reverse;
    else if (direction == "pingpong")
        direction_ = Direction::ping_pong;
    else if (direction == "pingpong_reverse")
        direction_ = Direction::ping_pong_reverse;
    else if (!direction.empty())
        throw std::invalid_argument(
            "SceneObjectAnimatorFrames: direction must be 'forward', 'reverse', 'pingpong', "
            "'pingpong_reverse' or '' (the sequence's own), got '" +
            direction + "'");
}

int SceneObjectAnimatorFrames::get_loops_done() const {
    if (done_) return loops_;
    if (!started_ || !animation_) return 0;
    return int(last_step_ < 0 ? passes_ : step_ / cycle_);
}

bool SceneObjectAnimatorFrames::start(Sprite& sprite) {
    const SpriteData* data = sprite.get_data();
    animation_ = data ? data->find_animation(name_) : nullptr;
    if (!animation_ || animation_->frames.empty()) {
        core::Log::warning("graphics", "Sprite '%s' has no frame sequence '%s': the frame animator stops.",
                           sprite.get_data_id().c_str(), name_.c_str());
        return false;
    }
    if (!override_direction_) direction_ = animation_->direction;
    const long long n = static_cast<long long>(animation_->frames.size());
    const bool ping_pong = direction_ == Direction::ping_pong || direction_ == Direction::ping_pong_reverse;
    cycle_ = ping_pong && n > 1 ? 2 * n - 2 : n;
    // A ping-pong loop comes back to where it began, so a finite run ends on that frame.
    if (loops_ > 0) last_step_ = loops_ * cycle_ - (ping_pong && n > 1 ? 0 : 1);
    cycle_time_ = 0.0f;
    for (long long s = 0; s < cycle_; ++s) cycle_time_ += duration_of(frame_at(s));
    return true;
}

int SceneObjectAnimatorFrames::frame_at(long long step) const {
    const long long n = static_cast<long long>(animation_->frames.size());
    const long long s = step % cycle_;
    switch (direction_) {
        case Direction::forward:
            return int(s);
        case Direction::reverse:
            return int(n - 1 - s);
        case Direction::ping_pong:
            return int(s < n ? s : 2 * n - 2 - s);
        case Direction::ping_pong_reverse:
            return int(n - 1 - (s < n ? s : 2 * n - 2 - s));
    }
    return 0;
}

float SceneObjectAnimatorFrames::duration_of(int frame) const {
    return fps_ > 0.0f ? 1.0f / fps_ : animation_->frames[std::size_t(frame)].duration;
}

void SceneObjectAnimatorFrames::skip_whole_cycles() {
    // A long step (a stall, a skipped scene) passes whole loops at once rather than
    // frame by frame; a loop changes nothing but the count.
    if (!(cycle_time_ > 0.0f) || elapsed_ < cycle_time_) return;
    const double whole = std::floor(double(elapsed_) / double(cycle_time_));
    if (last_step_ < 0) {
        // For ever: only the phase matters, and fmod keeps it exactly however long the step.
        elapsed_ = std::fmod(elapsed_, cycle_time_);
        passes_ = whole >= double(kMaxPasses - passes_) ? kMaxPasses : passes_ + static_cast<long long>(whole);
        return;
    }
    // A finite run passes at most the loops it has left (no more than `loops_`).
    const long long passed = std::min(static_cast<long long>(std::min(whole, 1e12)), (last_step_ - step_) / cycle_);
    step_ += passed * cycle_;
    elapsed_ = std::max(0.0f, float(double(elapsed_) - double(passed) * double(cycle_time_)));
}

bool SceneObjectAnimatorFrames::advance(float dt) {
    if (dt > 0.0f && std::isfinite(dt)) elapsed_ += dt;  // a NaN or negative step stands still
    skip_whole_cycles();
    for (float d = duration_of(frame_at(step_)); elapsed_ >= d; d = duration_of(frame_at(step_))) {
        if (step_ == last_step_) return false;
        elapsed_ -= d;
        if (++step_ == cycle_ && last_step_ < 0) {
            step_ = 0;  // for ever: the step count stays within one loop
            if (passes_ < kMaxPasses) ++passes_;
        }
    }
    return true;
}

void SceneObjectAnimatorFrames::on_update(float dt) {
    if (!object_) return;
    Sprite* sprite = dynamic_cast<Sprite*>(object_.get());
    if (!started_) {
        started_ = true;
        if (!sprite || !start(*sprite)) {
            if (!sprite)
                core::Log::warning("graphics", "A frame animator was given an object that is not a Sprite: it stops.");
            animation_ = nullptr;
            finish();
            return;
        }
    }
    if (!sprite || !animation_) return;
    const bool going = advance(dt);
    const int frame = frame_at(step_);
    if (frame != frame_) {
        frame_ = frame;
        sprite->show_frame(animation_->frames[std::size_t(frame)]);
    }
    if (!going) {
        done_ = true;
        finish();
    }
}

}  // namespace engine::graphics
