#include "engine/graphics/Texture.h"

#include "engine/graphics/TextureData.h"
#include "engine/graphics/TextureDatabase.h"
#include "engine/window/OpenGLEntryPoints.h"

#ifdef ENGINE_HAS_CG
#include <Cg/cgGL.h>
#endif

namespace engine::graphics {

using window::glActiveTexture;

Texture::Texture(const std::string& path) : Texture(path, true, false) {}

Texture::Texture(const std::string& path, bool asynchronous, bool force_full_resolution)
    : data_(TextureDatabase::acquire(path, asynchronous, force_full_resolution)) {}

Texture::Texture(const unsigned char* pixels, const core::Vector<int>& dimensions, unsigned int format)
    : data_(core::make_ref<TextureData>()) {
    // Any format but 3 is RGBA bytes uploaded with that internal format; 0 keeps nothing.
    if (format != 0) data_->keep_pixels(pixels, dimensions, format == 3 ? 3 : 4, format);
}

bool Texture::update_pixels(const unsigned char* pixels, int channels, const core::Vector<int>& offset,
                            const core::Vector<int>& size) {
    return data_ && data_->update_pixels(pixels, channels, offset, size);
}

Texture::Texture(const Texture& other) = default;

Texture& Texture::operator=(const Texture& other) = default;

Texture::~Texture() = default;

const core::Vector<int>& Texture::get_dimensions() const {
    static const core::Vector<int> none;
    return data_ ? data_->get_dimensions() : none;
}

unsigned int Texture::get_name() const { return data_ ? data_->get_name() : 0; }

void Texture::bind(int unit) const {
    if (!data_) return;
    if (unit > 0 && glActiveTexture) glActiveTexture(GL_TEXTURE0 + unit);
    data_->wait();
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, data_->get_name());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GLint(wrap_mode_));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GLint(wrap_mode_));
    if (unit > 0 && glActiveTexture) glActiveTexture(GL_TEXTURE0);
}

void Texture::bind(CGparameter parameter) const {
    if (!data_) return;
    data_->wait();
#ifdef ENGINE_HAS_CG
    cgGLSetTextureParameter(parameter, data_->get_name());
#else
    (void)parameter;
#endif
    // Lands on whatever texture the active unit has bound, which stays bound; see the
    // header for why that is harmless.
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GLint(wrap_mode_));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GLint(wrap_mode_));
}

void Texture::unbind(int unit) {
    if (unit < 1 || !glActiveTexture) {
        glDisable(GL_TEXTURE_2D);
        return;
    }
    glActiveTexture(GL_TEXTURE0 + unit);
    glDisable(GL_TEXTURE_2D);
    glActiveTexture(GL_TEXTURE0);
}

}  // namespace engine::graphics
