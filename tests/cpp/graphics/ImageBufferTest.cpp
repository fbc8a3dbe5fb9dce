#include "engine/graphics/TextureData.h"

#include "core/TestSupport.h"
#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Log = engine::core::Log;
namespace PathDatabase = engine::core::PathDatabase;
using engine::core::test::LogCapture;
using engine::core::test::TemporaryDirectory;
using engine::graphics::ImageBuffer;

// PNG files are written at test time with libpng's writer into a temporary directory
// that is a root of the path database, and decoded by their relative names.

namespace {

struct PngImage {
    int width = 0;
    int height = 0;
    int colour_type = PNG_COLOR_TYPE_RGB_ALPHA;
    int bit_depth = 8;
    int interlace = PNG_INTERLACE_NONE;
    std::vector<unsigned char> samples;  // rows top first, as the file stores them
    std::vector<png_color> palette;      // for PNG_COLOR_TYPE_PALETTE
};

// Writes `image` to `path`; false when libpng refuses.
bool write_png(const std::string& path, const PngImage& image) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(png ? &png : nullptr, info ? &info : nullptr);
        std::fclose(file);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(image.width), png_uint_32(image.height), image.bit_depth, image.colour_type,
                 image.interlace, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!image.palette.empty()) png_set_PLTE(png, info, image.palette.data(), int(image.palette.size()));
    png_write_info(png, info);
    const std::size_t row_bytes = image.samples.size() / std::size_t(image.height);
    std::vector<png_bytep> rows;
    for (int y = 0; y < image.height; ++y)
        rows.push_back(const_cast<png_bytep>(image.samples.data() + std::size_t(y) * row_bytes));
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    return true;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<unsigned char> pixels_of(const ImageBuffer& buffer) {
    return {buffer.pixels, buffer.pixels + std::size_t(buffer.width) * buffer.height * buffer.channels};
}

// A PNG picture of `samples` (rows top first), 8 bits a sample unless told otherwise.
PngImage png(int width, int height, int colour_type, std::vector<unsigned char> samples, int bit_depth = 8) {
    PngImage image;
    image.width = width;
    image.height = height;
    image.colour_type = colour_type;
    image.bit_depth = bit_depth;
    image.samples = std::move(samples);
    return image;
}

// What a decode gave, compared field by field in one expectation.
struct Decoded {
    int width;
    int height;
    int channels;
    std::vector<unsigned char> pixels;

    bool operator==(const Decoded& other) const {
        return width == other.width && height == other.height && channels == other.channels && pixels == other.pixels;
    }
    friend std::ostream& operator<<(std::ostream& out, const Decoded& d) {
        out << d.width << " x " << d.height << " x " << d.channels << " {";
        for (unsigned char p : d.pixels) out << ' ' << int(p);
        return out << " }";
    }
};

bool has_warning(const LogCapture& log) {
    for (const auto& entry : log.entries())
        if (entry.level == Log::Level::Warning && entry.category == "graphics") return true;
    return false;
}

// A temporary directory that is a path-database root for the test's lifetime.
class ImageFiles : public ::testing::Test {
protected:
    ImageFiles() { PathDatabase::add_root(directory_.path()); }
    ~ImageFiles() override { PathDatabase::remove_root(directory_.path()); }

    // Writes the image under `name` and returns `name`.
    std::string write(const std::string& name, const PngImage& image) {
        EXPECT_TRUE(write_png(directory_.path() + "/" + name, image));
        return name;
    }
    std::string write_bytes(const std::string& name, const std::string& bytes) {
        directory_.write(name, bytes);
        return name;
    }
    std::string full_path(const std::string& name) const { return directory_.path() + "/" + name; }

    // Writes the image under `name` and decodes it; nothing when the decode fails. The
    // decoded pixels are always the buffer's own.
    std::optional<Decoded> decode(const std::string& name, const PngImage& image, bool full_resolution) {
        std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(write(name, image), full_resolution);
        if (!buffer) return std::nullopt;
        EXPECT_TRUE(buffer->owns_pixels);
        return Decoded{buffer->width, buffer->height, buffer->channels, pixels_of(*buffer)};
    }

    TemporaryDirectory directory_;
};

