#include "engine/graphics/Shape.h"

#include <algorithm>
#include <cmath>

namespace engine::graphics {

using core::Matrix;
using core::Vector;

namespace {

float cross(const Vector<float>& o, const Vector<float>& a, const Vector<float>& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// Twice the signed area; positive for corners counter-clockwise in a y-up frame.
float twice_area(const Vector<float>* p, std::size_t n) {
    float sum = 0.0f;
    for (std::size_t i = 0, j = n - 1; i < n; j = i++) sum += (p[j].x - p[i].x) * (p[j].y + p[i].y);
    return sum;
}

// Projects the corners on `axis`.
void project(const Vector<float>* p, std::size_t n, const Vector<float>& axis, float& lo, float& hi) {
    lo = hi = p[0].x * axis.x + p[0].y * axis.y;
    for (std::size_t i = 1; i < n; ++i) {
        const float d = p[i].x * axis.x + p[i].y * axis.y;
        lo = std::min(lo, d);
        hi = std::max(hi, d);
    }
}

// Whether an edge normal of `a` separates the two pieces; intervals that only touch
// separate them.
bool separates(const Vector<float>* a, std::size_t na, const Vector<float>* b, std::size_t nb) {
    for (std::size_t i = 0, j = na - 1; i < na; j = i++) {
        const Vector<float> axis(a[j].y - a[i].y, a[i].x - a[j].x);
        if (axis.x == 0.0f && axis.y == 0.0f) continue;  // a repeated corner has no edge
        float a_lo, a_hi, b_lo, b_hi;
        project(a, na, axis, a_lo, a_hi);
        project(b, nb, axis, b_lo, b_hi);
        if (a_hi <= b_lo || b_hi <= a_lo) return true;
    }
    return false;
}

bool in_triangle(const Vector<float>& p, const Vector<float>& a, const Vector<float>& b, const Vector<float>& c) {
    const Vector<float> corners[3] = {a, b, c};
    return Shape::convex_contains(corners, 3, p);
}

}  // namespace

void Bounds::add(const Vector<float>& p) {
    if (empty()) {
        min = max = p;
        return;
    }
    min.x = std::min(min.x, p.x);
    min.y = std::min(min.y, p.y);
    max.x = std::max(max.x, p.x);
    max.y = std::max(max.y, p.y);
}

void Shape::clear() {
    points_.clear();
    ends_.clear();
    bounds_ = Bounds();
    box_ = false;
}

void Shape::end_piece(std::size_t start) {
    const std::size_t n = points_.size() - start;
    bool finite = true;
    for (std::size_t i = start; i < points_.size(); ++i)
        finite = finite && std::isfinite(points_[i].x) && std::isfinite(points_[i].y);
    // A piece of no area covers nothing, nor does one with a corner at infinity or NaN.
    // (An area too large for a float is still an area.)
    const float area = n >= 3 && finite ? twice_area(points_.data() + start, n) : 0.0f;
    if (!(std::fabs(area) > 0.0f)) {
        points_.resize(start);
        return;
    }
    for (std::size_t i = start; i < points_.size(); ++i) bounds_.add(points_[i]);
    ends_.push_back(std::uint32_t(points_.size()));
    box_ = false;  // add_rectangle sets it again for a lone unturned rectangle
}

void Shape::add_rectangle(const Vector<float>& min, const Vector<float>& max, const Matrix& transform) {
    const std::size_t start = points_.size();
    const bool first = empty();
    points_.push_back(Vector<float>(min.x, min.y) * transform);
    points_.push_back(Vector<float>(max.x, min.y) * transform);
    points_.push_back(Vector<float>(max.x, max.y) * transform);
    points_.push_back(Vector<float>(min.x, max.y) * transform);
    end_piece(start);
    // Unturned (a scale, a mirror, a move) keeps the rectangle aligned with the axes.
    box_ = first && !empty() && transform[1] == 0.0f && transform[2] == 0.0f;
}

void Shape::add_convex(const Vector<float>* points, std::size_t count) {
    const std::size_t start = points_.size();
    points_.insert(points_.end(), points, points + count);
    end_piece(start);
}

void Shape::add_triangle(const Vector<float>& a, const Vector<float>& b, const Vector<float>& c) {
    const std::size_t start = points_.size();
    points_.push_back(a);
    points_.push_back(b);
    points_.push_back(c);
    end_piece(start);
}

void Shape::add_shape(const Shape& other, const Matrix& transform) {
    std::size_t begin = 0;
    for (std::uint32_t end : other.ends_) {
        const std::size_t start = points_.size();
        for (std::size_t i = begin; i < end; ++i) points_.push_back(other.points_[i] * transform);
        end_piece(start);
        begin = end;
    }
}

void Shape::transform(const Matrix& transform) {
    box_ = box_ && transform[1] == 0.0f && transform[2] == 0.0f;
    for (Vector<float>& p : points_) p = p * transform;
    bounds_ = Bounds();
    for (const Vector<float>& p : points_) bounds_.add(p);
}

const Vector<float>* Shape::get_piece(std::size_t index, std::size_t& count) const {
    const std::uint32_t begin = index == 0 ? 0u : ends_[index - 1];
    count = ends_[index] - begin;
    return points_.data() + begin;
}

bool Shape::contains(const Vector<float>& point) const {
    if (!std::isfinite(point.x) || !std::isfinite(point.y) || !bounds_.contains(point)) return false;
    if (box_) return true;
    std::size_t count = 0;
    for (std::size_t i = 0; i < ends_.size(); ++i) {
        const Vector<float>* piece = get_piece(i, count);
        if (convex_contains(piece, count, point)) return true;
    }
    return false;
}

bool Shape::overlaps(const Shape& other) const {
    if (empty() || other.empty() || !bounds_.intersects(other.bounds_)) return false;
    if (box_ && other.box_) {
        // Boxes share interior when they overlap by more than a touch on both axes.
        const Bounds& a = bounds_;
        const Bounds& b = other.bounds_;
        return a.min.x < b.max.x && b.min.x < a.max.x && a.min.y < b.max.y && b.min.y < a.max.y;
    }
    std::size_t na = 0, nb = 0;
    for (std::size_t i = 0; i < ends_.size(); ++i) {
        const Vector<float>* a = get_piece(i, na);
        for (std::size_t j = 0; j < other.ends_.size(); ++j) {
            const Vector<float>* b = other.get_piece(j, nb);
            if (convex_overlap(a, na, b, nb)) return true;
        }
    }
    return false;
}

bool Shape::convex_overlap(const Vector<float>* a, std::size_t na, const Vector<float>* b, std::size_t nb) {
    return !separates(a, na, b, nb) && !separates(b, nb, a, na);
}

bool Shape::convex_contains(const Vector<float>* points, std::size_t count, const Vector<float>& p) {
    bool left = false, right = false;
    for (std::size_t i = 0, j = count - 1; i < count; j = i++) {
        const float side = cross(points[j], points[i], p);
        left |= side > 0.0f;
        right |= side < 0.0f;
        if (left && right) return false;
    }
    return true;
}

bool Shape::add_polygon(const Vector<float>* points, std::size_t count, std::vector<std::uint32_t>& scratch) {
    if (count < 3) return count == 0;
    const float orientation = twice_area(points, count) > 0.0f ? 1.0f : -1.0f;
    scratch.resize(count);
    for (std::size_t i = 0; i < count; ++i) scratch[i] = std::uint32_t(i);

    // An ear is a convex corner whose triangle holds no other remaining corner; cutting
    // it off leaves a simple polygon again. Each round looks at most once round.
    std::size_t misses = 0, i = 0;
    while (scratch.size() > 3 && misses < scratch.size()) {
        const std::size_t n = scratch.size();
        const Vector<float>& a = points[scratch[(i + n - 1) % n]];
        const Vector<float>& b = points[scratch[i % n]];
        const Vector<float>& c = points[scratch[(i + 1) % n]];
        bool ear = cross(a, b, c) * orientation > 0.0f;
        for (std::size_t k = 0; ear && k < n; ++k) {
            const Vector<float>& p = points[scratch[k]];
            if (k != (i + n - 1) % n && k != i % n && k != (i + 1) % n && p != a && p != b && p != c)
                ear = !in_triangle(p, a, b, c);
        }
        if (ear) {
            add_triangle(a, b, c);
            scratch.erase(scratch.begin() + std::ptrdiff_t(i % n));
            misses = 0;
            i %= scratch.size();
        } else {
            ++misses;
            i = (i + 1) % n;
        }
    }
    if (scratch.size() == 3) {
        add_triangle(points[scratch[0]], points[scratch[1]], points[scratch[2]]);
        return true;
    }
    return false;
}

}  // namespace engine::graphics
