#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/ActorController.h"
#include "engine/graphics/AnimationClip.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class ActorControllerIK;
class Skeleton;

/// Plays the actor's clips (the actor database's clips of its data id) on layers:
/// each layer has a current clip, the clip it fades out from, a queued clip, a weight,
/// an optional joint mask and an additive mode. Layers apply in index order on top of
/// the setup pose; the joints it ever drove are written each frame the pose changes.
/// Its IK controller (`get_ik`), when it has one, then solves the actor's IK rig each
/// time the pose is written; it makes one itself for a rig that is posed with clips (an
/// imported character's).
/// Callbacks are called from `update` (during scene.update), after the pose is
/// written. An "unload" of the database stops every layer (the pose stays as it was);
/// another actor (or skeleton) starts it afresh, while the same one told again keeps it.
/// Script thread only.
///
///     auto* anim = new ActorControllerAnimation;
///     actor.set_controller(anim);
///     anim->play("walk", 0.2f);
class ActorControllerAnimation : public ActorController {
public:
    /// Told (event name, clip name, layer) for each event key crossed.
    using EventCallback = std::shared_ptr<const std::function<void(const std::string&, const std::string&, int)>>;
    /// Told (clip name, layer) when a clip has played all its loops.
    using FinishedCallback = std::shared_ptr<const std::function<void(const std::string&, int)>>;

    /// Layers are 0 up to kMaxLayers - 1.
    static constexpr int kMaxLayers = 16;

    ActorControllerAnimation();
    ~ActorControllerAnimation() override;

    /// Advances every layer by dt times its speed, blends, writes the joints; true
    /// when any joint changed. Then delivers the events and finishes crossed.
    bool update(float dt) override;
    /// Stage 0: the player itself; 1: the per-joint tables and the layers; 2: the samplers.
    void prefetch(unsigned stage) const override;

    /// Starts `clip` from time 0 on `layer`, fading from what the layer showed over
    /// `fade` seconds. Layer 0 idle fades from the skeleton's current pose (a ragdoll's,
    /// a script's), every joint of it. `loops` < 0 takes the clip's own count; 0 plays forever. Returns
    /// why it could not ("" when it plays): an unknown clip, no actor, a bad layer,
    /// fade, speed or weight.
    std::string play(const std::string& clip, float fade = 0.0f, int loops = -1, float speed = 1.0f, int layer = 0,
                     float weight = 1.0f);
    /// Plays `clip` when the layer's current clip finishes (at once if the layer is
    /// idle). One clip waits per layer: queueing again replaces it.
    std::string queue(const std::string& clip, float fade = 0.0f, int loops = -1, float speed = 1.0f, int layer = 0);
    /// Fades the layer out over `fade` seconds (at once with 0); forgets its queue.
    void stop(int layer = 0, float fade = 0.0f);

    /// The layer's current clip (null when idle) and its time in the clip.
    const AnimationClip* get_clip(int layer) const;
    float get_time(int layer) const;
    /// The weight of the current clip in a crossfade: 0 at its start, 1 once done.
    float get_fade_weight(int layer) const;
    float get_weight(int layer) const;
    /// 0..1; false for a bad layer or value.
    bool set_weight(int layer, float weight);
    bool is_additive(int layer) const;
    void set_additive(int layer, bool additive);
    /// Joints (names of the actor's skeleton) the layer touches; empty: every joint.
    /// Returns the first unknown name, or "".
    std::string set_mask(int layer, const std::vector<std::string>& joints);
    float get_speed(int layer) const;
    void set_speed(int layer, float speed);

    void set_event_callback(EventCallback callback) { on_event_ = std::move(callback); }
    const EventCallback& get_event_callback() const { return on_event_; }
    void set_finished_callback(FinishedCallback callback) { on_finished_ = std::move(callback); }
    const FinishedCallback& get_finished_callback() const { return on_finished_; }

    /// The IK controller solved after each pose, or null. Told of the actor, it finds
    /// the rig; it lives as long as this controller holds it.
    ActorControllerIK* get_ik() const { return ik_.get(); }
    /// Replaces it (null: no IK). The new one is told the actor; its constraints are
    /// the caller's to set (`set_bind_pose` follows the rig's targets).
    void set_ik(ActorControllerIK* ik);

