// Sprite sheets: a picture cut into frames, each becoming a sprite record, with the
// frame sequences as named animations of the sheet's own record. Reads the JSON that
// Aseprite and TexturePacker export (frames as an object keyed by name, or as an array
// of objects with a "filename") and plain grids.
#include "engine/graphics/SpriteData.h"

#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"
#include "engine/graphics/Texture.h"  // records own their texture

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace engine::graphics::SpriteDatabase {

namespace {

// Keeps the file's order of keys: a hash sheet's frames play in the order written.
using Json = nlohmann::ordered_json;
using Direction = SpriteAnimation::Direction;

struct Rect {
    double x = 0, y = 0, w = 0, h = 0;
};

// Beyond these a sheet means nothing a picture could hold: sizes and offsets within the
// largest texture side, pivots within a thousand frames of the frame.
constexpr double kLargestSide = double(1 << 24);
constexpr double kLargestPivot = 1000.0;

bool within(double v, double limit) { return v >= -limit && v <= limit; }

// The size of a PNG from its header, or (0, 0) when the path is not a readable PNG.
core::Vector<int> png_size(const std::string& path) {
    const std::string real = core::PathDatabase::resolve(path);
    if (real.empty()) return {};
    std::ifstream in(real, std::ios::binary);
    unsigned char header[24] = {};
    if (!in.read(reinterpret_cast<char*>(header), sizeof header)) return {};
    static const unsigned char signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    for (int i = 0; i < 8; ++i)
        if (header[i] != signature[i]) return {};
    auto big_endian = [&](int at) {
        return std::uint32_t(header[at]) << 24 | std::uint32_t(header[at + 1]) << 16 |
               std::uint32_t(header[at + 2]) << 8 | std::uint32_t(header[at + 3]);
    };
    const std::uint32_t w = big_endian(16), h = big_endian(20);
    if (w == 0 || h == 0 || w > 1u << 24 || h > 1u << 24) return {};
    return {int(w), int(h)};
}

// A finite number under `key` of `object`.
bool number(const Json& object, const char* key, double& out) {
    if (!object.is_object()) return false;
    auto it = object.find(key);
    if (it == object.end() || !it->is_number()) return false;
    out = it->get<double>();
    return std::isfinite(out);
}

bool rect(const Json& object, const char* key, Rect& out) {
    if (!object.is_object() || !object.contains(key)) return false;
    const Json& r = object[key];
    return number(r, "x", out.x) && number(r, "y", out.y) && number(r, "w", out.w) && number(r, "h", out.h);
}

// One frame as the file gives it, before it becomes a record.
struct Frame {
    std::string name;
    SpriteFrame frame;
};

// Builds the records of one sheet and gathers what it had to skip into one warning.
class SheetBuilder {
public:
    SheetBuilder(std::string source_name, std::string texture, core::Vector<int> size, const SheetOptions& options)
        : source_(std::move(source_name)), texture_(std::move(texture)), size_(size), options_(options) {}

    void skip(const std::string& what) { skipped_.push_back(what); }

    // The frame stored at `stored` in the picture (turned clockwise when `rotated`),
    // drawn `trim` within an untrimmed frame of `source_size`; false when it is skipped.
    bool add_frame(const std::string& name, const Rect& stored, bool rotated, const Rect& trim,
                   const core::Vector<double>& source_size, const core::Vector<float>& pivot, float duration,
                   std::size_t index) {
        const double sw = rotated ? stored.h : stored.w, sh = rotated ? stored.w : stored.h;
        if (!(stored.w > 0 && stored.h > 0)) {
            skip("frame " + label(name, index) + " (an empty rectangle)");
            return false;
        }
        if (stored.x < 0 || stored.y < 0 || stored.x + sw > size_.x || stored.y + sh > size_.y) {
            skip("frame " + label(name, index) + " (outside the " + std::to_string(size_.x) + "x" +
                 std::to_string(size_.y) + " image)");
            return false;
        }
        SpriteFrame f;
        f.top_left = core::Vector<float>(float(stored.x / size_.x), float(stored.y / size_.y));
        f.bottom_right = core::Vector<float>(float((stored.x + sw) / size_.x), float((stored.y + sh) / size_.y));
        f.rotated = rotated;
        f.dimensions = core::Vector<float>(float(stored.w), float(stored.h));
        // The pivot stays where it is in the untrimmed frame, whatever was trimmed off.
        f.origin =
            core::Vector<float>(float(pivot.x * source_size.x - trim.x), float(pivot.y * source_size.y - trim.y));
        f.duration = duration;
        frames_.push_back({name, f});
        index_of_[index] = int(frames_.size()) - 1;
        return true;
    }

    // A sequence from frame numbers in the file's order; frames that were skipped drop out.
    void add_animation(const std::string& name, const std::vector<std::size_t>& indices, Direction direction) {
        SpriteAnimation animation;
        animation.direction = direction;
        for (std::size_t i : indices) {
            auto it = index_of_.find(i);
            if (it != index_of_.end()) animation.frames.push_back(frames_[std::size_t(it->second)].frame);
        }
        if (animation.frames.empty()) {
            skip("animation '" + name + "' (no frames left)");
            return;
        }
        if (!animations_.emplace(name, std::move(animation)).second) skip("animation '" + name + "' (defined twice)");
    }

    // The index of the frame named `name`, or false.
    bool find_frame(const std::string& name, std::size_t& index) const {
        for (const auto& [i, kept] : index_of_)
            if (frames_[std::size_t(kept)].name == name) {
                index = i;
                return true;
            }
        return false;
    }

    // Enters the records, then says what was skipped. Returns the frames loaded.
    int finish() {
        if (!frames_.empty()) {
            SpriteAnimation all;
            for (const Frame& f : frames_) all.frames.push_back(f.frame);
            animations_.emplace("", std::move(all));  // a sequence named "" in the file stands
            add_record(options_.id, frames_.front().frame, std::move(animations_));
            // Numbers first: a frame named "3" must not take frame 3's place.
            for (std::size_t i = 0; i < frames_.size(); ++i)
                add_record(options_.id + "/" + std::to_string(i), frames_[i].frame, {});
            for (std::size_t i = 0; i < frames_.size(); ++i)
                if (!frames_[i].name.empty() && frames_[i].name != std::to_string(i))
                    add_record(options_.id + "/" + frames_[i].name, frames_[i].frame, {});
        }
        report();
        return int(frames_.size());
    }

    // One warning, however much was wrong: the first few things by name, then a count.
    void report() const {
        if (skipped_.empty()) return;
        constexpr std::size_t kNamed = 20;
        std::string list;
        for (std::size_t i = 0; i < skipped_.size() && i < kNamed; ++i) list += (i ? ", " : "") + skipped_[i];
        if (skipped_.size() > kNamed) list += " and " + std::to_string(skipped_.size() - kNamed) + " more";
        core::Log::warning("graphics", "Sprite sheet '%s': skipped %s.", source_.c_str(), list.c_str());
    }

private:
    static std::string label(const std::string& name, std::size_t index) {
        return name.empty() ? std::to_string(index) : "'" + name + "'";
    }

    void add_record(const std::string& id, const SpriteFrame& frame,
                    std::map<std::string, SpriteAnimation> animations) {
        if (find(id)) {
            skip("record '" + id + "' (already defined)");
            return;
        }
        const core::Ref<SpriteData> data = core::make_ref<SpriteData>();
        data->id = id;
        if (options_.auto_load) data->pin();
        data->origin = frame.origin;
        data->dimensions = frame.dimensions;
        data->top_left = frame.top_left;
        data->bottom_right = frame.bottom_right;
        data->rotated = frame.rotated;
        data->layer = options_.layer;
        data->animations = std::move(animations);
        data->set_texture_path(texture_);
        add(data);  // the id was checked above
    }

    std::string source_;                                 // names the sheet in the warning
    std::string texture_;                                // the picture every record shares
    core::Vector<int> size_;                             // its size in pixels
    SheetOptions options_;                               // what the records share
    std::vector<Frame> frames_;                          // kept, in the file's order
    std::map<std::size_t, int> index_of_;                // file's frame number -> frames_ index
    std::map<std::string, SpriteAnimation> animations_;  // by name
    std::vector<std::string> skipped_;                   // what the warning lists
};

// The frames of a sheet as (name, object) pairs, from either layout.
std::vector<std::pair<std::string, const Json*>> frame_entries(const Json& frames) {
    std::vector<std::pair<std::string, const Json*>> entries;
    if (frames.is_object()) {
        for (auto it = frames.begin(); it != frames.end(); ++it) entries.emplace_back(it.key(), &it.value());
    } else if (frames.is_array()) {
        for (const Json& f : frames) {
            const bool named = f.is_object() && f.contains("filename") && f["filename"].is_string();
            entries.emplace_back(named ? f["filename"].get<std::string>() : std::string(), &f);
        }
    }
    return entries;
}

void read_frame(SheetBuilder& sheet, const std::string& name, const Json& f, std::size_t index,
                const SheetOptions& options) {
    const std::string what = "frame " + (name.empty() ? std::to_string(index) : "'" + name + "'");
    Rect stored;
    if (!rect(f, "frame", stored)) return sheet.skip(what + " (no 'frame' rectangle of numbers)");
    bool rotated = false;
    if (f.contains("rotated")) {
        if (!f["rotated"].is_boolean()) return sheet.skip(what + " ('rotated' is not true or false)");
        rotated = f["rotated"].get<bool>();
    }
    Rect trim{0, 0, stored.w, stored.h};
    if (f.contains("spriteSourceSize") &&
        !(rect(f, "spriteSourceSize", trim) && within(trim.x, kLargestSide) && within(trim.y, kLargestSide)))
        return sheet.skip(what + " ('spriteSourceSize' is not a rectangle of numbers)");
    core::Vector<double> source_size(stored.w, stored.h);
    if (f.contains("sourceSize") &&
        !(number(f["sourceSize"], "w", source_size.x) && number(f["sourceSize"], "h", source_size.y) &&
          within(source_size.x, kLargestSide) && within(source_size.y, kLargestSide)))
        return sheet.skip(what + " ('sourceSize' is not a size)");
    core::Vector<float> pivot = options.pivot;
    if (f.contains("pivot")) {
        double px = 0, py = 0;
        if (!(number(f["pivot"], "x", px) && number(f["pivot"], "y", py) && within(px, kLargestPivot) &&
              within(py, kLargestPivot)))
            return sheet.skip(what + " ('pivot' is not a point)");
        pivot = core::Vector<float>(float(px), float(py));
    }
    float duration = options.frame_duration;
    if (f.contains("duration")) {
        double ms = 0;
        if (!number(f, "duration", ms) || !(ms > 0)) return sheet.skip(what + " ('duration' is not a positive number)");
        duration = float(ms / 1000.0);  // written in milliseconds
    }
    sheet.add_frame(name, stored, rotated, trim, source_size, pivot, duration, index);
}

bool direction_of(const std::string& text, Direction& direction) {
    if (text == "forward")
        direction = Direction::forward;
    else if (text == "reverse")
        direction = Direction::reverse;
    else if (text == "pingpong")
        direction = Direction::ping_pong;
    else if (text == "pingpong_reverse")
        direction = Direction::ping_pong_reverse;
    else
        return false;
    return true;
}

// Aseprite's frame tags: a run of frame numbers from "from" to "to", with a direction.
void read_tags(SheetBuilder& sheet, const Json& tags, std::size_t frame_count) {
    if (!tags.is_array()) return sheet.skip("'meta.frameTags' (not a list)");
    for (const Json& tag : tags) {
        const bool named = tag.is_object() && tag.contains("name") && tag["name"].is_string();
        const std::string name = named ? tag["name"].get<std::string>() : std::string();
        double from = 0, to = 0;
        if (!named || !number(tag, "from", from) || !number(tag, "to", to) || from < 0 || to < from ||
            to >= double(frame_count)) {
            sheet.skip("frame tag '" + name + "' (needs a name and frames from <= to within the sheet)");
            continue;
        }
        Direction direction = Direction::forward;
        if (tag.contains("direction") &&
            !(tag["direction"].is_string() && direction_of(tag["direction"].get<std::string>(), direction))) {
            sheet.skip("frame tag '" + name + "' (unknown direction)");
            continue;
        }
        std::vector<std::size_t> indices;
        for (auto i = std::size_t(from); i <= std::size_t(to); ++i) indices.push_back(i);
        sheet.add_animation(name, indices, direction);
    }
}

// TexturePacker's animations: lists of frame names.
void read_named_animations(SheetBuilder& sheet, const Json& animations) {
    if (!animations.is_object()) return sheet.skip("'animations' (not an object)");
    for (auto it = animations.begin(); it != animations.end(); ++it) {
        std::vector<std::size_t> indices;
        bool good = it.value().is_array();
        for (const Json& name : good ? it.value() : Json::array()) {
            std::size_t index = 0;
            good = good && name.is_string() && sheet.find_frame(name.get<std::string>(), index);
            indices.push_back(index);
        }
        if (good)
            sheet.add_animation(it.key(), indices, Direction::forward);
        else
            sheet.skip("animation '" + it.key() + "' (not a list of the sheet's frame names)");
    }
}

// The picture of a sheet and its size: the PNG's own size when it can be read, else
// the size the sheet states.
bool sheet_image(const Json& meta, const std::string& image, const std::string& base_path, std::string& texture,
                 core::Vector<int>& size) {
    texture = image;
    if (texture.empty() && meta.is_object() && meta.contains("image") && meta["image"].is_string())
        texture = core::PathDatabase::join(base_path, meta["image"].get<std::string>());
    size = png_size(texture);
    double w = 0, h = 0;
    if (size.x == 0 && meta.is_object() && meta.contains("size") && number(meta["size"], "w", w) &&
        number(meta["size"], "h", h) && w >= 1 && h >= 1 && w <= 1 << 24 && h <= 1 << 24)
        size = core::Vector<int>(int(w), int(h));
    return !texture.empty() && size.x > 0;
}

bool valid_options(const SheetOptions& options, const std::string& source) {
    if (options.id.empty()) {
        core::Log::warning("graphics", "Sprite sheet '%s': no id to name its records; nothing loaded.", source.c_str());
        return false;
    }
    if (!(options.frame_duration > 0.0f) || !std::isfinite(options.frame_duration) ||
        !within(options.pivot.x, kLargestPivot) || !within(options.pivot.y, kLargestPivot)) {
        core::Log::warning("graphics",
                           "Sprite sheet '%s': the frame duration must be a positive number and the pivot a "
                           "fraction of the frame (within 1000); nothing loaded.",
                           source.c_str());
        return false;
    }
    return true;
}

}  // namespace

int load_sheet_text(const std::string& document, const std::string& source_name, const std::string& image,
                    const std::string& base_path, const SheetOptions& options) {
    if (!valid_options(options, source_name)) return 0;
    Json root;
    try {
        root = Json::parse(document);
    } catch (const Json::exception& e) {
        // The parser's message says where: "[json.exception.parse_error.101] parse error at line 1, ..."
        const std::string what = e.what();
        const std::size_t text = what.find("] ");
        core::Log::warning("graphics", "Sprite sheet '%s': malformed JSON (%s); nothing loaded.", source_name.c_str(),
                           (text == std::string::npos ? what : what.substr(text + 2)).c_str());
        return 0;
    }
    if (!root.is_object()) {
        core::Log::warning("graphics", "Sprite sheet '%s': not a JSON object; nothing loaded.", source_name.c_str());
        return 0;
    }
    const Json meta = root.contains("meta") ? root["meta"] : Json();
    std::string texture;
    core::Vector<int> size;
    if (!sheet_image(meta, image, base_path, texture, size)) {
        core::Log::warning("graphics",
                           "Sprite sheet '%s': no readable PNG and no 'meta.size' to place the frames in; "
                           "nothing loaded.",
                           source_name.c_str());
        return 0;
    }
    if (!root.contains("frames") || !(root["frames"].is_object() || root["frames"].is_array())) {
        core::Log::warning("graphics", "Sprite sheet '%s': no 'frames' object or list; nothing loaded.",
                           source_name.c_str());
        return 0;
    }
    SheetBuilder sheet(source_name, texture, size, options);
    const auto entries = frame_entries(root["frames"]);
    for (std::size_t i = 0; i < entries.size(); ++i)
        read_frame(sheet, entries[i].first, *entries[i].second, i, options);
    if (meta.is_object() && meta.contains("frameTags")) read_tags(sheet, meta["frameTags"], entries.size());
    if (root.contains("animations")) read_named_animations(sheet, root["animations"]);
    return sheet.finish();
}

int load_grid(const std::string& image, int columns, int rows, const core::Vector<int>& cell, int margin, int spacing,
              const std::map<std::string, std::vector<int>>& animations, const SheetOptions& options) {
    if (!valid_options(options, image)) return 0;
    const core::Vector<int> size = png_size(image);
    if (size.x == 0) {
        core::Log::warning("graphics", "Sprite sheet '%s': not a readable PNG; nothing loaded.", image.c_str());
        return 0;
    }
    if (columns < 1 || rows < 1 || margin < 0 || spacing < 0 || cell.x < 0 || cell.y < 0) {
        core::Log::warning("graphics",
                           "Sprite sheet '%s': a grid needs columns and rows of at least 1 and no negative "
                           "margin, spacing or cell size; nothing loaded.",
                           image.c_str());
        return 0;
    }
    // Without a cell size, the cells share what the margins and spacing leave.
    const double cw =
        cell.x ? cell.x : std::floor((double(size.x) - 2.0 * margin - (columns - 1.0) * spacing) / columns);
    const double ch = cell.y ? cell.y : std::floor((double(size.y) - 2.0 * margin - (rows - 1.0) * spacing) / rows);
    if (cw < 1 || ch < 1 || 2.0 * margin + columns * cw + (columns - 1.0) * spacing > size.x ||
        2.0 * margin + rows * ch + (rows - 1.0) * spacing > size.y) {
        core::Log::warning("graphics",
                           "Sprite sheet '%s': a grid of %d x %d cells does not fit the %dx%d image; "
                           "nothing loaded.",
                           image.c_str(), columns, rows, size.x, size.y);
        return 0;
    }
    SheetBuilder sheet(image, image, size, options);
    const core::Vector<double> source(cw, ch);
    for (int r = 0; r < rows; ++r)
        for (int col = 0; col < columns; ++col) {
            const Rect stored{margin + col * (cw + spacing), margin + r * (ch + spacing), cw, ch};
            sheet.add_frame("", stored, false, Rect{0, 0, cw, ch}, source, options.pivot, options.frame_duration,
                            std::size_t(r) * std::size_t(columns) + std::size_t(col));
        }
    for (const auto& [name, cells] : animations) {
        std::vector<std::size_t> indices;
        bool good = true;
        for (int i : cells) {
            good = good && i >= 0 && std::size_t(i) < std::size_t(rows) * std::size_t(columns);
            indices.push_back(std::size_t(i));
        }
        if (good)
            sheet.add_animation(name, indices, Direction::forward);
        else
            sheet.skip("animation '" + name + "' (a cell outside the grid)");
    }
    return sheet.finish();
}

}  // namespace engine::graphics::SpriteDatabase
