#include "python/Bindings.h"

#include "engine/graphics/Module.h"
#include "engine/graphics/Texture.h"
#include "engine/graphics/TextureData.h"
#include "engine/graphics/TextureDatabase.h"
#include "engine/graphics/TextureLoader.h"

#include "core/python/support/SingletonWrapper.h"

#include <algorithm>

namespace engine::graphics::python {

namespace {

// The bytes of a script's buffer object (bytes, bytearray, memoryview), held for the
// length of one expression and checked against the picture they must fill.
class BytesView {
public:
    BytesView(const bp::object& pixels, const core::Vector<int>& dimensions, unsigned int format) {
        if (PyObject_GetBuffer(pixels.ptr(), &view_, PyBUF_SIMPLE) != 0) bp::throw_error_already_set();
        const long long needed = (long long)dimensions.x * dimensions.y * (format == 3 ? 3 : 4);
        if (dimensions.x < 0 || dimensions.y < 0 || view_.len < needed) {
            PyBuffer_Release(&view_);
            raise(PyExc_ValueError, "Fewer pixel bytes than the texture's dimensions need.");
        }
        const int limit = get_max_texture_size();
        if (limit > 0 && (dimensions.x > limit || dimensions.y > limit)) {
            PyBuffer_Release(&view_);
            raise(PyExc_ValueError, "Texture dimensions (" + std::to_string(dimensions.x) + ", " +
                                        std::to_string(dimensions.y) + ") exceed the context's limit of " +
                                        std::to_string(limit) + " pixels a side.");
        }
    }
    BytesView(const BytesView&) = delete;
    BytesView& operator=(const BytesView&) = delete;
    ~BytesView() { PyBuffer_Release(&view_); }

    const unsigned char* data() const { return static_cast<const unsigned char*>(view_.buf); }

private:
    Py_buffer view_;
};

// Longest side of a picture made from pixels when no context says its own limit: the
// limit of picture files.
constexpr int fallback_max_side = 32768;

std::string type_name(const bp::object& object) { return Py_TYPE(object.ptr())->tp_name; }

// 3 or 4 for the format names scripts give ("RGB", "RGBA").
int channels_of(const bp::object& format, const std::string& function) {
    if (!PyUnicode_Check(format.ptr()))
        raise(PyExc_TypeError, function + ": format must be a str, 'RGBA' or 'RGB', got " + type_name(format) + ".");
    const std::string name = bp::extract<std::string>(format);
    if (name == "RGBA") return 4;
    if (name == "RGB") return 3;
    raise(PyExc_ValueError, function + ": format must be 'RGBA' or 'RGB', got '" + name +
                                "' (convert other pictures first, e.g. PIL's image.convert('RGBA')).");
}

const char* format_name(int channels) { return channels == 3 ? "RGB" : "RGBA"; }

// The bytes of any buffer object (bytes, bytearray, memoryview, a numpy array of uint8,
// PIL's tobytes()) as one contiguous block, held while the object lives; the length
// must be exactly what `size` pixels of `channels` bytes take.
class PixelBuffer {
public:
    PixelBuffer(const bp::object& data, const core::Vector<int>& size, int channels, const std::string& function) {
        if (!PyObject_CheckBuffer(data.ptr()))
            raise(PyExc_TypeError, function +
                                       ": data must be bytes, bytearray, memoryview or another buffer "
                                       "(a numpy array, PIL's tobytes()), got " +
                                       type_name(data) + ".");
        if (PyObject_GetBuffer(data.ptr(), &view_, PyBUF_C_CONTIGUOUS | PyBUF_FORMAT) != 0) {
            PyErr_Clear();
            raise(PyExc_TypeError, function +
                                       ": data must be one contiguous block of bytes "
                                       "(for a numpy array: numpy.ascontiguousarray(array)).");
        }
        if (view_.itemsize != 1) {
            const std::string items = std::to_string(view_.itemsize) + " bytes" +
                                      (view_.format ? std::string(" ('") + view_.format + "')" : std::string());
            PyBuffer_Release(&view_);
            raise(PyExc_TypeError, function +
                                       ": data must hold one byte a channel (numpy dtype uint8), "
                                       "its items are " +
                                       items + ".");
        }
        const long long needed = (long long)size.x * size.y * channels;
        if (view_.len != needed) {
            const long long given = view_.len;
            PyBuffer_Release(&view_);
            raise(PyExc_ValueError, function + ": " + std::to_string(size.x) + " x " + std::to_string(size.y) + " " +
                                        format_name(channels) + " pixels take " + std::to_string(needed) +
                                        " bytes, data has " + std::to_string(given) + ".");
        }
    }
    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;
    ~PixelBuffer() { PyBuffer_Release(&view_); }