    /// The clip named `clip` of the actor, or null.
    const AnimationClip* find_clip(const std::string& clip) const;

protected:
    void on_actor(Actor* actor) override;

private:
    struct Play {
        const AnimationClip* clip = nullptr;
        float elapsed = 0.0f;  // clip time played, signed with the speed
        float speed = 1.0f;
        int loops = 1;      // 0: forever
        bool fresh = true;  // the next step includes time 0 itself
        bool finished = false;
        unsigned char sampler = 0;  // which of the layer's samplers it uses
        float time() const;         // time in the clip
        float end() const;          // |elapsed| at which it finishes
    };
    struct Request {
        const AnimationClip* clip = nullptr;
        float fade = 0.0f;
        int loops = -1;
        float speed = 1.0f;
    };
    struct Layer {
        Play current;
        Play previous;       // faded out over the fade
        float fade = 0.0f;   // seconds of the crossfade
        float faded = 0.0f;  // seconds of it done
        float weight = 1.0f;
        bool additive = false;
        Request queued;
        std::vector<unsigned char> mask;  // per joint; empty: all
        bool from_snapshot = false;       // fading out of the pose the skeleton had (layer 0)
        ClipSampler samplers[2];          // the current play's and the one fading out's
    };
    struct Pending {
        const AnimationClip* clip;
        int layer;
        int event;  // index in the clip's events; -1: the clip finished
    };
    // Offsets from the setup pose: x, y, rotation, scale x, scale y (scale as factor - 1),
    // skew.
    static constexpr int kPoseValues = 6;
    struct Pose {
        float v[kPoseValues] = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    };

    Layer* layer_at(int layer);
    const Layer* layer_at(int layer) const;
    bool check_database();
    bool settled() const;
    static void reserve_samplers(Layer& layer, const AnimationClip& clip);
    void start(Layer& layer, const Request& request, float leftover);
    void step(int index, Layer& layer, float dt);
    void advance(int index, Play& play, float dt, bool report);
    void blend();
    void apply(Layer& layer, const Play& play, float weight);
    void take_snapshot();
    void apply_snapshot(float weight);
    const float* base_of(std::size_t joint) const;  // base_[joint], or zeros below the first layer
    void fetch_joints() const;
    bool write();
    bool solve_ik(float dt);
    void find_ik_joints();
    void pose_parts();
    void part(const Play& play, float weight);
    void deliver();
    void carry_out(const ClipEvent& action);

    std::vector<Layer> layers_;          // grown by play
    std::vector<Pose> setup_;            // per joint: position, rotation, scale of the setup pose
    std::vector<Pose> pose_;             // per joint, built each frame
    std::vector<Pose> base_;             // per joint, the pose below the layer being applied
    bool nothing_below_ = true;          // the layer being applied is the first: base_ reads as zero
    std::vector<Pose> written_;          // per joint, what was last written
    std::vector<Pose> snapshot_;         // per joint, the pose an idle layer 0 fades from
    std::vector<unsigned char> driven_;  // per joint: some clip ever moved it
    // Per mesh of the actor: the frame's visibility (-1: no clip keys it) and colour
    // (used when `part_coloured_`), and what was last set on the mesh.
    std::vector<signed char> part_visible_;
    std::vector<unsigned char> part_coloured_;
    std::vector<float> part_order_;  // per mesh: the frame's drawing order; NaN: no clip keys it
    std::vector<Pose> part_colour_;
    std::vector<unsigned char> part_offset_set_;  // per mesh: some clip keys its colour offset this frame
    std::vector<Pose> part_offset_;               // per mesh: that offset (r, g, b, a)
    std::vector<Pose> shown_offset_;              // per mesh: what was last set
    std::vector<signed char> shown_visible_;
    std::vector<Pose> shown_colour_;
    core::Ref<ActorControllerIK> ik_;             // solved after each pose; null: none
    std::vector<unsigned> ik_joints_;             // joints its rig may turn, written every pose
    unsigned ik_handles_ = 0;                     // the rig's handle count ik_joints_ was found for
    std::vector<Pending> pending_;                // crossed this frame, told after the pose is written
    EventCallback on_event_;                      // script's, or null
    FinishedCallback on_finished_;                // script's, or null
    unsigned long generation_ = 0;                // the database's, when the clips were found
    const Skeleton* skeleton_ = nullptr;          // the skeleton the per-joint arrays are for (non-owning)
    bool dirty_ = true;                           // something may change the pose next update
};

}  // namespace engine::graphics
