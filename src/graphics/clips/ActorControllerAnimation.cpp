#include "engine/graphics/ActorControllerAnimation.h"

#include "common/Prefetch.h"

#include "engine/core/Ref.h"
#include "engine/graphics/ActorMesh.h"

#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerIK.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/ActorRigIK.h"
#include "engine/graphics/AnimationClip.h"
#include "common/FactoryObjects.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace engine::graphics {

namespace {

constexpr float kTurn = 6.2831853f;
// A frame that jumps past more passes than this reports the events of this many only,
// so that a huge step over a tiny looping clip cannot stall the frame.
constexpr double kMaxPassesPerStep = 1000.0;

bool finite(float v) { return std::isfinite(v); }

// The angle wrapped into [-pi, pi]; cheap for the usual angle already inside.
float short_way(float angle) {
    constexpr float kHalf = 3.14159265f;
    return angle >= -kHalf && angle <= kHalf ? angle : std::remainder(angle, kTurn);
}

}  // namespace

// Play -------------------------------------------------------------------------------

float ActorControllerAnimation::Play::end() const {
    return loops == 0 ? std::numeric_limits<float>::infinity() : float(loops) * clip->get_duration();
}

float ActorControllerAnimation::Play::time() const {
    const float d = clip->get_duration();
    if (finished) return speed < 0.0f ? 0.0f : d;
    float t = std::fmod(elapsed, d);
    if (t < 0.0f) t += d;
    return t;
}

// Controller ---------------------------------------------------------------------------

ActorControllerAnimation::ActorControllerAnimation() {
    layers_.reserve(kMaxLayers);
    pending_.reserve(32);
}

ActorControllerAnimation::~ActorControllerAnimation() = default;

void ActorControllerAnimation::on_actor(Actor* actor) {
    // Told the same actor again (a stack handing it on, the actor re-set): keep playing.
    Skeleton* skeleton = actor ? actor->get_skeleton() : nullptr;
    if (actor && skeleton == skeleton_ && generation_ == ActorDatabase::generation()) return;
    skeleton_ = skeleton;
    layers_.clear();
    pending_.clear();
    generation_ = ActorDatabase::generation();
    dirty_ = true;
    const unsigned count = skeleton ? skeleton->get_num_joints() : 0;
    setup_.assign(count, Pose{});
    pose_.assign(count, Pose{});
    base_.assign(count, Pose{});
    written_.assign(count, Pose{});
    snapshot_.assign(count, Pose{});
    for (Pose& p : written_) std::fill(std::begin(p.v), std::end(p.v), std::numeric_limits<float>::quiet_NaN());
    driven_.assign(count, 0);
    const unsigned meshes = actor ? actor->get_num_meshes() : 0;
    part_visible_.assign(meshes, -1);
    part_coloured_.assign(meshes, 0);
    part_order_.assign(meshes, std::numeric_limits<float>::quiet_NaN());
    part_colour_.assign(meshes, Pose{});
    part_offset_set_.assign(meshes, 0);
    part_offset_.assign(meshes, Pose{});
    shown_offset_.assign(meshes, Pose{});
    for (Pose& p : shown_offset_) std::fill(std::begin(p.v), std::end(p.v), std::numeric_limits<float>::quiet_NaN());
    shown_visible_.assign(meshes, -1);
    shown_colour_.assign(meshes, Pose{});
    for (Pose& p : shown_colour_) std::fill(std::begin(p.v), std::end(p.v), std::numeric_limits<float>::quiet_NaN());
    // The setup pose is the template's, so a pose the actor was given before this
    // controller does not shift every clip.
    const ActorData* data = ActorDatabase::find_actor_data(actor ? actor->get_data_id() : std::string());
    const Skeleton* setup = data ? data->get_skeleton() : skeleton;
    for (unsigned j = 0; j < count; ++j) {
        const Transform* joint = setup ? setup->get_joint(j) : nullptr;
        if (!joint || (setup != skeleton && setup->get_num_joints() != count)) joint = skeleton->get_joint(j);
        if (!joint) continue;
        setup_[j].v[0] = joint->get_local_position().x;
        setup_[j].v[1] = joint->get_local_position().y;
        setup_[j].v[2] = joint->get_bind_rotation();
        setup_[j].v[3] = joint->get_local_scale().x;
        setup_[j].v[4] = joint->get_local_scale().y;
        setup_[j].v[5] = joint->get_skew();
    }
    // A rig posed with clips (an imported character's) gets an IK controller at its
    // bind pose, following the rig's target joints; one a script gave is kept. Last:
    // the factory may run script code.
    const ActorRigIK* rig = actor ? ActorDatabase::find_ik_rig(actor->get_data_id()) : nullptr;
    if (!ik_ && rig && rig->is_posed_with_clips()) {
        ik_ = create_through_factory<ActorControllerIK>("ActorControllerIK");
        if (ik_) {
            ik_->set_actor(actor);
            ik_->follow_targets();
        }
    } else if (ik_) {
        ik_->set_actor(actor);
    }
    find_ik_joints();
}

