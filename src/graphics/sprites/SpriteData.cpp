#include "engine/graphics/SpriteData.h"

#include "common/RecordTable.h"

#include "engine/core/PathDatabase.h"
#include "engine/core/XMLParser.h"
#include "engine/graphics/Texture.h"

#include <cstdlib>
#include <map>

namespace engine::graphics {

SpriteData::~SpriteData() = default;

const SpriteAnimation* SpriteData::find_animation(const std::string& name) const {
    auto it = animations.find(name);
    return it == animations.end() ? nullptr : &it->second;
}

void SpriteData::add_use() {
    if (++use_count_ == 1) load_texture();
}

void SpriteData::remove_use() {
    if (--use_count_ == 0) texture_.reset();
}

void SpriteData::pin() { use_count_ = 1; }

void SpriteData::set_texture_path(const std::string& path) {
    texture_path = path;
    if (use_count_ > 0) load_texture();
}

void SpriteData::load_texture() {
    if (texture_path.empty()) return;
    texture_ = std::make_unique<Texture>(texture_path, true, force_full_resolution);
}

namespace SpriteDatabase {

namespace {

RecordTable<SpriteData> table;  // the records by id

class Parser final : public core::XMLParser {
public:
    explicit Parser(std::string base_path) : base_path_(std::move(base_path)) {}

    void on_element_start(const std::string& name, const Attributes& attributes) override {
        if (name != "Sprite") return;
        auto id = attributes.find("id");
        if (id == attributes.end() || table.contains(id->second)) return;  // the first definition wins

        const core::Ref<SpriteData> data = core::make_ref<SpriteData>();
        data->id = id->second;
        // In this order, so that "force_full_resolution" is known when "texture" is set.
        auto get = [&](const char* key) -> const std::string* {
            auto it = attributes.find(key);
            return it == attributes.end() ? nullptr : &it->second;
        };
        if (const std::string* v = get("auto_load"); v && *v == "true") data->pin();
        if (const std::string* v = get("origin")) data->origin = core::Vector<float>(*v);
        if (const std::string* v = get("dimensions")) data->dimensions = core::Vector<float>(*v);
        if (const std::string* v = get("colour")) data->colour = core::Colour(*v);
        if (const std::string* v = get("force_full_resolution"))
            data->force_full_resolution = !(*v == "false" || *v == "0");
        if (const std::string* v = get("texture")) data->set_texture_path(core::PathDatabase::join(base_path_, *v));
        if (const std::string* v = get("top_left")) data->top_left = core::Vector<float>(*v);
        if (const std::string* v = get("bottom_right")) data->bottom_right = core::Vector<float>(*v);
        if (const std::string* v = get("scale_flags")) data->scale_flags = std::atoi(v->c_str());
        if (const std::string* v = get("layer")) data->layer = *v;
        add(data);  // the id was checked above
    }

private:
    std::string base_path_;
};

}  // namespace

bool load(const core::XMLFeed& feed, const std::string& base_path) {
    Parser parser(base_path);
    feed(parser);
    return true;
}

bool load_text(const std::string& document, const std::string& base_path) {
    Parser parser(base_path);
    parser.parse_text(document);
    return true;
}

bool add(SpriteData* record) { return record && table.add(record->id, record); }

void unload() { table.clear(); }

SpriteData* find(const std::string& id) { return table.find(id); }

core::Ref<SpriteData> acquire(const std::string& id) { return table.acquire(id); }

}  // namespace SpriteDatabase
}  // namespace engine::graphics
