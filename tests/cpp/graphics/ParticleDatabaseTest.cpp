#include "engine/graphics/ParticleSystemData.h"

#include "core/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

using engine::core::Colour;
using engine::core::test::LogCapture;
using engine::graphics::ParticleSystemData;
namespace Log = engine::core::Log;
namespace ParticleDatabase = engine::graphics::ParticleDatabase;

// The definition table is process-wide: every test starts and ends with it empty.

namespace {

struct ParticleDatabaseTest : ::testing::Test {
    ParticleDatabaseTest() { ParticleDatabase::unload(); }
    ~ParticleDatabaseTest() override { ParticleDatabase::unload(); }

    std::size_t warnings(const std::string& category = "graphics") const {
        std::size_t n = 0;
        for (const auto& e : log.entries())
            if (e.level == Log::Level::Warning && e.category == category) ++n;
        return n;
    }

    LogCapture log;
};

const char* const kFire = R"(<Particles>
  <ParticleSystemData id="fire" layer="world" gravity="0 -20">
    <ParticleEmitterData emission_rate="50" emission_limit="10" spread="0.5" speed="20, 40">
      <ParticleData frequency="0.7" life="1 2" size="3 6" texture="flame.png">
        <SizeCurve>
          <Keyframe key="0" value="2"/>
          <Keyframe key="1" value="8"/>
        </SizeCurve>
        <ColourCurve>
          <Keyframe key="0" value="1 0.5 0 1"/>
          <Keyframe key="1" value="#00000000"/>
        </ColourCurve>
      </ParticleData>
      <ParticleData frequency="0.3" life="0.5 0.5" size="2 2"/>
    </ParticleEmitterData>
  </ParticleSystemData>
</Particles>)";

}  // namespace

TEST_F(ParticleDatabaseTest, ReadsEveryElementAndAttribute) {
    EXPECT_TRUE(ParticleDatabase::load_text(kFire, "images"));
    ParticleSystemData* fire = ParticleDatabase::find("fire");
    ASSERT_NE(fire, nullptr);
    EXPECT_EQ(fire->layer, "world");
    EXPECT_EQ(fire->gravity.x, 0.0f);
    EXPECT_EQ(fire->gravity.y, -20.0f);
    ASSERT_EQ(fire->emitters.size(), 1u);
    const auto& emitter = *fire->emitters[0];
    EXPECT_EQ(emitter.emission_rate, 50.0f);
    EXPECT_EQ(emitter.emission_limit, 10.0f);
    EXPECT_EQ(emitter.spread, 0.5f);
    EXPECT_EQ(emitter.min_speed, 20.0f);
    EXPECT_EQ(emitter.max_speed, 40.0f);
    ASSERT_EQ(emitter.particles.size(), 2u);
    const auto& flame = *emitter.particles[0];
    EXPECT_EQ(flame.frequency, 0.7f);
    EXPECT_EQ(flame.life.x, 1.0f);
    EXPECT_EQ(flame.life.y, 2.0f);
    EXPECT_EQ(flame.size.x, 3.0f);
    EXPECT_EQ(flame.size.y, 6.0f);
    EXPECT_EQ(flame.texture_path, "images/flame.png");
    ASSERT_NE(flame.size_curve, nullptr);
    EXPECT_EQ(flame.size_curve->get_keyframes().size(), 2u);
    ASSERT_NE(flame.colour_curve, nullptr);
    EXPECT_EQ(flame.colour_curve->evaluate(0.0f), Colour(1.0f, 0.5f, 0.0f, 1.0f));
    EXPECT_EQ(flame.colour_curve->evaluate(1.0f), Colour(0.0f, 0.0f, 0.0f, 0.0f));
    const auto& ember = *emitter.particles[1];
    EXPECT_EQ(ember.texture_path, "");
    EXPECT_EQ(ember.size_curve, nullptr);
    EXPECT_EQ(ember.colour_curve, nullptr);
    EXPECT_EQ(ember.colour, Colour());  // a definition's own colour is opaque white
    EXPECT_EQ(warnings(), 0u);
}

TEST_F(ParticleDatabaseTest, MissingAttributesKeepTheirDefaults) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='bare'><ParticleEmitterData><ParticleData/></ParticleEmitterData>"
        "</ParticleSystemData></P>",
        "");
    ParticleSystemData* bare = ParticleDatabase::find("bare");
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->gravity.y, 9.8f);
    EXPECT_EQ(bare->layer, "");
    EXPECT_EQ(bare->emitters[0]->emission_rate, 0.0f);
    EXPECT_EQ(bare->emitters[0]->particles[0]->frequency, 1.0f);
}

TEST_F(ParticleDatabaseTest, SystemWithoutIdIsSkippedWithOneWarning) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData layer='x'><ParticleEmitterData><ParticleData/></ParticleEmitterData>"
        "</ParticleSystemData><ParticleSystemData id='after'/></P>",
        "");
    EXPECT_EQ(ParticleDatabase::size(), 1u);
    EXPECT_NE(ParticleDatabase::find("after"), nullptr);
    EXPECT_EQ(warnings(), 1u);
}