bool ActorControllerAnimation::check_database() {
    if (generation_ == ActorDatabase::generation()) return true;
    // The clips went with an "unload": stop everything, leave the pose as it is.
    generation_ = ActorDatabase::generation();
    for (Layer& layer : layers_) {
        layer.current = Play{};
        layer.previous = Play{};
        layer.queued = Request{};
    }
    pending_.clear();
    return false;
}

const AnimationClip* ActorControllerAnimation::find_clip(const std::string& clip) const {
    const Actor* actor = get_actor();
    const ActorData* data = actor ? ActorDatabase::find_actor_data(actor->get_data_id()) : nullptr;
    return data ? data->get_clip(clip) : nullptr;
}

ActorControllerAnimation::Layer* ActorControllerAnimation::layer_at(int layer) {
    return layer >= 0 && layer < int(layers_.size()) ? &layers_[size_t(layer)] : nullptr;
}

const ActorControllerAnimation::Layer* ActorControllerAnimation::layer_at(int layer) const {
    return layer >= 0 && layer < int(layers_.size()) ? &layers_[size_t(layer)] : nullptr;
}

std::string ActorControllerAnimation::play(const std::string& clip, float fade, int loops, float speed, int layer,
                                           float weight) {
    if (layer < 0 || layer >= kMaxLayers)
        return "layer " + std::to_string(layer) + " is outside 0.." + std::to_string(kMaxLayers - 1);
    if (!finite(weight) || weight < 0.0f || weight > 1.0f)
        return "weight " + std::to_string(weight) + " is outside 0..1";
    const std::string queued = queue(clip, fade, loops, speed, -1);
    if (!queued.empty()) return queued;
    check_database();
    if (int(layers_.size()) <= layer) layers_.resize(size_t(layer) + 1);
    Layer& l = layers_[size_t(layer)];
    l.weight = weight;
    l.queued = Request{};
    const AnimationClip* found = find_clip(clip);
    reserve_samplers(l, *found);
    start(l, Request{found, fade, loops, speed}, 0.0f);
    return {};
}

std::string ActorControllerAnimation::queue(const std::string& clip, float fade, int loops, float speed, int layer) {
    if (!get_actor()) return "the controller has no actor";
    check_database();
    const AnimationClip* found = find_clip(clip);
    if (!found) return "actor \"" + get_actor()->get_data_id() + "\" has no clip \"" + clip + "\"";
    if (!finite(fade) || fade < 0.0f) return "fade " + std::to_string(fade) + " is not a number of seconds >= 0";
    if (!finite(speed)) return "speed is not a number";
    if (loops < -1) return "loops " + std::to_string(loops) + " is negative (0 plays forever)";
    if (layer < 0) return {};  // checks only, for play
    if (layer >= kMaxLayers)
        return "layer " + std::to_string(layer) + " is outside 0.." + std::to_string(kMaxLayers - 1);
    if (int(layers_.size()) <= layer) layers_.resize(size_t(layer) + 1);
    Layer& l = layers_[size_t(layer)];
    reserve_samplers(l, *found);
    const Request request{found, fade, loops, speed};
    if (l.current.clip && !l.current.finished)
        l.queued = request;
    else
        start(l, request, 0.0f);
    return {};
}

void ActorControllerAnimation::reserve_samplers(Layer& layer, const AnimationClip& clip) {
    for (ClipSampler& sampler : layer.samplers) sampler.keys.reserve(clip.get_tracks().size());
}

