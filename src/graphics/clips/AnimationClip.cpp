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

double cubic_slope(double c1, double c2, double u) {
    const double v = 1.0 - u;
    return 3.0 * v * v * c1 + 6.0 * v * u * (c2 - c1) + 3.0 * u * u * (1.0 - c2);
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
    std::vector<ClipTrack>& tracks =
        channel == ClipChannel::visible || channel == ClipChannel::colour || channel == ClipChannel::order
            ? part_tracks_
            : tracks_;
    auto track = std::find_if(tracks.begin(), tracks.end(),
                              [&](const ClipTrack& t) { return t.joint == joint && t.channel == channel; });
    if (track == tracks.end()) {
        tracks.push_back(ClipTrack{joint, channel, {}});
        track = tracks.end() - 1;
    }
    ClipKey stored = key;
    if (key.easing == ClipEasing::bezier)
        for (int i = 1; i < 8; ++i) stored.guesses[i] = parameter_at(key.curve, i / 8.0);
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
    events_.insert(at, ClipEvent{time, name});
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
float solve(const float curve[4], double x, double lo, double hi, double u) {
    const double x1 = curve[0], y1 = curve[1], x2 = curve[2], y2 = curve[3];
    for (int i = 0; i < 40; ++i) {
        const double f = cubic(x1, x2, u) - x;
        if (std::fabs(f) < 1e-10) break;
        if (f < 0.0)
            lo = u;
        else
            hi = u;
        const double slope = cubic_slope(x1, x2, u);
        double next = slope > 1e-9 ? u - f / slope : 0.5 * (lo + hi);
        if (next <= lo || next >= hi) next = 0.5 * (lo + hi);
        u = next;
    }
    return float(cubic(y1, y2, u));
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
    const float f = at - float(i);
    // Widened by a little more than the guesses' float rounding.
    const double lo = std::max(0.0, key.guesses[i] - 1e-6), hi = std::min(1.0, key.guesses[i + 1] + 1e-6);
    return solve(key.curve, x, lo, hi, key.guesses[i] + (key.guesses[i + 1] - key.guesses[i]) * double(f));
}

void AnimationClip::sample(const ClipTrack& track, float time, float* out) {
    const std::vector<ClipKey>& keys = track.keys;
    const int count = track.channel == ClipChannel::colour ? 4 : 2;
    if (keys.empty()) {
        std::fill(out, out + count, 0.0f);
        return;
    }
    // The first key later than `time`: a run of keys at one time jumps to the last.
    auto next = std::upper_bound(keys.begin(), keys.end(), time, [](float t, const ClipKey& k) { return t < k.time; });
    if (next == keys.begin() || next == keys.end()) {
        const ClipKey& k = next == keys.begin() ? keys.front() : keys.back();
        std::copy(k.value, k.value + count, out);
        return;
    }
    const ClipKey& a = *(next - 1);
    const ClipKey& b = *next;
    float f = (time - a.time) / (b.time - a.time);
    if (a.easing == ClipEasing::step || track.channel == ClipChannel::visible || track.channel == ClipChannel::order)
        f = 0.0f;
    else if (a.easing == ClipEasing::bezier)
        f = ease(a, f);
    for (int c = 0; c < count; ++c) out[c] = a.value[c] + (b.value[c] - a.value[c]) * f;
}

}  // namespace engine::graphics
