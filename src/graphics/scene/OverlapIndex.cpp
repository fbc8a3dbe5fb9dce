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
// Cell coordinates stay below 2^24, where every whole number is a float (the questions
// compare them as floats); boxes beyond are kept aside too.
constexpr float kMaxCellCoordinate = 1.0e7f;

// floor for values well inside int, without a library call (the build's target has no
// rounding instruction): truncation, less one for negative values with a fraction.
int floor_int(float v) {
    const int i = int(v);
    return i - int(float(i) > v);
}

}  // namespace

void OverlapIndex::refresh(const Scene& scene, const std::vector<core::Ref<SceneLayer>>& layers) {
    if (built_ && built_at_ == Transform::get_change_count()) return;
    build(scene, layers);
    built_ = true;
    built_at_ = Transform::get_change_count();
    ++builds_;
}

void OverlapIndex::build(const Scene& scene, const std::vector<core::Ref<SceneLayer>>& layers) {
    // Numbers every build of every scene's index apart, so that an object's key names
    // an entry of this build only (0 names none).
    static std::uint32_t builds_everywhere = 0;
    if (++builds_everywhere == 0) builds_everywhere = 1;
    build_id_ = builds_everywhere;
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
            object->overlap_key_ = std::uint64_t(build_id_) << 32 | std::uint64_t(count_);
            extent += double(std::max(box.max.x - box.min.x, box.max.y - box.min.y));
            ++count_;
        }
    }
    // Cells three times the size of an average object: most objects fall in one or two
    // of them, and a question looks at as many. Sifting a cell's records costs less
    // than visiting more cells (measured with bench_overlap: 2 to 4 times do as well).
    cell_ = count_ ? std::max(float(3.0 * extent / double(count_)), 1.0e-3f) : 1.0f;

    per_cell_ = 1.0f / cell_;

    // Buckets follow the cells row by row across the objects' extent, so the cells a
    // question looks at lie side by side in memory; past the extent (or beyond the
    // budget of buckets) rows wrap round, and the cell kept in each record tells them apart.
    Bounds reach;
    for (std::size_t i = 0; i < count_; ++i) {
        reach.add(entries_[i].bounds.min);
        reach.add(entries_[i].bounds.max);
    }
    const CellRange whole = count_ ? cells(reach) : CellRange{0, 0, 0, 0};
    const bool spans = whole.x0 <= whole.x1;
    first_column_ = spans ? whole.x0 : 0;
    first_row_ = spans ? whole.y0 : 0;
    const double columns = spans ? double(whole.x1) - double(whole.x0) + 1.0 : 1.0;
    const double rows = spans ? double(whole.y1) - double(whole.y0) + 1.0 : 1.0;
    const double budget = 4.0 * double(count_) + 64.0;
    columns_ = std::uint32_t(std::min(columns, budget));
    std::uint32_t buckets = 64;
    while (buckets < std::min(columns * rows, budget)) buckets *= 2;
    bucket_start_.assign(buckets + 1, 0u);
    large_.clear();
    // Count each entry once per bucket of its cells, then place them: bucket_start_[b]
    // first holds the end of bucket b, and counts down to its start while filling.
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
        const CellRange r = cells(entries_[i].bounds);
        for (int y = r.y0; y <= r.y1; ++y)
            for (int x = r.x0; x <= r.x1; ++x)
                filed_[--bucket_start_[bucket(x, y)]] =
                    Filed{std::uint32_t(i), x, y, entries_[i].bounds, shapes_[i].is_box()};
    }
    bucket_start_[buckets] = std::uint32_t(filed);
}

OverlapIndex::CellRange OverlapIndex::cells(const Bounds& bounds) const {
    const float x0 = bounds.min.x * per_cell_, y0 = bounds.min.y * per_cell_;
    const float x1 = bounds.max.x * per_cell_, y1 = bounds.max.y * per_cell_;
    const float limit = kMaxCellCoordinate;
    // Not finite or beyond the cells' range: an empty range, which callers keep aside.
    if (!(std::fabs(x0) < limit && std::fabs(y0) < limit && std::fabs(x1) < limit && std::fabs(y1) < limit))
        return CellRange{1, 1, 0, 0};
    return CellRange{floor_int(x0), floor_int(y0), floor_int(x1), floor_int(y1)};
}

std::uint32_t OverlapIndex::bucket(int x, int y) const {
    const std::uint32_t cell = std::uint32_t(y - first_row_) * columns_ + std::uint32_t(x - first_column_);
    return cell & std::uint32_t(bucket_start_.size() - 2);
}