void ActorControllerAnimation::start(Layer& layer, const Request& request, float leftover) {
    if (request.fade > 0.0f) {
        // What the layer showed fades out; a fade-out already under way keeps going
        // when the layer was idle. An idle bottom layer fades from the skeleton as it
        // stands, which is how an actor gets up from a ragdoll's pose.
        if (layer.current.clip) {
            layer.previous = layer.current;
            layer.from_snapshot = false;
        } else if (!layer.previous.clip && &layer == layers_.data()) {
            take_snapshot();
            layer.from_snapshot = true;
        }
        layer.fade = request.fade;
    } else {
        layer.previous = Play{};
        layer.fade = 0.0f;
        layer.from_snapshot = false;
    }
    layer.faded = leftover;  // a queued start comes part-way through the frame
    layer.current = Play{};
    layer.current.clip = request.clip;
    // The sampler the fading play does not use; sized when the clip was asked for, so
    // a queued start within a frame allocates nothing.
    layer.current.sampler = layer.previous.clip && layer.previous.sampler == 0 ? 1 : 0;
    ClipSampler& sampler = layer.samplers[layer.current.sampler];
    sampler.keys.assign(request.clip->get_tracks().size(), 0);
    sampler.x = -1.0f;
    layer.current.speed = request.speed;
    layer.current.loops = request.loops < 0 ? request.clip->get_loops() : request.loops;
    dirty_ = true;
    if (leftover > 0.0f) advance(int(&layer - layers_.data()), layer.current, leftover, true);
}

void ActorControllerAnimation::stop(int layer, float fade) {
    Layer* l = layer_at(layer);
    if (!l) return;
    if (finite(fade) && fade > 0.0f && l->current.clip) {
        l->previous = l->current;
        l->fade = fade;
        l->faded = 0.0f;
    } else {
        l->previous = Play{};
        l->fade = 0.0f;
    }
    l->current = Play{};
    l->queued = Request{};
    dirty_ = true;
}

const AnimationClip* ActorControllerAnimation::get_clip(int layer) const {
    const Layer* l = layer_at(layer);
    return l && generation_ == ActorDatabase::generation() ? l->current.clip : nullptr;
}

float ActorControllerAnimation::get_time(int layer) const {
    const AnimationClip* clip = get_clip(layer);
    return clip ? layer_at(layer)->current.time() : 0.0f;
}

float ActorControllerAnimation::get_fade_weight(int layer) const {
    const Layer* l = layer_at(layer);
    if (!l || l->fade <= 0.0f) return 1.0f;
    return std::min(l->faded / l->fade, 1.0f);
}

float ActorControllerAnimation::get_weight(int layer) const {
    const Layer* l = layer_at(layer);
    return l ? l->weight : 1.0f;
}

bool ActorControllerAnimation::set_weight(int layer, float weight) {
    if (layer < 0 || layer >= kMaxLayers || !finite(weight) || weight < 0.0f || weight > 1.0f) return false;
    if (int(layers_.size()) <= layer) layers_.resize(size_t(layer) + 1);
    layers_[size_t(layer)].weight = weight;
    dirty_ = true;
    return true;
}

bool ActorControllerAnimation::is_additive(int layer) const {
    const Layer* l = layer_at(layer);
    return l && l->additive;
}

void ActorControllerAnimation::set_additive(int layer, bool additive) {
    if (layer < 0 || layer >= kMaxLayers) return;
    if (int(layers_.size()) <= layer) layers_.resize(size_t(layer) + 1);
    layers_[size_t(layer)].additive = additive;
    dirty_ = true;
}

std::string ActorControllerAnimation::set_mask(int layer, const std::vector<std::string>& joints) {
    if (layer < 0 || layer >= kMaxLayers)
        return "layer " + std::to_string(layer) + " is outside 0.." + std::to_string(kMaxLayers - 1);
    const Actor* actor = get_actor();
    const Skeleton* skeleton = actor ? actor->get_skeleton() : nullptr;
    if (!skeleton) return "the controller's actor has no skeleton";
    std::vector<unsigned char> mask;
    if (!joints.empty()) {
        mask.assign(skeleton->get_num_joints(), 0);
        for (const std::string& name : joints) {
            const Transform* joint = skeleton->get_joint(name);
            if (!joint) return name;
            for (unsigned j = 0; j < skeleton->get_num_joints(); ++j)
                if (skeleton->get_joint(j) == joint) mask[j] = 1;
        }
    }
    if (int(layers_.size()) <= layer) layers_.resize(size_t(layer) + 1);
    layers_[size_t(layer)].mask = std::move(mask);
    dirty_ = true;
    return {};
}

