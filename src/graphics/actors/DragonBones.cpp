// Characters exported by DragonBones 5 (a skeleton JSON and a texture atlas JSON) made
// into actor records: bones become joints, each display of a slot a part (a mesh bound
// to the slot's bone), animations clips. Values are read leniently, as the tool's own
// files need (numbers written as strings, "false" as a string, null for a default);
// whatever cannot be used is skipped and counted into one warning.
#include "engine/graphics/ActorDatabase.h"

#include "engine/core/Log.h"
#include "engine/core/Maths.h"
#include "engine/core/PathDatabase.h"
#include "engine/core/Ref.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/AnimCurve.h"
#include "engine/graphics/AnimationClip.h"
#include "engine/graphics/BlendShape.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace engine::graphics::ActorDatabase {

namespace {

using Json = nlohmann::json;
using core::Matrix;
using core::Vector;

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegrees = kPi / 180.0;
// Beyond these a file means nothing a character could hold: coordinates and sizes
// within the largest texture side, frame counts within a day at 240 frames a second.
constexpr double kLargest = double(1 << 24);
constexpr double kMostFrames = 240.0 * 86400.0;
// Skinned vertices name joints with one byte, and triangles vertices with two.
constexpr std::size_t kMostJoints = 256;
constexpr std::size_t kMostVertices = 65536;
// A deform driver turns this far per key; its turn stays within the joint's half-turn limit.
constexpr double kDeformStep = 0.002;
constexpr int kMostDeformSteps = 1500;
// Deform offsets one armature may hold (a vertex per key): 32 MB.
constexpr double kMostDeformOffsets = 4.0 * 1024 * 1024;
// Plays of an animation spelled out in one clip; more loop the clip instead.
constexpr int kMostRepeats = 64;

std::string named(const std::string& s) { return "'" + s + "'"; }

// Enum names are read in any case.
std::string lower(std::string s) {
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Collects what was skipped, for one warning at the end.
class Problems {
public:
    void add(const std::string& what) {
        if (count_++ == 0) first_ = what;
    }
    // Vertex influences beyond those the skinning keeps, told in the same warning.
    void drop(int influences) {
        if (influences > 0) dropped_ += influences;
    }
    int dropped() const { return dropped_; }
    int count() const { return count_; }
    const std::string& first() const { return first_; }

private:
    int count_ = 0;
    int dropped_ = 0;
    std::string first_;
};

// Lenient readers: a missing key, null or "NaN" gives the default; numbers may be
// strings; a value that is not finite or beyond kLargest is counted and defaulted.
class Reader {
public:
    explicit Reader(Problems& problems) : problems_(problems) {}

    double number(const Json& object, const char* key, double fallback, const std::string& where) const {
        if (!object.is_object()) return fallback;
        auto it = object.find(key);
        if (it == object.end() || it->is_null()) return fallback;
        double value = 0.0;
        if (it->is_number()) {
            value = it->get<double>();
        } else if (it->is_boolean()) {
            value = it->get<bool>() ? 1.0 : 0.0;
        } else if (it->is_string()) {
            const std::string& text = it->get_ref<const std::string&>();
            if (text == "NaN") return fallback;
            value = std::strtod(text.c_str(), nullptr);  // text that is no number reads as 0
        } else {
            problems_.add(where + " " + key + " is not a number (default used)");
            return fallback;
        }
        if (!std::isfinite(value) || std::fabs(value) > kLargest) {
            problems_.add(where + " " + key + " is not finite or out of range (default used)");
            return fallback;
        }
        return value;
    }

    bool boolean(const Json& object, const char* key, bool fallback) const {
        if (!object.is_object()) return fallback;
        auto it = object.find(key);
        if (it == object.end() || it->is_null()) return fallback;
        if (it->is_boolean()) return it->get<bool>();
        if (it->is_number()) return it->get<double>() != 0.0;
        if (it->is_string()) {
            const std::string& t = it->get_ref<const std::string&>();
            return !(t.empty() || t == "0" || t == "false" || t == "null" || t == "undefined" || t == "NaN");
        }
        return fallback;
    }

    static std::string text(const Json& object, const char* key, const std::string& fallback = std::string()) {
        if (!object.is_object()) return fallback;
        auto it = object.find(key);
        if (it == object.end() || it->is_null()) return fallback;
        if (it->is_string()) return it->get<std::string>();
        if (it->is_number_integer()) return std::to_string(it->get<long long>());
        return fallback;
    }

    static const Json& list(const Json& object, const char* key) {
        static const Json empty = Json::array();
        if (!object.is_object()) return empty;
        auto it = object.find(key);
        return it != object.end() && it->is_array() ? *it : empty;
    }

    static const Json& child(const Json& object, const char* key) {
        static const Json empty = Json::object();
        if (!object.is_object()) return empty;
        auto it = object.find(key);
        return it != object.end() && it->is_object() ? *it : empty;
    }

private:
    Problems& problems_;
};

// Wraps into (-pi, pi].
double normalise(double a) {
    a = std::remainder(a, 2.0 * kPi);
    return a <= -kPi ? a + 2.0 * kPi : a;
}

// A transform as the tool writes it, in its own terms: rotation of the x axis and skew
// of the y axis beyond it, radians, turning +x towards +y (clockwise on screen).
struct Pose {
    double x = 0, y = 0, rotation = 0, skew = 0, sx = 1, sy = 1;
};

Pose read_pose(const Reader& r, const Json& t, const std::string& where) {
    Pose p;
    if (!t.is_object()) return p;
    p.x = r.number(t, "x", 0, where);
    p.y = r.number(t, "y", 0, where);
    if (t.contains("rotate") || t.contains("skew")) {
        p.rotation = normalise(r.number(t, "rotate", 0, where) * kDegrees);
        p.skew = normalise(r.number(t, "skew", 0, where) * kDegrees);
    } else {
        p.rotation = normalise(r.number(t, "skY", 0, where) * kDegrees);
        p.skew = normalise(r.number(t, "skX", 0, where) * kDegrees) - p.rotation;
    }
    p.sx = r.number(t, "scX", 1, where);
    p.sy = r.number(t, "scY", 1, where);
    return p;
}

Matrix matrix_of(const Pose& p) {
    return Matrix(float(p.sx * std::cos(p.rotation)), float(p.sx * std::sin(p.rotation)),
                  float(-p.sy * std::sin(p.rotation + p.skew)), float(p.sy * std::cos(p.rotation + p.skew)), float(p.x),
                  float(p.y));
}

// One picture of the atlas.
struct Page {
    std::string picture;  // path of the picture; empty: none
    double width = 0, height = 0;
    double scale = 1;  // skeleton units per atlas pixel
};

// One region of the atlas, in pixels of its page.
struct Region {
    double x = 0, y = 0, width = 0, height = 0;
    bool rotated = false;
    double frame_x = 0, frame_y = 0, frame_width = 0, frame_height = 0;
    std::size_t page = 0;
};

// Every page given; a region name found on several pages is the first page's.
struct Atlas {
    std::vector<Page> pages;
    std::map<std::string, Region> regions;
    const Page& page_of(const Region& g) const { return pages[g.page]; }
};

// The size of a PNG from its header, or (0, 0).
Vector<int> png_size(const std::string& path) {
    const std::string real = core::PathDatabase::resolve(path);
    if (real.empty()) return {};
    std::ifstream in(real, std::ios::binary);
    unsigned char h[24] = {};
    if (!in.read(reinterpret_cast<char*>(h), sizeof h)) return {};
    if (h[1] != 'P' || h[2] != 'N' || h[3] != 'G') return {};
    auto be = [&](int at) {
        return std::uint32_t(h[at]) << 24 | std::uint32_t(h[at + 1]) << 16 | std::uint32_t(h[at + 2]) << 8 |
               std::uint32_t(h[at + 3]);
    };
    const std::uint32_t w = be(16), hh = be(20);
    if (w == 0 || hh == 0 || w > 1u << 24 || hh > 1u << 24) return {};
    return {int(w), int(hh)};
}

// Adds one atlas document as a page; false (nothing added) when it has no usable size.
bool read_atlas(const Json& doc, const std::string& base_path, const Reader& r, Problems& problems, Atlas& atlas) {
    if (!doc.is_object()) return false;
    Page page;
    page.picture = Reader::text(doc, "imagePath");
    if (!page.picture.empty()) page.picture = core::PathDatabase::join(base_path, page.picture);
    page.width = r.number(doc, "width", 0, "atlas");
    page.height = r.number(doc, "height", 0, "atlas");
    const double scale = r.number(doc, "scale", 1, "atlas");
    page.scale = scale > 0 ? 1.0 / scale : 1.0;
    if (!(page.width > 0 && page.height > 0)) {
        const Vector<int> size = page.picture.empty() ? Vector<int>() : png_size(page.picture);
        page.width = size.x;
        page.height = size.y;
    }
    if (!(page.width > 0 && page.height > 0)) {
        problems.add("atlas: no page size and no readable picture " + named(page.picture) +
                     " (its images and meshes skipped)");
        return false;
    }
    atlas.pages.push_back(page);
    for (const Json& t : Reader::list(doc, "SubTexture")) {
        const std::string name = Reader::text(t, "name");
        Region g;
        const std::string where = "SubTexture " + named(name);
        g.x = r.number(t, "x", 0, where);
        g.y = r.number(t, "y", 0, where);
        g.width = r.number(t, "width", 0, where);
        g.height = r.number(t, "height", 0, where);
        g.rotated = r.boolean(t, "rotated", false);
        g.frame_x = r.number(t, "frameX", 0, where);
        g.frame_y = r.number(t, "frameY", 0, where);
        g.frame_width = r.number(t, "frameWidth", 0, where);
        g.frame_height = r.number(t, "frameHeight", 0, where);
        g.page = atlas.pages.size() - 1;
        if (!(g.width > 0 && g.height > 0)) {
            problems.add(where + " is empty (skipped)");
            continue;
        }
        atlas.regions.emplace(name, g);  // the first of a name wins, pages in the order given
    }
    return true;
}

// A texture coordinate of the atlas for (u, v) across a region, turned back when the
// region is stored turned clockwise.
Vector<float> atlas_uv(const Atlas& atlas, const Region& g, double u, double v) {
    double px, py;
    if (g.rotated) {
        px = g.x + (1.0 - v) * g.width;
        py = g.y + u * g.height;
    } else {
        px = g.x + u * g.width;
        py = g.y + v * g.height;
    }
    const Page& page = atlas.page_of(g);
    return {float(px / page.width), float(py / page.height)};
}

// A colour transform's multipliers (percent in the file).
core::Colour colour_of(const Reader& r, const Json& c, const std::string& where) {
    auto channel = [&](const char* key) { return float(std::clamp(r.number(c, key, 100, where) / 100.0, 0.0, 1.0)); };
    return core::Colour(channel("rM"), channel("gM"), channel("bM"), channel("aM"));
}

// Its offsets (0..255 colour units in the file, either sign) as fractions of full.
core::Colour colour_offset_of(const Reader& r, const Json& c, const std::string& where) {
    auto channel = [&](const char* key) { return float(std::clamp(r.number(c, key, 0, where) / 255.0, -1.0, 1.0)); };
    return core::Colour(channel("rO"), channel("gO"), channel("bO"), channel("aO"));
}

bool is_zero(const core::Colour& c) { return c.r == 0.0f && c.g == 0.0f && c.b == 0.0f && c.a == 0.0f; }

struct Bone {
    std::string name, parent;
    Pose setup;
    double length = 0;
    unsigned inheritance = Transform::inherit_all;
    int parent_index = -1;  // in file order
    int joint = -1;         // index in the skeleton
};

struct Display {
    std::string type, name, path;
    const Json* json = nullptr;
    const Json* geometry = nullptr;  // a linked mesh's source display, whose geometry it reuses; else null
    bool inherit_deform = true;      // a linked mesh bends with its source's deform timelines
};

struct Slot {
    std::string name;
    int bone = -1;  // file index
    int display_index = 0;
    PartBlend blend = PartBlend::normal;
    core::Colour colour;
    core::Colour colour_offset{0, 0, 0, 0};
    std::vector<Display> displays;
    std::vector<int> parts;  // mesh index of each display; -1 where none was made
};

// Builds one armature's record.
class ArmatureBuilder {
public:
    ArmatureBuilder(const Json& armature, double frame_rate, const Atlas* atlas, const Reader& r, Problems& problems)
        : json_(armature), atlas_(atlas), r_(r), problems_(problems) {
        name_ = Reader::text(armature, "name");
        const double fps = r.number(armature, "frameRate", frame_rate, "armature " + named(name_));
        fps_ = armature_fps_ = fps > 0 && fps <= 1000 ? fps : frame_rate;
    }

    const std::string& name() const { return name_; }

    core::Ref<ActorData> build() {
        data_ = core::make_ref<ActorData>(name_);
        if (!data_->get_skeleton()) {
            problems_.add("armature " + named(name_) + ": no skeleton could be made (skipped)");
            return nullptr;
        }
        read_bones();
        make_joints();
        read_slots();
        make_parts();
        read_ik();
        read_animations();
        return std::move(data_);
    }

private:
    std::string where() const { return "armature " + named(name_); }

    void read_bones() {
        std::map<std::string, int> index;
        for (const Json& b : Reader::list(json_, "bone")) {
            Bone bone;
            bone.name = Reader::text(b, "name");
            if (index.count(bone.name)) {
                problems_.add(where() + ": bone " + named(bone.name) + " is named twice (the second skipped)");
                continue;
            }
            if (bones_.size() >= kMostJoints) {
                problems_.add(where() + ": more than 256 bones (the rest skipped)");
                break;
            }
            bone.parent = Reader::text(b, "parent");
            const std::string w = where() + " bone " + named(bone.name);
            bone.setup = read_pose(r_, Reader::child(b, "transform"), w);
            bone.length = r_.number(b, "length", 0, w);
            unsigned flags = 0;
            if (r_.boolean(b, "inheritTranslation", true)) flags |= Transform::inherit_translation;
            if (r_.boolean(b, "inheritRotation", true)) flags |= Transform::inherit_rotation;
            if (r_.boolean(b, "inheritScale", true)) flags |= Transform::inherit_scale;
            if (r_.boolean(b, "inheritReflection", true)) flags |= Transform::inherit_reflection;
            bone.inheritance = flags;
            index[bone.name] = int(bones_.size());
            bones_.push_back(bone);
        }
        for (Bone& bone : bones_) {
            if (bone.parent.empty()) continue;
            auto it = index.find(bone.parent);
            if (it == index.end()) {
                problems_.add(where() + ": bone " + named(bone.name) + " has an unknown parent " + named(bone.parent) +
                              " (made a root)");
                continue;
            }
            bone.parent_index = it->second;
        }
        // A parent chain that comes back to itself is cut where it closes.
        for (std::size_t i = 0; i < bones_.size(); ++i) {
            std::vector<int> seen;
            for (int b = int(i); b >= 0; b = bones_[std::size_t(b)].parent_index) {
                if (std::find(seen.begin(), seen.end(), b) != seen.end()) {
                    problems_.add(where() + ": bone " + named(bones_[i].name) + " is its own ancestor (made a root)");
                    bones_[i].parent_index = -1;
                    break;
                }
                seen.push_back(b);
            }
        }
    }

    // Parents before children, each in file order otherwise: the skeleton poses and
    // copies its joints in index order.
    void make_joints() {
        Skeleton* skeleton = data_->get_skeleton();
        const core::Ref<Skeleton> held(skeleton);
        std::vector<int> order;
        std::vector<char> placed(bones_.size(), 0);
        while (order.size() < bones_.size()) {
            const std::size_t before = order.size();
            for (std::size_t i = 0; i < bones_.size(); ++i) {
                const int p = bones_[i].parent_index;
                if (!placed[i] && (p < 0 || placed[std::size_t(p)])) {
                    placed[i] = 1;
                    order.push_back(int(i));
                }
            }
            if (order.size() == before) break;  // cannot happen once cycles are cut
        }
        // Joint 0, unnamed, is the armature itself, parent of every root bone: a joint's
        // bind pose leaves out its root's position, so bones under one common root at
        // the origin share one bind space, which meshes skinned to several bones need.
        Transform* armature = skeleton->add_joint("");
        for (int i : order) {
            Bone& bone = bones_[std::size_t(i)];
            Transform* joint = skeleton->add_joint(bone.name);
            if (!joint) {
                problems_.add(where() + ": bone " + named(bone.name) + " could not be made (skipped)");
                continue;
            }
            bone.joint = int(skeleton->get_num_joints()) - 1;
            const int pj = bone.parent_index >= 0 ? bones_[std::size_t(bone.parent_index)].joint : -1;
            Transform* parent = pj >= 0 ? skeleton->get_joint(unsigned(pj)) : armature;
            if (parent) parent->attach(joint);
            // The engine turns the other way: its positive angles turn +x towards -y.
            joint->set_position({float(bone.setup.x), float(bone.setup.y)});
            joint->set_rotation(float(-bone.setup.rotation));
            joint->set_bind_rotation(joint->get_local_rotation());
            joint->set_skew(float(-bone.setup.skew));
            joint->set_scale({float(bone.setup.sx), float(bone.setup.sy)});
            joint->set_inheritance(bone.inheritance);
        }
        skeleton->generate_bind_transforms();
    }

    const Transform* joint_of(int bone) const {
        if (bone < 0) return nullptr;
        const int j = bones_[std::size_t(bone)].joint;
        return j >= 0 ? data_->get_skeleton()->get_joint(unsigned(j)) : nullptr;
    }

    void read_slots() {
        std::map<std::string, int> bone_index;
        for (std::size_t i = 0; i < bones_.size(); ++i) bone_index.emplace(bones_[i].name, int(i));
        for (const Json& s : Reader::list(json_, "slot")) {
            Slot slot;
            slot.name = Reader::text(s, "name");
            if (slot_index_.count(slot.name)) {
                problems_.add(where() + ": slot " + named(slot.name) + " is named twice (the second skipped)");
                continue;
            }
            const std::string w = where() + " slot " + named(slot.name);
            auto it = bone_index.find(Reader::text(s, "parent"));
            if (it == bone_index.end() || bones_[std::size_t(it->second)].joint < 0) {
                problems_.add(w + ": its bone " + named(Reader::text(s, "parent")) + " is unknown (skipped)");
                continue;
            }
            slot.bone = it->second;
            slot.display_index = int(r_.number(s, "displayIndex", 0, w));
            slot.colour = colour_of(r_, Reader::child(s, "color"), w);
            slot.colour_offset = colour_offset_of(r_, Reader::child(s, "color"), w);
            slot.blend = blend_of(s, w);
            slot_index_[slot.name] = int(slots_.size());
            slots_.push_back(slot);
        }
        // The default skin is the one named "default" (or unnamed), else the first.
        const Json& skins = Reader::list(json_, "skin");
        const Json* skin = nullptr;
        for (const Json& k : skins) {
            const std::string n = Reader::text(k, "name");
            if (n.empty() || n == "default") {
                skin = &k;
                break;
            }
        }
        if (!skin && !skins.empty()) skin = &skins[0];
        if (!skin) return;
        for (const Json& entry : Reader::list(*skin, "slot")) {
            auto it = slot_index_.find(Reader::text(entry, "name"));
            if (it == slot_index_.end()) {
                problems_.add(where() + ": skin slot " + named(Reader::text(entry, "name")) + " is unknown (skipped)");
                continue;
            }
            Slot& slot = slots_[std::size_t(it->second)];
            if (!slot.displays.empty()) continue;  // the first entry of a slot wins
            for (const Json& d : Reader::list(entry, "display")) {
                Display display;
                if (d.is_object()) {
                    display.json = &d;
                    display.type = lower(Reader::text(d, "type", "image"));
                    display.name = Reader::text(d, "name");
                    display.path = Reader::text(d, "path", display.name);
                }
                slot.displays.push_back(display);
            }
        }
        link_meshes();
    }

    // Linked meshes ("share"): the geometry of another mesh display of the skin, found
    // by display name, drawn with the linked display's own picture.
    void link_meshes() {
        for (Slot& slot : slots_)
            for (Display& display : slot.displays) {
                if (!display.json || (display.type != "mesh" && display.type != "2")) continue;
                const std::string source = Reader::text(*display.json, "share");
                if (source.empty()) continue;
                display.inherit_deform = r_.boolean(*display.json, "inheritDeform",
                                                    r_.boolean(*display.json, "inheritFFD", true));
                for (const Slot& other : slots_)
                    for (const Display& d : other.displays)
                        if (!display.geometry && d.json && &d != &display && d.name == source &&
                            (d.type == "mesh" || d.type == "2") && Reader::text(*d.json, "share").empty())
                            display.geometry = d.json;
                if (!display.geometry) {
                    problems_.add(where() + " slot " + named(slot.name) + ": linked mesh " + named(display.name) +
                                  " shares " + named(source) + ", which the skin lacks (skipped)");
                    display.json = nullptr;
                }
            }
    }

    // A slot's blend mode, by name or by the format's number; the modes a fixed blend
    // cannot make are drawn as normal, and said.
    PartBlend blend_of(const Json& s, const std::string& w) {
        static const char* const codes[] = {"normal",  "add",  "alpha",   "darken",  "difference",
                                            "erase",   "hardlight", "invert", "layer", "lighten",
                                            "multiply", "overlay",  "screen", "subtract"};
        const Json& value = s.is_object() && s.contains("blendMode") ? s["blendMode"] : Json();
        std::string name = value.is_string() ? lower(value.get<std::string>()) : "normal";
        if (value.is_number()) {
            const double code = value.get<double>();
            name = code >= 0 && code < 14 && code == std::floor(code) ? codes[int(code)] : std::to_string(code);
        }
        PartBlend blend = PartBlend::normal;
        if (!parse_part_blend(name, blend)) problems_.add(w + ": blend mode " + named(name) + " is drawn as normal");
        return blend;
    }

    // The slot's world matrix in the setup pose: its bone's, then the display's own.
    Matrix setup_slot_matrix(const Slot& slot, const Display& display) const {
        const Transform* joint = joint_of(slot.bone);
        const Pose p =
            read_pose(r_, Reader::child(*display.json, "transform"), where() + " display " + named(display.name));
        return joint->get_world_transform() * matrix_of(p);
    }

    // A point in the setup pose's armature space as a bind-pose vertex of `joint`: the
    // skinning maps it by the joint's world * bind, which in the setup pose must give
    // the point back.
    static Vector<float> bind_position(const Transform& joint, const Vector<float>& point) {
        const Matrix skin = joint.get_world_transform() * joint.get_bind_transform();
        return point * skin.inverse();
    }

    void make_parts() {
        for (Slot& slot : slots_) {
            const int count = int(slot.displays.size());
            const int shown = slot.display_index < 0 ? -1 : std::min(slot.display_index, count - 1);
            for (int k = 0; k < count; ++k) {
                const Display& display = slot.displays[std::size_t(k)];
                auto mesh = std::make_unique<ActorMeshData>(slot.name + "/" + std::to_string(k));
                bool made = false;
                if (!display.json) {
                    // A null display shows nothing.
                } else if (display.type == "image" || display.type == "0") {
                    made = make_image(slot, display, *mesh);
                } else if (display.type == "mesh" || display.type == "2") {
                    made = make_mesh(slot, display, *mesh);
                } else if (display.type == "armature" || display.type == "1") {
                    made = make_carried(slot, display, *mesh);
                } else if (display.type == "boundingbox" || display.type == "3") {
                    read_polygon(slot, display);
                } else if (display.type == "path" || display.type == "4") {
                    problems_.add(where() + " slot " + named(slot.name) + ": " + display.type + " display " +
                                  named(display.name) + " is not drawn (skipped)");
                } else {
                    problems_.add(where() + " slot " + named(slot.name) + ": display type " + named(display.type) +
                                  " is unknown (skipped)");
                }
                if (!made) {
                    slot.parts.push_back(-1);
                    continue;
                }
                deform_space_.resize(data_->get_meshes().size() + 1);
                deform_steps_.resize(data_->get_meshes().size() + 1, 0);
                deform_space_.back() = last_deform_space_;
                mesh->visible = k == shown;
                mesh->blend = slot.blend;
                mesh->uniform_colour = true;
                mesh->colour = slot.colour;
                mesh->colour_offset = slot.colour_offset;
                slot.parts.push_back(int(data_->get_meshes().size()));
                data_->add_mesh(std::move(mesh));
            }
        }
    }

    const Region* region_of(const std::string& slot, const Display& display) {
        if (!atlas_) return nullptr;
        auto it = atlas_->regions.find(display.path);
        if (it == atlas_->regions.end()) {
            problems_.add(where() + " slot " + named(slot) + ": no atlas region " + named(display.path) +
                          " (display skipped)");
            return nullptr;
        }
        return &it->second;
    }

    bool make_image(const Slot& slot, const Display& display, ActorMeshData& mesh) {
        const Region* g = region_of(slot.name, display);
        if (!g) return false;
        const Json& pivot_json = Reader::child(*display.json, "pivot");
        const bool has_pivot = display.json->contains("pivot");
        const std::string w = where() + " display " + named(display.name);
        const double pivot_x = r_.number(pivot_json, "x", has_pivot ? 0.0 : 0.5, w);
        const double pivot_y = r_.number(pivot_json, "y", has_pivot ? 0.0 : 0.5, w);
        const double width = g->rotated ? g->height : g->width;
        const double height = g->rotated ? g->width : g->height;
        double px, py;
        if (g->frame_width > 0 && g->frame_height > 0) {
            px = pivot_x * g->frame_width + g->frame_x;
            py = pivot_y * g->frame_height + g->frame_y;
        } else {
            px = pivot_x * width;
            py = pivot_y * height;
        }
        const double s = atlas_->page_of(*g).scale;
        const Matrix place = setup_slot_matrix(slot, display);
        const Transform& joint = *joint_of(slot.bone);
        const double corners[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        for (const auto& c : corners) {
            ActorVertex v;
            const Vector<float> local(float((c[0] * width - px) * s), float((c[1] * height - py) * s));
            v.position = bind_position(joint, local * place);
            v.tex_coord = atlas_uv(*atlas_, *g, c[0], c[1]);
            v.colour = slot.colour;
            v.joint_indices[0] = std::uint8_t(bones_[std::size_t(slot.bone)].joint);
            v.joint_weights[0] = 1.0f;
            mesh.vertices.push_back(v);
        }
        mesh.indices = {0, 1, 2, 0, 2, 3};
        mesh.texture = atlas_->page_of(*g).picture;
        return true;
    }

    // A nested armature: a part without triangles carrying an actor of that armature,
    // riding on the slot's bone, placed by the display's transform.
    bool make_carried(const Slot& slot, const Display& display, ActorMeshData& mesh) const {
        CarriedActor c;
        c.id = display.path;
        c.joint = bones_[std::size_t(slot.bone)].joint;
        const Pose p =
            read_pose(r_, Reader::child(*display.json, "transform"), where() + " display " + named(display.name));
        c.position = {float(p.x), float(p.y)};
        c.rotation = float(-p.rotation);
        c.skew = float(-p.skew);
        c.scale = {float(p.sx), float(p.sy)};
        c.clip = play_action(Reader::list(*display.json, "actions"));
        mesh.carried.push_back(c);
        return true;
    }

    // A bounding box as an outline in its bone's space: a rectangle or an ellipse
    // (sixteen points) centred on the display's origin, or the polygon given.
    void read_polygon(const Slot& slot, const Display& display) {
        const Json& d = *display.json;
        const std::string w = where() + " bounding box " + named(display.name);
        const Matrix place = matrix_of(read_pose(r_, Reader::child(d, "transform"), w));
        const std::string type = lower(Reader::text(d, "subType", "rectangle"));
        const double width = r_.number(d, "width", 0, w), height = r_.number(d, "height", 0, w);
        ActorPolygon polygon;
        polygon.name = display.name;
        polygon.joint = bones_[std::size_t(slot.bone)].name;
        std::vector<Vector<float>>& points = polygon.points;
        if (type == "polygon" || type == "2") {
            const Json& v = Reader::list(d, "vertices");
            for (std::size_t i = 0; i + 1 < v.size() && points.size() < kMostVertices; i += 2) {
                const double x = v[i].is_number() ? v[i].get<double>() : 0,
                             y = v[i + 1].is_number() ? v[i + 1].get<double>() : 0;
                if (std::isfinite(x) && std::isfinite(y) && std::fabs(x) < kLargest && std::fabs(y) < kLargest)
                    points.push_back(Vector<float>(float(x), float(y)) * place);
            }
        } else if (type == "ellipse" || type == "1") {
            for (int k = 0; k < 16; ++k) {
                const double a = 2 * kPi * k / 16;
                points.push_back(Vector<float>(float(width / 2 * std::cos(a)), float(height / 2 * std::sin(a))) *
                                 place);
            }
        } else {
            for (const auto& c : {std::pair{-1, -1}, {1, -1}, {1, 1}, {-1, 1}})
                points.push_back(Vector<float>(float(c.first * width / 2), float(c.second * height / 2)) * place);
        }
        if (points.size() < 3) {
            problems_.add(w + ": fewer than three points (skipped)");
            return;
        }
        data_->polygons.push_back(std::move(polygon));
    }

    // The animation the last "gotoAndPlay" of a list of actions names, or "".
    static std::string play_action(const Json& actions) {
        std::string clip;
        for (const Json& a : actions) {
            const std::string name = Reader::text(a, "gotoAndPlay");
            if (!name.empty()) clip = name;
        }
        return clip;
    }

    bool make_mesh(const Slot& slot, const Display& display, ActorMeshData& mesh) {
        const Region* g = region_of(slot.name, display);
        if (!g) return false;
        const std::string w = where() + " mesh " + named(display.name);
        const Json& geometry = display.geometry ? *display.geometry : *display.json;
        const Json& vertices = Reader::list(geometry, "vertices");
        const Json& uvs = Reader::list(geometry, "uvs");
        const Json& triangles = Reader::list(geometry, "triangles");
        const std::size_t count = vertices.size() / 2;
        if (count == 0 || count > kMostVertices || uvs.size() != vertices.size()) {
            problems_.add(w + ": vertices and uvs do not pair up, or too many (skipped)");
            return false;
        }
        const Matrix place = setup_slot_matrix(slot, display);
        const Transform& joint = *joint_of(slot.bone);
        last_deform_space_ = Matrix();
        auto at = [&](const Json& list, std::size_t i) {
            const Json& v = list[i];
            double x = v.is_number() ? v.get<double>() : 0.0;
            if (!std::isfinite(x) || std::fabs(x) > kLargest) {
                problems_.add(w + ": a value is not finite or out of range (read as 0)");
                x = 0.0;
            }
            return x;
        };
        const Json& weights = Reader::list(geometry, "weights");
        const bool weighted = !weights.empty();
        // A skinned mesh's vertices are in the slot's space at bind time, which the
        // file gives; its bones are taken to be bound in their setup pose.
        Matrix slot_pose;
        const Json& pose = Reader::list(geometry, "slotPose");
        if (weighted && pose.size() == 6) {
            float m[6];
            for (std::size_t k = 0; k < 6; ++k) m[k] = float(at(pose, k));
            slot_pose = Matrix(m[0], m[1], m[2], m[3], m[4], m[5]);
        }
        std::size_t cursor = 0;
        for (std::size_t i = 0; i < count; ++i) {
            ActorVertex v;
            const Vector<float> local(float(at(vertices, 2 * i)), float(at(vertices, 2 * i + 1)));
            const Transform* carrier = &joint;
            v.joint_indices[0] = std::uint8_t(bones_[std::size_t(slot.bone)].joint);
            v.joint_weights[0] = 1.0f;
            Vector<float> armature_position = local * place;
            if (weighted) {
                armature_position = local * slot_pose;
                if (!read_weights(weights, cursor, v)) {
                    problems_.add(w + ": its weights do not cover every vertex, or name unknown bones (skipped)");
                    return false;
                }
                carrier = data_->get_skeleton()->get_joint(v.joint_indices[0]);
            }
            v.position = bind_position(*carrier, armature_position);
            if (i == 0) {
                // Deform offsets are in the file's vertex space: through the slot (or its
                // bind pose) and the carrier's inverse skin, translation left out.
                const Matrix skin = carrier->get_world_transform() * carrier->get_bind_transform();
                last_deform_space_ = skin.inverse() * (weighted ? slot_pose : place);
            }
            v.tex_coord = atlas_uv(*atlas_, *g, at(uvs, 2 * i), at(uvs, 2 * i + 1));
            v.colour = slot.colour;
            mesh.vertices.push_back(v);
        }
        for (std::size_t t = 0; t + 2 < triangles.size(); t += 3) {
            const double a = at(triangles, t), b = at(triangles, t + 1), c = at(triangles, t + 2);
            if (a < 0 || b < 0 || c < 0 || a >= double(count) || b >= double(count) || c >= double(count)) {
                problems_.add(w + ": a triangle names a vertex it does not have (dropped)");
                continue;
            }
            mesh.indices.insert(mesh.indices.end(), {std::uint16_t(a), std::uint16_t(b), std::uint16_t(c)});
        }
        mesh.texture = atlas_->page_of(*g).picture;
        return true;
    }

    // One vertex's influences from `weights` at `cursor` (n, then n bone and weight
    // pairs): the four strongest kept and renormalised, the rest counted.
    bool read_weights(const Json& weights, std::size_t& cursor, ActorVertex& v) {
        auto number = [&](std::size_t at, double& out) {
            if (at >= weights.size() || !weights[at].is_number()) return false;
            out = weights[at].get<double>();
            return std::isfinite(out);
        };
        double n = 0;
        if (!number(cursor, n) || n < 1 || n > double(bones_.size())) return false;
        const int pairs = int(n);
        ++cursor;
        influences_.clear();
        for (int k = 0; k < pairs; ++k, cursor += 2) {
            double bone = 0, weight = 0;
            if (!number(cursor, bone) || !number(cursor + 1, weight) || bone < 0 || bone >= double(bones_.size()))
                return false;
            const int joint = bones_[std::size_t(bone)].joint;
            if (joint < 0) return false;
            if (weight > 0) influences_.emplace_back(weight, joint);
        }
        std::stable_sort(influences_.begin(), influences_.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        const int kept = int(std::min<std::size_t>(influences_.size(), 4));
        problems_.drop(int(influences_.size()) - kept);
        const auto* strongest = influences_.data();
        double total = 0;
        for (int k = 0; k < kept; ++k) total += strongest[k].first;
        if (kept == 0 || !(total > 0)) return false;
        for (int k = 0; k < 4; ++k) {
            v.joint_indices[k] = k < kept ? std::uint8_t(strongest[k].second) : 0;
            v.joint_weights[k] = k < kept ? float(strongest[k].first / total) : 0.0f;
        }
        return true;
    }

    // IK constraints: one bone aiming, or a two-bone chain ending at it.
    void read_ik() {
        std::map<std::string, int> bone_index;
        for (std::size_t i = 0; i < bones_.size(); ++i) bone_index.emplace(bones_[i].name, int(i));
        for (const Json& k : Reader::list(json_, "ik")) {
            ActorIKChain chain;
            chain.name = Reader::text(k, "name");
            const std::string w = where() + " IK " + named(chain.name);
            auto bone = bone_index.find(Reader::text(k, "bone"));
            auto target = bone_index.find(Reader::text(k, "target"));
            if (bone == bone_index.end() || target == bone_index.end() || bones_[std::size_t(bone->second)].joint < 0 ||
                bones_[std::size_t(target->second)].joint < 0) {
                problems_.add(w + ": its bone or target is unknown (skipped)");
                continue;
            }
            const Bone& end = bones_[std::size_t(bone->second)];
            chain.end = unsigned(end.joint);
            chain.target = unsigned(bones_[std::size_t(target->second)].joint);
            chain.length = float(end.length);
            if (r_.number(k, "chain", 0, w) > 0 && end.parent_index >= 0)
                chain.root = bones_[std::size_t(end.parent_index)].joint;
            chain.bend_positive = r_.boolean(k, "bendPositive", true);
            chain.weight = float(std::clamp(r_.number(k, "weight", 1, w), 0.0, 1.0));
            data_->ik_chains.push_back(chain);
        }
    }

    // Animations --------------------------------------------------------------------

    // A timeline's keys placed in frames: each starts where the one before ended, and
    // those past the end drop out.
    struct Placed {
        const Json* json;
        double start;
    };
    std::vector<Placed> place_keys(const Json& frames, double duration, const std::string& w) const {
        std::vector<Placed> placed;
        double start = 0;
        for (const Json& f : frames) {
            if (start > duration) break;
            placed.push_back({&f, start});
            start += std::max(0.0, r_.number(f, "duration", 1, w));
        }
        return placed;
    }

    // A key of the file with its values (rotations unwrapped, in the tool's sense).
    struct Key {
        const Json* json;
        double start;
        double value[4];
    };

    // tweenEasing as an engine easing: none is a step, 0 linear, and the tool's
    // quadratic eases become exact cubic curves with their x spread evenly (x(s) = s),
    // their Bernstein coefficients giving the two control y. Its ease-in-out, a cosine,
    // becomes the nearest such cubic, the smooth step (0.01 off at most).
    void tween_easing(const Json& f, ClipKey& key, const std::string& w) const {
        if (!f.is_object() || !f.contains("tweenEasing") || f["tweenEasing"].is_null() ||
            f["tweenEasing"] == "NaN") {
            key.easing = ClipEasing::step;
            return;
        }
        const double e = std::round(r_.number(f, "tweenEasing", 0, w) * 100.0) / 100.0;
        if (e == 0) {
            key.easing = ClipEasing::linear;
            return;
        }
        double y1, y2;
        if (e < 0) {  // p + (p^2 - p)|e|
            const double a = 1 - std::fabs(e), b = std::fabs(e);
            y1 = a / 3;
            y2 = 2 * a / 3 + b / 3;
        } else if (e <= 1) {  // p + (p - p^2)e
            const double a = 1 + e, b = -e;
            y1 = a / 3;
            y2 = 2 * a / 3 + b / 3;
        } else {  // p + (smooth(p) - p)(e - 1)
            const double m = std::min(e - 1, 1.0);
            y1 = (1 - m) / 3;
            y2 = 2 * (1 - m) / 3 + m;
        }
        key.easing = ClipEasing::bezier;
        key.curve[0] = 1.0f / 3.0f;
        key.curve[1] = float(y1);
        key.curve[2] = 2.0f / 3.0f;
        key.curve[3] = float(y2);
    }

    // The control points of a "curve" chain from (0, 0) to (1, 1), or empty.
    static std::vector<Vector<double>> curve_points(const Json& f) {
        std::vector<Vector<double>> points;
        const Json& curve = Reader::list(f, "curve");
        if (curve.size() < 4) return points;
        points.push_back({0, 0});
        for (std::size_t i = 0; i + 1 < curve.size(); i += 2) {
            const Json& x = curve[i];
            const Json& y = curve[i + 1];
            double vx = x.is_number() ? x.get<double>() : 0, vy = y.is_number() ? y.get<double>() : 0;
            if (!std::isfinite(vx) || !std::isfinite(vy) || std::fabs(vy) > kLargest) vx = vy = 0;
            points.push_back({std::clamp(vx, 0.0, 1.0), vy});
        }
        points.push_back({1, 1});
        // Whole cubic segments only: start, two controls, end.
        while (points.size() > 4 && (points.size() - 1) % 3 != 0) points.erase(points.end() - 2);
        if ((points.size() - 1) % 3 != 0) points.clear();
        return points;
    }

    // The eased fraction at x of a curve chain, its parameter found by halving to 1e-4
    // as the tool's player does.
    static double curve_at(const std::vector<Vector<double>>& p, double x) {
        std::size_t seg = 0;
        while (seg + 3 < p.size() - 1 && p[seg + 3].x < x) seg += 3;
        const Vector<double>&a = p[seg], &b = p[seg + 1], &c = p[seg + 2], &d = p[seg + 3];
        auto bez = [](double p0, double p1, double p2, double p3, double s) {
            const double u = 1 - s;
            return u * u * u * p0 + 3 * u * u * s * p1 + 3 * u * s * s * p2 + s * s * s * p3;
        };
        double lower = 0, higher = 1, y = 0;
        while (higher - lower > 0.0001) {
            const double m = (lower + higher) * 0.5;
            y = bez(a.y, b.y, c.y, d.y, m);
            if (x - bez(a.x, b.x, c.x, d.x, m) > 0)
                lower = m;
            else
                higher = m;
        }
        return y;
    }

    // Emits one engine key, rotations as the engine's angles and the whole turns from
    // the key before.
    void emit(AnimationClip& clip, unsigned target, ClipChannel channel, ClipKey key, const double* value,
              double* previous, bool first, const std::string& w) const {
        int turns = 0;
        if (channel == ClipChannel::rotation) {
            if (!first) {
                const double step = value[0] - previous[0];
                turns = -int(std::lround((step - normalise(step)) / (2 * kPi)));
            }
            key.value[0] = float(-normalise(value[0]));
            previous[0] = value[0];
        } else if (channel == ClipChannel::skew) {
            key.value[0] = float(-value[0]);  // the engine turns the other way
        } else {
            for (int c = 0; c < 4; ++c) key.value[c] = float(value[c]);
        }
        const std::string why = clip.add_key(target, channel, key, turns);
        if (!why.empty()) problems_.add(w + ": " + why + " (key skipped)");
    }

    // The keys of one channel. A curve is played as the tool's player plays it: sampled
    // at evenly spaced points of its segment, one more than the segment has frames, and
    // straight between. The last key tweens back to the first in a looping clip.
    void add_keys(AnimationClip& clip, unsigned target, ClipChannel channel, const std::vector<Key>& keys,
                  double duration, bool loops, const std::string& w, const double* wrap_to = nullptr) const {
        if (keys.empty()) return;
        double previous[4] = {0, 0, 0, 0};
        for (int rep = 0; rep < repeats_; ++rep)
            add_loop(clip, target, channel, keys, duration, loops && (forever_ || rep + 1 < repeats_), rep * duration,
                     previous, rep == 0, w, wrap_to);
    }

    // One play of the keys, `offset` frames into the clip; the last key tweens back to
    // the first (or to `wrap_to`) when `wrap` (another play follows).
    void add_loop(AnimationClip& clip, unsigned target, ClipChannel channel, const std::vector<Key>& keys,
                  double duration, bool wrap, double offset, double* previous, bool first, const std::string& w,
                  const double* wrap_to) const {
        const int count = channel_values(channel);
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const Key& k = keys[i];
            const bool last = i + 1 == keys.size();
            const bool wraps = last && wrap && keys.size() > 1 && k.start < duration;
            double next[4];
            std::copy(k.value, k.value + 4, next);
            if (!last) {
                std::copy(keys[i + 1].value, keys[i + 1].value + 4, next);
            } else if (wraps && wrap_to) {
                std::copy(wrap_to, wrap_to + 4, next);
            } else if (wraps) {
                std::copy(keys[0].value, keys[0].value + 4, next);
                if (channel == ClipChannel::rotation || channel == ClipChannel::skew)
                    next[0] = k.value[0] + normalise(keys[0].value[0] - k.value[0]);
            }
            const double end = last ? duration : keys[i + 1].start;
            const double length = end - k.start;
            ClipKey key;
            key.time = float((offset + k.start) / fps_);
            const std::vector<Vector<double>> curve = curve_points(*k.json);
            const bool tweens =
                channel != ClipChannel::visible && channel != ClipChannel::order && (!last || wraps) && length > 0;
            if (!tweens) {
                key.easing = ClipEasing::step;
                emit(clip, target, channel, key, k.value, previous, first, w);
            } else if (!curve.empty()) {
                key.easing = ClipEasing::linear;
                emit(clip, target, channel, key, k.value, previous, first, w);
                const int samples = int(std::min(length, 1000.0)) + 1;
                for (int j = 0; j < samples; ++j) {
                    const double x = double(j + 1) / double(samples + 1);
                    // The tool's player keeps its samples to four decimals.
                    const double y = std::round(curve_at(curve, x) * 10000.0) / 10000.0;
                    double v[4] = {0, 0, 0, 0};
                    for (int c = 0; c < count; ++c) v[c] = k.value[c] + (next[c] - k.value[c]) * y;
                    key.time = float((offset + k.start + x * length) / fps_);
                    emit(clip, target, channel, key, v, previous, false, w);
                }
            } else {
                tween_easing(*k.json, key, w);
                emit(clip, target, channel, key, k.value, previous, first, w);
            }
            first = false;
            if (wraps) {
                key.time = float((offset + duration) / fps_);
                key.easing = ClipEasing::step;
                emit(clip, target, channel, key, next, previous, false, w);
            }
        }
    }

    template <class Value>
    void add_track(AnimationClip& clip, unsigned target, ClipChannel channel, const Json& frames, double duration,
                   bool loops, const std::string& w, Value value) const {
        std::vector<Key> keys;
        for (const Placed& p : place_keys(frames, duration, w)) {
            Key k{p.json, p.start, {0, 0, 0, 0}};
            float v[4] = {0, 0, 0, 0};
            value(*p.json, v);
            std::copy(v, v + 4, k.value);
            keys.push_back(k);
        }
        add_keys(clip, target, channel, keys, duration, loops, w);
    }

    // Rotations unwrapped as the tool does: the shorter way, or whole turns that a
    // key's "clockwise" asks for on the way to the next key. Skews, when a key has one,
    // go on a skew track of the same keys, as they stand.
    void read_rotation(AnimationClip& clip, unsigned joint, const Json& frames, double duration, bool loops,
                       const std::string& w) const {
        std::vector<Key> keys, skews;
        bool skewed = false;
        double previous = 0;
        int clockwise = 0;
        for (const Placed& p : place_keys(frames, duration, w)) {
            const Json& f = *p.json;
            const double raw = r_.number(f, "rotate", 0, w) * kDegrees;
            const double skew = r_.number(f, "skew", 0, w) * kDegrees;
            skewed = skewed || skew != 0.0;
            skews.push_back({p.json, p.start, {skew, 0, 0, 0}});
            double value = raw;
            if (!keys.empty()) {
                int cw = clockwise;
                if (cw == 0) {
                    value = previous + normalise(raw - previous);
                } else if (cw > 0) {
                    if (raw >= previous) --cw;
                    value = raw + 2 * kPi * cw;
                } else {
                    if (raw <= previous) ++cw;
                    value = raw + 2 * kPi * cw;
                }
            }
            clockwise = int(r_.number(f, "clockwise", r_.number(f, "tweenRotate", 0, w), w));
            previous = value;
            keys.push_back({p.json, p.start, {value, 0, 0, 0}});
        }
        add_keys(clip, joint, ClipChannel::rotation, keys, duration, loops, w);
        if (skewed) add_keys(clip, joint, ClipChannel::skew, skews, duration, loops, w);
    }

    void read_animations() {
        std::map<std::string, int> bone_index;
        for (std::size_t i = 0; i < bones_.size(); ++i) bone_index.emplace(bones_[i].name, int(i));
        for (const Json& a : Reader::list(json_, "animation")) {
            const std::string name = Reader::text(a, "name", "default");
            const std::string w = where() + " animation " + named(name);
            if (data_->get_clip(name)) {
                problems_.add(w + " is named twice (the second skipped)");
                continue;
            }
            const double frames = std::floor(r_.number(a, "duration", 0, w));
            if (frames < 0 || frames > kMostFrames) {
                problems_.add(w + ": duration out of range (skipped)");
                continue;
            }
            const int play_times = int(std::clamp(r_.number(a, "playTimes", 1, w), 0.0, 1e6));
            // A time stretch plays the frames slower (scale 2: half the speed): the
            // clip's times are stretched instead, so every player plays it so by default.
            const double stretch = r_.number(a, "scale", 1, w);
            fps_ = stretch > 1e-3 && stretch < 1e3 ? armature_fps_ / stretch : armature_fps_;
            // A pose without length holds its first keys: a clip one frame long.
            const double duration = std::max(frames, 1.0);
            const std::string why = AnimationClip::check(name, float(duration / fps_), play_times);
            if (!why.empty()) {
                problems_.add(w + ": " + why + " (skipped)");
                continue;
            }
            // A clip plays forever or once: a few plays become one clip of all of them,
            // every one but the last tweening back to the start as the tool plays them.
            forever_ = play_times == 0;
            repeats_ = play_times > 1 && play_times <= kMostRepeats ? play_times : 1;
            const int loops_left = forever_ ? 0 : play_times > kMostRepeats ? play_times : 1;
            auto clip = std::make_unique<AnimationClip>(name, float(repeats_ * duration / fps_), loops_left);
            const bool loops = play_times != 1;
            for (const Json& given : Reader::list(a, "bone")) {
                // The old combined form (4.x, 5.0) spelled out as the three channels.
                const Json split = split_bone_frames(given);
                const Json& b = split.is_null() ? given : split;
                const std::string bone = Reader::text(b, "name");
                auto it = bone_index.find(bone);
                const int joint = it == bone_index.end() ? -1 : bones_[std::size_t(it->second)].joint;
                if (joint < 0) {
                    problems_.add(w + ": timeline of unknown bone " + named(bone) + " (skipped)");
                    continue;
                }
                const std::string bw = w + " bone " + named(bone);
                read_events(*clip, Reader::list(given, "frame"), frames, bw);
                add_track(*clip, unsigned(joint), ClipChannel::position, Reader::list(b, "translateFrame"), frames,
                          loops, bw, [&](const Json& f, float* v) {
                              v[0] = float(r_.number(f, "x", 0, bw));
                              v[1] = float(r_.number(f, "y", 0, bw));
                          });
                read_rotation(*clip, unsigned(joint), Reader::list(b, "rotateFrame"), frames, loops, bw);
                add_track(*clip, unsigned(joint), ClipChannel::scale, Reader::list(b, "scaleFrame"), frames, loops, bw,
                          [&](const Json& f, float* v) {
                              v[0] = float(r_.number(f, "x", 1, bw));
                              v[1] = float(r_.number(f, "y", 1, bw));
                          });
            }
            for (const Json& given : Reader::list(a, "slot")) {
                const Json split = split_slot_frames(given);
                read_slot_timeline(*clip, split.is_null() ? given : split, frames, loops, w);
            }
            read_events(*clip, Reader::list(a, "frame"), frames, w);
            for (const Json& f : Reader::list(a, "ffd")) read_deform(*clip, f, frames, loops, w);
            for (const Json& k : Reader::list(a, "ik")) read_ik_timeline(*clip, k, frames, w);
            read_draw_order(*clip, Reader::child(a, "zOrder"), frames, w);
            if (data_->default_clip.empty()) data_->default_clip = name;  // the first, unless an action says
            data_->add_clip(std::move(clip));
        }
        const std::string asked = play_action(Reader::list(json_, "defaultActions"));
        if (data_->get_clip(asked)) data_->default_clip = asked;
    }

    // A bone timeline of the old combined form as one of the separate channels, or null
    // when it has none: each key's transform (offsets) goes to the translate, rotate
    // and scale keys with the key's timing and easing, tweenRotate as clockwise.
    static Json split_bone_frames(const Json& b) {
        const Json& frames = Reader::list(b, "frame");
        if (frames.empty() || b.contains("translateFrame") || b.contains("rotateFrame") || b.contains("scaleFrame"))
            return Json();
        Json out = {{"name", Reader::text(b, "name")}};
        Json translate = Json::array(), rotate = Json::array(), scale = Json::array();
        for (const Json& f : frames) {
            Json timing = Json::object();
            for (const char* key : {"duration", "tweenEasing", "curve"})
                if (f.is_object() && f.contains(key)) timing[key] = f[key];
            const Json& t = Reader::child(f, "transform");
            Json move = timing, turn = timing, size = timing;
            for (const auto& [to, from] : {std::pair{"x", "x"}, {"y", "y"}})
                if (t.contains(from)) move[to] = t[from];
            if (t.contains("skY")) turn["rotate"] = t["skY"];
            // The y axis's turn beyond the x axis's, as a rotate key's skew.
            if (t.contains("skX") && t.contains("skY") && t["skX"].is_number() && t["skY"].is_number())
                turn["skew"] = t["skX"].get<double>() - t["skY"].get<double>();
            if (f.is_object() && f.contains("tweenRotate")) turn["clockwise"] = f["tweenRotate"];
            for (const auto& [to, from] : {std::pair{"x", "scX"}, {"y", "scY"}})
                if (t.contains(from)) size[to] = t[from];
            translate.push_back(move);
            rotate.push_back(turn);
            scale.push_back(size);
        }
        out["translateFrame"] = translate;
        out["rotateFrame"] = rotate;
        out["scaleFrame"] = scale;
        return out;
    }

    // A slot timeline of the old combined form as display and colour keys, or null.
    static Json split_slot_frames(const Json& s) {
        const Json& frames = Reader::list(s, "frame");
        if (frames.empty() || s.contains("displayFrame") || s.contains("colorFrame")) return Json();
        Json out = {{"name", Reader::text(s, "name")}};
        Json display = Json::array(), colour = Json::array();
        for (const Json& f : frames) {
            Json timing = Json::object();
            if (f.is_object() && f.contains("duration")) timing["duration"] = f["duration"];
            Json shown = timing, tint = timing;
            if (f.is_object() && f.contains("displayIndex")) shown["value"] = f["displayIndex"];
            if (f.is_object() && f.contains("actions")) shown["actions"] = f["actions"];
            for (const char* key : {"tweenEasing", "curve"})
                if (f.is_object() && f.contains(key)) tint[key] = f[key];
            if (f.is_object() && f.contains("color")) tint["value"] = f["color"];
            display.push_back(shown);
            colour.push_back(tint);
        }
        out["displayFrame"] = display;
        out["colorFrame"] = colour;
        return out;
    }

    // An IK timeline keys its chain's weight and bend, each key held until the next as
    // the tool's player holds them, through a driver joint's rotation (see
    // ActorIKChain::drive).
    void read_ik_timeline(AnimationClip& clip, const Json& timeline, double frames, const std::string& w) {
        const std::string name = Reader::text(timeline, "name");
        const std::string iw = w + " IK timeline " + named(name);
        ActorIKChain* chain = nullptr;
        for (ActorIKChain& c : data_->ik_chains)
            if (c.name == name && !chain) chain = &c;
        if (!chain) {
            problems_.add(iw + ": no such constraint (skipped)");
            return;
        }
        const std::vector<Placed> placed = place_keys(Reader::list(timeline, "frame"), frames, iw);
        if (placed.empty()) return;
        if (chain->driver < 0) {
            Skeleton* skeleton = data_->get_skeleton();
            if (skeleton->get_num_joints() >= kMostJoints) {
                problems_.add(iw + ": no joint left to drive it (skipped)");
                return;
            }
            Transform* driver = skeleton->add_joint("~ik " + std::to_string(&*chain - data_->ik_chains.data()));
            if (!driver) return;
            if (Transform* armature = skeleton->get_joint(0u)) armature->attach(driver);
            skeleton->generate_bind_transforms();
            chain->driver = int(skeleton->get_num_joints()) - 1;
        }
        static const Json held = Json::object();  // no easing: a step
        std::vector<Key> keys;
        for (const Placed& p : placed) {
            const float weight = float(std::clamp(r_.number(*p.json, "weight", 1, iw), 0.0, 1.0));
            const bool bend = r_.boolean(*p.json, "bendPositive", true);
            keys.push_back({&held, p.start, {-double(ActorIKChain::drive(weight, bend)), 0, 0, 0}});
        }
        add_keys(clip, unsigned(chain->driver), ClipChannel::rotation, keys, frames, false, iw);
    }

    // A draw-order timeline: each key moves listed slots (original index, shift) to
    // index + shift and fills the other places with the rest in their order; a key
    // without a list is the setup order. Every part of a slot takes its place.
    void read_draw_order(AnimationClip& clip, const Json& timeline, double frames, const std::string& w) const {
        const std::vector<Placed> placed = place_keys(Reader::list(timeline, "frame"), frames, w);
        if (placed.empty()) return;
        const std::size_t n = slots_.size();
        std::vector<std::vector<Key>> keys(n);  // per slot
        for (const Placed& p : placed) {
            const Json& list = Reader::list(*p.json, "zOrder");
            std::vector<int> order(n, -1);  // slot at each place
            std::vector<char> moved(n, 0);
            bool good = true;
            for (std::size_t i = 0; i + 1 < list.size() && good; i += 2) {
                const double slot = list[i].is_number() ? list[i].get<double>() : -1;
                const double shift = list[i + 1].is_number() ? list[i + 1].get<double>() : 0;
                const double to = slot + shift;
                good = slot >= 0 && slot < double(n) && to >= 0 && to < double(n) && std::isfinite(to) &&
                       order[std::size_t(to)] < 0 && !moved[std::size_t(slot)];
                if (good) {
                    order[std::size_t(to)] = int(slot);
                    moved[std::size_t(slot)] = 1;
                }
            }
            if (!good) {
                problems_.add(
                    w + ": a draw-order key moves a slot it does not have or onto a taken place (setup order used)");
                std::fill(order.begin(), order.end(), -1);
                std::fill(moved.begin(), moved.end(), 0);
            }
            std::size_t next = 0;
            for (std::size_t place = 0; place < n; ++place) {
                if (order[place] >= 0) continue;
                while (next < n && moved[next]) ++next;
                order[place] = int(next++);
            }
            for (std::size_t place = 0; place < n; ++place)
                keys[std::size_t(order[place])].push_back({p.json, p.start, {double(place), 0, 0, 0}});
        }
        for (std::size_t s = 0; s < n; ++s)
            for (const int part : slots_[s].parts)
                if (part >= 0) add_keys(clip, unsigned(part), ClipChannel::order, keys[s], frames, false, w);
    }

    // A deform timeline as blend shapes of its part, one per key (and one more, a copy
    // of the first, for the way back of a loop), faded in by a driver joint whose
    // rotation the clip keys: key k's shape is full at k + 1 steps and gone one step
    // either side, so the driver's way from one key to the next crosses between their
    // shapes with the key's easing. The driver at rest (0) shows no deform.
    // Linked meshes that inherit deforms bend with their source.
    void read_deform(AnimationClip& clip, const Json& f, double frames, bool loops, const std::string& w) {
        const std::string slot_name = Reader::text(f, "slot"), display = Reader::text(f, "name");
        const std::string dw = w + " deform of " + named(slot_name) + "/" + named(display);
        auto it = slot_index_.find(slot_name);
        int part = -1;
        const Json* source = nullptr;
        if (it != slot_index_.end()) {
            const Slot& slot = slots_[std::size_t(it->second)];
            for (std::size_t k = 0; k < slot.displays.size(); ++k)
                if (slot.displays[k].name == display && slot.displays[k].type == "mesh") {
                    part = slot.parts[k];
                    source = slot.displays[k].json;
                }
        }
        if (part < 0) {
            problems_.add(dw + ": no such mesh (skipped)");
            return;
        }
        deform_part(clip, f, frames, loops, dw, part);
        for (const Slot& slot : slots_)
            for (std::size_t k = 0; k < slot.displays.size(); ++k)
                if (source && slot.displays[k].geometry == source && slot.displays[k].inherit_deform &&
                    slot.parts[k] >= 0)
                    deform_part(clip, f, frames, loops, dw, slot.parts[k]);
    }

    void deform_part(AnimationClip& clip, const Json& f, double frames, bool loops, const std::string& dw, int part) {
        ActorMeshData& mesh = *data_->get_meshes()[std::size_t(part)];
        const std::vector<Placed> placed = place_keys(Reader::list(f, "frame"), frames, dw);
        if (placed.empty()) return;
        Transform* driver = deform_driver(mesh, part);
        if (!driver) return;
        const std::size_t count = mesh.vertices.size();
        int& used = deform_steps_[std::size_t(part)];
        const double offsets = double(placed.size() + 1) * double(count);
        if (used + int(placed.size()) + 2 > kMostDeformSteps || deform_offsets_ + offsets > kMostDeformOffsets) {
            problems_.add(dw + ": too many deform keys on one mesh or armature (skipped)");
            return;
        }
        deform_offsets_ += offsets;
        std::vector<Key> keys;
        auto shape_at = [&](int step, const Json& frame) {
            auto shape = std::make_unique<BlendShape>();
            shape->joint_driver_id = driver_name(part);
            shape->curve = std::make_unique<AnimCurve>();
            shape->curve->add_keyframe(float((step - 1) * kDeformStep), 0.0f);
            shape->curve->add_keyframe(float(step * kDeformStep), 1.0f);
            shape->curve->add_keyframe(float((step + 1) * kDeformStep), 0.0f);
            shape->offsets.assign(count, Vector<float>());
            const Json& values = Reader::list(frame, "vertices");
            const double start = std::floor(r_.number(frame, "offset", 0, dw));
            for (std::size_t i = 0; i < values.size(); ++i) {
                const double at = start + double(i);
                if (at < 0 || at >= double(2 * count) || !values[i].is_number()) continue;
                const double d = values[i].get<double>();
                if (!std::isfinite(d) || std::fabs(d) > kLargest) continue;
                const std::size_t v = std::size_t(at) / 2;
                if (std::size_t(at) % 2 == 0)
                    shape->offsets[v].x += float(d);
                else
                    shape->offsets[v].y += float(d);
            }
            // From the file's space to the bind space the vertices are stored in.
            const Matrix& to_bind = deform_space_[std::size_t(part)];
            for (auto& o : shape->offsets) o = to_bind.rotate_vector(o);
            mesh.blend_shapes.push_back(std::move(shape));
        };
        for (const Placed& p : placed) {
            const int step = ++used;
            shape_at(step, *p.json);
            keys.push_back({p.json, p.start, {-step * kDeformStep, 0, 0, 0}});
        }
        const int back = ++used;  // the first key again, for the way back of a loop
        shape_at(back, *placed.front().json);
        const double wrap_to[4] = {-back * kDeformStep, 0, 0, 0};
        ++used;  // a gap, so that the next timeline's first shape does not blend with this one's last
        add_keys(clip, unsigned(driver_index(part)), ClipChannel::rotation, keys, frames, loops, dw, wrap_to);
    }

    static std::string driver_name(int part) { return "~deform " + std::to_string(part); }

    int driver_index(int part) const { return data_->get_skeleton()->get_joint_index(driver_name(part)); }

    // The joint whose rotation drives the part's deform shapes, made on first use under
    // the armature joint.
    Transform* deform_driver(const ActorMeshData&, int part) {
        Skeleton* skeleton = data_->get_skeleton();
        if (Transform* made = skeleton->get_joint(driver_name(part))) return made;
        if (skeleton->get_num_joints() >= kMostJoints) {
            problems_.add(where() + ": no joint left to drive a deform (skipped)");
            return nullptr;
        }
        Transform* driver = skeleton->add_joint(driver_name(part));
        if (!driver) return nullptr;
        if (Transform* armature = skeleton->get_joint(0u)) armature->attach(driver);
        skeleton->generate_bind_transforms();
        return driver;
    }

    void read_slot_timeline(AnimationClip& clip, const Json& s, double frames, bool loops, const std::string& w) const {
        const std::string name = Reader::text(s, "name");
        auto it = slot_index_.find(name);
        if (it == slot_index_.end()) {
            problems_.add(w + ": timeline of unknown slot " + named(name) + " (skipped)");
            return;
        }
        const Slot& slot = slots_[std::size_t(it->second)];
        const std::string sw = w + " slot " + named(name);
        const int count = int(slot.displays.size());
        // A display key's actions make the actors the slot's parts carry play.
        for (int rep = 0; rep < repeats_; ++rep)
            for (const Placed& k : place_keys(Reader::list(s, "displayFrame"), frames, sw)) {
                const std::string play = play_action(Reader::list(*k.json, "actions"));
                if (play.empty()) continue;
                for (int d = 0; d < count; ++d) {
                    const int part = slot.parts[std::size_t(d)];
                    if (part < 0 || data_->get_meshes()[std::size_t(part)]->carried.empty()) continue;
                    const std::string why = clip.add_action(float((rep * frames + k.start) / fps_), play, part);
                    if (!why.empty()) problems_.add(sw + ": " + why + " (skipped)");
                }
            }
        for (int k = 0; k < count; ++k) {
            const int part = slot.parts[std::size_t(k)];
            if (part < 0) continue;
            add_track(clip, unsigned(part), ClipChannel::visible, Reader::list(s, "displayFrame"), frames, false, sw,
                      [&](const Json& f, float* v) {
                          const int index = int(r_.number(f, "value", 0, sw));
                          const int shown = index < 0 ? -1 : std::min(index, count - 1);
                          v[0] = shown == k ? 1.0f : 0.0f;
                      });
            // A key without a colour is the plain one, not the slot's own.
            auto key_colour = [&](const Json& f) -> const Json& {
                return f.is_object() && f.contains("value") ? Reader::child(f, "value") : Reader::child(f, "color");
            };
            const Json& keys = Reader::list(s, "colorFrame");
            add_track(clip, unsigned(part), ClipChannel::colour, keys, frames, loops, sw, [&](const Json& f, float* v) {
                const core::Colour colour = colour_of(r_, key_colour(f), sw);
                v[0] = colour.r;
                v[1] = colour.g;
                v[2] = colour.b;
                v[3] = colour.a;
            });
            // Offsets get a track when any key or the slot itself tints: the keys replace
            // the slot's colour, offsets included.
            bool tinted = !is_zero(slot.colour_offset);
            for (const Json& f : keys) tinted = tinted || !is_zero(colour_offset_of(r_, key_colour(f), sw));
            if (tinted)
                add_track(clip, unsigned(part), ClipChannel::offset, keys, frames, loops, sw,
                          [&](const Json& f, float* v) {
                              const core::Colour o = colour_offset_of(r_, key_colour(f), sw);
                              v[0] = o.r;
                              v[1] = o.g;
                              v[2] = o.b;
                              v[3] = o.a;
                          });
        }
    }

    void read_events(AnimationClip& clip, const Json& keys, double frames, const std::string& w) const {
        for (int rep = 0; rep < repeats_; ++rep)
            for (const Placed& k : place_keys(keys, frames, w)) read_event(clip, k, rep * frames, w);
    }

    void read_event(AnimationClip& clip, const Placed& k, double offset, const std::string& w) const {
        {
            const float time = float((offset + k.start) / fps_);
            auto event = [&](const std::string& name) {
                if (name.empty()) return;
                const std::string why = clip.add_event(time, name);
                if (!why.empty()) problems_.add(w + ": event " + named(name) + ": " + why + " (skipped)");
            };
            event(Reader::text(*k.json, "event"));
            event(Reader::text(*k.json, "sound"));
            for (const Json& e : Reader::list(*k.json, "events")) event(Reader::text(e, "name"));
            // Play actions: the armature itself starts another animation.
            std::vector<std::string> plays;
            if (!Reader::text(*k.json, "action").empty()) plays.push_back(Reader::text(*k.json, "action"));
            for (const Json& a : Reader::list(*k.json, "actions")) {
                const std::string named_play = Reader::text(a, "gotoAndPlay");
                if (!named_play.empty())
                    plays.push_back(named_play);
                else if (lower(Reader::text(a, "type")) == "play")
                    plays.push_back(Reader::text(a, "name"));
            }
            for (const std::string& play : plays) {
                const std::string why = clip.add_action(time, play, -1);
                if (!why.empty()) problems_.add(w + ": " + why + " (skipped)");
            }
        }
    }

    const Json& json_;
    const Atlas* atlas_;  // null: none could be read
    const Reader& r_;
    Problems& problems_;
    std::string name_;
    double fps_ = 24;           // frames a second of the animation being read
    double armature_fps_ = 24;  // the armature's
    core::Ref<ActorData> data_;
    int repeats_ = 1;                                 // plays of the animation being read that its clip holds
    std::vector<std::pair<double, int>> influences_;  // scratch: one vertex's (weight, joint)
    Matrix last_deform_space_;                        // the mesh just made: file vertex space to bind space
    std::vector<Matrix> deform_space_;                // per part: that matrix (identity for others)
    std::vector<int> deform_steps_;                   // per part: driver steps its deform shapes use
    double deform_offsets_ = 0;                       // deform offsets made so far
    bool forever_ = false;                            // it loops forever
    std::vector<Bone> bones_;                         // file order
    std::vector<Slot> slots_;                         // draw order
    std::map<std::string, int> slot_index_;
};

}  // namespace

std::vector<std::string> load_dragonbones_text(const std::string& skeleton, const std::string& skeleton_name,
                                               const std::string& atlas_text, const std::string& atlas_name,
                                               const std::string& base_path) {
    std::vector<DragonBonesAtlas> atlases;
    if (!atlas_text.empty()) atlases.push_back({atlas_text, atlas_name, base_path});
    return load_dragonbones_text(skeleton, skeleton_name, atlases, base_path);
}

std::vector<std::string> load_dragonbones_text(const std::string& skeleton, const std::string& skeleton_name,
                                               const std::vector<DragonBonesAtlas>& atlases,
                                               const std::string& base_path) {
    std::vector<std::string> ids;
    const Json doc = Json::parse(skeleton, nullptr, false);
    if (doc.is_discarded() || !doc.is_object()) {
        core::Log::warning("graphics", "DragonBones '%s': not a JSON object; nothing loaded.", skeleton_name.c_str());
        return ids;
    }
    Problems problems;
    const Reader r(problems);
    Atlas atlas;
    for (const DragonBonesAtlas& page : atlases) {
        const Json atlas_doc = Json::parse(page.text, nullptr, false);
        if (atlas_doc.is_discarded() || !atlas_doc.is_object())
            problems.add("atlas " + named(page.name) + " is not a JSON object (its images and meshes skipped)");
        else
            read_atlas(atlas_doc, page.base_path, r, problems, atlas);
    }
    // Atlases written into the skeleton file itself, when none is given.
    if (atlases.empty())
        for (const Json& page : Reader::list(doc, "textureAtlas")) read_atlas(page, base_path, r, problems, atlas);
    if (atlases.empty() && Reader::list(doc, "textureAtlas").empty()) problems.add("no atlas (images and meshes skipped)");
    const bool have_atlas = !atlas.pages.empty();
    double frame_rate = r.number(doc, "frameRate", 24, "skeleton");
    if (!(frame_rate > 0 && frame_rate <= 1000)) frame_rate = 24;
    const unsigned long start = generation();
    std::vector<core::Ref<ActorData>> records;
    std::set<std::string> names;
    for (const Json& armature : Reader::list(doc, "armature")) {
        ArmatureBuilder builder(armature, frame_rate, have_atlas ? &atlas : nullptr, r, problems);
        if (builder.name().empty() || names.count(builder.name()) || find_actor_data(builder.name())) {
            problems.add("armature " + named(builder.name()) + " has no name, or the name is taken (skipped)");
            continue;
        }
        names.insert(builder.name());
        if (core::Ref<ActorData> record = builder.build()) records.push_back(std::move(record));
    }
    // Whole records only, and only now: a script that unloaded the database while a
    // joint was made (a factory class) sees none of these half-made.
    if (generation() != start) problems.add("the actor database was unloaded while loading");
    for (auto& record : records) {
        const std::string id = record->get_id();
        if (add_actor_data(std::move(record)))
            ids.push_back(id);
        else
            problems.add("armature " + named(id) + ": the id was taken meanwhile (skipped)");
    }
    if (problems.count() || problems.dropped()) {
        std::string text = "DragonBones '" + skeleton_name + "':";
        if (problems.count())
            text += " " + std::to_string(problems.count()) +
                    " thing(s) skipped or read in part; the first: " + problems.first() + ".";
        if (problems.dropped())
            text += " " + std::to_string(problems.dropped()) +
                    " vertex influence(s) beyond the four the skinning keeps were dropped (the strongest kept, "
                    "renormalised).";
        core::Log::warning("graphics", "%s", text.c_str());
    }
    return ids;
}

}  // namespace engine::graphics::ActorDatabase
