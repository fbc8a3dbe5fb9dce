#pragma once

#include "engine/core/Ref.h"
#include "engine/core/Vector.h"
#include "engine/graphics/Shape.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace engine::graphics {

class Scene;
class SceneLayer;
class SceneObject;

/// The scene's broad phase for picking and overlap: every visible object's drawn shape
/// (window coordinates) with its box, filed in a hashed uniform grid. Built on the first
/// question after anything changed (Transform::get_change_count), so a frame in which
/// objects move and then each asks once builds it once; between builds every question
/// reuses it. Building and asking allocate nothing once the buffers have grown. Holds no
/// references: it is rebuilt before use whenever an object joined or left a layer.
/// Script thread only, like the scene.
class OverlapIndex {
public:
    /// Rebuilds from `layers` (drawing order, under `scene`'s layer matrices) unless
    /// nothing changed since the last build.
    void refresh(const Scene& scene, const std::vector<core::Ref<SceneLayer>>& layers);

    /// The indexed objects (only `layer`'s when not null) whose shape holds `point`,
    /// top-most first, appended to `out`.
    void objects_at(const core::Vector<float>& point, const SceneLayer* layer, std::vector<SceneObject*>& out);
    /// The indexed objects other than `skip` (only `layer`'s when not null) whose shape
    /// shares interior with `shape`, top-most first, appended to `out`.
    void overlapping(const Shape& shape, const SceneObject* skip, const SceneLayer* layer,
                     std::vector<SceneObject*>& out);

    /// Every pair of indexed objects whose shapes share interior, once each: pairs of
    /// (`first` object, `second` object) when both layers are given and differ, else
    /// pairs within `first` (within the whole scene when it is null too). Appended to
    /// `out`, the first objects top-most first.
    void pairs(const SceneLayer* first, const SceneLayer* second,
               std::vector<std::pair<SceneObject*, SceneObject*>>& out);

    /// The shape `object` was indexed with, as drawn, if the last build indexed it; else null.
    const Shape* find_shape(const SceneObject& object) const;

    /// Objects indexed at the last build (those with a visible, finite shape).
    std::size_t size() const { return count_; }
    /// Builds so far: a test sees whether questions reused the index.
    std::uint64_t get_builds() const { return builds_; }

private:
    struct Entry {
        SceneObject* object;      // not owned: the index is rebuilt once objects leave
        const SceneLayer* layer;  // the layer holding it
        Bounds bounds;            // around its shape
    };
    /// One entry filed in one cell: what a question reads, side by side in its bucket.
    struct Filed {
        std::uint32_t index;  // the entry
        int x, y;             // the cell (buckets mix cells)
        Bounds bounds;        // the entry's box
        bool box;             // the entry's shape is its box (Shape::is_box)
    };
    struct CellRange {
        int x0, y0, x1, y1;  // the cells a box covers, inclusive
    };

    void build(const Scene& scene, const std::vector<core::Ref<SceneLayer>>& layers);
    CellRange cells(const Bounds& bounds) const;
    std::uint32_t bucket(int x, int y) const;
    /// The record of entry `i` outside the grid (the large ones, a question about everything).
    Filed filed_for(std::uint32_t i) const;
    /// Calls `visit(filed)` once per entry whose box meets `bounds`.
    template <class Visit>
    void candidates(const Bounds& bounds, Visit visit);
    /// Sorts the found entries top-most first and appends their objects to `out`.
    void deliver(std::vector<SceneObject*>& out);

    std::vector<Entry> entries_;               // drawing order
    std::vector<Shape> shapes_;                // one per entry, kept to reuse their storage
    std::size_t count_ = 0;                    // entries in use
    float cell_ = 1.0f;                        // side of a grid cell
    float per_cell_ = 1.0f;                    // 1 / cell_: cells are found by multiplying
    int first_column_ = 0, first_row_ = 0;     // the cell at the extent's corner: bucket 0
    std::uint32_t columns_ = 1;                // cells in a row of buckets
    std::vector<std::uint32_t> bucket_start_;  // per bucket, the first of its entries in filed_ (plus an end)
    std::vector<Filed> filed_;                 // entries by cell, bucket after bucket
    std::vector<std::uint32_t> large_;         // entries covering too many cells to file
    std::vector<const Filed*> sifted_;         // the records of one bucket that pass, reused
    std::vector<std::uint32_t> found_;         // entry indices found by the question under way
    std::uint64_t built_at_ = 0;               // the change count the index was built at
    bool built_ = false;                       // built at least once
    std::uint64_t builds_ = 0;                 // builds so far
    std::uint32_t build_id_ = 0;               // this build's number among every index's builds
};

}  // namespace engine::graphics
