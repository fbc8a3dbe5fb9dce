#pragma once

#include "engine/core/SharedObject.h"
#include "engine/window/GpuResource.h"
#include "engine/core/Vector.h"

#include <memory>
#include <string>
#include <vector>

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
/// uploaded again with the next one. A picture made from bytes has no file: it keeps a
/// copy of its pixels in memory and uploads that copy again instead. Script thread only
/// (the thread that imported libgraphics and owns the GL context); the loader's thread
/// decodes for it but never touches it.
class TextureData : public core::SharedObject, public window::GpuResource {
public:
    TextureData() = default;
    /// Leaves the database (when named) and deletes the GL object.
    ~TextureData() override;

    /// Starts loading `path`: queued on the loader when `asynchronous`, else decoded and
    /// uploaded now. A file that cannot be read is not an error: the name stays 0.
    void load(const std::string& path, bool asynchronous, bool full_resolution);
    /// Keeps a copy of `dimensions` pixels of `channels` (3 or 4) bytes each, rows top
    /// first, and uploads it now (when a context exists) and with every new context.
    /// `internal_format` is the GL internal format (the channel count when 0). Nothing
    /// is kept for empty dimensions or a channel count other than 3 and 4.
    void keep_pixels(const unsigned char* pixels, const core::Vector<int>& dimensions, int channels,
                     unsigned int internal_format);
    /// Replaces the `size` pixels at `offset` (from the first row's first pixel) in the
    /// kept copy and in the GL texture. `pixels` has `channels` (3 or 4) bytes a pixel,
    /// converted to the texture's own (an RGB texture drops alpha, RGB into RGBA gets
    /// opaque alpha). False, changing nothing, for data without kept pixels or a region
    /// outside the picture.
    bool update_pixels(const unsigned char* pixels, int channels, const core::Vector<int>& offset,
                       const core::Vector<int>& size);
    /// Whether the picture lives in memory (made from bytes) rather than in a file.
    bool has_pixels() const { return !pixels_.empty(); }
    /// 3 or 4 for a picture made from bytes, 0 otherwise.
    int get_channels() const { return channels_; }
    /// Gives data made from bytes the name it is entered under in the database.
    void set_name(const std::string& name) { path_ = name; }

    /// Decodes (or, for pixels in memory, takes the copy) and uploads again,
    /// synchronously, keeping the resolution choice; nothing for unnamed file data.
    void reload();
    /// Deletes the GL object; the data can be reloaded later.
    void delete_texture();
    /// Takes a decoded picture (null: a failed decode): ends pending, replaces the GL
    /// object. True when a texture now exists.
    bool accept(const ImageBuffer* buffer);
    /// Blocks until a background load of this data has been uploaded.
    void wait() const;

    /// The alpha (0 to 1) of the texel at texture coordinates `uv` (0 to 1 across the
    /// picture, top row first; outside, the nearest edge texel). The first call keeps a
    /// copy of the picture's alpha, one byte a pixel, from then on: taken from the kept
    /// pixels, or read by decoding the file once more; later loads and updates refresh
    /// it. 1 for a picture without alpha (RGB) and for one whose file cannot be read,
    /// which draws untextured, so opaque.
    float get_alpha(const core::Vector<float>& uv);

    void release_gpu() override { delete_texture(); }
    void restore_gpu() override { reload(); }

    unsigned int get_name() const { return name_; }
    /// What was uploaded; for pixels in memory, their size even while no context exists.
    const core::Vector<int>& get_dimensions() const { return pixels_.empty() ? dimensions_ : pixel_dimensions_; }
    /// The file path, or the name of a picture made from bytes (empty when unnamed).
    const std::string& get_path() const { return path_; }
    bool is_full_resolution() const { return full_resolution_; }
    bool is_pending() const { return pending_; }

private:
    friend class TextureLoader;

    /// Uploads the kept pixels into a new GL object.
    void upload_pixels();
    /// Copies the alpha samples of a picture of `channels` bytes a pixel into alpha_.
    void keep_alpha(const unsigned char* pixels, const core::Vector<int>& dimensions, int channels);

    unsigned int name_ = 0;               // GL texture, 0 when none
    core::Vector<int> dimensions_;        // of what was uploaded
    std::string path_;                    // the file, or the database name of pixels in memory
    bool full_resolution_ = true;         // false: decoded at half size
    bool pending_ = false;                // queued on the loader, not yet uploaded
    std::vector<unsigned char> pixels_;   // the picture made from bytes, rows top first
    core::Vector<int> pixel_dimensions_;  // of pixels_
    int channels_ = 0;                    // of pixels_: 3 or 4 (0: a file's picture)
    unsigned int internal_format_ = 0;    // GL internal format of pixels_' uploads
    bool alpha_kept_ = false;             // get_alpha was asked: alpha_ follows the picture
    std::vector<unsigned char> alpha_;    // the picture's alpha, rows top first; empty: opaque
    core::Vector<int> alpha_dimensions_;  // of alpha_
};

}  // namespace engine::graphics
