#pragma once

#include "engine/core/Ref.h"
#include "engine/core/SharedObject.h"
#include "engine/window/GpuResource.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct FT_FaceRec_;

namespace engine::graphics {

/// A TrueType face at one pixel size with its glyph atlas: one GL alpha texture that
/// holds every glyph drawn so far, each rasterised once, on first use. The atlas keeps
/// a CPU copy, so it goes with the GL context and comes back after a change of video
/// mode (a GPU resource). Fonts are shared by path and size (`acquire`); text objects
/// hold one reference each. Script thread only (the thread that imported libgraphics
/// and owns the GL context).
///
///     core::Ref<Font> font = Font::acquire(Font::default_path(), 24);   // or null
///     const Font::Glyph& g = font->glyph('A');                // rasterised once
class Font : public core::SharedObject, public window::GpuResource {
public:
    /// Where a glyph is in the atlas and how it sits on the baseline, in pixels.
    struct Glyph {
        int x = 0, y = 0;           // top-left corner in the atlas
        int width = 0, height = 0;  // size of its picture (0 for blanks)
        int left = 0, top = 0;      // picture's offset from the pen: right, and up from the baseline
        float advance = 0.0f;       // pen movement to the next glyph
    };

    /// The font of `path` (found through the PathDatabase; an absolute path as it is)
    /// at `pixel_size`, shared with every other user of that pair, with one reference
    /// for the caller. Null, with one warning naming the path, when the file cannot be
    /// read or is no font.
    static core::Ref<Font> acquire(const std::string& path, int pixel_size);
    /// DejaVu Sans, from Debian's fonts-dejavu-core.
    static const std::string& default_path();

    ~Font() override;

    /// The glyph of a Unicode code point, rasterised into the atlas on first use (a
    /// code point the face lacks gives its "missing" glyph).
    const Glyph& glyph(std::uint32_t code_point);
    /// Distance between baselines, and from the top of a line to its baseline.
    float get_line_height() const { return line_height_; }
    float get_ascender() const { return ascender_; }
    int get_pixel_size() const { return pixel_size_; }
    const std::string& get_path() const { return path_; }

    /// The atlas's size in pixels; it grows (taller) when full, which changes every
    /// glyph's texture coordinates: `get_generation()` counts the changes.
    int get_atlas_width() const { return atlas_width_; }
    int get_atlas_height() const { return atlas_height_; }
    unsigned get_generation() const { return generation_; }
    /// How many glyphs have been rasterised (each once).
    std::size_t get_rasterised_count() const { return rasterised_; }
    /// The atlas's CPU copy: one alpha byte a pixel, rows top first.
    const std::vector<std::uint8_t>& get_atlas() const { return atlas_; }

    /// Binds the atlas to texture unit 0 and enables texturing, first uploading what
    /// changed since the last bind.
    void bind();

    void release_gpu() override;
    void restore_gpu() override;

private:
    Font(std::string path, int pixel_size, std::string data, FT_FaceRec_* face);
    Glyph rasterise(std::uint32_t code_point);
    bool make_room(int width, int height);

    std::string path_;                       // as given to acquire
    int pixel_size_;                         // nominal size in pixels
    std::string data_;                       // the font file, which FreeType reads from
    FT_FaceRec_* face_;                      // owned
    float line_height_ = 0.0f;               // baseline to baseline
    float ascender_ = 0.0f;                  // line top to baseline
    std::map<std::uint32_t, Glyph> glyphs_;  // rasterised so far
    std::vector<std::uint8_t> atlas_;        // CPU copy, atlas_width_ x atlas_height_
    int atlas_width_ = 256;
    int atlas_height_ = 256;
    int shelf_x_ = 1, shelf_y_ = 1;          // where the next glyph goes on the current shelf
    int shelf_height_ = 0;                   // tallest glyph on the current shelf
    unsigned generation_ = 0;                // atlas size changes
    std::size_t rasterised_ = 0;             // glyphs rasterised
    unsigned texture_ = 0;                   // GL name, 0 when not in the context
    bool dirty_ = true;                      // the CPU copy changed since the last upload
    bool warned_full_ = false;               // "atlas full" said once
};

}  // namespace engine::graphics
