#include "engine/window/GpuResource.h"

#include <algorithm>
#include <vector>

namespace engine::window {

namespace {

// Every live resource, in order of construction. Owned by nobody: each resource
// enters in its constructor and leaves in its destructor.
std::vector<GpuResource*>& live() {
    static std::vector<GpuResource*> resources;
    return resources;
}

// A copy: a resource's release or restore may make or drop others (a texture table
// entry, a fade's program).
template <class Step>
void for_each_resource(Step step) {
    const std::vector<GpuResource*> snapshot = live();
    for (GpuResource* resource : snapshot)
        if (std::find(live().begin(), live().end(), resource) != live().end()) step(*resource);
}

}  // namespace

GpuResource::GpuResource() { live().push_back(this); }

GpuResource::~GpuResource() {
    auto& resources = live();
    resources.erase(std::remove(resources.begin(), resources.end(), this), resources.end());
}

std::size_t GpuResource::count() { return live().size(); }

void GpuResource::release_all() {
    for_each_resource([](GpuResource& r) { r.release_gpu(); });
}

namespace {
std::uint64_t generation = 0;  // contexts made current so far
}  // namespace

void GpuResource::restore_all() {
    ++generation;
    for_each_resource([](GpuResource& r) { r.restore_gpu(); });
}

std::uint64_t GpuResource::context_generation() { return generation; }

}  // namespace engine::window