float ActorControllerAnimation::get_speed(int layer) const {
    const Layer* l = layer_at(layer);
    return l && l->current.clip ? l->current.speed : 1.0f;
}

void ActorControllerAnimation::set_speed(int layer, float speed) {
    Layer* l = layer_at(layer);
    if (l && l->current.clip && finite(speed)) l->current.speed = speed;
}

// Stepping -----------------------------------------------------------------------------

void ActorControllerAnimation::advance(int index, Play& play, float dt, bool report) {
    if (!play.clip || play.finished) return;
    const double d = play.clip->get_duration();
    const double a = play.elapsed;
    double b = a + double(dt) * play.speed;
    if (b == a && !play.fresh) return;
    const double end = play.end();
    if (std::fabs(b) >= end) {
        b = b < 0.0 ? -end : end;
        play.finished = true;
    }
    const std::vector<ClipEvent>& events = play.clip->get_events();
    // Events are gathered for a script that listens; play actions, carried out here,
    // always.
    if (report && (on_event_ || play.clip->has_actions()) && !events.empty()) {
        const bool forward = b >= a;
        double first = std::floor((forward ? a : b) / d), last = std::floor((forward ? b : a) / d);
        // A finite play has passes 0 .. loops - 1 forward and -1 .. -loops backward.
        if (play.loops > 0) {
            first = std::max(first, forward ? 0.0 : -double(play.loops));
            last = std::min(last, forward ? double(play.loops - 1) : 0.0);
        }
        if (last - first > kMaxPassesPerStep) {
            if (forward)
                first = last - kMaxPassesPerStep;
            else
                last = first + kMaxPassesPerStep;
        }
        const int count = int(events.size());
        const int passes = int(last - first);  // at most kMaxPassesPerStep
        for (int p = 0; p <= passes; ++p) {
            const double k = forward ? first + p : last - p;
            for (int i = 0; i < count; ++i) {
                const int e = forward ? i : count - 1 - i;
                const double t = k * d + events[size_t(e)].time;
                const bool in = forward ? ((t > a || (play.fresh && t == a)) && t <= b)
                                        : ((t < a || (play.fresh && t == a)) && t >= b);
                if (in && (on_event_ || !events[size_t(e)].play.empty()))
                    pending_.push_back(Pending{play.clip, index, e});
            }
        }
    }
    // A play without end keeps its played time within one pass, so that it never
    // grows past what a float counts exactly.
    play.elapsed = float(play.loops == 0 ? std::fmod(b, d) : b);
    play.fresh = false;
    if (play.finished && report && on_finished_) pending_.push_back(Pending{play.clip, index, -1});
}

void ActorControllerAnimation::step(int index, Layer& layer, float dt) {
    if (layer.current.clip && !layer.current.finished) {
        const float before = layer.current.elapsed;
        advance(index, layer.current, dt, true);
        if (layer.current.finished && layer.queued.clip) {
            // The time left over after the end starts the queued clip.
            const float used =
                std::fabs(layer.current.elapsed - before) / std::max(std::fabs(layer.current.speed), 1e-30f);
            const Request next = layer.queued;
            layer.queued = Request{};
            start(layer, next, std::max(dt - used, 0.0f));
            return;
        }
    }
    advance(index, layer.previous, dt, false);
    if (layer.fade > 0.0f) {
        layer.faded += std::max(dt, 0.0f);  // a fade only goes forward
        if (layer.faded >= layer.fade) {
            layer.previous = Play{};
            layer.fade = 0.0f;
            layer.from_snapshot = false;
        }
    }
}

