#include "engine/graphics/AnimationClip.h"

#include <algorithm>
#include <cmath>

namespace engine::graphics {

namespace {

constexpr double kTurn = 6.283185307179586;

bool finite(float v) { return std::isfinite(v); }

// One coordinate of the cubic through 0, c1, c2, 1 at parameter u.
double cubic(double c1, double c2, double u) {
    const double v = 1.0 - u;
    return 3.0 * v * v * u * c1 + 3.0 * v * u * u * c2 + u * u * u;
}

// The parameter u at x, for the guesses: bisection, once per key at load.
float parameter_at(const float curve[4], double x) {
    double lo = 0.0, hi = 1.0;
    for (int i = 0; i < 60; ++i) {
        const double mid = 0.5 * (lo + hi);
        (cubic(curve[0], curve[2], mid) < x ? lo : hi) = mid;
    }
    return float(0.5 * (lo + hi));
}

// du/dx at parameter u, for the guesses; 0 where x(u) stands still (x1 or x2 at an
// end), which sends a guess there back to a straight line.
float parameter_slope(const float curve[4], double u) {
    const double v = 1.0 - u;
    const double dx = 3.0 * v * v * curve[0] + 6.0 * v * u * (curve[2] - curve[0]) + 3.0 * u * u * (1.0 - curve[2]);
    return dx > 1e-3 ? float(1.0 / dx) : 0.0f;
}

}  // namespace

AnimationClip::AnimationClip(std::string name, float duration, int loops)
    : name_(std::move(name)), duration_(duration), loops_(loops) {}

std::string AnimationClip::check(const std::string& name, float duration, int loops) {
    if (name.empty()) return "a clip needs a name";
    if (!finite(duration) || duration <= 0.0f)
        return "clip \"" + name + "\": duration " + std::to_string(duration) + " is not a positive number";
    if (loops < 0) return "clip \"" + name + "\": loops " + std::to_string(loops) + " is negative (0 plays forever)";
    return {};
}

bool parse_joint_channel(const std::string& text, ClipChannel& channel) {
    static const std::pair<const char*, ClipChannel> names[] = {{"position", ClipChannel::position},
                                                                 {"rotation", ClipChannel::rotation},
                                                                 {"scale", ClipChannel::scale},
                                                                 {"skew", ClipChannel::skew}};
    for (const auto& [name, kind] : names)
        if (text == name) {
            channel = kind;
            return true;
        }
    return false;
}

bool parse_part_channel(const std::string& text, ClipChannel& channel) {
    static const std::pair<const char*, ClipChannel> names[] = {{"visible", ClipChannel::visible},
                                                                 {"colour", ClipChannel::colour},
                                                                 {"order", ClipChannel::order},
                                                                 {"offset", ClipChannel::offset}};
    for (const auto& [name, kind] : names)
        if (text == name) {
            channel = kind;
            return true;
        }
    return false;
}

const char* channel_name(ClipChannel channel) {
    static const char* const names[] = {"position", "rotation", "scale", "visible",
                                        "colour",   "order",    "skew",  "offset"};
    return names[int(channel)];
}

std::string AnimationClip::add_key(unsigned joint, ClipChannel channel, const ClipKey& key, int turns) {
    const std::string at = "clip \"" + name_ + "\" key at " + std::to_string(key.time);
    if (!finite(key.time) || key.time < 0.0f || key.time > duration_)
        return at + ": the time is outside 0.." + std::to_string(duration_);
    for (float v : key.value)
        if (!finite(v)) return at + ": the value is not a number";
    if (key.easing == ClipEasing::bezier) {
        for (float c : key.curve)
            if (!finite(c)) return at + ": the curve is not four numbers";
        if (key.curve[0] < 0.0f || key.curve[0] > 1.0f || key.curve[2] < 0.0f || key.curve[2] > 1.0f)
            return at + ": the curve's x1 and x2 must lie in 0..1";
    }
    std::vector<ClipTrack>& tracks = is_part_channel(channel) ? part_tracks_ : tracks_;
    auto track = std::find_if(tracks.begin(), tracks.end(),
                              [&](const ClipTrack& t) { return t.joint == joint && t.channel == channel; });
    if (track == tracks.end()) {
        tracks.push_back(ClipTrack{joint, channel, {}});
        track = tracks.end() - 1;
    }
    ClipKey stored = key;
    if (key.easing == ClipEasing::bezier) {
        for (int i = 1; i < 8; ++i) stored.guesses[i] = parameter_at(key.curve, i / 8.0);
        for (int i = 0; i < 9; ++i) stored.slopes[i] = parameter_slope(key.curve, stored.guesses[i]);
    }
    if (!track->keys.empty()) {
        const ClipKey& last = track->keys.back();
        if (key.time < last.time)
            return at + ": keys out of order (the previous key is at " + std::to_string(last.time) + ")";
        if (channel == ClipChannel::rotation) {
            // Rotations are kept unwrapped, so sampling is a plain interpolation that
            // takes the shorter arc plus whatever whole turns the key asks for.
            const double delta = std::remainder(double(key.value[0]) - last.value[0], kTurn);
            stored.value[0] = float(last.value[0] + delta + turns * kTurn);
        }
    } else if (channel == ClipChannel::rotation) {
        stored.value[0] = float(key.value[0] + turns * kTurn);
    }
    track->keys.push_back(stored);
    return {};
}

std::string AnimationClip::add_event(float time, const std::string& name) {
    if (!finite(time) || time < 0.0f || time > duration_)
        return "clip \"" + name_ + "\" event \"" + name + "\": time " + std::to_string(time) + " is outside 0.." +
               std::to_string(duration_);
    auto at =
        std::upper_bound(events_.begin(), events_.end(), time, [](float t, const ClipEvent& e) { return t < e.time; });
    ClipEvent event;
    event.time = time;
    event.name = name;
    events_.insert(at, std::move(event));
    return {};
}

std::string AnimationClip::add_action(float time, const std::string& clip, int part) {
    if (clip.empty()) return "clip \"" + name_ + "\": a play action names no clip";
    const std::string why = add_event(time, "play " + clip);
    if (!why.empty()) return why;
    auto at =
        std::upper_bound(events_.begin(), events_.end(), time, [](float t, const ClipEvent& e) { return t < e.time; });
    (at - 1)->play = clip;
    (at - 1)->part = part;
    has_actions_ = true;
    return {};
}

namespace {

// Finds u with x(u) = x from `u` in [lo, hi]: Newton steps kept inside a shrinking
// bracket, which x(u) being monotonic on [0, 1] (x1, x2 in 0..1) makes safe; then y(u).
// The cubics are in power form (c u + b u^2 + a u^3, Horner's rule): a step is then a
// handful of multiplications, where the Bernstein form took three times as many.
float solve(const float curve[4], double x, double lo, double hi, double u) {
    const double cx = 3.0 * curve[0], bx = 3.0 * (curve[2] - curve[0]) - cx, ax = 1.0 - cx - bx;
    for (int i = 0; i < 40; ++i) {
        const double f = ((ax * u + bx) * u + cx) * u - x;
        if (std::fabs(f) < 1e-10) break;
        if (f < 0.0)
            lo = u;
        else
            hi = u;
        const double slope = (3.0 * ax * u + 2.0 * bx) * u + cx;
        double next = slope > 1e-9 ? u - f / slope : 0.5 * (lo + hi);
        if (next <= lo || next >= hi) next = 0.5 * (lo + hi);
        u = next;
    }
    const double cy = 3.0 * curve[1], by = 3.0 * (curve[3] - curve[1]) - cy, ay = 1.0 - cy - by;
    return float(((ay * u + by) * u + cy) * u);
}

}  // namespace

float AnimationClip::ease(const float curve[4], float x) {
    if (x <= 0.0f) return 0.0f;
    if (x >= 1.0f) return 1.0f;
    return solve(curve, x, 0.0, 1.0, x);
}

float AnimationClip::ease(const ClipKey& key, float x) {
    if (x <= 0.0f) return 0.0f;
    if (x >= 1.0f) return 1.0f;
    const float at = x * 8.0f;
    const int i = std::min(int(at), 7);
    const double f = double(at) - i;
    // Widened by a little more than the guesses' float rounding.
    const double lo = std::max(0.0, key.guesses[i] - 1e-6), hi = std::min(1.0, key.guesses[i + 1] + 1e-6);
    const double u0 = key.guesses[i], u1 = key.guesses[i + 1];
    double u = u0 + (u1 - u0) * f;
    if (key.slopes[i] > 0.0f && key.slopes[i + 1] > 0.0f) {
        // Hermite's cubic through both ends with their slopes (over a step of 1/8).
        const double m0 = key.slopes[i] * 0.125, m1 = key.slopes[i + 1] * 0.125;
        const double f2 = f * f, f3 = f2 * f;
        const double hermite =
            (2 * f3 - 3 * f2 + 1) * u0 + (f3 - 2 * f2 + f) * m0 + (3 * f2 - 2 * f3) * u1 + (f3 - f2) * m1;
        if (hermite > lo && hermite < hi) u = hermite;
    }
    return solve(key.curve, x, lo, hi, u);
}

namespace {

// Between keys a and b at `time`: the eased fraction, the memo answering a bezier solved
// for the same curve and x already (the same arithmetic would give the same answer).
float fraction(ClipChannel channel, const ClipKey& a, const ClipKey& b, float time, ClipSampler* memo) {
    const float f = (time - a.time) / (b.time - a.time);
    // Visibility and draw order are decisions, not mixes: held until the next key.
    if (a.easing == ClipEasing::step || channel == ClipChannel::visible || channel == ClipChannel::order) return 0.0f;
    if (a.easing != ClipEasing::bezier) return f;
    if (!memo) return AnimationClip::ease(a, f);
    if (memo->x == f && std::equal(a.curve, a.curve + 4, memo->curve)) return memo->y;
    memo->y = AnimationClip::ease(a, f);
    memo->x = f;
    std::copy(a.curve, a.curve + 4, memo->curve);
    return memo->y;
}

// The value at `time` given `next`, the first key later than it.
void interpolate(const ClipTrack& track, size_t next, float time, float* out, ClipSampler* memo) {
    const std::vector<ClipKey>& keys = track.keys;
    const int count = std::max(channel_values(track.channel), 2);
    if (next == 0 || next == keys.size()) {
        const ClipKey& k = next == 0 ? keys.front() : keys.back();
        std::copy(k.value, k.value + count, out);
        return;
    }
    const ClipKey& a = keys[next - 1];
    const ClipKey& b = keys[next];
    const float f = fraction(track.channel, a, b, time, memo);
    for (int c = 0; c < count; ++c) out[c] = a.value[c] + (b.value[c] - a.value[c]) * f;
}

// The first key later than `time`: a run of keys at one time jumps to the last.
size_t key_after(const std::vector<ClipKey>& keys, float time) {
    return size_t(
        std::upper_bound(keys.begin(), keys.end(), time, [](float t, const ClipKey& k) { return t < k.time; }) -
        keys.begin());
}

}  // namespace

void AnimationClip::sample(const ClipTrack& track, float time, float* out) {
    if (track.keys.empty()) {
        std::fill(out, out + std::max(channel_values(track.channel), 2), 0.0f);
        return;
    }
    interpolate(track, key_after(track.keys, time), time, out, nullptr);
}

void AnimationClip::sample(const ClipTrack& track, float time, float* out, ClipSampler& sampler, size_t index) {
    const std::vector<ClipKey>& keys = track.keys;
    if (keys.empty() || index >= sampler.keys.size()) {
        sample(track, time, out);
        return;
    }
    // Forward from the last key found while time goes forward; a search when it went
    // back (a loop wrapped, a clip played backward).
    size_t next = sampler.keys[index];
    if (next > keys.size() || (next > 0 && keys[next - 1].time > time))
        next = key_after(keys, time);
    else
        while (next < keys.size() && keys[next].time <= time) ++next;
    sampler.keys[index] = unsigned(next);
    interpolate(track, next, time, out, &sampler);
}

}  // namespace engine::graphics
