#include "engine/core/Maths.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>

namespace engine::core {

float normalise_angle(float angle) {
    constexpr float two_pi = 2.0f * kPi;
    if (!std::isfinite(angle)) return std::numeric_limits<float>::quiet_NaN();
    // Far-away angles are brought near first; near ones are stepped by whole turns so
    // that 4.0 becomes exactly 4.0f - 2pi in float arithmetic.
    if (std::fabs(angle) > 64.0f * two_pi) angle = std::fmod(angle, two_pi);
    while (angle > kPi) angle -= two_pi;
    while (angle <= -kPi) angle += two_pi;
    return angle;
}

bool is_time_step(float dt) { return dt >= 0.0f && dt <= std::numeric_limits<float>::max(); }

namespace {
// The engine's one random sequence; `seed_random` restarts it.
std::mt19937& generator() {
    static std::mt19937 engine(5489u);
    return engine;
}
}  // namespace

unsigned int random(unsigned int n) {
    if (n == 0) return 0;
    return std::uniform_int_distribution<unsigned int>(0, n - 1)(generator());
}

float random(float x) {
    // 24 random bits give every float in [0, 1) the same spacing.
    const float unit = float(generator()() >> 8) * (1.0f / 16777216.0f);
    return unit * x;
}

void seed_random(unsigned int seed) { generator().seed(seed); }

std::string format_float(float value) {
    char buffer[32];
    // Start with as many digits as the integer part has, so 10 prints as "10", not "1e+01".
    const float magnitude = std::fabs(value);
    int first = 1;
    if (std::isfinite(magnitude) && magnitude >= 1.0f && magnitude < 1e9f)
        first = std::min(9, int(std::floor(std::log10(magnitude))) + 1);
    for (int precision = first; precision <= 9; ++precision) {
        std::snprintf(buffer, sizeof buffer, "%.*g", precision, double(value));
        if (std::strtof(buffer, nullptr) == value) break;
    }
    return buffer;
}

}  // namespace engine::core
