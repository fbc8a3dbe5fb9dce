#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace engine::graphics {

/// How a key moves on to the next one of its track.
enum class ClipEasing : std::uint8_t {
    step,    // holds the key's value until the next key
    linear,  // straight line
    bezier,  // cubic easing through (0, 0), (x1, y1), (x2, y2), (1, 1) over the interval
};

/// What a joint track animates. Values are offsets from the joint's setup pose:
/// position adds to the setup position, rotation (radians) to the setup rotation, and
/// scale multiplies the setup scale (1 leaves it).
/// Part channels animate a mesh of the actor (a "part", by mesh name): visible (1 shows
/// it, 0 hides it; held from key to key), colour (r, g, b, a, set on the mesh as
/// `ActorMesh::set_colour` does) and order (its place in the actor's drawing: meshes
/// draw by ascending place, a mesh no clip places standing at its index; held from key
/// to key).
/// skew (radians) adds to the setup skew (`Transform::set_skew`): the joint's y axis
/// turns that much beyond its x axis, as animation tools (DragonBones) skew bones.
/// offset is a part channel: (r, g, b, a) added to the part's colour after its
/// multipliers (`ActorMesh::set_colour_offset`), as tools tint parts.
enum class ClipChannel : std::uint8_t { position, rotation, scale, visible, colour, order, skew, offset };

/// Whether `channel` keys one number (rotation, skew, visible, order); the others key
/// two (position, scale) or four (colour).
constexpr bool is_single_value_channel(ClipChannel channel) {
    return channel == ClipChannel::rotation || channel == ClipChannel::skew || channel == ClipChannel::visible ||
           channel == ClipChannel::order;
}

/// How many numbers a key of `channel` holds: 1, 2 or 4 (colour, offset).
constexpr int channel_values(ClipChannel channel) {
    return is_single_value_channel(channel)                                         ? 1
           : channel == ClipChannel::colour || channel == ClipChannel::offset ? 4
                                                                                    : 2;
}

/// The names of the part channels in actor files and scripts: "visible", "colour",
/// "order" and "offset"; false (and `channel` kept) for any other text.
bool parse_part_channel(const std::string& text, ClipChannel& channel);

/// The names of the joint channels in actor files and scripts: "position", "rotation",
/// "scale" and "skew"; false (and `channel` kept) for any other text.
bool parse_joint_channel(const std::string& text, ClipChannel& channel);
/// The name of a channel ("position", ..., "order", "skew").
const char* channel_name(ClipChannel channel);

/// Whether `channel` animates a part (a mesh) rather than a joint.
constexpr bool is_part_channel(ClipChannel channel) {
    return channel == ClipChannel::visible || channel == ClipChannel::colour || channel == ClipChannel::order ||
           channel == ClipChannel::offset;
}

