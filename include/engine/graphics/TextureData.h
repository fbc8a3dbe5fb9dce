#pragma once

#include "engine/core/SharedObject.h"
#include "engine/window/GpuResource.h"
#include "engine/core/Vector.h"

#include <memory>
#include <string>

namespace engine::core {
class Stream;
}

namespace engine::graphics {

/// Decoded pixels: 8-bit samples, rows top first, no padding. Owned by whoever made it;
/// any thread, one at a time (the loader's thread hands each buffer over with its result).
struct ImageBuffer {
    unsigned char* pixels = nullptr;  // width * height * channels bytes
    int width = 0;
    int height = 0;
    int channels = 0;         // 3 (RGB) or 4 (RGBA)
    bool owns_pixels = true;  // false: borrowed from the caller

    ImageBuffer() = default;
    ImageBuffer(const ImageBuffer&) = delete;
    ImageBuffer& operator=(const ImageBuffer&) = delete;
    ~ImageBuffer();

    /// Decodes an RGB or RGBA PNG found through the path database, halving it (2x2
    /// box filter, odd last row and column dropped) unless `full_resolution`. Null for
    /// a missing file, a file corrupt after its header and a grey or palette picture,
    /// each with a warning. Grey and palette pictures are not expanded to RGB: a texture
    /// would quietly take several times the memory its file suggests, and the
    /// warning names the colour type to convert (ImageFiles.GreyPicturesAreRefused,
    /// ImageFiles.PalettePictureIsRefused). Safe on any thread.
    static std::unique_ptr<ImageBuffer> decode(const std::string& path, bool full_resolution);
    /// The same decode from bytes already open (files in memory, fuzzing); `name` is
    /// used in the warning. The stream stays the caller's and is read from where it is.
    static std::unique_ptr<ImageBuffer> decode(core::Stream& stream, const std::string& name, bool full_resolution);

    /// Halves the picture in place: each sample is the truncated mean of a 2x2 block.
    void halve();
};

/// One picture in OpenGL, shared by every Texture handle made from the same path. The
/// texture database keeps one per path and loads it (in the background when asked); as
/// a GpuResource its GL object is deleted with the context and its file decoded and
/// uploaded again with the next one (pictures made from bytes have no file and stay
/// empty then). Script thread only (the thread that imported libgraphics and owns the GL context); the loader's thread decodes
/// for it but never touches it.
class TextureData : public core::SharedObject, public window::GpuResource {
public:
    TextureData() = default;
    /// Leaves the database (when named) and deletes the GL object.
    ~TextureData() override;

    /// Starts loading `path`: queued on the loader when `asynchronous`, else decoded and
    /// uploaded now. A file that cannot be read is not an error: the name stays 0.
    void load(const std::string& path, bool asynchronous, bool full_resolution);
    /// Decodes and uploads again, synchronously, keeping the resolution choice; nothing
    /// for unnamed data.
    void reload();
    /// Deletes the GL object; the data can be reloaded later.
    void delete_texture();
    /// Takes a decoded picture (null: a failed decode): ends pending, replaces the GL
    /// object. True when a texture now exists.
    bool accept(const ImageBuffer* buffer);
    /// Blocks until a background load of this data has been uploaded.
    void wait() const;

    void release_gpu() override { delete_texture(); }
    void restore_gpu() override { reload(); }

    unsigned int get_name() const { return name_; }
    const core::Vector<int>& get_dimensions() const { return dimensions_; }
    const std::string& get_path() const { return path_; }
    bool is_full_resolution() const { return full_resolution_; }
    bool is_pending() const { return pending_; }

private:
    friend class TextureLoader;

    unsigned int name_ = 0;         // GL texture, 0 when none
    core::Vector<int> dimensions_;  // of what was uploaded
    std::string path_;              // empty for a texture made from bytes
    bool full_resolution_ = true;   // false: decoded at half size
    bool pending_ = false;          // queued on the loader, not yet uploaded
};

}  // namespace engine::graphics
