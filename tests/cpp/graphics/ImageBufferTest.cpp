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
#include <string>
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
    const std::string name = write("three_by_five.png", three_by_five());
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, false);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->width, 1);
    EXPECT_EQ(buffer->height, 2);
    EXPECT_EQ(buffer->channels, 4);
    EXPECT_TRUE(buffer->owns_pixels);
    EXPECT_EQ(pixels_of(*buffer), (std::vector<unsigned char>{1, 1, 1, 1, 25, 25, 25, 25}));
}

TEST_F(ImageFiles, FullResolutionKeepsEverySample) {
    const PngImage image = three_by_five();
    const std::string name = write("three_by_five.png", image);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, true);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->width, 3);
    EXPECT_EQ(buffer->height, 5);
    EXPECT_EQ(buffer->channels, 4);
    EXPECT_EQ(pixels_of(*buffer), image.samples);
}

TEST_F(ImageFiles, RgbHasThreeChannelsRowsTopFirstWithoutPadding) {
    // 3 x 2 RGB: a row is 9 bytes, which no 4-byte alignment would keep.
    PngImage image;
    image.width = 3;
    image.height = 2;
    image.colour_type = PNG_COLOR_TYPE_RGB;
    for (int i = 0; i < 18; ++i) image.samples.push_back(static_cast<unsigned char>(10 * i));
    const std::string name = write("rgb.png", image);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, true);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->channels, 3);
    EXPECT_EQ(buffer->width, 3);
    EXPECT_EQ(buffer->height, 2);
    EXPECT_EQ(pixels_of(*buffer), image.samples);
}

TEST_F(ImageFiles, OddSizesDropTheLastRowAndColumnWhenHalved) {
    // 5 x 3 RGB: halved to 2 x 1; column 4 and row 2 are not read.
    PngImage image;
    image.width = 5;
    image.height = 3;
    image.colour_type = PNG_COLOR_TYPE_RGB;
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            for (int c = 0; c < 3; ++c)
                image.samples.push_back(static_cast<unsigned char>(y == 2 || x == 4 ? 255 : 4 * x + 40 * y + c));
    const std::string name = write("odd.png", image);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, false);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->width, 2);
    EXPECT_EQ(buffer->height, 1);
    // Block (0, 0): x 0..1, y 0..1 -> (0 + 4 + 40 + 44) / 4 = 22 (+ c);
    // block (1, 0): x 2..3 -> (8 + 12 + 48 + 52) / 4 = 30 (+ c).
    EXPECT_EQ(pixels_of(*buffer), (std::vector<unsigned char>{22, 23, 24, 30, 31, 32}));
}

TEST_F(ImageFiles, OnePixelPictureHalvesToNothing) {
    PngImage image;
    image.width = 1;
    image.height = 1;
    image.samples = {9, 9, 9, 9};
    const std::string name = write("one.png", image);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, false);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->width, 0);
    EXPECT_EQ(buffer->height, 0);
}

TEST_F(ImageFiles, SixteenBitRgbIsReadAsEightBitByItsHighBytes) {
    PngImage image;
    image.width = 2;
    image.height = 1;
    image.colour_type = PNG_COLOR_TYPE_RGB;
    image.bit_depth = 16;
    // Big-endian samples 0x1234, 0xFF01, 0x0080 | 0x8000, 0x7FFF, 0x0001.
    image.samples = {0x12, 0x34, 0xFF, 0x01, 0x00, 0x80, 0x80, 0x00, 0x7F, 0xFF, 0x00, 0x01};
    const std::string name = write("deep.png", image);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, true);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->channels, 3);
    EXPECT_EQ(buffer->width, 2);
    EXPECT_EQ(buffer->height, 1);
    EXPECT_EQ(pixels_of(*buffer), (std::vector<unsigned char>{0x12, 0xFF, 0x00, 0x80, 0x7F, 0x00}));
}

TEST_F(ImageFiles, SixteenBitRgbaIsReadAsEightBitRgba) {
    PngImage image;
    image.width = 1;
    image.height = 1;
    image.colour_type = PNG_COLOR_TYPE_RGB_ALPHA;
    image.bit_depth = 16;
    image.samples = {0xAB, 0xCD, 0x01, 0x02, 0x10, 0x00, 0xFF, 0xFF};
    const std::string name = write("deep_rgba.png", image);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, true);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->channels, 4);
    EXPECT_EQ(pixels_of(*buffer), (std::vector<unsigned char>{0xAB, 0x01, 0x10, 0xFF}));
}

