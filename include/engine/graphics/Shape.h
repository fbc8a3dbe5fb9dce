#pragma once

#include "engine/core/Matrix.h"
#include "engine/core/Vector.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace engine::graphics {

/// An axis-aligned box; empty (min above max) until something is added to it.
struct Bounds {
    core::Vector<float> min{1.0f, 1.0f};
    core::Vector<float> max{-1.0f, -1.0f};

    bool empty() const { return !(min.x <= max.x && min.y <= max.y); }
    void add(const core::Vector<float>& p);
    /// Closed boxes: boxes that only touch intersect (the exact tests decide).
    bool intersects(const Bounds& o) const {
        return min.x <= o.max.x && o.min.x <= max.x && min.y <= o.max.y && o.min.y <= max.y;
    }
    bool contains(const core::Vector<float>& p) const {
        return min.x <= p.x && p.x <= max.x && min.y <= p.y && p.y <= max.y;
    }
};

/// The area an object covers, as a list of convex pieces: one for a rectangle, one per
/// triangle for a mesh, the ear-clipped triangles of a concave outline. Containment and
/// overlap are exact for that area: a point is inside when it lies in a piece or on its
/// edge; two shapes overlap when two of their pieces share interior (pieces that only
/// touch along an edge or at a corner do not overlap), the separating-axis test on each
/// pair. Pieces of no area (a sprite of zero width, a collapsed triangle) cover nothing,
/// and neither does a piece with a coordinate that is not finite. Storage is reused:
/// `clear` keeps it, so a shape rebuilt every frame allocates nothing once grown. A plain
/// value: any thread, one at a time.
///
///     Shape s;
///     s.add_rectangle({-8, -8}, {8, 8}, object.get_world_transform());
///     s.contains({3, 4});   // true
class Shape {
public:
    void clear();
    bool empty() const { return ends_.empty(); }

    /// The rectangle from `min` to `max` (local space) placed by `transform`.
    void add_rectangle(const core::Vector<float>& min, const core::Vector<float>& max, const core::Matrix& transform);
    /// A convex polygon, corners in either winding; skipped when it covers nothing.
    void add_convex(const core::Vector<float>* points, std::size_t count);
    /// One triangle; skipped when it covers nothing.
    void add_triangle(const core::Vector<float>& a, const core::Vector<float>& b, const core::Vector<float>& c);
    /// Appends `other`'s pieces with every corner moved by `transform`.
    void add_shape(const Shape& other, const core::Matrix& transform);
    /// Moves every corner by `transform`.
    void transform(const core::Matrix& transform);

    std::size_t get_num_pieces() const { return ends_.size(); }
    /// The corners of piece `index`: `count` points from the returned pointer.
    const core::Vector<float>* get_piece(std::size_t index, std::size_t& count) const;
    /// The box around every piece (empty for an empty shape).
    const Bounds& get_bounds() const { return bounds_; }
    /// Whether the shape is exactly its box: one rectangle, not turned. Such shapes are
    /// tested as boxes, the common case of sprites that do not rotate.
    bool is_box() const { return box_; }

    /// Whether `point` lies in a piece or on its edge; false for a point that is not finite.
    bool contains(const core::Vector<float>& point) const;
    /// Whether the shapes share interior (see the class comment).
    bool overlaps(const Shape& other) const;

    /// Splits a simple polygon (either winding, convex or not) into triangles by ear
    /// clipping and adds them. A polygon that crosses itself is split as far as ears can
    /// be found; false when some of it could not be (what was found is kept). `scratch`
    /// is reused between calls.
    bool add_polygon(const core::Vector<float>* points, std::size_t count, std::vector<std::uint32_t>& scratch);

    /// Whether the convex pieces `a` and `b` share interior (separating axes).
    static bool convex_overlap(const core::Vector<float>* a, std::size_t na, const core::Vector<float>* b,
                               std::size_t nb);
    /// Whether `p` lies in the convex polygon or on its edge.
    static bool convex_contains(const core::Vector<float>* points, std::size_t count, const core::Vector<float>& p);

private:
    void end_piece(std::size_t start);

    std::vector<core::Vector<float>> points_;  // every piece's corners, piece after piece
    std::vector<std::uint32_t> ends_;          // one past each piece's last corner
    Bounds bounds_;                            // around every piece
    bool box_ = false;                         // one unturned rectangle: the shape is bounds_
};

}  // namespace engine::graphics
