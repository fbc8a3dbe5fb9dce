// Feeds arbitrary bytes to the texture decoder as the content of a PNG file, then
// halves what it decoded, as a texture loaded at half resolution would be.
//
// libpng refuses a chunk whose CRC is wrong before looking inside it, and mutations
// almost never keep a CRC right; so the input is taken as a PNG signature followed by
// chunks, and each complete chunk gets its CRC recomputed before decoding. The bytes
// that reach the decoder are still arbitrary in every other respect.
#include "engine/graphics/TextureData.h"

#include "FuzzSupport.h"

#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

using engine::graphics::ImageBuffer;

namespace {

volatile unsigned char sample_sink;  // reading the samples lets ASan check their extent

std::uint32_t read_be32(const std::uint8_t* p) {
    return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | std::uint32_t(p[3]);
}

void write_be32(std::uint8_t* p, std::uint32_t v) {
    p[0] = std::uint8_t(v >> 24);
    p[1] = std::uint8_t(v >> 16);
    p[2] = std::uint8_t(v >> 8);
    p[3] = std::uint8_t(v);
}

// Rewrites the CRC of every whole chunk after the 8-byte signature, in place.
void fix_chunk_crcs(std::vector<std::uint8_t>& file) {
    std::size_t at = 8;
    while (at + 12 <= file.size()) {
        const std::size_t length = read_be32(&file[at]);
        if (length > file.size() - at - 12) break;  // a truncated last chunk stays as it is
        const std::uint8_t* type_and_data = &file[at + 4];
        const uLong crc = crc32(crc32(0L, Z_NULL, 0), type_and_data, uInt(length + 4));
        write_be32(&file[at + 8 + length], std::uint32_t(crc));
        at += 12 + length;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    engine::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> file(data, data + size);
    fix_chunk_crcs(file);
    engine::fuzz::MemoryStream stream(file.data(), file.size());
    std::unique_ptr<ImageBuffer> buffer = ImageBuffer::decode(stream, "fuzz.png", true);
    if (!buffer) return 0;
    // What the decoder promises: 3 or 4 channels, positive sizes, every sample there.
    if ((buffer->channels != 3 && buffer->channels != 4) || buffer->width <= 0 || buffer->height <= 0) std::abort();
    const std::size_t samples =
        std::size_t(buffer->width) * std::size_t(buffer->height) * std::size_t(buffer->channels);
    for (std::size_t i = 0; i < samples; i += 61) sample_sink = buffer->pixels[i];
    sample_sink = buffer->pixels[samples - 1];
    buffer->halve();
    if (buffer->width < 0 || buffer->height < 0) std::abort();
    return 0;
}
