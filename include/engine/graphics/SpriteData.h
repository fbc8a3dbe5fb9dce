#pragma once

#include "engine/core/Colour.h"
#include "engine/core/XMLParser.h"
#include "engine/core/Ref.h"
#include "engine/core/SharedObject.h"
#include "engine/core/Vector.h"
#include "engine/graphics/SpriteAnimation.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class Texture;

/// A record of the sprite database: what a Sprite of that id looks like. Shared by
/// every sprite made from it; its texture is loaded while at least one sprite uses
/// the record (or always, for an "auto_load" record). Script thread only (the thread
/// that imported libgraphics and owns the GL context).
class SpriteData : public core::SharedObject {
public:
    SpriteData() = default;
    ~SpriteData() override;

    std::string id;
    core::Vector<float> origin;
    core::Vector<float> dimensions;
    core::Colour colour;
    std::string texture_path;
    bool force_full_resolution = true;
    core::Vector<float> top_left;  // texture coordinates
    core::Vector<float> bottom_right;
    int scale_flags = -1;
    std::string layer;
    bool rotated = false;  // the rectangle is stored turned 90 degrees clockwise
    /// Named frame sequences on the record's texture; "" plays every frame of a sheet.
    /// Filled before the record enters the table and unchanged afterwards, so an
    /// animator may keep a pointer to one while a sprite holds the record.
    std::map<std::string, SpriteAnimation> animations;

    /// The sequence called `name`, or null.
    const SpriteAnimation* find_animation(const std::string& name) const;

    /// One more sprite uses the record: the texture is made on the first use.
    void add_use();
    /// One sprite less: the texture is dropped when nobody uses the record.
    void remove_use();
    /// Pins the record: its texture stays loaded whatever the sprites do.
    void pin();
    /// Sets the path; a record in use loads it at once.
    void set_texture_path(const std::string& path);

    Texture* get_texture() const { return texture_.get(); }
    int get_use_count() const { return use_count_; }

private:
    void load_texture();

    std::unique_ptr<Texture> texture_;  // null while not loaded
    int use_count_ = 0;                 // sprites using the record, +1 when pinned
};

/// The table of sprite records by id, filled from XML ("Sprite" elements). The table is
/// process-wide; script thread only.
namespace SpriteDatabase {

/// Reads "Sprite" elements from the document `feed` gives; texture paths are
/// joined to `base_path`. An element without an id, or with an id already present, is
/// skipped whole. Returns true.
bool load(const core::XMLFeed& feed, const std::string& base_path);
/// Reads "Sprite" elements from a document held in memory.
bool load_text(const std::string& document, const std::string& base_path);
/// Adds a record made by code (a script's `sprite_database.add`) under its id, with the
/// rule of the XML: the first definition of an id stands. The table takes a reference
/// when it adds the record; false (and nothing taken) when the id is already defined.
bool add(SpriteData* record);
/// Options of a sheet load: what the frame records share.
struct SheetOptions {
    std::string id;               // records are "id/index" and "id/name"; "id" is the first frame
    std::string layer;            // the records' layer
    core::Vector<float> pivot;    // default pivot, as a fraction of the untrimmed frame
    float frame_duration = 0.1f;  // seconds, for frames that give none
    bool auto_load = false;       // pins the records' texture
};

/// Reads an Aseprite or TexturePacker JSON sheet (hash or array frames) from `document`;
/// `source_name` names it in warnings. The picture is `image` (joined to nothing; empty:
/// the sheet's own "meta.image" joined to `base_path`). Frames become records and
/// named animations; whatever is wrong is skipped with one warning. Returns the number
/// of frames loaded.
int load_sheet_text(const std::string& document, const std::string& source_name, const std::string& image,
                    const std::string& base_path, const SheetOptions& options);
/// A plain grid: `columns` by `rows` cells of `cell` pixels (zero: the picture divided
/// evenly), `margin` pixels round the grid and `spacing` between cells, read left to
/// right, top to bottom. `animations` names runs of cell indices. Returns the number of
/// frames loaded.
int load_grid(const std::string& image, int columns, int rows, const core::Vector<int>& cell, int margin, int spacing,
              const std::map<std::string, std::vector<int>>& animations, const SheetOptions& options);
/// Drops every record (sprites keep theirs).
void unload();
/// The record of `id`, held for the caller, or null.
core::Ref<SpriteData> acquire(const std::string& id);
SpriteData* find(const std::string& id);

}  // namespace SpriteDatabase
}  // namespace engine::graphics