// A 3 x 5 RGBA picture: the 2 x 2 blocks that halving keeps hold the values 1, 2, 2, 2
// (sum 7, mean 1 when truncated) in the first block and 10, 20, 30, 41 (sum 101,
// mean 25) in the second; the last row and column, which halving drops, hold 255.
PngImage three_by_five() {
    PngImage image;
    image.width = 3;
    image.height = 5;
    const unsigned char rows[5][3] = {{1, 2, 255}, {2, 2, 255}, {10, 20, 255}, {30, 41, 255}, {255, 255, 255}};
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 3; ++x)
            for (int c = 0; c < 4; ++c) image.samples.push_back(rows[y][x]);
    return image;
}

}  // namespace

TEST(ImageBuffer, EmptyBufferHasZeroFieldsAndOwnsItsPixels) {
    ImageBuffer buffer;
    EXPECT_EQ(buffer.pixels, nullptr);
    EXPECT_EQ(buffer.width, 0);
    EXPECT_EQ(buffer.height, 0);
    EXPECT_EQ(buffer.channels, 0);
    EXPECT_TRUE(buffer.owns_pixels);
}

TEST(ImageBuffer, HalvingTakesTruncatedMeanOfEachBlockPerChannel) {
    // Two channels of a 2 x 2 borrowed picture: channel 0 holds 1, 2, 2, 2 and channel 1
    // holds 255, 255, 255, 254 (sum 1019, mean 254.75 truncated to 254).
    unsigned char samples[] = {1, 255, 2, 255, 2, 255, 2, 254};
    ImageBuffer buffer;
    buffer.pixels = samples;
    buffer.owns_pixels = false;
    buffer.width = 2;
    buffer.height = 2;
    buffer.channels = 2;
    buffer.halve();
    EXPECT_EQ(buffer.width, 1);
    EXPECT_EQ(buffer.height, 1);
    EXPECT_TRUE(buffer.owns_pixels);  // the halved picture is its own
    EXPECT_NE(buffer.pixels, samples);
    EXPECT_EQ(pixels_of(buffer), (std::vector<unsigned char>{1, 254}));
    // The borrowed bytes are left as they were.
    EXPECT_EQ(samples[0], 1);
    EXPECT_EQ(samples[7], 254);
}

TEST_F(ImageFiles, HalfResolutionRgbaThreeByFiveBecomesOneByTwoOfTruncatedMeans) {
    EXPECT_EQ(decode("three_by_five.png", three_by_five(), false), (Decoded{1, 2, 4, {1, 1, 1, 1, 25, 25, 25, 25}}));
}

TEST_F(ImageFiles, FullResolutionKeepsEverySample) {
    const PngImage image = three_by_five();
    EXPECT_EQ(decode("three_by_five.png", image, true), (Decoded{3, 5, 4, image.samples}));
}

TEST_F(ImageFiles, RgbHasThreeChannelsRowsTopFirstWithoutPadding) {
    // 3 x 2 RGB: a row is 9 bytes, which no 4-byte alignment would keep.
    std::vector<unsigned char> samples;
    for (int i = 0; i < 18; ++i) samples.push_back(static_cast<unsigned char>(10 * i));
    EXPECT_EQ(decode("rgb.png", png(3, 2, PNG_COLOR_TYPE_RGB, samples), true), (Decoded{3, 2, 3, samples}));
}

TEST_F(ImageFiles, OddSizesDropTheLastRowAndColumnWhenHalved) {
    // 5 x 3 RGB: halved to 2 x 1; column 4 and row 2 are not read.
    std::vector<unsigned char> samples;
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            for (int c = 0; c < 3; ++c)
                samples.push_back(static_cast<unsigned char>(y == 2 || x == 4 ? 255 : 4 * x + 40 * y + c));
    // Block (0, 0): x 0..1, y 0..1 -> (0 + 4 + 40 + 44) / 4 = 22 (+ c);
    // block (1, 0): x 2..3 -> (8 + 12 + 48 + 52) / 4 = 30 (+ c).
    EXPECT_EQ(decode("odd.png", png(5, 3, PNG_COLOR_TYPE_RGB, samples), false),
              (Decoded{2, 1, 3, {22, 23, 24, 30, 31, 32}}));
}

