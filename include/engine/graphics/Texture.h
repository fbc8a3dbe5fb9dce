#pragma once

#include "engine/core/Ref.h"
#include "engine/core/SharedObject.h"
#include "engine/core/Vector.h"

#include <string>

struct _CGparameter;
typedef struct _CGparameter* CGparameter;

namespace engine::graphics {

class TextureData;

/// A handle to a shared picture in OpenGL. Handles made from the same path share one
/// TextureData through the texture database, which loads the PNG (in the background
/// when asked) and keeps it across a change of video mode. A file that cannot be
/// read still gives a valid handle whose GL name is 0: it draws untextured. Script
/// thread only (the thread that imported libgraphics and owns the GL context); the
/// loader's thread never touches a handle.
///
///     Texture ship("ship.png");   // decoded on the loader thread
///     ship.bind(0);               // waits for the decode if it is not done yet
class Texture {
public:
    /// Shares the data of `path`, loaded in the background at the database's resolution.
    explicit Texture(const std::string& path);
    Texture(const std::string& path, bool asynchronous, bool force_full_resolution);
    /// Copies the caller's bytes (rows top first, tightly packed) into a texture of its
    /// own, not entered in the database, which keeps the copy to upload again with each
    /// new context. `format` is the channel count: 3 uploads as RGB, 0 makes an empty
    /// texture, any other value reads RGBA bytes and uploads them with that internal
    /// format. TextureDatabase::add enters it under a name.
    Texture(const unsigned char* pixels, const core::Vector<int>& dimensions, unsigned int format);
    /// Shares the other's data and copies its wrap mode.
    Texture(const Texture& other);
    Texture& operator=(const Texture& other);
    virtual ~Texture();

    /// Whether the handle holds data (even data whose load failed).
    bool is_valid() const { return data_ != nullptr; }
    const core::Vector<int>& get_dimensions() const;
    /// The GL texture name, 0 while nothing is uploaded.
    unsigned int get_name() const;
    TextureData* get_data() const { return data_; }

    /// Replaces the `size` pixels at `offset` (rows counted from the first, top row) of a
    /// texture made from bytes, in its kept copy and in OpenGL; `pixels` has `channels`
    /// (3 or 4) bytes a pixel. False, changing nothing, for a texture from a file or a
    /// region outside the picture.
    bool update_pixels(const unsigned char* pixels, int channels, const core::Vector<int>& offset,
                       const core::Vector<int>& size);

    /// A GL wrap mode (GL_CLAMP_TO_EDGE, GL_REPEAT, ...) applied at every bind, unchecked.
    void set_wrap_mode(unsigned int mode) { wrap_mode_ = mode; }
    unsigned int get_wrap_mode() const { return wrap_mode_; }

    /// Binds to texture unit `unit` with mipmapped filtering and the wrap mode, waiting
    /// for a pending load first; unit 0 stays the active unit afterwards.
    void bind(int unit) const;
    /// Hands the texture to a Cg sampler. It binds nothing, so the texture the active unit
    /// is drawing with stays bound, and the wrap mode lands on that texture rather than
    /// this one: harmless, since every bind(unit) writes its texture's own mode again
    /// (ProgramContext.SamplerTextureWrapModeLandsOnTheActiveUnitsTexture). A texture
    /// used only through samplers keeps the repeat mode it was uploaded with.
    void bind(CGparameter parameter) const;
    /// Disables texturing on `unit` (below 1: on the active unit only).
    static void unbind(int unit);

private:
    core::Ref<TextureData> data_;      // null only without data
    unsigned int wrap_mode_ = 0x812F;  // GL_CLAMP_TO_EDGE
};

}  // namespace engine::graphics
