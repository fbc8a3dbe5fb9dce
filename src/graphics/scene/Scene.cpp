#include "engine/graphics/Scene.h"
#include "render/GLCheck.h"
#include "scene/OverlapIndex.h"

#include "engine/core/Log.h"
#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/GLState.h"
#include "engine/graphics/RenderContext.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneListener.h"
#include "engine/graphics/SceneObject.h"
#include "engine/graphics/Shape.h"
#include "engine/window/OpenGL.h"
#include "engine/window/Window.h"

#include <GL/gl.h>

#include <algorithm>

namespace engine::graphics {

using core::Matrix;
using core::Vector;

namespace {

Scene* current_scene = nullptr;  // the most recently constructed scene
int live_scenes = 0;             // scenes constructed and not yet destroyed

// Objects live wherever their script objects were allocated, and a frame's drawing has
// usually pushed them out of the caches by the next update: asking for the next
// objects' memory ahead of time hides most of the wait.
constexpr std::size_t kPrefetchDistance = 10;
constexpr std::size_t kPrefetchBytes = sizeof(SceneObject) + 320;  // a subclass's own fields too

void prefetch_object(const SceneObject* object) {
    const char* bytes = reinterpret_cast<const char*>(object);
    for (std::size_t offset = 0; offset < kPrefetchBytes; offset += 64) __builtin_prefetch(bytes + offset);
}

}  // namespace

// While a pass is under way, whatever is removed is released only when it ends, so
// that nothing the pass is still using can be destroyed under it.
class Scene::Pass {
public:
    explicit Pass(Scene& scene) : scene_(scene) { ++scene_.passes_; }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    ~Pass() {
        if (--scene_.passes_ > 0) return;
        while (!scene_.deferred_.empty()) {
            const core::Ref<const core::Object> object = std::move(scene_.deferred_.back());
            scene_.deferred_.pop_back();
        }
    }

private:
    Scene& scene_;
};

Scene::Scene() : overlap_index_(std::make_unique<OverlapIndex>()) {
    current_scene = this;
    ++live_scenes;
}

Scene::~Scene() {
    // Scenes are not stacked: whichever scene is current, none is afterwards, even when
    // other scenes live on. Dropping a temporary Scene() is the usual way to fall into
    // this, so it is said rather than left to a black screen.
    if (--live_scenes > 0)
        core::Log::warning("graphics",
                           "A scene was destroyed while other scenes exist: no scene is current now, "
                           "so objects cannot join layers until a new Scene is made.");
    current_scene = nullptr;
    std::vector<core::Ref<SceneLayer>> layers;
    layers.swap(layers_);
    layers.clear();
    listeners_.clear();
}

Scene* Scene::get() { return current_scene; }

void Scene::release_later(core::Ref<const core::Object> object) {
    if (passes_ > 0) deferred_.push_back(std::move(object));
}

template <class Hook>
void Scene::notify(Hook hook) {
    // A snapshot, so that listeners may add or remove listeners while being told;
    // one removed before its turn is skipped.
    const std::size_t begin = listener_snapshot_.size();
    for (SceneListener* listener : listeners_) listener_snapshot_.push_back(listener);
    const std::size_t end = listener_snapshot_.size();
    for (std::size_t i = begin; i < end; ++i) {
        SceneListener* listener = listener_snapshot_[i];
        if (!listeners_.count(listener)) continue;
        const core::Ref<SceneListener> held(listener);  // the hook may remove it
        hook(*listener);
        GLState::check("after a scene listener's hook");
    }
    listener_snapshot_.resize(begin);
}

// Layers ---------------------------------------------------------------------------

bool Scene::add_layer(SceneLayer* layer) {
    if (get_layer(layer->get_id())) {
        core::Log::warning("graphics", "Layer id '%s' is taken: the new layer was not added.",
                           layer->get_id().c_str());
        return false;
    }
    auto at =
        std::find_if(layers_.begin(), layers_.end(), [&](const SceneLayer* l) { return l->get_z() >= layer->get_z(); });
    layers_.insert(at, core::Ref<SceneLayer>(layer));
    return true;
}

SceneLayer* Scene::get_layer(const std::string& id) const {
    for (SceneLayer* layer : layers_)
        if (layer->get_id() == id) return layer;
    return nullptr;
}

SceneLayer* Scene::get_layer(unsigned int index) const { return index < layers_.size() ? layers_[index] : nullptr; }

int Scene::get_layer_scale_flags(const std::string& id) const {
    const SceneLayer* layer = get_layer(id);
    return layer ? layer->get_scale_flags() : 0;
}

// Objects --------------------------------------------------------------------------

bool Scene::add_object(SceneObject* object, const std::string& layer_id) {
    SceneLayer* layer = get_layer(layer_id);
    if (!layer) {
        if (!layer_id.empty())
            core::Log::warning("graphics", "Unknown layer '%s': the object was not added to it.", layer_id.c_str());
        return false;
    }
    core::Ref<SceneObject> held(object);  // the new layer's reference, taken first so the move cannot destroy it
    take_object(object, true);
    auto& objects = layer->objects_;
    auto at = std::find_if(objects.begin(), objects.end(),
                           [&](const SceneObject* o) { return o->get_z() > object->get_z(); });
    const auto inserted = objects.insert(at, std::move(held));
    layer->inserted(inserted - objects.begin());
    Transform::note_change();  // the overlap index holds no references: it must see this
    object->layer_ = layer_id;
    object->on_add(layer_id);
    return true;
}

bool Scene::remove_object(SceneObject* object) { return take_object(object, true); }

bool Scene::take_object(SceneObject* object, bool release) {
    erase_redirection(object);
    // An object in no layer has an empty layer id: new objects cost no search. Otherwise
    // its layer is looked at first, then every layer in order (a layer may have been
    // renamed since the object entered it).
    if (object->layer_.empty()) return false;
    SceneLayer* named = get_layer(object->layer_);
    if (named && erase_object(*named, object, release)) return true;
    for (SceneLayer* layer : layers_)
        if (layer != named && erase_object(*layer, object, release)) return true;
    return false;
}

bool Scene::erase_object(SceneLayer& layer, SceneObject* object, bool release) {
    auto& objects = layer.objects_;
    auto it = std::find(objects.begin(), objects.end(), object);
    if (it == objects.end()) return false;
    const std::ptrdiff_t index = it - objects.begin();
    core::Ref<SceneObject> held = std::move(*it);
    objects.erase(it);
    layer.erased(index);
    Transform::note_change();
    if (release) {
        object->layer_.clear();
        object->on_remove(layer.get_id());
        release_later(std::move(held));
    }
    return true;
}

SceneObject* Scene::get_object(const std::string& id) const { return SceneObject::get_object(id); }

void Scene::sort_layer(const std::string& layer_id) {
    SceneLayer* layer = get_layer(layer_id);
    if (!layer) return;
    // Unstable, so objects of equal z may change places: std::sort needs no buffer, and
    // this runs at every z change (see Scene.h).
    std::sort(layer->objects_.begin(), layer->objects_.end(),
              [](const SceneObject* a, const SceneObject* b) { return a->get_z() < b->get_z(); });
    Transform::note_change();  // the drawing order, which picking follows
}

void Scene::set_scale(const core::Vector<float>& scale) {
    if (scale == scale_) return;
    scale_ = scale;
    Transform::note_change();
}

// Picking and overlap ------------------------------------------------------------------

void Scene::objects_at(const Vector<float>& point, const SceneLayer* layer, float alpha_threshold,
                       std::vector<SceneObject*>& out) {
    out.clear();
    overlap_index_->refresh(*this, layers_);
    overlap_index_->objects_at(point, layer, out);
    if (alpha_threshold < 0.0f) return;
    // Sprites that see through where the point falls drop out, in their layer's coordinates.
    auto transparent = [&](SceneObject* object) {
        return !object->is_solid_at(point * object->get_layer_transform().inverse(), alpha_threshold);
    };
    out.erase(std::remove_if(out.begin(), out.end(), transparent), out.end());
}

void Scene::overlapping_pairs(const SceneLayer* first, const SceneLayer* second,
                              std::vector<std::pair<SceneObject*, SceneObject*>>& out) {
    out.clear();
    overlap_index_->refresh(*this, layers_);
    overlap_index_->pairs(first, second, out);
}

void Scene::overlapping(SceneObject& object, const SceneLayer* layer, std::vector<SceneObject*>& out) {
    out.clear();
    if (!object.is_visible()) return;
    overlap_index_->refresh(*this, layers_);
    // An object the index holds asks with the shape it was indexed with, current since
    // nothing changed after the build; any other makes its own.
    if (const Shape* indexed = overlap_index_->find_shape(object)) {
        overlap_index_->overlapping(*indexed, &object, layer, out);
        return;
    }
    static Shape shape;  // reused by every question; script thread only
    object.get_drawn_shape(shape);
    overlap_index_->overlapping(shape, &object, layer, out);
}

// Listeners ------------------------------------------------------------------------

void Scene::add_listener(SceneListener* listener) {
    listeners_.insert(core::Ref<SceneListener>(listener));
}

void Scene::remove_listener(SceneListener* listener) {
    auto it = listeners_.find(listener);
    if (it != listeners_.end()) release_later(listeners_.extract(it).value());
}

void Scene::add_keyed_listener(const void* key, SceneListener* adapter) {
    if (keyed_listeners_.count(key)) return;
    const core::Ref<SceneListener> held(adapter);  // released here when it is not added
    if (!listeners_.insert(held).second) return;
    keyed_listeners_.emplace(key, adapter);
}

bool Scene::remove_keyed_listener(const void* key) {
    auto it = keyed_listeners_.find(key);
    if (it == keyed_listeners_.end()) return false;
    SceneListener* adapter = it->second;
    keyed_listeners_.erase(it);
    // It may be the listener being called right now: destroyed when the pass ends.
    remove_listener(adapter);
    return true;
}

// Redirection ----------------------------------------------------------------------

void Scene::register_framebuffer(SceneObject* object, Framebuffer* framebuffer) {
    std::size_t cursor = 0;
    for (const SceneLayer* layer : layers_) {
        if (!layer->is_common()) continue;
        for (SceneObject* walked : layer->get_objects()) {
            if (cursor < redirections_.size() && redirections_[cursor].object == walked) ++cursor;
            if (walked == object) {
                redirections_.insert(redirections_.begin() + std::ptrdiff_t(cursor), {object, framebuffer});
                return;
            }
        }
    }
}

void Scene::erase_redirection(SceneObject* object) {
    auto it = std::find_if(redirections_.begin(), redirections_.end(),
                           [&](const Redirection& r) { return r.object == object; });
    if (it == redirections_.end()) return;
    core::Ref<Framebuffer> framebuffer = std::move(it->framebuffer);
    // The cursor is left where it is: a redirection removed during a render changes
    // targets from the next frame on, and the rest of this frame may keep drawing into
    // the current target (end_frame then warns and shows it) rather than switching
    // halfway through a layer. begin_frame starts the cursor afresh
    // (test_redirection_removed_during_a_render_changes_targets_from_the_next_frame).
    redirections_.erase(it);
    release_later(std::move(framebuffer));
}

void Scene::begin_frame() {
    // The window whose context draws; without one there is nothing to clear.
    window::Window* window = window::Window::get_current();
    if (clear_colour_ && window) window->clear(*clear_colour_);
    bind_framebuffer();
}

void Scene::bind_framebuffer() {
    cursor_ = 0;
    while (cursor_ < redirections_.size() && !redirections_[cursor_].object->is_visible()) ++cursor_;
    if (cursor_ == redirections_.size()) return;
    redirections_[cursor_].framebuffer->bind_as_framebuffer();
    glClear(GL_COLOR_BUFFER_BIT);
    GLState::check("after Scene.begin_frame");
}

void Scene::end_frame() {
    const Framebuffer* bound = Framebuffer::get_current_framebuffer();
    if (!bound) return;
    core::Log::warning("graphics", "Non-default framebuffer bound at Scene::end_frame().");
    // Unbound first, then drawn to the window: the captured picture stays visible.
    Framebuffer::unbind();
    bound->render();
    GLState::check("after Scene.end_frame");
}

// Frame ----------------------------------------------------------------------------

void Scene::update(float dt) {
    GLState::check("on entering Scene.update (left by code outside the scene)");
    Pass pass(*this);
    notify([dt](SceneListener& l) { l.on_pre_update(dt); });
    for (std::size_t l = 0; l < layers_.size(); ++l) {
        SceneLayer& layer = *layers_[l];
        const auto& objects = layer.get_objects();
        for (SceneLayer::Walk walk(layer); walk.next();) {
            const std::size_t i = walk.index();
            // Three stages ahead: the object, then its animator list, then its animators.
            if (i + kPrefetchDistance < objects.size()) prefetch_object(objects[i + kPrefetchDistance]);
            if (i + kPrefetchDistance / 2 < objects.size())
                objects[i + kPrefetchDistance / 2]->prefetch_animator_list();
            if (i + 1 < objects.size()) objects[i + 1]->prefetch_animators();
            // Then what lies behind the object (an actor's controller, joints, meshes),
            // one stage deeper every two objects nearer its turn, the first once the
            // object itself has arrived.
            static_assert(2 * SceneObject::kPrefetchStages < kPrefetchDistance, "stage 0 reads the object");
            for (unsigned s = 0; s < SceneObject::kPrefetchStages; ++s) {
                const std::size_t ahead = 2 * (SceneObject::kPrefetchStages - s);
                if (i + ahead < objects.size()) objects[i + ahead]->prefetch(s);
            }
            objects[i]->update(dt);
            GLState::check("after the update", objects[i]);
        }
    }
    notify([dt](SceneListener& l) { l.on_post_update(dt); });
}

namespace {

// A scene drawn without a window or a projection shows nothing (or a corner of the
// picture): said once, since it would otherwise repeat every frame.
void check_drawing_set_up() {
    static bool told_window = false, told_ortho = false;
    if (!get_window()) {
        if (!told_window)
            core::Log::warning("graphics", "Drawing before libgraphics.set_window(window): nothing can be drawn.");
        told_window = true;
    } else if (!is_ortho_set() && !told_ortho) {
        core::Log::warning("graphics", "Drawing before libgraphics.set_ortho(): without the pixel projection "
                                       "most of the scene falls outside the window.");
        told_ortho = true;
    }
}

}  // namespace

void Scene::render() {
    check_drawing_set_up();
    GLState::check("on entering Scene.render (left by code outside the scene)");
    Pass pass(*this);
    notify([](SceneListener& l) { l.on_pre_render(); });
    for (std::size_t l = 0; l < layers_.size(); ++l)
        if (layers_[l]->is_common()) render_layer(*layers_[l]);
    notify([](SceneListener& l) { l.on_post_render(); });
}

void Scene::render_layer(const std::string& layer_id) {
    SceneLayer* layer = get_layer(layer_id);
    if (!layer) return;
    Pass pass(*this);
    render_layer(*layer);
}

void Scene::render_layer(SceneLayer& layer) {
    const std::string& id = layer.get_id();
    notify([&id](SceneListener& l) { l.on_pre_layer_render(id); });
    const auto& objects = layer.get_objects();
    const int depth = GLState::is_checking() ? GLState::get_modelview_depth() : -1;
    for (SceneLayer::Walk walk(layer); walk.next();) {
        SceneObject* object = objects[walk.index()];
        if (cursor_ < redirections_.size() && redirections_[cursor_].object == object) {
            // Everything drawn so far went into this object's framebuffer; the object
            // itself goes into the next target.
            flush_batch(depth);
            const std::size_t next = cursor_ + 1;
            if (next == redirections_.size())
                Framebuffer::unbind();
            else
                redirections_[next].framebuffer->bind_as_framebuffer();
            cursor_ = next;
        }
        if (!object->is_visible()) continue;
        if (batching_ && object->add_to_batch(batch_, object->get_layer_transform())) continue;
        flush_batch(depth);
        object->render(true);
        GLState::check("after the render", object, depth);
    }
    flush_batch(depth);
    check_gl_errors("drawing layer", id.c_str());
    notify([&id](SceneListener& l) { l.on_post_layer_render(id); });
}

void Scene::flush_batch(int modelview_depth) {
    if (batch_.empty()) return;
    batch_.flush();
    GLState::check("after drawing a batch of sprites", nullptr, modelview_depth);
}

// Layer matrix ---------------------------------------------------------------------

Matrix Scene::get_layer_transform(int flags, const Vector<float>& p) const {
    const float sx = scale_.x, sy = scale_.y;
    float s = 1.0f;
    if (flags & SCALE_MIN)
        s = std::min(sx, sy);
    else if (flags & SCALE_MAX)
        s = std::max(sx, sy);

    Matrix m;
    if (s != 1.0f) m.set_scale({s, s});
    Vector<float> t;
    if (flags & TRANSLATE) {
        // With SCALE_MAX and sx <= sy there is no translation: the layer is scaled as a
        // whole by sy, positions as well as sizes, as TRANSLATE_UNIFORM would. Only the
        // wide case above pulls positions back to the non-uniform scale. Layers laid out
        // with this pair rely on it on tall scales; docs/guide.md says so, and
        // test_layer_matrix_loaded_for_the_object (scale (1, 2)) pins it.
        if ((flags & SCALE_MAX) && sy < sx) {
            t = {0.0f, s * p.y * (sy - sx) / sx};
        } else if (flags & SCALE_MIN) {
            if (sx < sy)
                t = {0.0f, s * p.y * (sy - sx) / sx};
            else if (sy < sx)
                t = {s * p.x * (sx - sy) / sy, 0.0f};
        }
    } else if (!(flags & TRANSLATE_UNIFORM)) {
        // Scaled about the object's own position, which stays where it is.
        t = {p.x * (1.0f - s), p.y * (1.0f - s)};
    }
    m.set_translation(t);
    return m;
}

Matrix Scene::get_layer_transform(const std::string& layer_id, const Vector<float>& p) const {
    return get_layer_transform(get_layer_scale_flags(layer_id), p);
}

void Scene::load_layer_transform(int flags, const Vector<float>& p) const {
    const Matrix m = get_layer_transform(flags, p);
    if (!m.is_identity()) window::load_into_opengl(m);  // multiplying by the identity changes nothing
}

void Scene::load_layer_transform(const std::string& layer_id, const Vector<float>& p) const {
    load_layer_transform(get_layer_scale_flags(layer_id), p);
}

}  // namespace engine::graphics
