// Feeds arbitrary bytes to the sprite sheet reader as the JSON of an Aseprite or
// TexturePacker sheet: the frame layouts, trims, rotations, tags and animations, and
// the records they become. The picture does not exist, so the size comes from the
// sheet itself. Every iteration starts and ends with an empty table.
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"

#include "FuzzSupport.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace SpriteDatabase = engine::graphics::SpriteDatabase;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    engine::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string document(reinterpret_cast<const char*>(data), size);
    SpriteDatabase::SheetOptions options;
    options.id = "s";
    const int frames = SpriteDatabase::load_sheet_text(document, "fuzz", "no-such-sheet.png", "", options);
    if (frames < 0) std::abort();
    // A loaded sheet has its record, showing a frame that lies within the picture.
    if (frames > 0) {
        engine::graphics::SpriteData* record = SpriteDatabase::find("s");
        if (!record || record->animations.count("") == 0) std::abort();
        for (float c : {record->top_left.x, record->top_left.y, record->bottom_right.x, record->bottom_right.y})
            if (!(c >= 0.0f && c <= 1.0f)) std::abort();
        for (const auto& [name, animation] : record->animations)
            for (const auto& frame : animation.frames)
                if (!(frame.duration > 0.0f) || !std::isfinite(frame.origin.x) || !std::isfinite(frame.origin.y))
                    std::abort();
    }
    SpriteDatabase::unload();
    return 0;
}