template <class Visit>
void OverlapIndex::candidates(const Bounds& bounds, Visit visit) {
    const CellRange r = cells(bounds);
    const long area = long(r.x1 - r.x0 + 1) * long(r.y1 - r.y0 + 1);
    if (r.x0 > r.x1 || area > long(bucket_start_.size())) {
        // A question about a box larger than the grid's buckets looks at everything once.
        for (std::size_t i = 0; i < count_; ++i)
            if (entries_[i].bounds.intersects(bounds)) visit(filed_for(i));
        return;
    }
    for (std::uint32_t i : large_)
        if (entries_[i].bounds.intersects(bounds)) visit(filed_for(i));
    for (int y = r.y0; y <= r.y1; ++y) {
        for (int x = r.x0; x <= r.x1; ++x) {
            const std::uint32_t b = bucket(x, y);
            const Filed* f = filed_.data() + bucket_start_[b];
            const Filed* end = filed_.data() + bucket_start_[b + 1];
            // Most records fail, and which ones is anybody's guess: they are sifted
            // without a branch, every record written and kept only when it passes.
            if (std::size_t(end - f) > sifted_.size()) sifted_.resize(std::size_t(end - f));
            std::size_t kept = 0;
            for (; f != end; ++f) {
                const Bounds& o = f->bounds;
                sifted_[kept] = f;
                kept += (f->x == x) & (f->y == y) & (o.min.x <= bounds.max.x) & (bounds.min.x <= o.max.x) &
                        (o.min.y <= bounds.max.y) & (bounds.min.y <= o.max.y);
            }
            for (std::size_t k = 0; k < kept; ++k) {
                const Filed& g = *sifted_[k];
                // Boxes meeting in several cells are reported from one: the cell holding
                // the lowest corner of where they meet (clamped to the cells looked at).
                const float mx = std::max(bounds.min.x, g.bounds.min.x) * per_cell_;
                const float my = std::max(bounds.min.y, g.bounds.min.y) * per_cell_;
                const bool column = mx < float(x + 1) && (x == r.x0 || mx >= float(x));
                const bool row = my < float(y + 1) && (y == r.y0 || my >= float(y));
                if (column && row) visit(g);
            }
        }
    }
}

const Shape* OverlapIndex::find_shape(const SceneObject& object) const {
    if (std::uint32_t(object.overlap_key_ >> 32) != build_id_ || build_id_ == 0) return nullptr;
    const std::size_t i = std::size_t(object.overlap_key_ & 0xFFFFFFFFu);
    return i < count_ && entries_[i].object == &object ? &shapes_[i] : nullptr;
}

OverlapIndex::Filed OverlapIndex::filed_for(std::uint32_t i) const {
    return Filed{i, 0, 0, entries_[i].bounds, shapes_[i].is_box()};
}

namespace {

// Whether the shapes share interior, from the box alone when both are boxes: the common
// case reads nothing beyond the record the grid holds.
bool exact(const Bounds& a, bool a_box, const Shape& a_shape, const Bounds& b, bool b_box, const Shape& b_shape) {
    if (a_box && b_box) return a.min.x < b.max.x && b.min.x < a.max.x && a.min.y < b.max.y && b.min.y < a.max.y;
    return a_shape.overlaps(b_shape);
}

}  // namespace

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
    candidates(box, [&](const Filed& f) {
        if ((!layer || entries_[f.index].layer == layer) && (f.box || shapes_[f.index].contains(point)))
            found_.push_back(f.index);
    });
    deliver(out);
}

void OverlapIndex::overlapping(const Shape& shape, const SceneObject* skip, const SceneLayer* layer,
                               std::vector<SceneObject*>& out) {
    found_.clear();
    if (shape.empty() || count_ == 0) return;
    const Bounds& bounds = shape.get_bounds();
    candidates(bounds, [&](const Filed& f) {
        if (!exact(f.bounds, f.box, shapes_[f.index], bounds, shape.is_box(), shape)) return;
        const Entry& e = entries_[f.index];
        if (e.object != skip && (!layer || e.layer == layer)) found_.push_back(f.index);
    });
    deliver(out);
}

void OverlapIndex::pairs(const SceneLayer* first, const SceneLayer* second,
                         std::vector<std::pair<SceneObject*, SceneObject*>>& out) {
    const bool across = first && second && first != second;
    for (std::size_t n = count_; n-- > 0;) {
        const Entry& a = entries_[n];
        if (first && a.layer != first) continue;
        const std::uint32_t i = std::uint32_t(n);
        found_.clear();
        const bool a_box = shapes_[i].is_box();
        candidates(a.bounds, [&](const Filed& f) {
            const std::uint32_t j = f.index;
            // Within one set each pair is met twice: keep it where the other comes first.
            if (!across && j >= i) return;
            if (!exact(a.bounds, a_box, shapes_[i], f.bounds, f.box, shapes_[j])) return;
            const Entry& b = entries_[j];
            if (across ? b.layer == second : !first || b.layer == first) found_.push_back(j);
        });
        std::sort(found_.begin(), found_.end(), std::greater<std::uint32_t>());
        for (std::uint32_t j : found_) out.emplace_back(a.object, entries_[j].object);
    }
}

}  // namespace engine::graphics
