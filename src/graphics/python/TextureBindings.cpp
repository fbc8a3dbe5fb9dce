#include "python/Bindings.h"

#include "engine/graphics/Module.h"
#include "engine/graphics/Texture.h"
#include "engine/graphics/TextureDatabase.h"
#include "engine/graphics/TextureLoader.h"

#include "core/python/support/SingletonWrapper.h"

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
                             (bp::arg("pixels"), bp::arg("dimensions"), bp::arg("format"))));
    register_with_factory(cls, "Texture");

    bp::object database =
        bp::class_<TextureDatabase, DatabaseWrapper, boost::noncopyable>(
            "TextureDatabase",
            "TextureDatabase\n\n"
            "The textures by path (libgraphics.texture_database, the only instance).",
            bp::init<>())
            // Static natively, methods of the singleton for scripts.
            .def(
                "purge", +[](TextureDatabase&) { TextureDatabase::purge(); },
                "purge() -> None\n\n"
                "Frees the pictures no texture or sprite uses any more.")
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
    bp::object loader = bp::class_<TextureLoader, LoaderWrapper, boost::noncopyable>(
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
