#pragma once

#include "engine/graphics/SceneObjectAnimator.h"
#include "engine/graphics/SpriteAnimation.h"

#include <string>

namespace engine::graphics {

class Sprite;

/// Plays a named frame sequence of a sprite's record (a sheet's animation) on that
/// sprite: at every step it shows the frame the time has reached. Each frame shows for
/// its own duration, or 1 / fps seconds when fps > 0. A loop is one pass (there and
/// back, ending on the first frame, for ping-pong); after `loops` loops (0: for ever)
/// the last frame shown stays and the animator finishes. A sprite whose record has no
/// such sequence gets one warning and the animator finishes at its first step. Script
/// thread only; a step allocates nothing.
///
///     sprite_database.load_sheet("crab.json", id="crab")
///     crab = Sprite("crab")
///     crab.add_animator("walk", SceneObjectAnimatorFrames("walk", loops=0))
class SceneObjectAnimatorFrames : public SceneObjectAnimator {
public:
    /// `direction` ("forward", "reverse", "pingpong", "pingpong_reverse") replaces the
    /// sequence's own order; empty keeps it. Throws std::invalid_argument for an fps
    /// that is negative or not finite, negative loops or an unknown direction.
    SceneObjectAnimatorFrames(std::string animation, float fps, int loops, const std::string& direction);

    const std::string& get_animation() const { return name_; }
    float get_fps() const { return fps_; }
    int get_loops() const { return loops_; }
    /// The index in the sequence of the frame shown, -1 before the first step.
    int get_frame() const { return frame_; }
    /// Whole loops played so far (at most 2^31 - 1).
    int get_loops_done() const;

protected:
    void on_update(float dt) override;

private:
    static constexpr long long kMaxPasses = 0x7fffffff;  // the loop count stops here

    bool start(Sprite& sprite);          // finds the sequence; false when there is none
    int frame_at(long long step) const;  // the frame index shown at step `step`
    float duration_of(int frame) const;
    bool advance(float dt);  // false once the last step is passed
    void skip_whole_cycles();

    std::string name_;                            // the sequence played
    float fps_;                                   // > 0: frames per second; else their durations
    int loops_;                                   // 0: for ever
    bool override_direction_;                     // direction_ replaces the sequence's
    SpriteAnimation::Direction direction_;        // the order played
    const SpriteAnimation* animation_ = nullptr;  // in the sprite's record, which it holds
    long long cycle_ = 1;                         // steps in one loop
    long long last_step_ = -1;                    // the final step; -1: for ever
    long long step_ = 0;                          // steps since the start (for ever: since the loop began)
    long long passes_ = 0;                        // loops played, when playing for ever
    float cycle_time_ = 0.0f;                     // seconds one loop lasts
    float elapsed_ = 0.0f;                        // seconds into the current frame
    int frame_ = -1;                              // frame index shown, -1 before the start
    bool started_ = false;                        // the sequence has been looked up
    bool done_ = false;                           // every loop has played
};

}  // namespace engine::graphics
