#include "engine/graphics/TextureData.h"
#include "render/GLCheck.h"

#include "engine/core/Log.h"
#include "engine/graphics/RenderContext.h"
#include "engine/graphics/TextureDatabase.h"
#include "engine/graphics/TextureLoader.h"
#include "engine/window/Window.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace engine::graphics {

namespace {

// Textures follow the window's context itself (not the graphics module's listener,
// which may hear of a new context after the texture database does).
bool has_context() { return window::Window::get_current() != nullptr; }

// A new GL texture holding the picture, or 0 for an empty one.
unsigned int upload(const ImageBuffer& buffer) {
    if (!buffer.pixels || !buffer.channels || !buffer.width || !buffer.height) return 0;
    if (!is_texture_size_supported(buffer.width, buffer.height)) {
        core::Log::warning("graphics", "Texture of %d x %d not uploaded: each side must be 1 to %d.", buffer.width,
                           buffer.height, get_max_texture_size());
        return 0;
    }
    // Uploads happen in the middle of drawing (a bind waiting for its texture): the
    // texture bound on the active unit is put back afterwards.
    GLint previous = 0, alignment = 4;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D, name);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);  // rows are tightly packed
    // Before the image, so that the driver builds the mipmap chain.
    glTexParameteri(GL_TEXTURE_2D, GL_GENERATE_MIPMAP, 1);
    // The internal format is the bare component count.
    glTexImage2D(GL_TEXTURE_2D, 0, GLint(buffer.channels), buffer.width, buffer.height, 0,
                 buffer.channels == 3 ? GL_RGB : GL_RGBA, GL_UNSIGNED_BYTE, buffer.pixels);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glBindTexture(GL_TEXTURE_2D, GLuint(previous));
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    check_gl_errors("uploading a texture");
    return name;
}

// Writes `size` pixels at `offset` into the bound-or-not texture `name`, putting back
// the binding and unpack alignment as upload() does.
void upload_region(unsigned int name, const unsigned char* pixels, int channels, const core::Vector<int>& offset,
                   const core::Vector<int>& size) {
    GLint previous = 0, alignment = 4;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    glBindTexture(GL_TEXTURE_2D, name);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    // GL_GENERATE_MIPMAP is on for every texture: the smaller levels follow.
    glTexSubImage2D(GL_TEXTURE_2D, 0, offset.x, offset.y, size.x, size.y, channels == 3 ? GL_RGB : GL_RGBA,
                    GL_UNSIGNED_BYTE, pixels);
    glBindTexture(GL_TEXTURE_2D, GLuint(previous));
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    check_gl_errors("updating a texture");
}

// Copies `count` pixels of `from` channels into `to` channels (3 or 4 each).
void convert_row(const unsigned char* source, int from, unsigned char* target, int to, int count) {
    if (from == to) {
        std::memcpy(target, source, std::size_t(count) * std::size_t(to));
        return;
    }
    for (int i = 0; i < count; ++i, source += from, target += to) {
        target[0] = source[0];
        target[1] = source[1];
        target[2] = source[2];
        if (to == 4) target[3] = 255;
    }
}

}  // namespace

TextureData::~TextureData() {
    if (!path_.empty()) {
        core::Log::info("graphics", "Releasing texture '%s'.", path_.c_str());
        TextureDatabase::remove(path_, this);
    }
    delete_texture();
}

void TextureData::load(const std::string& path, bool asynchronous, bool full_resolution) {
    core::Log::info("graphics", "Loading texture from '%s' %s.", path.c_str(),
                    asynchronous ? "asynchronously" : "synchronously");
    path_ = path;
    full_resolution_ = full_resolution;
    if (asynchronous && TextureLoader::is_running()) {
        pending_ = true;
        TextureLoader::enqueue(this);
        return;
    }
    pending_ = false;
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(path_, full_resolution_);
    if (buffer) accept(buffer.get());
}

void TextureData::keep_pixels(const unsigned char* pixels, const core::Vector<int>& dimensions, int channels,
                              unsigned int internal_format) {
    pending_ = false;
    delete_texture();
    pixels_.clear();
    if (dimensions.x <= 0 || dimensions.y <= 0 || (channels != 3 && channels != 4)) return;
    pixels_.assign(pixels, pixels + std::size_t(dimensions.x) * std::size_t(dimensions.y) * std::size_t(channels));
    pixel_dimensions_ = dimensions;
    channels_ = channels;
    if (alpha_kept_) keep_alpha(pixels_.data(), pixel_dimensions_, channels_);
    internal_format_ = internal_format ? internal_format : unsigned(channels);
    upload_pixels();
}

