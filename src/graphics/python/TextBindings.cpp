#include "python/Bindings.h"
#include "python/SceneObjectWrapper.h"

#include "engine/graphics/Font.h"
#include "engine/graphics/Text.h"

#include <string>

namespace engine::graphics::python {

namespace {

core::Colour colour(const Text& t) { return t.get_colour(); }
void set_colour(Text& t, const core::Colour& c) { t.set_colour(c); }
core::Vector<float> dimensions(Text& t) { return t.get_dimensions(); }
std::size_t glyph_count(const Text& t) { return t.get_font() ? t.get_font()->get_rasterised_count() : 0; }

std::string align(const Text& t) {
    switch (t.get_align()) {
        case Text::Align::Centre:
            return "centre";
        case Text::Align::Right:
            return "right";
        default:
            return "left";
    }
}

void set_align(Text& t, const std::string& value) {
    if (value == "left")
        t.set_align(Text::Align::Left);
    else if (value == "centre" || value == "center")
        t.set_align(Text::Align::Centre);
    else if (value == "right")
        t.set_align(Text::Align::Right);
    else
        raise(PyExc_ValueError, "Text.align: expected 'left', 'centre' or 'right', got '" + value + "'.");
}

void set_size(Text& t, int size) {
    if (size < 1)
        raise(PyExc_ValueError, "Text.size: expected a size of at least 1 pixel, got " + std::to_string(size) + ".");
    t.set_pixel_size(size);
}

}  // namespace

void define_text() {
    using Wrapper = SceneObjectWrapper<Text, const std::string&, const std::string&, int>;
    bp::object cls =
        bp::class_<Text, Held<Wrapper>, bp::bases<SceneObject>, boost::noncopyable>(
            "Text",
            "Text(text: str = '', font: str = '', size: int = 16)\n\n"
            "A scene object drawing a string in a TrueType font (font: a path found through the\n"
            "PathDatabase; '' is DejaVu Sans). Lines split at '\\n'; the first line's top is at the\n"
            "position, aligned on it by `align`. Glyphs are rasterised once into the font's\n"
            "atlas, so changing `text` every frame is cheap. A font that cannot be read logs a\n"
            "warning and the text draws nothing.",
            bp::init<const std::string&, const std::string&, int>(
                (bp::arg("text") = std::string(), bp::arg("font") = std::string(), bp::arg("size") = 16)))
            .add_property("text",
                          bp::make_function(&Text::get_string, bp::return_value_policy<bp::copy_const_reference>()),
                          &Text::set_string,
                          "text: str\n\n"
                          "The string drawn; '\\n' starts a new line.")
            .add_property("font",
                          bp::make_function(&Text::get_font_path, bp::return_value_policy<bp::copy_const_reference>()),
                          &Text::set_font_path,
                          "font: str\n\n"
                          "The font file's path ('' for DejaVu Sans).")
            .add_property("size", &Text::get_pixel_size, &set_size,
                          "size: int\n\n"
                          "The font's size in pixels.")
            .add_property("colour", &colour, &set_colour,
                          "colour: Colour\n\n"
                          "The colour of the glyphs.")
            .add_property("align", &align, &set_align,
                          "align: str\n\n"
                          "'left' (lines start at the position), 'centre' (centred on it) or\n"
                          "'right' (lines end there).")
            .add_property("line_spacing", &Text::get_line_spacing, &Text::set_line_spacing,
                          "line_spacing: float\n\n"
                          "Distance between lines, in line heights (1.0).")
            .add_property("dimensions", &dimensions,
                          "dimensions: Vector\n\n"
                          "The laid-out size in pixels: the widest line by the lines' height.")
            .add_property("glyph_count", &glyph_count,
                          "glyph_count: int\n\n"
                          "How many glyphs the font's atlas has rasterised (each once).");
    register_with_factory(cls, "Text");
}

}  // namespace engine::graphics::python
