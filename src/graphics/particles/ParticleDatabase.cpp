#include "engine/graphics/ParticleSystemData.h"

#include "common/RecordTable.h"

#include "engine/core/Colour.h"
#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"
#include "engine/core/XMLParser.h"

#include <cstdlib>
#include <map>

namespace engine::graphics {

namespace ParticleDatabase {

namespace {

RecordTable<ParticleSystemData> table;  // the definitions by id

float to_float(const std::string& text) { return std::strtof(text.c_str(), nullptr); }

const std::string* get(const core::XMLParser::Attributes& attributes, const char* key) {
    auto it = attributes.find(key);
    return it == attributes.end() ? nullptr : &it->second;
}

// Builds definitions element by element. The current system and emitter stay current
// after their end tags (a later element adds to them); the current particle and curves
// are cleared by theirs. An element that cannot be used is skipped with one warning,
// and everything inside it silently, so one mistake gives one message.
class Parser final : public core::XMLParser {
public:
    explicit Parser(std::string base_path) : base_path_(std::move(base_path)) {}

    void on_element_start(const std::string& name, const Attributes& attributes) override {
        if (skip_depth_ > 0) {
            ++skip_depth_;
            return;
        }
        if (name == "ParticleSystemData")
            start_system(attributes);
        else if (name == "ParticleEmitterData")
            start_emitter(attributes);
        else if (name == "ParticleData")
            start_particle(attributes);
        else if (name == "SizeCurve")
            start_size_curve();
        else if (name == "ColourCurve")
            start_colour_curve();
        else if (name == "Keyframe")
            add_keyframe(attributes);
        // Any other element (the document's root, comments of the author's own) is
        // not the database's business.
    }

    void on_element_end(const std::string& name) override {
        if (skip_depth_ > 0) {
            --skip_depth_;
            return;
        }
        if (name == "ParticleData") {
            particle_ = nullptr;
            size_curve_ = nullptr;
            colour_curve_ = nullptr;
        } else if (name == "SizeCurve") {
            size_curve_ = nullptr;
        } else if (name == "ColourCurve") {
            colour_curve_ = nullptr;
        }
    }

private:
    void skip(const std::string& message) {
        core::Log::warning("graphics", "Particle database: %s", message.c_str());
        skip_depth_ = 1;
    }

    void start_system(const Attributes& attributes) {
        const std::string* id = get(attributes, "id");
        system_ = nullptr;
        emitter_ = nullptr;
        if (!id) return skip("a 'ParticleSystemData' element has no id; it is skipped.");
        if (table.contains(*id))
            return skip("system '" + *id + "' is defined already; the earlier definition stands.");
        const core::Ref<ParticleSystemData> data = core::make_ref<ParticleSystemData>();
        data->id = *id;
        if (const std::string* v = get(attributes, "layer")) data->layer = *v;
        if (const std::string* v = get(attributes, "gravity")) data->gravity = core::Vector<float>(*v);
        table.add(data->id, data);
        system_ = data;
    }

    void start_emitter(const Attributes& attributes) {
        if (!system_)
            return skip("a 'ParticleEmitterData' element outside a particle system is skipped.");
        auto emitter = std::make_unique<ParticleEmitterData>();
        if (const std::string* v = get(attributes, "emission_rate")) emitter->emission_rate = to_float(*v);
        if (const std::string* v = get(attributes, "emission_limit")) emitter->emission_limit = to_float(*v);
        if (const std::string* v = get(attributes, "spread")) emitter->spread = to_float(*v);
        if (const std::string* v = get(attributes, "speed")) {
            const core::Vector<float> speed(*v);
            emitter->min_speed = speed.x;
            emitter->max_speed = speed.y;
        }
        emitter_ = emitter.get();
        system_->emitters.push_back(std::move(emitter));
    }

    void start_particle(const Attributes& attributes) {
        if (!emitter_)
            return skip("a 'ParticleData' element outside an emitter is skipped.");
        auto particle = std::make_unique<ParticleData>();
        if (const std::string* v = get(attributes, "frequency")) particle->frequency = to_float(*v);
        if (const std::string* v = get(attributes, "life")) particle->life = core::Vector<float>(*v);
        if (const std::string* v = get(attributes, "size")) particle->size = core::Vector<float>(*v);
        if (const std::string* v = get(attributes, "texture")) particle->texture_path = core::PathDatabase::join(base_path_, *v);
        particle_ = particle.get();
        size_curve_ = nullptr;
        colour_curve_ = nullptr;
        emitter_->particles.push_back(std::move(particle));
    }

    void start_size_curve() {
        if (!particle_) return skip("a 'SizeCurve' element outside a particle is skipped.");
        if (!particle_->size_curve) particle_->size_curve = std::make_unique<ParticleSizeCurve>();
        size_curve_ = particle_->size_curve.get();
    }

    void start_colour_curve() {
        if (!particle_)
            return skip("a 'ColourCurve' element outside a particle is skipped.");
        if (!particle_->colour_curve) particle_->colour_curve = std::make_unique<ParticleColourCurve>();
        colour_curve_ = particle_->colour_curve.get();
    }

    void add_keyframe(const Attributes& attributes) {
        const std::string* key = get(attributes, "key");
        const std::string* value = get(attributes, "value");
        if (!size_curve_ && !colour_curve_)
            return skip("a 'Keyframe' element outside a curve is skipped.");
        if (!key || !value)
            return skip("a 'Keyframe' element needs both 'key' and 'value'; it is skipped.");
        if (size_curve_)
            size_curve_->add_keyframe(to_float(*key), to_float(*value));
        else
            colour_curve_->add_keyframe(to_float(*key), core::Colour(*value));
    }

    std::string base_path_;
    ParticleSystemData* system_ = nullptr;         // current system, in the table
    ParticleEmitterData* emitter_ = nullptr;       // current emitter of system_
    ParticleData* particle_ = nullptr;             // current particle of emitter_
    ParticleSizeCurve* size_curve_ = nullptr;      // current curves of particle_
    ParticleColourCurve* colour_curve_ = nullptr;
    int skip_depth_ = 0;                           // > 0: inside a skipped element
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

void unload() { table.clear(); }

ParticleSystemData* find(const std::string& id) { return table.find(id); }

core::Ref<ParticleSystemData> acquire(const std::string& id) { return table.acquire(id); }

std::size_t size() { return table.size(); }

}  // namespace ParticleDatabase
}  // namespace engine::graphics