TEST_F(ParticleDatabaseTest, EarlierDefinitionStands) {
    ParticleDatabase::load_text("<P><ParticleSystemData id='a' layer='first'/></P>", "");
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='a' layer='second'><ParticleEmitterData/></ParticleSystemData></P>", "");
    EXPECT_EQ(ParticleDatabase::find("a")->layer, "first");
    EXPECT_TRUE(ParticleDatabase::find("a")->emitters.empty());
    EXPECT_EQ(warnings(), 1u);
}

TEST_F(ParticleDatabaseTest, OutOfPlaceElementsAreSkippedWithOneWarningEach) {
    ParticleDatabase::load_text(
        "<P><ParticleEmitterData><ParticleData/></ParticleEmitterData>"  // no system
        "<ParticleSystemData id='s'><ParticleData/>"                     // no emitter
        "<ParticleEmitterData><SizeCurve/><Keyframe key='0' value='1'/>"  // no particle, no curve
        "<ParticleData><Keyframe key='0' value='1'/></ParticleData>"      // no curve
        "</ParticleEmitterData></ParticleSystemData></P>",
        "");
    ASSERT_NE(ParticleDatabase::find("s"), nullptr);
    ASSERT_EQ(ParticleDatabase::find("s")->emitters.size(), 1u);
    EXPECT_EQ(ParticleDatabase::find("s")->emitters[0]->particles.size(), 1u);
    EXPECT_EQ(warnings(), 5u);
}

TEST_F(ParticleDatabaseTest, KeyframeNeedsKeyAndValue) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='s'><ParticleEmitterData><ParticleData><SizeCurve>"
        "<Keyframe key='0'/><Keyframe value='2'/><Keyframe key='1' value='3'/>"
        "</SizeCurve></ParticleData></ParticleEmitterData></ParticleSystemData></P>",
        "");
    const auto& curve = *ParticleDatabase::find("s")->emitters[0]->particles[0]->size_curve;
    ASSERT_EQ(curve.get_keyframes().size(), 1u);
    EXPECT_EQ(curve.get_keyframes()[0].value, 3.0f);
    EXPECT_EQ(warnings(), 2u);
}

TEST_F(ParticleDatabaseTest, EndTagsClearTheCurrentParticleAndCurves) {
    // After </SizeCurve> a keyframe has no curve; after </ParticleData> a curve has no particle.
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='s'><ParticleEmitterData><ParticleData><SizeCurve/>"
        "<Keyframe key='0' value='1'/></ParticleData><ColourCurve/>"
        "</ParticleEmitterData></ParticleSystemData></P>",
        "");
    const auto& particle = *ParticleDatabase::find("s")->emitters[0]->particles[0];
    ASSERT_NE(particle.size_curve, nullptr);
    EXPECT_TRUE(particle.size_curve->get_keyframes().empty());
    EXPECT_EQ(particle.colour_curve, nullptr);
    EXPECT_EQ(warnings(), 2u);
}

TEST_F(ParticleDatabaseTest, CurveElementsRepeatedAddToTheSameCurve) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='s'><ParticleEmitterData><ParticleData>"
        "<SizeCurve><Keyframe key='0' value='1'/></SizeCurve>"
        "<SizeCurve><Keyframe key='1' value='2'/></SizeCurve>"
        "</ParticleData></ParticleEmitterData></ParticleSystemData></P>",
        "");
    EXPECT_EQ(ParticleDatabase::find("s")->emitters[0]->particles[0]->size_curve->get_keyframes().size(), 2u);
}

TEST_F(ParticleDatabaseTest, EmittersAfterASystemsEndTagJoinThatSystem) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='s'/><ParticleEmitterData emission_rate='3'/></P>", "");
    ASSERT_EQ(ParticleDatabase::find("s")->emitters.size(), 1u);
    EXPECT_EQ(warnings(), 0u);
}

TEST_F(ParticleDatabaseTest, MalformedXmlKeepsWhatWasRead) {
    ParticleDatabase::load_text("<P><ParticleSystemData id='kept'/><ParticleSystemData id='lost'", "");
    EXPECT_NE(ParticleDatabase::find("kept"), nullptr);
    EXPECT_EQ(warnings("core"), 1u);  // the XML parser names the line
}

TEST_F(ParticleDatabaseTest, TexturePathsJoinLikeOsPathJoin) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='s'><ParticleEmitterData><ParticleData texture='a.png'/>"
        "<ParticleData texture='/abs/b.png'/></ParticleEmitterData></ParticleSystemData></P>",
        "base/");
    const auto& particles = ParticleDatabase::find("s")->emitters[0]->particles;
    EXPECT_EQ(particles[0]->texture_path, "base/a.png");
    EXPECT_EQ(particles[1]->texture_path, "/abs/b.png");
}

TEST_F(ParticleDatabaseTest, UnloadEmptiesTheTableButHoldersKeepTheirs) {
    ParticleDatabase::load_text("<P><ParticleSystemData id='s'/></P>", "");
    const engine::core::Ref<ParticleSystemData> held = ParticleDatabase::acquire("s");
    ParticleDatabase::unload();
    EXPECT_EQ(ParticleDatabase::find("s"), nullptr);
    EXPECT_EQ(held->id, "s");
    EXPECT_EQ(held->get_ref_count(), 1);
}