/// One key of a joint track. Its easing shapes the way from it to the next key.
struct ClipKey {
    float time = 0.0f;
    float value[4] = {0.0f, 0.0f, 0.0f, 0.0f};  // x, y; rotation, visible and order use value[0]; colour all four
    ClipEasing easing = ClipEasing::linear;
    float curve[4] = {0.0f, 0.0f, 1.0f, 1.0f};  // x1, y1, x2, y2 of a bezier easing
    // The curve's parameter at x = 0, 1/8, ..., 1 and its slope du/dx there (0 where
    // the curve stands still in x), filled by `add_key`: a solve starts from the cubic
    // through them, close enough that one Newton step ends it.
    float guesses[9] = {0.0f, 0.125f, 0.25f, 0.375f, 0.5f, 0.625f, 0.75f, 0.875f, 1.0f};
    float slopes[9] = {1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
};

/// The keys of one channel of one joint, in time order.
struct ClipTrack {
    unsigned joint = 0;  // index in the actor's skeleton, or of the mesh for a part channel
    ClipChannel channel = ClipChannel::rotation;
    std::vector<ClipKey> keys;
};

/// What a player keeps between samples so that the next costs little: the key each track
/// found last (keys are visited forward in time while a clip plays, so the next is
/// usually the same key or the one after) and the last bezier easing solved (the
/// tracks of a pose keyed at once with one easing share it). Owned by the player; one
/// per play, `keys` sized to the clip's joint tracks.
struct ClipSampler {
    std::vector<unsigned> keys;                 // per track: the index of the first key after the last time sampled
    float curve[4] = {0.0f, 0.0f, 0.0f, 0.0f};  // the last bezier solved
    float x = -1.0f;                            // its x (-1: none yet)
    float y = 0.0f;                             // its answer
};

/// A named instant of a clip, told to scripts when playback crosses it; or, when
/// `play` is set, a play action the player carries out instead of telling anyone.
struct ClipEvent {
    float time = 0.0f;
    std::string name;
    std::string play;  // a clip to start: on the actors the part carries, or on the actor itself
    int part = -1;     // the mesh whose carried actors play it; -1: the actor itself
};

/// A keyframed clip of one actor: joint tracks and events over [0, duration], played by
/// ActorControllerAnimation. Owned by the actor database (its actor record) until
/// "unload". Built by the XML parser and by actor_database.add_clip through the same
/// `add_key` / `add_event` checks. Script thread only.
///
///     AnimationClip clip("wave", 1.0f, 0);
///     clip.add_key(arm, ClipChannel::rotation, key, 0);
class AnimationClip {
public:
    /// `loops` is how many times it plays by default; 0 plays it forever.
    AnimationClip(std::string name, float duration, int loops);

    const std::string& get_name() const { return name_; }
    float get_duration() const { return duration_; }
    int get_loops() const { return loops_; }
    /// Joint tracks (position, rotation, scale).
    const std::vector<ClipTrack>& get_tracks() const { return tracks_; }
    /// Part tracks (visible, colour, order), `joint` naming the mesh's index.
    const std::vector<ClipTrack>& get_part_tracks() const { return part_tracks_; }
    /// In time order.
    const std::vector<ClipEvent>& get_events() const { return events_; }
    /// Whether any event is a play action.
    bool has_actions() const { return has_actions_; }

    /// Appends a key to the track of (joint, channel), made on first use. `turns` adds
    /// whole turns to a rotation key's way from the previous key, which otherwise takes
    /// the shorter arc. Returns why the key was refused ("" when added): a time outside
    /// [0, duration] or before the track's last key, or a value or curve that is not
    /// finite, or a curve x outside [0, 1].
    std::string add_key(unsigned joint, ClipChannel channel, const ClipKey& key, int turns = 0);
    /// Inserts an event in time order; why it was refused, or "".
    std::string add_event(float time, const std::string& name);
    /// Inserts a play action in time order: crossing it starts `clip` on the actors that
    /// mesh `part` carries, or on the actor itself with part -1. Why it was refused, or "".
    std::string add_action(float time, const std::string& clip, int part);

    /// The value of `track` at `time` (clamped to the first and last key); `out` takes
    /// two values, or four for a colour track.
    static void sample(const ClipTrack& track, float time, float* out);
    /// The same value, found from `sampler`'s key for track `index` (the index in
    /// `get_tracks()`, or past the sampler's keys to search afresh), which it updates.
    static void sample(const ClipTrack& track, float time, float* out, ClipSampler& sampler, size_t index);
    /// The eased fraction of a bezier easing at x in [0, 1].
    static float ease(const float curve[4], float x);
    /// The same, started from a key's filled guesses.
    static float ease(const ClipKey& key, float x);

    /// Why a clip header is refused (empty name, duration not finite and positive,
    /// negative loops), or "".
    static std::string check(const std::string& name, float duration, int loops);

private:
    std::string name_;                    // key in its actor's clips
    float duration_;                      // seconds, > 0
    int loops_;                           // default play count; 0: forever
    std::vector<ClipTrack> tracks_;       // one per (joint, channel)
    std::vector<ClipTrack> part_tracks_;  // one per (mesh, channel)
    std::vector<ClipEvent> events_;       // in time order
    bool has_actions_ = false;            // some event is a play action
};

}  // namespace engine::graphics
