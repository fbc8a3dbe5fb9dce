#include <png.h>

#include "window/Screenshot.h"

#include "engine/window/Window.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace engine::window {

namespace {

// Where libpng's error handler leaves its message before jumping back.
struct PngError {
    char message[256] = "";
};

void on_png_error(png_structp png, png_const_charp message) {
    auto* error = static_cast<PngError*>(png_get_error_ptr(png));
    std::snprintf(error->message, sizeof error->message, "%s", message);
    png_longjmp(png, 1);
}

void on_png_warning(png_structp, png_const_charp) {}  // nothing a caller could act on

// Kept free of objects with destructors: libpng's errors leave through longjmp.
bool encode(std::FILE* file, int width, int height, png_bytepp rows, PngError* error) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, error, on_png_error, on_png_warning);
    if (!png) {
        std::snprintf(error->message, sizeof error->message, "cannot create the PNG writer");
        return false;
    }
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        std::snprintf(error->message, sizeof error->message, "cannot create the PNG header");
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

bool write_png(const std::string& path, const Pixels& pixels, std::string& error) {
    if (pixels.width <= 0 || pixels.height <= 0 ||
        pixels.data.size() < std::size_t(pixels.width) * std::size_t(pixels.height) * 4) {
        error = "no pixels to write";
        return false;
    }
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
    if (!file) {
        error = std::strerror(errno);
        return false;
    }
    std::vector<png_bytep> rows(std::size_t(pixels.height));
    const std::size_t stride = std::size_t(pixels.width) * 4;
    for (std::size_t y = 0; y < rows.size(); ++y)
        rows[y] = const_cast<png_bytep>(pixels.data.data() + y * stride);  // libpng only reads them

    PngError png_error;
    if (!encode(file.get(), pixels.width, pixels.height, rows.data(), &png_error)) {
        error = png_error.message;
        return false;
    }
    // Write errors such as a full disk may only show when the buffered data is flushed.
    if (std::fflush(file.get()) != 0 || std::ferror(file.get())) {
        error = std::strerror(errno);
        return false;
    }
    if (std::fclose(file.release()) != 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace engine::window
