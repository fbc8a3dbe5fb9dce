#include "engine/graphics/TextureData.h"

#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"
#include "engine/core/Stream.h"

#include <png.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <string>

namespace engine::graphics {

namespace {

void read_from_stream(png_structp png, png_bytep data, png_size_t length) {
    // libpng takes whatever is in the buffer as read: past the end of the file it would
    // go on through bytes nobody wrote, for as long as the chunk lengths it has read
    // say (a stale chunk header repeats for ever; a 136-byte file naming a 1.1 GB chunk
    // kept it busy for 1.6 s).
    if (static_cast<core::Stream*>(png_get_io_ptr(png))->read(data, length) != length)
        png_error(png, "unexpected end of file");
}

// Larger pictures are refused before their pixels are allocated: no context takes
// them, and a corrupt header must not make the decoder ask for gigabytes.
constexpr png_uint_32 kMaxSide = 32768;

const char* colour_type_name(int type) {
    switch (type) {
        case PNG_COLOR_TYPE_GRAY:
            return "grey";
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            return "grey with alpha";
        case PNG_COLOR_TYPE_PALETTE:
            return "palette";
        default:
            return "unknown";
    }
}

std::string search_roots() {
    std::string roots;
    for (const std::string& root : core::PathDatabase::roots()) roots += "'" + root + "', ";
    return roots + "the working directory";
}

struct DecodeError {
    char message[256] = "";
};

[[noreturn]] void on_error(png_structp png, png_const_charp message) {
    auto* error = static_cast<DecodeError*>(png_get_error_ptr(png));
    std::snprintf(error->message, sizeof error->message, "%s", message ? message : "unknown error");
    png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp) {}

}  // namespace

ImageBuffer::~ImageBuffer() {
    if (owns_pixels) std::free(pixels);
}

std::unique_ptr<ImageBuffer> ImageBuffer::decode(const std::string& path, bool full_resolution) {
    std::unique_ptr<core::Stream> stream(core::PathDatabase::open(path));
    if (!stream) {
        core::Log::warning("graphics", "Texture '%s' not found (searched %s).", path.c_str(), search_roots().c_str());
        return nullptr;
    }
    return decode(*stream, path, full_resolution);
}

std::unique_ptr<ImageBuffer> ImageBuffer::decode(core::Stream& stream, const std::string& name, bool full_resolution) {
    DecodeError error;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, on_error, on_warning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_read_struct(png ? &png : nullptr, nullptr, nullptr);
        return nullptr;
    }

    // Everything that must be freed after a longjmp lives in these.
    unsigned char* volatile pixels = nullptr;
    png_bytep* volatile rows = nullptr;
    if (setjmp(png_jmpbuf(png))) {
        core::Log::warning("graphics", "Cannot decode texture '%s': %s.", name.c_str(), error.message);
        std::free(rows);
        std::free(pixels);
        png_destroy_read_struct(&png, &info, nullptr);
        return nullptr;
    }

    png_set_read_fn(png, &stream, read_from_stream);
    png_set_user_limits(png, kMaxSide, kMaxSide);
    // Only IHDR, PLTE, tRNS, IDAT and IEND matter to a texture; libpng skips the rest
    // through a small buffer. Parsed, a text chunk gets a buffer of the size it claims:
    // a 150-byte file whose tEXt claimed 1.9 GB had that much allocated.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_read_info(png, info);
    const int width = int(png_get_image_width(png, info));
    const int height = int(png_get_image_height(png, info));

    const int depth = png_get_bit_depth(png, info);
    if (depth == 16) png_set_strip_16(png);
    if (depth < 8) png_set_packing(png);

    int channels = 0;
    const int colour_type = png_get_color_type(png, info);
    switch (colour_type) {
        case PNG_COLOR_TYPE_RGB:
            channels = 3;
            break;
        case PNG_COLOR_TYPE_RGB_ALPHA:
            channels = 4;
            break;
        default:
            // Textures are RGB or RGBA; grey and palette pictures are refused rather
            // than expanded, so that a picture's memory is what its file says.
            core::Log::warning("graphics", "Cannot decode texture '%s': colour type %s (bit depth %d) is not supported; "
                               "save it as RGB or RGBA.", name.c_str(), colour_type_name(colour_type), depth);
            png_destroy_read_struct(&png, &info, nullptr);
            return nullptr;
    }

    // Deflate packs at most about 1032 bytes into one, so a picture whose pixels cannot
    // fit in its file is corrupt: refused before anything is allocated for it (a 92-byte
    // file declaring 24848 x 81664 pixels made the decoder ask for 8 GB).
    if (std::size_t(width) * std::size_t(height) * std::size_t(channels) / 1032 > stream.get_size())
        png_error(png, "picture larger than its file can hold");

    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    pixels = static_cast<unsigned char*>(std::malloc(std::size_t(width) * height * channels));
    rows = static_cast<png_bytep*>(std::malloc(sizeof(png_bytep) * std::size_t(height)));
    if (!pixels || !rows) png_error(png, "out of memory");
    for (int y = 0; y < height; ++y) rows[y] = pixels + std::size_t(y) * png_get_rowbytes(png, info);
    png_read_image(png, rows);
    std::free(rows);
    rows = nullptr;
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);

    auto buffer = std::make_unique<ImageBuffer>();
    buffer->pixels = pixels;
    buffer->width = width;
    buffer->height = height;
    buffer->channels = channels;
    if (!full_resolution) buffer->halve();
    return buffer;
}

void ImageBuffer::halve() {
    const int w = width / 2, h = height / 2;
    auto* out = static_cast<unsigned char*>(std::malloc(std::size_t(w) * h * channels + 1));
    const std::size_t row = std::size_t(width) * channels;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < channels; ++c) {
                const unsigned char* a = pixels + std::size_t(2 * y) * row + std::size_t(2 * x) * channels + c;
                const unsigned sum = a[0] + a[channels] + a[row] + a[row + channels];
                out[(std::size_t(y) * w + x) * channels + c] = static_cast<unsigned char>(sum >> 2);
            }
        }
    }
    if (owns_pixels) std::free(pixels);
    pixels = out;
    owns_pixels = true;
    width = w;
    height = h;
}

}  // namespace engine::graphics
