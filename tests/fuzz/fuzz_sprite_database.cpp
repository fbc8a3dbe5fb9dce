// Feeds arbitrary bytes to the sprite database as the text of a sprite XML document:
// the element walk, the attribute text forms (vectors, colours, flags) and the records'
// lifetime. Every iteration starts and ends with an empty table.
#include "engine/graphics/SpriteData.h"

#include "FuzzSupport.h"

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
    if (!SpriteDatabase::load_text(document, "fuzz")) std::abort();  // documented to return true
    // Each record is reachable by its id, and held once by the table alone.
    for (const char* id : {"a", "ship", ""}) {
        if (engine::graphics::SpriteData* record = SpriteDatabase::acquire(id)) {
            if (record->id != id || record->get_ref_count() != 2) std::abort();
            record->dec_ref();
        }
    }
    SpriteDatabase::unload();
    return 0;
}