TEST_F(ImageFiles, OnePixelPictureHalvesToNothing) {
    const std::optional<Decoded> decoded = decode("one.png", png(1, 1, PNG_COLOR_TYPE_RGB_ALPHA, {9, 9, 9, 9}), false);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->width, 0);
    EXPECT_EQ(decoded->height, 0);
}

TEST_F(ImageFiles, SixteenBitRgbIsReadAsEightBitByItsHighBytes) {
    // Big-endian samples 0x1234, 0xFF01, 0x0080 | 0x8000, 0x7FFF, 0x0001.
    const PngImage image =
        png(2, 1, PNG_COLOR_TYPE_RGB, {0x12, 0x34, 0xFF, 0x01, 0x00, 0x80, 0x80, 0x00, 0x7F, 0xFF, 0x00, 0x01}, 16);
    EXPECT_EQ(decode("deep.png", image, true), (Decoded{2, 1, 3, {0x12, 0xFF, 0x00, 0x80, 0x7F, 0x00}}));
}

TEST_F(ImageFiles, SixteenBitRgbaIsReadAsEightBitRgba) {
    const PngImage image = png(1, 1, PNG_COLOR_TYPE_RGB_ALPHA, {0xAB, 0xCD, 0x01, 0x02, 0x10, 0x00, 0xFF, 0xFF}, 16);
    EXPECT_EQ(decode("deep_rgba.png", image, true), (Decoded{1, 1, 4, {0xAB, 0x01, 0x10, 0xFF}}));
}

TEST_F(ImageFiles, InterlacedPictureDecodesLikeAPlainOne) {
    std::vector<unsigned char> samples;
    for (int i = 0; i < 9 * 7 * 3; ++i) samples.push_back(static_cast<unsigned char>(i * 7));
    PngImage image = png(9, 7, PNG_COLOR_TYPE_RGB, samples);
    image.interlace = PNG_INTERLACE_ADAM7;
    EXPECT_EQ(decode("interlaced.png", image, true), (Decoded{9, 7, 3, samples}));
}

TEST_F(ImageFiles, PalettePictureIsRefused) {
    PngImage image = png(2, 2, PNG_COLOR_TYPE_PALETTE, {0, 1, 1, 0});
    image.palette = {{255, 0, 0}, {0, 255, 0}};
    LogCapture log;
    EXPECT_EQ(decode("palette.png", image, true), std::nullopt);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 1u);  // once per refusal, saying which colour type
    EXPECT_EQ(entries[0].level, Log::Level::Warning);
    EXPECT_NE(entries[0].message.find("colour type palette (bit depth 8)"), std::string::npos);
}

TEST_F(ImageFiles, PackedPalettePictureIsRefused) {
    // Four-bit indices: the packing step runs, then the colour type is refused.
    PngImage image = png(4, 2, PNG_COLOR_TYPE_PALETTE, {0x01, 0x20, 0x21, 0x00}, 4);
    image.palette = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}};
    EXPECT_EQ(decode("palette4.png", image, true), std::nullopt);
}

TEST_F(ImageFiles, GreyPicturesAreRefused) {
    EXPECT_EQ(decode("grey.png", png(2, 2, PNG_COLOR_TYPE_GRAY, {0, 64, 128, 255}), true), std::nullopt);
    EXPECT_EQ(
        decode("grey_alpha.png", png(2, 2, PNG_COLOR_TYPE_GRAY_ALPHA, {0, 255, 64, 255, 128, 255, 255, 255}), true),
        std::nullopt);
    EXPECT_EQ(decode("grey1.png", png(2, 2, PNG_COLOR_TYPE_GRAY, {0x80, 0x40}, 1), false), std::nullopt);
    EXPECT_EQ(decode("grey16.png", png(2, 2, PNG_COLOR_TYPE_GRAY, {0, 0, 1, 0, 2, 0, 255, 255}, 16), true),
              std::nullopt);
}

TEST_F(ImageFiles, MissingFileGivesNothingAndAWarningNamingTheRootsSearched) {
    LogCapture log;
    EXPECT_EQ(ImageBuffer::decode("no such picture.png", true), nullptr);
    EXPECT_EQ(ImageBuffer::decode(full_path("absent.png"), false), nullptr);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_NE(entries[0].message.find("'no such picture.png' not found (searched '"), std::string::npos);
    EXPECT_NE(entries[0].message.find("the working directory"), std::string::npos);
}

