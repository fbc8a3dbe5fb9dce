#pragma once

#include <string>

namespace engine::core {

/// pi as a float, the bound of `normalise_angle`.
constexpr float kPi = 3.14159265358979323846f;

/// The same angle in (-pi, pi], computed in single precision with pi = (float)M_PI:
/// 4.0 becomes 4.0 - 2pi, and 3.1415927 stays 3.1415927. A non-finite angle gives NaN.
float normalise_angle(float angle);

/// Whether `dt` can advance a simulation: a finite number of seconds, 0 or more. A
/// system given any other time ignores that frame (with a warning), so one bad frame
/// never stops it for good.
bool is_time_step(float dt);

/// The random functions share the process's one generator, unlocked: script thread only
/// (the thread holding the interpreter lock). The others are pure: any thread.

/// Uniform random integer in [0, n); 0 when n is 0.
unsigned int random(unsigned int n);
/// Uniform random float in [0, x) (in (x, 0] for a negative x).
float random(float x);
/// Restarts the engine's random sequence, so that runs can be repeated.
void seed_random(unsigned int seed);

/// Shortest decimal text that reads back to the same float ("1.5", "-2", "0.1").
std::string format_float(float value);

}  // namespace engine::core