void ActorControllerAnimation::apply(Layer& layer, const Play& play, float weight) {
    if (weight <= 0.0f) return;
    const float time = play.time();
    const size_t count = pose_.size();
    const std::vector<ClipTrack>& tracks = play.clip->get_tracks();
    ClipSampler& sampler = layer.samplers[play.sampler];
    for (size_t t = 0; t < tracks.size(); ++t) {
        const ClipTrack& track = tracks[t];
        const unsigned j = track.joint;
        if (j >= count || (!layer.mask.empty() && (j >= layer.mask.size() || !layer.mask[j]))) continue;
        float value[4];
        AnimationClip::sample(track, time, value, sampler, t);
        driven_[j] = 1;
        float* pose = pose_[j].v;
        const float* base = base_of(j);
        switch (track.channel) {
            case ClipChannel::position:
                if (layer.additive) {
                    pose[0] += weight * value[0];
                    pose[1] += weight * value[1];
                } else {
                    pose[0] += weight * (value[0] - base[0]);
                    pose[1] += weight * (value[1] - base[1]);
                }
                break;
            case ClipChannel::rotation:
                // Blending turns the short way from what lies below; an additive layer
                // adds its whole angle.
                pose[2] += weight * (layer.additive ? value[0] : short_way(value[0] - base[2]));
                break;
            case ClipChannel::skew:
                pose[5] += weight * (layer.additive ? value[0] : short_way(value[0] - base[5]));
                break;
            case ClipChannel::visible:
            case ClipChannel::colour:
            case ClipChannel::order:
            case ClipChannel::offset:
                break;  // part channels live in their own tracks
            case ClipChannel::scale:
                // Kept as factor - 1, so that offsets blend and add like the others.
                if (layer.additive) {
                    pose[3] += weight * (value[0] - 1.0f);
                    pose[4] += weight * (value[1] - 1.0f);
                } else {
                    pose[3] += weight * (value[0] - 1.0f - base[3]);
                    pose[4] += weight * (value[1] - 1.0f - base[4]);
                }
                break;
        }
    }
}

void ActorControllerAnimation::take_snapshot() {
    const Skeleton* skeleton = get_actor() ? get_actor()->get_skeleton() : nullptr;
    const unsigned count = skeleton ? std::min(unsigned(snapshot_.size()), skeleton->get_num_joints()) : 0;
    for (unsigned j = 0; j < count; ++j) {
        const Transform* joint = skeleton->get_joint(j);
        if (!joint) continue;
        const float* setup = setup_[j].v;
        float* offset = snapshot_[j].v;
        offset[0] = joint->get_local_position().x - setup[0];
        offset[1] = joint->get_local_position().y - setup[1];
        offset[2] = std::remainder(joint->get_local_rotation() - setup[2], kTurn);
        offset[3] = setup[3] != 0.0f ? joint->get_local_scale().x / setup[3] - 1.0f : 0.0f;
        offset[4] = setup[4] != 0.0f ? joint->get_local_scale().y / setup[4] - 1.0f : 0.0f;
        offset[5] = std::remainder(joint->get_skew() - setup[5], kTurn);
        driven_[j] = 1;
    }
}

void ActorControllerAnimation::apply_snapshot(float weight) {
    for (size_t j = 0; j < pose_.size(); ++j) {
        float* pose = pose_[j].v;
        const float* base = base_of(j);
        const float* value = snapshot_[j].v;
        for (int c = 0; c < kPoseValues; ++c)
            pose[c] += weight * (c == 2 || c == 5 ? short_way(value[c] - base[c]) : value[c] - base[c]);
    }
}

void ActorControllerAnimation::blend() {
    std::fill(pose_.begin(), pose_.end(), Pose{});
    // Below the first layer lies nothing: its base is all zero, read as such rather than
    // copied (one table less to touch per frame for the usual single layer).
    nothing_below_ = true;
    for (Layer& layer : layers_) {
        if (!layer.current.clip && !layer.previous.clip && !layer.from_snapshot) continue;
        if (!nothing_below_) std::copy(pose_.begin(), pose_.end(), base_.begin());
        const float f = layer.fade > 0.0f ? std::min(layer.faded / layer.fade, 1.0f) : 1.0f;
        if (layer.from_snapshot) apply_snapshot(layer.weight * (1.0f - f));
        if (layer.previous.clip) apply(layer, layer.previous, layer.weight * (1.0f - f));
        if (layer.current.clip) apply(layer, layer.current, layer.weight * f);
        nothing_below_ = false;
    }
}