// Chunks after the image data, as a byte-flipped file can end: an unknown ancillary
// chunk with no IEND behind it. The end of the file is an error, never a loop.
TEST_F(ImageFiles, FileEndingWithoutItsEndChunkGivesNothingAndAWarning) {
    std::string bytes = read_file(
        full_path(write("whole_end.png", png(4, 4, PNG_COLOR_TYPE_RGB_ALPHA, std::vector<unsigned char>(64, 90)))));
    const std::size_t end = bytes.rfind("IEND");
    ASSERT_NE(end, std::string::npos);
    bytes[end] = 'i';  // "iEND": ancillary, unknown, with a CRC that no longer matches
    const std::string flipped = write_bytes("lower_iend.png", bytes);
    const std::string cut = write_bytes("no_iend.png", bytes.substr(0, end - 4));

    for (const std::string& name : {flipped, cut}) {
        LogCapture log;
        EXPECT_EQ(ImageBuffer::decode(name, true), nullptr) << name;
        EXPECT_TRUE(has_warning(log)) << name;
    }
}

TEST_F(ImageFiles, FileCutAtEveryOffsetNeverDecodesAndNeverHangs) {
    const std::string bytes = read_file(
        full_path(write("to_cut.png", png(3, 2, PNG_COLOR_TYPE_RGB_ALPHA, std::vector<unsigned char>(24, 17)))));
    LogCapture log;
    for (std::size_t length = 0; length + 12 < bytes.size(); ++length)
        EXPECT_EQ(ImageBuffer::decode(write_bytes("cut.png", bytes.substr(0, length)), true), nullptr) << length;
}

TEST_F(ImageFiles, FileCorruptAfterItsHeaderGivesNothingAndAWarning) {
    const std::string good =
        write("good.png", png(16, 16, PNG_COLOR_TYPE_RGB_ALPHA, std::vector<unsigned char>(16 * 16 * 4, 200)));
    std::string bytes = read_file(full_path(good));
    const std::size_t data = bytes.find("IDAT");
    ASSERT_NE(data, std::string::npos);
    for (std::size_t i = data + 4; i < data + 24 && i < bytes.size(); ++i) bytes[i] = char(bytes[i] ^ 0x5A);
    const std::string name = write_bytes("corrupt.png", bytes);

    LogCapture log;
    EXPECT_EQ(ImageBuffer::decode(name, true), nullptr);
    EXPECT_TRUE(has_warning(log));
    // The process goes on, and a sound file still decodes afterwards.
    EXPECT_NE(ImageBuffer::decode(good, true), nullptr);
}

TEST_F(ImageFiles, FileCutShortInItsImageDataGivesNothingAndAWarning) {
    std::vector<unsigned char> samples;
    for (int i = 0; i < 32 * 32 * 3; ++i) samples.push_back(static_cast<unsigned char>(i * 31));
    std::string bytes = read_file(full_path(write("whole.png", png(32, 32, PNG_COLOR_TYPE_RGB, samples))));
    const std::size_t data = bytes.find("IDAT");
    ASSERT_NE(data, std::string::npos);
    const std::string name = write_bytes("cut.png", bytes.substr(0, data + 40));

    LogCapture log;
    EXPECT_EQ(ImageBuffer::decode(name, false), nullptr);
    EXPECT_TRUE(has_warning(log));
}

TEST_F(ImageFiles, FileThatIsNoPngGivesNothing) {
    LogCapture log;
    EXPECT_EQ(ImageBuffer::decode(write_bytes("text.png", "this is not a picture at all"), true), nullptr);
    EXPECT_EQ(ImageBuffer::decode(write_bytes("empty.png", ""), true), nullptr);
}

TEST_F(ImageFiles, AbsolutePathIsUsedAsItIs) {
    const std::string name = write("absolute.png", three_by_five());
    PathDatabase::remove_root(directory_.path());
    EXPECT_EQ(ImageBuffer::decode(name, true), nullptr);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(full_path(name), true);
    PathDatabase::add_root(directory_.path());
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->width, 3);
}
