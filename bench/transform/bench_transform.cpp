// ns per get_world_transform() on the leaf of a 16-deep chain: clean caches, and
// after a change at the root (the whole chain is rebuilt on the next get).
#include "Timing.h"

#include "engine/graphics/Transform.h"

#include <cstdio>
#include <vector>

using engine::graphics::Transform;

int main() {
    constexpr int depth = 16;
    std::vector<Transform> chain(depth);
    for (int i = 1; i < depth; ++i) {
        chain[i - 1].attach(&chain[i]);
        chain[i].set_position({10.0f, 0.0f});
        chain[i].set_rotation(0.1f);
    }
    const Transform& leaf = chain.back();
    Transform& root = chain.front();

    const double clean = bench::ns_per_call(20'000'000, [&](long) { bench::keep(leaf.get_world_transform()); });
    const double dirty = bench::ns_per_call(1'000'000, [&](long i) {
        root.set_position({float(i & 1), 0.0f});
        bench::keep(leaf.get_world_transform());
    });
    const double same = bench::ns_per_call(20'000'000, [&](long) { root.set_position({1.0f, 0.0f}); });

    std::printf("C++    get_world_transform, 16-deep leaf, clean caches:    %8.2f ns\n", clean);
    std::printf("C++    get_world_transform, 16-deep leaf, after root move: %8.2f ns\n", dirty);
    std::printf("C++    set_position with the current value:                %8.2f ns\n", same);
    return 0;
}