TEST_F(ImageFiles, InterlacedPictureDecodesLikeAPlainOne) {
    PngImage image;
    image.width = 9;
    image.height = 7;
    image.colour_type = PNG_COLOR_TYPE_RGB;
    image.interlace = PNG_INTERLACE_ADAM7;
    for (int i = 0; i < 9 * 7 * 3; ++i) image.samples.push_back(static_cast<unsigned char>(i * 7));
    const std::string name = write("interlaced.png", image);
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(name, true);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(pixels_of(*buffer), image.samples);
}

TEST_F(ImageFiles, PalettePictureIsRefused) {
    PngImage image;
    image.width = 2;
    image.height = 2;
    image.colour_type = PNG_COLOR_TYPE_PALETTE;
    image.palette = {{255, 0, 0}, {0, 255, 0}};
    image.samples = {0, 1, 1, 0};
    const std::string name = write("palette.png", image);
    LogCapture log;
    EXPECT_EQ(ImageBuffer::decode(name, true), nullptr);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 1u);  // once per refusal, saying which colour type
    EXPECT_EQ(entries[0].level, Log::Level::Warning);
    EXPECT_NE(entries[0].message.find("colour type palette (bit depth 8)"), std::string::npos);
}

TEST_F(ImageFiles, PackedPalettePictureIsRefused) {
    // Four-bit indices: the packing step runs, then the colour type is refused.
    PngImage image;
    image.width = 4;
    image.height = 2;
    image.colour_type = PNG_COLOR_TYPE_PALETTE;
    image.bit_depth = 4;
    image.palette = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}};
    image.samples = {0x01, 0x20, 0x21, 0x00};
    const std::string name = write("palette4.png", image);
    EXPECT_EQ(ImageBuffer::decode(name, true), nullptr);
}

TEST_F(ImageFiles, GreyPicturesAreRefused) {
    PngImage grey;
    grey.width = 2;
    grey.height = 2;
    grey.colour_type = PNG_COLOR_TYPE_GRAY;
    grey.samples = {0, 64, 128, 255};
    EXPECT_EQ(ImageBuffer::decode(write("grey.png", grey), true), nullptr);

    PngImage grey_alpha = grey;
    grey_alpha.colour_type = PNG_COLOR_TYPE_GRAY_ALPHA;
    grey_alpha.samples = {0, 255, 64, 255, 128, 255, 255, 255};
    EXPECT_EQ(ImageBuffer::decode(write("grey_alpha.png", grey_alpha), true), nullptr);

    PngImage one_bit = grey;
    one_bit.bit_depth = 1;
    one_bit.samples = {0x80, 0x40};
    EXPECT_EQ(ImageBuffer::decode(write("grey1.png", one_bit), false), nullptr);

    PngImage deep = grey;
    deep.bit_depth = 16;
    deep.samples = {0, 0, 1, 0, 2, 0, 255, 255};
    EXPECT_EQ(ImageBuffer::decode(write("grey16.png", deep), true), nullptr);
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
    PngImage image;
    image.width = 4;
    image.height = 4;
    image.samples.assign(4 * 4 * 4, 90);
    std::string bytes = read_file(full_path(write("whole_end.png", image)));
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
    PngImage image;
    image.width = 3;
    image.height = 2;
    image.samples.assign(3 * 2 * 4, 17);
    const std::string bytes = read_file(full_path(write("to_cut.png", image)));
    LogCapture log;
    for (std::size_t length = 0; length + 12 < bytes.size(); ++length)
        EXPECT_EQ(ImageBuffer::decode(write_bytes("cut.png", bytes.substr(0, length)), true), nullptr) << length;
}

TEST_F(ImageFiles, FileCorruptAfterItsHeaderGivesNothingAndAWarning) {
    PngImage image;
    image.width = 16;
    image.height = 16;
    image.samples.assign(16 * 16 * 4, 200);
    const std::string good = write("good.png", image);
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
    PngImage image;
    image.width = 32;
    image.height = 32;
    for (int i = 0; i < 32 * 32 * 3; ++i) image.samples.push_back(static_cast<unsigned char>(i * 31));
    image.colour_type = PNG_COLOR_TYPE_RGB;
    std::string bytes = read_file(full_path(write("whole.png", image)));
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