const float* ActorControllerAnimation::base_of(std::size_t joint) const {
    static const Pose zero;
    return nothing_below_ ? zero.v : base_[joint].v;
}

bool ActorControllerAnimation::write() {
    Skeleton* skeleton = get_actor()->get_skeleton();
    if (!skeleton) return false;
    bool changed = false;
    const unsigned count = std::min(unsigned(pose_.size()), skeleton->get_num_joints());
    // Children first (skeletons list parents before children): a joint set then finds
    // its children dirty already, so marking world caches stale visits each joint once
    // and in the order this loop touches them, rather than a chase down every chain
    // from the root through joints not yet in the cache.
    for (unsigned j = count; j-- > 0;) {
        if (!driven_[j]) continue;
        const float* setup = setup_[j].v;
        const float* pose = pose_[j].v;
        const float next[kPoseValues] = {setup[0] + pose[0], setup[1] + pose[1],
                                         setup[2] + pose[2], setup[3] * (1.0f + pose[3]),
                                         setup[4] * (1.0f + pose[4]), setup[5] + pose[5]};
        float* last = written_[j].v;
        // Only what changed is set: a clip turning a joint leaves its position and
        // scale alone, and the joint's world caches are dirtied once.
        const bool moved = next[0] != last[0] || next[1] != last[1];
        const bool turned = next[2] != last[2];
        const bool scaled = next[3] != last[3] || next[4] != last[4];
        const bool skewed = next[5] != last[5];
        if (!moved && !turned && !scaled && !skewed) continue;
        Transform* joint = skeleton->get_joint(j);
        if (!joint) continue;
        if (moved) joint->set_position({next[0], next[1]});
        if (turned) joint->set_rotation(next[2]);
        if (scaled) joint->set_scale({next[3], next[4]});
        if (skewed) joint->set_skew(next[5]);
        std::copy(next, next + kPoseValues, last);
        changed = true;
    }
    return changed;
}

void ActorControllerAnimation::fetch_joints() const {
    // A crowd's joints lie all over memory, and writing them waited on each in turn:
    // asked for now, they arrive while the clips are sampled and blended.
    const Skeleton* skeleton = get_actor()->get_skeleton();
    const unsigned count = skeleton ? std::min(unsigned(driven_.size()), skeleton->get_num_joints()) : 0;
    for (unsigned j = 0; j < count; ++j) {
        const char* joint = reinterpret_cast<const char*>(skeleton->get_joint(j));
        if (!driven_[j] || !joint) continue;
        for (size_t line = 0; line < sizeof(Transform); line += 64) __builtin_prefetch(joint + line, 1);
    }
}

void ActorControllerAnimation::prefetch(unsigned stage) const {
    if (stage == 0) {
        // The player itself (its first line came before), and a script-made one's hooks
        // just past it.
        prefetch_bytes(this, sizeof(*this) + 16);
    } else if (stage == 1) {
        prefetch_table(layers_);
        prefetch_table(setup_);
        prefetch_table(pose_);
        prefetch_table(written_);
        prefetch_table(driven_);
    } else if (stage == 2) {
        for (const Layer& layer : layers_)
            for (const ClipSampler& sampler : layer.samplers) prefetch_table(sampler.keys);
    }
}

void ActorControllerAnimation::set_ik(ActorControllerIK* ik) {
    ik_ = ik;
    if (ik_) ik_->set_actor(get_actor());
    find_ik_joints();
    dirty_ = true;
}

// IK turns its joints away from the pose: they are written every pose, so that each
// solve starts from the animation.
void ActorControllerAnimation::find_ik_joints() {
    ik_joints_.clear();
    const ActorRigIK* rig = ik_ ? ik_->get_rig() : nullptr;
    ik_handles_ = rig ? rig->get_num_position_handles() : 0;
    const Skeleton* skeleton = get_actor() ? get_actor()->get_skeleton() : nullptr;
    if (!rig || !skeleton) return;
    for (unsigned h = 0; h < ik_handles_; ++h) {
        unsigned joints[4];
        const unsigned n = rig->get_position_handle(h)->get_posed_joints(*skeleton, joints);
        ik_joints_.insert(ik_joints_.end(), joints, joints + n);
    }
    for (unsigned h = 0; h < rig->get_num_rotation_handles(); ++h) {
        const int j = skeleton->get_joint_index(rig->get_rotation_handle(h)->get_joint_id());
        if (j >= 0) ik_joints_.push_back(unsigned(j));
    }
    for (unsigned j : ik_joints_)
        if (j < driven_.size()) driven_[j] = 1;
}

