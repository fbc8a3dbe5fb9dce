#include "engine/graphics/Text.h"

#include "engine/graphics/Font.h"
#include "engine/graphics/Shape.h"

#include <GL/gl.h>

#include <algorithm>

namespace engine::graphics {

namespace {

// The code points of UTF-8 `text` into `out` (its capacity is reused). A malformed
// byte stands for U+FFFD, so a broken string still shows where it breaks.
void decode_utf8(const std::string& text, std::vector<std::uint32_t>& out) {
    out.clear();
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n;) {
        const unsigned char c = s[i];
        int length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
        std::uint32_t point = length == 1 ? c : length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
        bool ok = length > 0 && i + std::size_t(length) <= n;
        for (int k = 1; ok && k < length; ++k) {
            if ((s[i + std::size_t(k)] & 0xC0) != 0x80) ok = false;
            point = (point << 6) | (s[i + std::size_t(k)] & 0x3F);
        }
        if (!ok) {
            out.push_back(0xFFFD);
            ++i;
            continue;
        }
        out.push_back(point);
        i += std::size_t(length);
    }
}

}  // namespace

Text::Text(const std::string& string, const std::string& font_path, int pixel_size)
    : string_(string), font_path_(font_path), pixel_size_(std::max(1, pixel_size)) {
    load_font();
}

Text::~Text() = default;

void Text::load_font() {
    font_ = Font::acquire(font_path_.empty() ? Font::default_path() : font_path_, pixel_size_);
    dirty_ = true;
    note_change();
}

void Text::set_string(const std::string& string) {
    if (string == string_) return;
    string_ = string;
    dirty_ = true;
    note_change();
}

void Text::set_font_path(const std::string& path) {
    if (path == font_path_) return;
    font_path_ = path;
    load_font();
}

void Text::set_pixel_size(int pixel_size) {
    pixel_size = std::max(1, pixel_size);
    if (pixel_size == pixel_size_) return;
    pixel_size_ = pixel_size;
    load_font();
}

void Text::set_align(Align align) {
    if (align == align_) return;
    align_ = align;
    dirty_ = true;
    note_change();
}

void Text::set_line_spacing(float spacing) {
    if (spacing == line_spacing_) return;
    line_spacing_ = spacing;
    dirty_ = true;
    note_change();
}

core::Vector<float> Text::get_dimensions() {
    if (dirty_ || (font_ && font_->get_generation() != generation_)) layout();
    return dimensions_;
}

// Quads for every glyph, line by line: first the glyphs of a line at pen positions
// from 0, then the whole line shifted for its alignment once its width is known.
void Text::layout() {
    dirty_ = false;
    vertices_.clear();
    dimensions_ = core::Vector<float>();
    if (!font_) return;
    generation_ = font_->get_generation();
    decode_utf8(string_, code_points_);
    // Glyphs first: rasterising may grow the atlas, which moves every texture coordinate.
    for (std::uint32_t point : code_points_)
        if (point != '\n') font_->glyph(point);
    generation_ = font_->get_generation();

    const float atlas_w = float(font_->get_atlas_width()), atlas_h = float(font_->get_atlas_height());
    const float step = font_->get_line_height() * line_spacing_;
    float baseline = font_->get_ascender();
    float widest = 0.0f;
    int lines = 1;
    std::size_t line_start = 0;
    float pen = 0.0f;
    auto end_line = [&]() {
        const float shift = align_ == Align::Left ? 0.0f : align_ == Align::Centre ? -pen / 2.0f : -pen;
        for (std::size_t i = line_start; i < vertices_.size(); i += 4) vertices_[i] += shift;
        widest = std::max(widest, pen);
    };
    for (std::uint32_t point : code_points_) {
        if (point == '\n') {
            end_line();
            line_start = vertices_.size();
            pen = 0.0f;
            baseline += step;
            ++lines;
            continue;
        }
        const Font::Glyph& g = font_->glyph(point);
        if (g.width > 0) {
            const float x0 = pen + float(g.left), y0 = baseline - float(g.top);
            const float x1 = x0 + float(g.width), y1 = y0 + float(g.height);
            const float u0 = float(g.x) / atlas_w, v0 = float(g.y) / atlas_h;
            const float u1 = float(g.x + g.width) / atlas_w, v1 = float(g.y + g.height) / atlas_h;
            const float quad[6][4] = {{x0, y0, u0, v0}, {x0, y1, u0, v1}, {x1, y0, u1, v0},
                                      {x1, y0, u1, v0}, {x0, y1, u0, v1}, {x1, y1, u1, v1}};
            for (const auto& vertex : quad) vertices_.insert(vertices_.end(), vertex, vertex + 4);
        }
        pen += g.advance;
    }
    end_line();
    dimensions_ = core::Vector<float>(widest, font_->get_line_height() + step * float(lines - 1));
}

void Text::get_shape(Shape& out) {
    out.clear();
    const core::Vector<float> size = get_dimensions();
    // Lines hang down from the position, aligned on it as the layout places them.
    const float left = align_ == Align::Left ? 0.0f : align_ == Align::Centre ? -size.x / 2.0f : -size.x;
    out.add_rectangle({left, 0.0f}, {left + size.x, size.y}, get_world_transform());
}

void Text::on_render() {
    if (!font_) return;
    if (dirty_ || font_->get_generation() != generation_) layout();
    if (vertices_.empty()) return;
    glPushMatrix();
    load_into_opengl();
    font_->bind();
    glColor4fv(colour_);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glDisableClientState(GL_COLOR_ARRAY);
    glVertexPointer(2, GL_FLOAT, 4 * sizeof(float), vertices_.data());
    glTexCoordPointer(2, GL_FLOAT, 4 * sizeof(float), vertices_.data() + 2);
    glDrawArrays(GL_TRIANGLES, 0, GLsizei(vertices_.size() / 4));
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glPopMatrix();
}

}  // namespace engine::graphics
