#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace bench {

/// Nanoseconds per call of `body`, the best of `rounds` runs of `iterations` calls.
template <class Body>
double ns_per_call(long iterations, Body&& body, int rounds = 5) {
    double best = 1e300;
    for (int r = 0; r < rounds; ++r) {
        const auto start = std::chrono::steady_clock::now();
        for (long i = 0; i < iterations; ++i) body(i);
        const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
        best = std::min(best, elapsed.count() / double(iterations));
    }
    return best;
}

/// Keeps the optimiser from dropping a value that is otherwise unused.
template <class T>
inline void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

}  // namespace bench