bool ActorControllerAnimation::solve_ik(float dt) {
    if (!ik_) return false;
    // Held for the solve: a target's script may take it from this controller.
    const core::Ref<ActorControllerIK> ik = ik_;
    const ActorRigIK* rig = ik->get_rig();
    if (rig && rig->get_num_position_handles() != ik_handles_) find_ik_joints();  // a handle added since
    const bool changed = ik->update(dt);
    for (unsigned j : ik_joints_)
        if (j < written_.size())
            std::fill(std::begin(written_[j].v), std::end(written_[j].v), std::numeric_limits<float>::quiet_NaN());
    return changed;
}

bool ActorControllerAnimation::update(float dt) {
    if (!get_actor() || !finite(dt)) return false;
    check_database();
    bool active = false;
    for (const Layer& layer : layers_)
        active = active || layer.current.clip || layer.previous.clip || layer.from_snapshot;
    if (!active && !dirty_ && !ik_) return false;  // with IK, targets may move any frame
    if (settled()) return false;
    pending_.clear();
    fetch_joints();
    for (size_t i = 0; i < layers_.size(); ++i) step(int(i), layers_[i], dt);
    blend();
    const bool changed = write() | solve_ik(dt);
    pose_parts();
    dirty_ = false;
    deliver();
    return changed;
}

// Whether this update would write the very pose the last one wrote: nothing changed
// since (weights, masks, new clips and the actor all set dirty_), every clip has
// finished, so it samples its end each time, nothing fades, no clip keys a part (the
// drawing order is set again each update, over a script's) and there is no IK to
// solve (its targets may move any frame). Such an update reports no change, crosses no
// event and is skipped whole: an actor holding a finished clip (a prop's one-frame
// idle) then costs nothing per frame.
bool ActorControllerAnimation::settled() const {
    if (dirty_ || ik_) return false;
    for (const Layer& layer : layers_) {
        if (layer.previous.clip || layer.from_snapshot || layer.fade > 0.0f) return false;
        const Play& play = layer.current;
        if (play.clip && (!play.finished || !play.clip->get_part_tracks().empty())) return false;
    }
    return true;
}

// Parts take no weight from masks. A clip counting at least half decides a part's
// visibility (the last such clip, layers in order, wins); colours mix by weight, the
// first clip that colours a part setting it whole.
void ActorControllerAnimation::part(const Play& play, float weight) {
    if (weight <= 0.0f) return;
    const float time = play.time();
    for (const ClipTrack& track : play.clip->get_part_tracks()) {
        const unsigned m = track.joint;
        if (m >= part_visible_.size()) continue;
        float value[4];
        AnimationClip::sample(track, time, value);
        if (track.channel == ClipChannel::visible) {
            if (weight >= 0.5f) part_visible_[m] = value[0] >= 0.5f ? 1 : 0;
        } else if (track.channel == ClipChannel::order) {
            if (weight >= 0.5f) part_order_[m] = value[0];
        } else if (track.channel == ClipChannel::offset) {
            float* offset = part_offset_[m].v;
            for (int c = 0; c < 4; ++c)
                offset[c] = part_offset_set_[m] ? offset[c] + weight * (value[c] - offset[c]) : value[c];
            part_offset_set_[m] = 1;
        } else {
            float* colour = part_colour_[m].v;
            for (int c = 0; c < 4; ++c)
                colour[c] = part_coloured_[m] ? colour[c] + weight * (value[c] - colour[c]) : value[c];
            part_coloured_[m] = 1;
        }
    }
}