    const unsigned char* data() const { return static_cast<const unsigned char*>(view_.buf); }

private:
    Py_buffer view_;
};

// ValueError unless both sides are from 1 to what the context (or, without one, the
// picture files) allow.
void require_picture_size(int width, int height, const std::string& function) {
    const int limit = get_max_texture_size() > 0 ? get_max_texture_size() : fallback_max_side;
    if (width < 1 || height < 1 || width > limit || height > limit)
        raise(PyExc_ValueError, function + ": width and height must be 1 to " + std::to_string(limit) + ", got " +
                                    std::to_string(width) + " x " + std::to_string(height) + ".");
}

Texture from_pixels(int width, int height, const bp::object& data, const bp::object& format, const bp::object& name) {
    const std::string function = "Texture.from_pixels";
    const int channels = channels_of(format, function);
    require_picture_size(width, height, function);
    std::string entry;
    if (!name.is_none()) {
        if (!PyUnicode_Check(name.ptr()))
            raise(PyExc_TypeError, function + ": name must be a str or None, got " + type_name(name) + ".");
        entry = bp::extract<std::string>(name);
        if (entry.empty()) raise(PyExc_ValueError, function + ": name must not be empty (None: no name).");
        if (TextureDatabase::contains(entry))
            raise(PyExc_ValueError, function + ": the texture database already holds '" + entry +
                                        "'; texture_database.forget('" + entry +
                                        "') frees the name, or update_pixels changes that texture's pixels.");
    }
    const core::Vector<int> size(width, height);
    Texture texture(PixelBuffer(data, size, channels, function).data(), size, unsigned(channels));
    if (!entry.empty()) TextureDatabase::add(entry, texture.get_data());
    return texture;
}

// (x, y, width, height) from a 4-sequence of ints.
void read_region(const bp::object& region, core::Vector<int>& offset, core::Vector<int>& size,
                 const std::string& function) {
    const char* form = ": region must be None or (x, y, width, height) in pixels, got ";
    if (!PySequence_Check(region.ptr()) || PyUnicode_Check(region.ptr()) || bp::len(region) != 4)
        raise(PyExc_TypeError, function + form + type_name(region) + ".");
    int values[4];
    for (int i = 0; i < 4; ++i) {
        bp::extract<int> value(region[i]);
        if (!PyLong_Check(bp::object(region[i]).ptr()) || !value.check())
            raise(PyExc_TypeError, function + form + "an item of type " + type_name(region[i]) + ".");
        values[i] = value();
    }
    offset = {values[0], values[1]};
    size = {values[2], values[3]};
}

void update_pixels(Texture& texture, const bp::object& data, const bp::object& format, const bp::object& region) {
    const std::string function = "Texture.update_pixels";
    const int channels = channels_of(format, function);
    const TextureData* held = texture.get_data();
    if (!held || !held->has_pixels()) {
        const std::string what = held && !held->get_path().empty() ? "'" + held->get_path() + "' comes from a file"
                                                                   : "this texture holds no pixels";
        raise(PyExc_ValueError,
              function + ": " + what + "; only textures made from pixels (Texture.from_pixels) can be updated.");
    }
    const core::Vector<int> whole = held->get_dimensions();
    core::Vector<int> offset(0, 0), size = whole;
    if (!region.is_none()) read_region(region, offset, size, function);
    if (offset.x < 0 || offset.y < 0 || size.x < 1 || size.y < 1 || size.x > whole.x - offset.x ||
        size.y > whole.y - offset.y)
        raise(PyExc_ValueError, function + ": region (" + std::to_string(offset.x) + ", " + std::to_string(offset.y) +
                                    ", " + std::to_string(size.x) + ", " + std::to_string(size.y) +
                                    ") must lie inside the picture of " + std::to_string(whole.x) + " x " +
                                    std::to_string(whole.y) + " and not be empty.");
    texture.update_pixels(PixelBuffer(data, size, channels, function).data(), channels, offset, size);
}

std::string path(const Texture& t) { return t.get_data() ? t.get_data()->get_path() : std::string(); }

// The script side of a Texture handle.
class TextureWrapper : public Texture {
public:
    TextureWrapper(PyObject*, const std::string& path, bool asynchronous, bool force_full_resolution)
        : Texture(path, asynchronous, force_full_resolution) {}
    TextureWrapper(PyObject*, const bp::object& pixels, const core::Vector<int>& dimensions, unsigned int format)
        : Texture(BytesView(pixels, dimensions, format).data(), dimensions, format) {}
    TextureWrapper(PyObject*, const Texture& other) : Texture(other) {}
};

core::Vector<int> dimensions(const Texture& t) { return t.get_dimensions(); }

struct DatabaseWrapper : core::python::SingletonWrapper<TextureDatabase> {
    explicit DatabaseWrapper(PyObject* self) : SingletonWrapper(self, "libgraphics.texture_database") {}
};
struct LoaderWrapper : core::python::SingletonWrapper<TextureLoader> {
    explicit LoaderWrapper(PyObject* self) : SingletonWrapper(self, "libgraphics.texture_loader") {}
};

}  // namespace

void define_texture() {
    // A path alone loads in the background at the database's resolution, as natively.
    bp::object cls = bp::class_<Texture, TextureWrapper>(
                         "Texture",
                         "Texture(path: str, asynchronous: bool = True, force_full_resolution: bool = False)\n"
                         "Texture(pixels: bytes | bytearray | memoryview, dimensions: IntVectorLike, format: int)",
                         bp::init<const std::string&, bool, bool>((bp::arg("path"), bp::arg("asynchronous") = true,
                                                                   bp::arg("force_full_resolution") = false)))
                         .add_property("dimensions", &dimensions,
                                       "dimensions: IntVector\n\n"
                                       "Width and height in pixels; (0, 0) until the picture is uploaded.")
                         // The GL name, the wrap mode and textures made from pixels in memory.
                         .add_property("gl_name", &Texture::get_name,
                                       "gl_name: int\n\n"
                                       "The OpenGL texture name.")
                         .add_property("wrap_mode", &Texture::get_wrap_mode, &Texture::set_wrap_mode,
                                       "wrap_mode: int\n\n"
                                       "The OpenGL wrap mode of both axes.")
                         .def(bp::init<const bp::object&, const core::Vector<int>&, unsigned int>(
                             (bp::arg("pixels"), bp::arg("dimensions"), bp::arg("format"))))
                         .def("from_pixels", &from_pixels,
                              (bp::arg("width"), bp::arg("height"), bp::arg("data"), bp::arg("format") = "RGBA",
                               bp::arg("name") = bp::object()),
                              "from_pixels(width: int, height: int, data: PixelsLike, format: str = 'RGBA', "
                              "name: str | None = None) -> Texture\n\n"
                              "A texture of width x height pixels copied from data: exactly width * height * 4\n"
                              "bytes for 'RGBA' (3 for 'RGB'), rows top first, from any buffer (bytes,\n"
                              "bytearray, memoryview, a numpy array of uint8, PIL's tobytes()). The texture keeps\n"
                              "its copy and uploads it again with each new context. A name enters it in the\n"
                              "texture database, where a sprite record's texture or Texture(name) finds it.")
                         .staticmethod("from_pixels")
                         .def("update_pixels", &update_pixels,
                              (bp::arg("data"), bp::arg("format") = "RGBA", bp::arg("region") = bp::object()),
                              "update_pixels(data: PixelsLike, format: str = 'RGBA', "
                              "region: tuple[int, int, int, int] | None = None) -> None\n\n"
                              "Replaces the pixels of a texture made from pixels: all of them, or the\n"
                              "(x, y, width, height) region counted from the top-left pixel; data holds\n"
                              "the region's rows, top first. Every sprite drawing the texture shows the change.")
                         .add_property("path", &path,
                                       "path: str\n\n"
                                       "The picture file, or the name a texture made from pixels is entered under\n"
                                       "in the texture database ('' when it has none).");
    register_with_factory(cls, "Texture");

    bp::object database =
        bp::class_<TextureDatabase, Held<DatabaseWrapper>, boost::noncopyable>(
            "TextureDatabase",
            "TextureDatabase\n\n"
            "The textures by path, and by name those made from pixels\n"
            "(libgraphics.texture_database, the only instance).",
            bp::init<>())
            // Static natively, methods of the singleton for scripts.
            .def(
                "purge", +[](TextureDatabase&) { TextureDatabase::purge(); },
                "purge() -> None\n\n"
                "Frees the pictures from files that no texture or sprite uses any more\n"
                "(named textures made from pixels stay until forgotten).")
            .def(
                "forget", +[](TextureDatabase&, const std::string& path) { return TextureDatabase::forget(path); },
                bp::arg("path"),
                "forget(path: str) -> bool\n\n"
                "Drops the entry of a file path or of a texture's name; textures and sprites\n"
                "holding the picture keep it. False when there is none.")
            .def(
                "__contains__",
                +[](const TextureDatabase&, const std::string& path) { return TextureDatabase::contains(path); },
                "__contains__(path: str, /) -> bool")
            .def(
                "reload", +[](TextureDatabase&) { TextureDatabase::reload(); },
                "reload() -> None\n\n"
                "Loads every picture again from its file.")
            .add_property(
                "full_resolution", +[](const TextureDatabase&) { return TextureDatabase::is_full_resolution(); },
                +[](TextureDatabase&, bool value) { TextureDatabase::set_full_resolution(value); },
                "full_resolution: bool\n\n"
                "False halves pictures loaded afterwards, unless loaded with force_full_resolution.")
            // How many textures the table holds.
            .def(
                "__len__", +[](const TextureDatabase&) { return TextureDatabase::size(); }, "__len__() -> int");
    register_with_factory(database, "TextureDatabase");

    // Named in lower case for scripts, unlike its factory name: kept as it is.
    bp::object loader = bp::class_<TextureLoader, Held<LoaderWrapper>, boost::noncopyable>(
                            "texture_loader",
                            "texture_loader\n\n"
                            "The background loader of textures (libgraphics.texture_loader, the only instance).",
                            bp::init<>())
                            .add_property(
                                "loading", +[](const TextureLoader&) { return TextureLoader::is_loading(); },
                                "loading: bool\n\n"
                                "True while pictures are still on their way; reading it uploads those decoded.");
    register_with_factory(loader, "TextureLoader");
}

}  // namespace engine::graphics::python
