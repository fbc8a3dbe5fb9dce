#pragma once

#include "engine/core/Colour.h"
#include "engine/core/script/PythonFwd.h"
#include "engine/core/SharedObject.h"
#include "engine/core/Vector.h"

#include <memory>
#include <string>

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

/// Reads "Sprite" elements from a path or a file-like object; texture paths are
/// joined to `base_path`. An element without an id, or with an id already present, is
/// skipped whole. Returns true.
bool load(PyObject* source, const std::string& base_path);
/// Reads "Sprite" elements from a document held in memory.
bool load_text(const std::string& document, const std::string& base_path);
/// Adds a record made by code (a script's `sprite_database.add`) under its id, with the
/// rule of the XML: the first definition of an id stands. The table takes a reference
/// when it adds the record; false (and nothing taken) when the id is already defined.
bool add(SpriteData* record);
/// Drops every record (sprites keep theirs).
void unload();
/// The record of `id` with one reference for the caller, or null.
SpriteData* acquire(const std::string& id);
SpriteData* find(const std::string& id);

}  // namespace SpriteDatabase
}  // namespace engine::graphics