void ActorControllerAnimation::pose_parts() {
    if (part_visible_.empty()) return;
    // Without a clip that keys parts the tables are not even looked at.
    const auto keys_parts = [](const Play& play) { return play.clip && !play.clip->get_part_tracks().empty(); };
    bool any = false;
    for (const Layer& layer : layers_) any = any || keys_parts(layer.previous) || keys_parts(layer.current);
    if (!any) return;
    std::fill(part_visible_.begin(), part_visible_.end(), -1);
    std::fill(part_coloured_.begin(), part_coloured_.end(), 0);
    std::fill(part_offset_set_.begin(), part_offset_set_.end(), 0);
    std::fill(part_order_.begin(), part_order_.end(), std::numeric_limits<float>::quiet_NaN());
    for (const Layer& layer : layers_) {
        const float f = layer.fade > 0.0f ? std::min(layer.faded / layer.fade, 1.0f) : 1.0f;
        if (keys_parts(layer.previous)) part(layer.previous, layer.weight * (1.0f - f));
        if (keys_parts(layer.current)) part(layer.current, layer.weight * f);
    }
    Actor* actor = get_actor();
    const unsigned count = std::min(unsigned(part_visible_.size()), actor->get_num_meshes());
    for (unsigned m = 0; m < count; ++m) {
        ActorMesh* mesh = actor->get_mesh(m);
        if (!mesh) continue;
        if (part_order_[m] == part_order_[m] && part_order_[m] != mesh->get_draw_order())
            mesh->set_draw_order(part_order_[m]);
        if (part_visible_[m] >= 0 && part_visible_[m] != shown_visible_[m]) {
            mesh->set_visible(part_visible_[m] == 1);
            shown_visible_[m] = part_visible_[m];
        }
        const float* colour = part_colour_[m].v;
        if (part_coloured_[m] && !std::equal(colour, colour + 4, shown_colour_[m].v)) {
            mesh->set_colour(core::Colour(colour[0], colour[1], colour[2], colour[3]));
            std::copy(colour, colour + 4, shown_colour_[m].v);
        }
        const float* offset = part_offset_[m].v;
        if (part_offset_set_[m] && !std::equal(offset, offset + 4, shown_offset_[m].v)) {
            mesh->set_colour_offset(core::Colour(offset[0], offset[1], offset[2], offset[3]));
            std::copy(offset, offset + 4, shown_offset_[m].v);
        }
    }
}

// A play action: the actors a part carries start the clip (those with a clip player
// that knows it), or this player starts it. The carried actors are held while told.
void ActorControllerAnimation::carry_out(const ClipEvent& action) {
    const std::string clip = action.play;
    const int part = action.part;
    if (part < 0) {
        if (find_clip(clip)) play(clip);
        return;
    }
    Actor* actor = get_actor();
    ActorMesh* mesh = actor ? actor->get_mesh(unsigned(part)) : nullptr;
    if (!mesh) return;
    std::vector<core::Ref<Actor>> carried;
    for (const auto& entry : mesh->get_scene_objects())
        if (auto* a = dynamic_cast<Actor*>(entry.second.get())) carried.emplace_back(a);
    for (const core::Ref<Actor>& a : carried)
        if (auto* player = dynamic_cast<ActorControllerAnimation*>(a->get_controller()))
            if (player->find_clip(clip)) player->play(clip);
}

void ActorControllerAnimation::deliver() {
    // Callbacks may play, stop or unload: each entry is checked against the database
    // before it is told, and the list is only read here.
    const size_t count = pending_.size();
    for (size_t i = 0; i < count && i < pending_.size(); ++i) {
        if (generation_ != ActorDatabase::generation()) break;
        const Pending p = pending_[i];
        if (p.event >= 0 && !p.clip->get_events()[size_t(p.event)].play.empty()) {
            carry_out(p.clip->get_events()[size_t(p.event)]);
        } else if (p.event >= 0) {
            const EventCallback callback = on_event_;  // kept alive through the call
            if (callback) (*callback)(p.clip->get_events()[size_t(p.event)].name, p.clip->get_name(), p.layer);
        } else {
            const FinishedCallback callback = on_finished_;
            if (callback) (*callback)(p.clip->get_name(), p.layer);
        }
    }
    pending_.clear();
}

namespace {

// How an actor carried by another starts its clip (see Actor::set_clip_starter).
core::Ref<ActorController> start_clip(Actor& actor, const std::string& clip) {
    const core::Ref<ActorControllerAnimation> player = core::make_ref<ActorControllerAnimation>();
    actor.set_controller(player);
    player->play(clip);
    return player;
}

const bool clip_starter_installed = (Actor::set_clip_starter(&start_clip), true);

}  // namespace

}  // namespace engine::graphics
