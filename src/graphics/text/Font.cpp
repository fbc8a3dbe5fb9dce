#include "engine/graphics/Font.h"

#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"
#include "engine/graphics/RenderContext.h"
#include "engine/window/Window.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <GL/gl.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace engine::graphics {

namespace {

// One FreeType library for the process, made with the first font. Never destroyed:
// fonts may be let go during exit.
FT_Library library() {
    static FT_Library lib = [] {
        FT_Library made = nullptr;
        if (FT_Init_FreeType(&made) != 0) made = nullptr;
        return made;
    }();
    return lib;
}

// Live fonts by (path, size), not owned: a font leaves when its last user lets go.
std::map<std::pair<std::string, int>, Font*>& fonts() {
    static auto* table = new std::map<std::pair<std::string, int>, Font*>;
    return *table;
}

}  // namespace

const std::string& Font::default_path() {
    static const std::string path = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
    return path;
}

core::Ref<Font> Font::acquire(const std::string& path, int pixel_size) {
    pixel_size = std::clamp(pixel_size, 1, 1024);
    auto& table = fonts();
    auto it = table.find({path, pixel_size});
    if (it != table.end()) return it->second;
    std::string data;
    if (!core::PathDatabase::read(path, data)) {
        core::Log::warning("graphics", "Cannot read the font '%s': no such file.", path.c_str());
        return nullptr;
    }
    FT_Library lib = library();
    FT_Face face = nullptr;
    // FreeType reads from the bytes as long as the face lives: the font keeps them, and
    // a std::string's buffer does not move when the string is moved.
    if (!lib || FT_New_Memory_Face(lib, reinterpret_cast<const FT_Byte*>(data.data()), FT_Long(data.size()), 0,
                                   &face) != 0) {
        core::Log::warning("graphics", "Cannot read the font '%s': not a font FreeType knows.", path.c_str());
        return nullptr;
    }
    if (FT_Set_Pixel_Sizes(face, 0, FT_UInt(pixel_size)) != 0) {
        core::Log::warning("graphics", "The font '%s' has no size of %d pixels.", path.c_str(), pixel_size);
        FT_Done_Face(face);
        return nullptr;
    }
    core::Ref<Font> font(new Font(path, pixel_size, std::move(data), face));
    table[{path, pixel_size}] = font.get();  // not a holder: the font leaves the table when it goes
    return font;
}

Font::Font(std::string path, int pixel_size, std::string data, FT_FaceRec_* face)
    : path_(std::move(path)), pixel_size_(pixel_size), data_(std::move(data)), face_(face) {
    // 26.6 fixed point.
    line_height_ = float(face_->size->metrics.height) / 64.0f;
    ascender_ = float(face_->size->metrics.ascender) / 64.0f;
    // Room for about a hundred glyphs at once; a large size starts larger.
    while (atlas_width_ < pixel_size_ * 12 && atlas_width_ < 2048) atlas_width_ *= 2;
    atlas_height_ = atlas_width_;
    atlas_.assign(std::size_t(atlas_width_) * std::size_t(atlas_height_), 0);
}

Font::~Font() {
    auto& table = fonts();
    auto it = table.find({path_, pixel_size_});
    if (it != table.end() && it->second == this) table.erase(it);
    release_gpu();
    FT_Done_Face(face_);
}

const Font::Glyph& Font::glyph(std::uint32_t code_point) {
    auto it = glyphs_.find(code_point);
    if (it != glyphs_.end()) return it->second;
    return glyphs_.emplace(code_point, rasterise(code_point)).first->second;
}

Font::Glyph Font::rasterise(std::uint32_t code_point) {
    Glyph g;
    ++rasterised_;
    if (FT_Load_Char(face_, code_point, FT_LOAD_RENDER) != 0) return g;
    const FT_GlyphSlot slot = face_->glyph;
    const FT_Bitmap& bitmap = slot->bitmap;
    g.advance = float(slot->advance.x) / 64.0f;
    g.left = slot->bitmap_left;
    g.top = slot->bitmap_top;
    const int width = int(bitmap.width), height = int(bitmap.rows);
    if (width == 0 || height == 0 || bitmap.pixel_mode != FT_PIXEL_MODE_GRAY) return g;
    if (!make_room(width, height)) return g;  // drawn as a blank
    g.x = shelf_x_;
    g.y = shelf_y_;
    g.width = width;
    g.height = height;
    for (int row = 0; row < height; ++row) {
        const unsigned char* source = bitmap.buffer + std::ptrdiff_t(row) * bitmap.pitch;
        std::memcpy(&atlas_[std::size_t(g.y + row) * std::size_t(atlas_width_) + std::size_t(g.x)], source,
                    std::size_t(width));
    }
    shelf_x_ += width + 1;  // one clear pixel between glyphs: linear filtering stays inside
    shelf_height_ = std::max(shelf_height_, height);
    dirty_ = true;
    return g;
}

// Finds a place for a glyph on the current shelf, a new shelf, or a taller atlas.
bool Font::make_room(int width, int height) {
    if (width + 2 > atlas_width_) return false;
    if (shelf_x_ + width + 1 > atlas_width_) {
        shelf_y_ += shelf_height_ + 1;
        shelf_x_ = 1;
        shelf_height_ = 0;
    }
    while (shelf_y_ + height + 1 > atlas_height_) {
        const int limit = get_max_texture_size() > 0 ? get_max_texture_size() : 4096;
        if (atlas_height_ * 2 > limit) {
            if (!warned_full_)
                core::Log::warning("graphics", "The glyph atlas of '%s' at %d pixels is full: new glyphs stay blank.",
                                   path_.c_str(), pixel_size_);
            warned_full_ = true;
            return false;
        }
        atlas_height_ *= 2;
        atlas_.resize(std::size_t(atlas_width_) * std::size_t(atlas_height_), 0);
        ++generation_;
    }
    return true;
}

void Font::bind() {
    if (!texture_) {
        GLuint name = 0;
        glGenTextures(1, &name);
        texture_ = name;
        dirty_ = true;
    }
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture_);
    if (dirty_) {
        // The whole atlas: it changes only when new glyphs arrive, which stops soon.
        GLint alignment = 4;
        glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_ALPHA8, atlas_width_, atlas_height_, 0, GL_ALPHA, GL_UNSIGNED_BYTE,
                     atlas_.data());
        glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        dirty_ = false;
    }
}

void Font::release_gpu() {
    if (!texture_) return;
    // Without a context its names went with it.
    if (window::Window::get_current()) {
        const GLuint name = texture_;
        glDeleteTextures(1, &name);
    }
    texture_ = 0;
}

// The CPU copy is uploaded again at the next bind.
void Font::restore_gpu() {
    texture_ = 0;
    dirty_ = true;
}

}  // namespace engine::graphics
