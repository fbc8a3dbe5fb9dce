#include "scene/OverlapIndex.h"

#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Transform.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace engine::graphics {

namespace {

// An object covering more cells than this is kept aside and tested by every question,
// rather than filed in all its cells (a background the size of the world).
constexpr long kMaxCellsFiled = 64;
// Cell coordinates stay well inside int; boxes beyond are kept aside too.
constexpr float kMaxCellCoordinate = 1.0e8f;

}  // namespace

void OverlapIndex::refresh(const Scene& scene, const std::vector<SceneLayer*>& layers) {
    if (built_ && built_at_ == Transform::get_change_count()) return;
    build(scene, layers);
    built_ = true;
    built_at_ = Transform::get_change_count();
    ++builds_;
}

void OverlapIndex::build(const Scene& scene, const std::vector<SceneLayer*>& layers) {
    count_ = 0;
    double extent = 0.0;
    for (const SceneLayer* layer : layers) {
        for (SceneObject* object : layer->get_objects()) {
            if (!object->is_visible()) continue;
            if (shapes_.size() <= count_) shapes_.emplace_back();  // grows, never shrinks
            Shape& shape = shapes_[count_];
            object->get_shape(shape);
            if (shape.empty()) continue;
            const int flags = object->get_scale_flags() == -1 ? layer->get_scale_flags() : object->get_scale_flags();
            const core::Matrix matrix = scene.get_layer_transform(flags, object->get_world_position());
            if (!matrix.is_identity()) shape.transform(matrix);
            const Bounds& box = shape.get_bounds();
            if (entries_.size() <= count_) entries_.emplace_back();
            entries_[count_] = Entry{object, layer, box};
            extent += double(std::max(box.max.x - box.min.x, box.max.y - box.min.y));
            ++count_;
        }
    }
    // Cells the size of an average object: most objects cover one to four of them, and
    // a question about one looks at about as many.
    cell_ = count_ ? std::max(float(extent / double(count_)), 1.0e-3f) : 1.0f;

    std::uint32_t buckets = 64;
    while (buckets < 2 * count_) buckets *= 2;
    bucket_start_.assign(buckets + 1, 0u);
    large_.clear();
    // Count each entry once per bucket of its cells, then place them: bucket_start_[b]
    // first holds the end of bucket b, and counts down to its start while filling.
    auto each_cell = [&](std::size_t i, auto&& file) {
        const CellRange r = cells(entries_[i].bounds);
        for (int y = r.y0; y <= r.y1; ++y)
            for (int x = r.x0; x <= r.x1; ++x) file(bucket(x, y));
    };
    std::size_t filed = 0;
    for (std::size_t i = 0; i < count_; ++i) {
        const CellRange r = cells(entries_[i].bounds);
        const long area = long(r.x1 - r.x0 + 1) * long(r.y1 - r.y0 + 1);
        if (r.x0 > r.x1 || area > kMaxCellsFiled) {
            large_.push_back(std::uint32_t(i));
            continue;
        }
        for (int y = r.y0; y <= r.y1; ++y)
            for (int x = r.x0; x <= r.x1; ++x) ++bucket_start_[bucket(x, y)];
        filed += std::size_t(area);
    }
    for (std::uint32_t b = 1; b <= buckets; ++b) bucket_start_[b] += bucket_start_[b - 1];
    filed_.resize(filed);
    std::size_t next_large = 0;
    for (std::size_t i = 0; i < count_; ++i) {
        if (next_large < large_.size() && large_[next_large] == i) {
            ++next_large;
            continue;
        }
        each_cell(i, [&](std::uint32_t b) { filed_[--bucket_start_[b]] = std::uint32_t(i); });
    }
    bucket_start_[buckets] = std::uint32_t(filed);
    seen_.assign(std::max(seen_.size(), count_), 0u);
    question_ = 0;
}

OverlapIndex::CellRange OverlapIndex::cells(const Bounds& bounds) const {
    const float x0 = std::floor(bounds.min.x / cell_), y0 = std::floor(bounds.min.y / cell_);
    const float x1 = std::floor(bounds.max.x / cell_), y1 = std::floor(bounds.max.y / cell_);
    const float limit = kMaxCellCoordinate;
    // Not finite or beyond the cells' range: an empty range, which callers keep aside.
    if (!(std::fabs(x0) < limit && std::fabs(y0) < limit && std::fabs(x1) < limit && std::fabs(y1) < limit))
        return CellRange{1, 1, 0, 0};
    return CellRange{int(x0), int(y0), int(x1), int(y1)};
}

std::uint32_t OverlapIndex::bucket(int x, int y) const {
    const std::uint32_t h = std::uint32_t(x) * 73856093u ^ std::uint32_t(y) * 19349663u;
    return h & std::uint32_t(bucket_start_.size() - 2);
}

template <class Visit>
void OverlapIndex::candidates(const Bounds& bounds, Visit visit) {
    if (++question_ == 0) {  // the stamps wrapped: start them again
        std::fill(seen_.begin(), seen_.end(), 0u);
        question_ = 1;
    }
    const CellRange r = cells(bounds);
    const long area = long(r.x1 - r.x0 + 1) * long(r.y1 - r.y0 + 1);
    if (r.x0 > r.x1 || area > long(bucket_start_.size())) {
        // A question about a box larger than the grid's buckets looks at everything once.
        for (std::size_t i = 0; i < count_; ++i)
            if (entries_[i].bounds.intersects(bounds)) visit(std::uint32_t(i));
        return;
    }
    for (std::uint32_t i : large_)
        if (entries_[i].bounds.intersects(bounds)) visit(i);
    for (int y = r.y0; y <= r.y1; ++y) {
        for (int x = r.x0; x <= r.x1; ++x) {
            const std::uint32_t b = bucket(x, y);
            for (std::uint32_t k = bucket_start_[b]; k < bucket_start_[b + 1]; ++k) {
                const std::uint32_t i = filed_[k];
                if (seen_[i] == question_) continue;
                seen_[i] = question_;
                if (entries_[i].bounds.intersects(bounds)) visit(i);
            }
        }
    }
}

void OverlapIndex::deliver(std::vector<SceneObject*>& out) {
    // Later in drawing order is drawn over: top-most first.
    std::sort(found_.begin(), found_.end(), std::greater<std::uint32_t>());
    for (std::uint32_t i : found_) out.push_back(entries_[i].object);
}

void OverlapIndex::objects_at(const core::Vector<float>& point, const SceneLayer* layer,
                              std::vector<SceneObject*>& out) {
    found_.clear();
    if (!std::isfinite(point.x) || !std::isfinite(point.y) || count_ == 0) return;
    Bounds box;
    box.add(point);
    candidates(box, [&](std::uint32_t i) {
        if ((!layer || entries_[i].layer == layer) && shapes_[i].contains(point)) found_.push_back(i);
    });
    deliver(out);
}

void OverlapIndex::overlapping(const Shape& shape, const SceneObject* skip, const SceneLayer* layer,
                               std::vector<SceneObject*>& out) {
    found_.clear();
    if (shape.empty() || count_ == 0) return;
    candidates(shape.get_bounds(), [&](std::uint32_t i) {
        const Entry& e = entries_[i];
        if (e.object != skip && (!layer || e.layer == layer) && shapes_[i].overlaps(shape)) found_.push_back(i);
    });
    deliver(out);
}

}  // namespace engine::graphics