bool TextureData::update_pixels(const unsigned char* pixels, int channels, const core::Vector<int>& offset,
                                const core::Vector<int>& size) {
    if (pixels_.empty() || (channels != 3 && channels != 4)) return false;
    const core::Vector<int>& whole = pixel_dimensions_;
    if (offset.x < 0 || offset.y < 0 || size.x <= 0 || size.y <= 0 || size.x > whole.x - offset.x ||
        size.y > whole.y - offset.y)
        return false;
    for (int row = 0; row < size.y; ++row) {
        const std::size_t target =
            (std::size_t(offset.y + row) * std::size_t(whole.x) + std::size_t(offset.x)) * std::size_t(channels_);
        convert_row(pixels + std::size_t(row) * std::size_t(size.x) * std::size_t(channels), channels,
                    pixels_.data() + target, channels_, size.x);
    }
    if (name_ && has_context()) upload_region(name_, pixels, channels, offset, size);
    if (alpha_kept_) keep_alpha(pixels_.data(), pixel_dimensions_, channels_);
    return true;
}

void TextureData::upload_pixels() {
    if (!has_context()) return;  // the next context uploads them
    ImageBuffer buffer;
    buffer.pixels = pixels_.data();
    buffer.owns_pixels = false;  // the kept copy stays ours
    buffer.width = pixel_dimensions_.x;
    buffer.height = pixel_dimensions_.y;
    // The upload takes the internal format from the channel count it is given.
    buffer.channels = int(internal_format_);
    accept(&buffer);
}

void TextureData::reload() {
    if (!pixels_.empty()) {
        upload_pixels();
        return;
    }
    if (path_.empty()) return;
    core::Log::info("graphics", "Loading texture from '%s' %s.", path_.c_str(), "synchronously");
    pending_ = false;
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(path_, full_resolution_);
    if (buffer) accept(buffer.get());
}

void TextureData::keep_alpha(const unsigned char* pixels, const core::Vector<int>& dimensions, int channels) {
    alpha_.clear();
    alpha_dimensions_ = dimensions;
    if (channels != 4 || !pixels) return;  // no alpha: opaque everywhere
    const std::size_t count = std::size_t(dimensions.x) * std::size_t(dimensions.y);
    alpha_.resize(count);
    for (std::size_t i = 0; i < count; ++i) alpha_[i] = pixels[4 * i + 3];
}

float TextureData::get_alpha(const core::Vector<float>& uv) {
    if (!alpha_kept_) {
        alpha_kept_ = true;
        if (!pixels_.empty()) {
            keep_alpha(pixels_.data(), pixel_dimensions_, channels_);
        } else if (!path_.empty()) {
            std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(path_, full_resolution_);
            if (buffer) keep_alpha(buffer->pixels, {buffer->width, buffer->height}, buffer->channels);
        }
    }
    if (alpha_.empty() || !std::isfinite(uv.x) || !std::isfinite(uv.y)) return 1.0f;
    const int w = alpha_dimensions_.x, h = alpha_dimensions_.y;
    const int x = std::clamp(int(std::floor(std::clamp(uv.x, 0.0f, 1.0f) * float(w))), 0, w - 1);
    const int y = std::clamp(int(std::floor(std::clamp(uv.y, 0.0f, 1.0f) * float(h))), 0, h - 1);
    return float(alpha_[std::size_t(y) * std::size_t(w) + std::size_t(x)]) / 255.0f;
}

void TextureData::delete_texture() {
    if (name_ && has_context()) glDeleteTextures(1, &name_);
    name_ = 0;
    dimensions_ = {};
}

bool TextureData::accept(const ImageBuffer* buffer) {
    pending_ = false;
    delete_texture();
    if (buffer && has_context()) {
        name_ = upload(*buffer);
        if (name_) dimensions_ = {buffer->width, buffer->height};
    }
    // A file loaded again may have changed; kept pixels refresh the copy themselves.
    if (alpha_kept_ && buffer && pixels_.empty())
        keep_alpha(buffer->pixels, {buffer->width, buffer->height}, buffer->channels);
    return name_ != 0;
}

void TextureData::wait() const {
    if (!pending_) return;
    core::Log::info("graphics", "Waiting on texture '%s'.", path_.c_str());
    while (pending_) {
        TextureLoader::process_results();
        if (!pending_) break;
        if (!TextureLoader::is_running()) {
            // Nobody will decode it any more: load it here rather than wait forever.
            const_cast<TextureData*>(this)->reload();
            break;
        }
        TextureLoader::wait_for_result();
    }
}

}  // namespace engine::graphics
