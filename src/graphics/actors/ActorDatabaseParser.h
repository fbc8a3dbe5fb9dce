#pragma once

#include "engine/core/Ref.h"
#include "engine/core/XMLParser.h"

#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class ActorData;
class ActorDatabaseParser;
class ActorMeshData;
class AnimCurve;
class AnimationClip;
class Jiggle;
struct BlendShape;

/// The elements of actor files that a subsystem above the actors reads into its own
/// registry (IK rigs, dynamics rigs), kept beside that subsystem. Each parser of an
/// actor file makes one section of every registered kind, so the records a section is
/// filling belong to that parse. Script thread only.
class ActorFileSection {
public:
    using Attributes = core::XMLParser::Attributes;
    virtual ~ActorFileSection() = default;
    /// Reads the element when it is one of this section's; false when it is not.
    virtual bool start(ActorDatabaseParser& parser, const std::string& name, const Attributes& attributes) = 0;
    /// Told every end tag.
    virtual void end(const std::string& name) { (void)name; }
    /// The database was unloaded under the parse (a script hook): records being filled go.
    virtual void forget() = 0;
};

/// A kind of section: how to make one, how to empty its registry on `unload`, and
/// (optional) what to build for a record entered from elsewhere (an imported
/// character's IK chains become an IK rig).
struct ActorFileSectionKind {
    std::unique_ptr<ActorFileSection> (*make)();
    void (*unload)();
    void (*entered)(const ActorData& data) = nullptr;
};

/// Registers a kind of section; called at static initialisation by the file that reads
/// it (a registration at namespace scope), so every actor file knows it from the start.
bool add_actor_file_section(const ActorFileSectionKind& kind);

/// Reads actor documents into the actor database's registries: "ActorData" with its
/// "Joint", "BoundingPolygon", "ActorMeshData", "Vertex", "Face", "BlendShape", "AnimCurve", "Keyframe" and
/// "Jiggle" elements, "ActorClip" with its "ClipTrack", "PartTrack", "ClipKey" and
/// "ClipEvent" elements, and through the registered sections "ActorRigIK" with its
/// handles (ik/) and "ActorRigDynamics" with its bodies and constraints (dynamics/).
/// Other element names are passed over (a document may wrap
/// everything in a root of any name). Elements that cannot be used are skipped and
/// counted; `report` sums them up in one warning. Script thread only.
class ActorDatabaseParser : public core::XMLParser {
public:
    ActorDatabaseParser();
    ~ActorDatabaseParser() override;

    void on_element_start(const std::string& name, const Attributes& attributes) override;
    void on_element_end(const std::string& name) override;

    /// How many elements or attribute values were skipped or read in part, and the
    /// first of them ("line 12: ...").
    int get_problem_count() const { return problems_; }
    const std::string& get_first_problem() const { return first_problem_; }
    /// Closes what the document left open (a mesh whose end tag never came is checked
    /// like a closed one). Call after the parse.
    void finish();
    /// Logs the one warning under "graphics" when anything was skipped.
    void report(const std::string& document_name) const;

    // For the sections: what every element reader uses.
    /// Counts something skipped or read in part (the first one is quoted in the warning).
    void problem(const std::string& text);
    float read_float(const std::string& element, const char* key, const std::string& text);
    int read_int(const std::string& element, const char* key, const std::string& text);
    static const std::string* find(const Attributes& a, const char* key);
    static std::string quoted(const std::string& s);

private:
    void follow_registries();

    void start_actor_data(const Attributes& a);
    void start_joint(const Attributes& a);
    void start_bounding_polygon(const Attributes& a);
    void start_mesh(const Attributes& a);
    void start_blend_shape(const Attributes& a);
    void start_curve();
    void start_keyframe(const Attributes& a);
    void start_jiggle(const Attributes& a);
    void start_vertex(const Attributes& a);
    void start_face(const Attributes& a);
    void end_mesh();
    void start_clip(const Attributes& a);
    void start_clip_track(const Attributes& a);
    void start_part_track(const Attributes& a);
    void start_clip_key(const Attributes& a);
    void start_clip_event(const Attributes& a);
    void end_clip();

    // The records being filled, held so that an unload by a factory class while they
    // are read frees none of them under the parser.
    core::Ref<ActorData> actor_;
    ActorMeshData* mesh_ = nullptr;                // pending_mesh_, while it is read
    std::unique_ptr<ActorMeshData> pending_mesh_;  // joins its actor at its end tag, checked
    BlendShape* blend_shape_ = nullptr;
    Jiggle* jiggle_ = nullptr;
    AnimCurve* curve_ = nullptr;
    std::unique_ptr<AnimationClip> clip_;                      // being read; stored at its end tag
    core::Ref<ActorData> clip_actor_;                          // whose clip it is
    int track_joint_ = -1;                                     // the current track's joint or mesh; -1: none or skipped
    int track_channel_ = 0;                                    // its ClipChannel
    unsigned long generation_ = 0;                             // the registries' generation these pointers belong to
    int problems_ = 0;                                         // elements or values skipped or read in part
    std::string first_problem_;                                // where and what the first one was
    std::vector<std::unique_ptr<ActorFileSection>> sections_;  // one of every registered kind
};

}  // namespace engine::graphics
