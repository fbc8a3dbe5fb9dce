#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Vector.h"
#include "engine/graphics/SceneObject.h"

#include <cstdint>
#include <string>
#include <vector>

namespace engine::graphics {

class Font;

/// A scene object that draws a string in a TrueType font: lines split at '\n', each
/// aligned on the object's position (left: starts there, centre: centred on it, right:
/// ends there), the first line's top at the position and each next line one line
/// height further down, in its colour. Glyphs come from the font's atlas, rasterised
/// once each, so changing the string every frame (a score, a timer) costs a layout of
/// quads and nothing else. Script thread only (the thread that imported libgraphics and
/// owns the GL context).
///
///     Text score("0", Font::default_path(), 24);
///     score.set_string("120");     // lays out again at the next draw
class Text : public SceneObject {
public:
    enum class Align { Left, Centre, Right };

    /// An empty font path means the default face (DejaVu Sans). A font that cannot be
    /// read logs one warning, and the text draws nothing.
    explicit Text(const std::string& string = std::string(), const std::string& font_path = std::string(),
                  int pixel_size = 16);
    ~Text() override;

    /// UTF-8.
    const std::string& get_string() const { return string_; }
    void set_string(const std::string& string);
    /// As given ("" for the default face).
    const std::string& get_font_path() const { return font_path_; }
    void set_font_path(const std::string& path);
    int get_pixel_size() const { return pixel_size_; }
    /// At least 1.
    void set_pixel_size(int pixel_size);
    const core::Colour& get_colour() const { return colour_; }
    void set_colour(const core::Colour& colour) { colour_ = colour; }
    Align get_align() const { return align_; }
    void set_align(Align align);
    /// Lines are this many line heights apart (1 by default).
    float get_line_spacing() const { return line_spacing_; }
    void set_line_spacing(float spacing);

    /// The laid-out size: the widest line's advance by the lines' height, in pixels.
    core::Vector<float> get_dimensions();
    /// The font in use, or null when it could not be read.
    Font* get_font() const { return font_; }

    /// The laid-out box (the widest line by every line's height) where the alignment
    /// puts it, under the world transform: layer coordinates. Nothing for an empty string.
    void get_shape(Shape& out) override;
    void on_render() override;

private:
    void load_font();
    void layout();

    std::string string_;                  // UTF-8, as given
    std::string font_path_;               // "" for the default face
    int pixel_size_;                      // nominal size in pixels
    core::Colour colour_;                 // opaque white by default
    Align align_ = Align::Left;           // where lines sit against the position
    float line_spacing_ = 1.0f;           // in line heights
    core::Ref<Font> font_;                // null when unreadable
    std::vector<std::uint32_t> code_points_;  // the string decoded, reused
    std::vector<float> vertices_;         // x, y, u, v per vertex, six per glyph, reused
    core::Vector<float> dimensions_;      // of the last layout
    bool dirty_ = true;                   // the layout must be made again
    unsigned generation_ = 0;             // the font atlas's generation of the layout
};

}  // namespace engine::graphics
