#include "engine/core/Ref.h"
#include "engine/graphics/ParticleSystem.h"

#include "core/TestSupport.h"
#include "engine/core/Maths.h"
#include "engine/graphics/Particle.h"
#include "engine/graphics/ParticleEmitter.h"
#include "engine/graphics/ParticleSystemData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

using engine::core::Colour;
using engine::core::Vector;
using engine::core::test::LogCapture;
using engine::graphics::Particle;
using engine::graphics::ParticleEmitter;
using engine::graphics::ParticleSystem;
namespace ParticleDatabase = engine::graphics::ParticleDatabase;

// Native systems need no GL context: the vertices are written into the buffers' CPU
// copies, and nothing is uploaded without a window. No Python class is registered as
// "ParticleEmitter" here, so systems make native emitters. The definition table is
// process-wide: every test starts and ends with it empty.

namespace {

struct ParticleSystemTest : ::testing::Test {
    ParticleSystemTest() {
        ParticleDatabase::unload();
        engine::core::seed_random(1);
    }
    ~ParticleSystemTest() override { ParticleDatabase::unload(); }

    // One system "s" with one emitter of one untextured particle kind.
    static engine::core::Ref<ParticleSystem> make(const std::string& emitter_attributes,
                                                const std::string& particle_attributes = "life='10 10' size='2 2'",
                                                const std::string& system_attributes = "gravity='0 0'") {
        ParticleDatabase::unload();
        ParticleDatabase::load_text("<P><ParticleSystemData id='s' " + system_attributes + "><ParticleEmitterData " +
                                        emitter_attributes + "><ParticleData " + particle_attributes +
                                        "/></ParticleEmitterData></ParticleSystemData></P>",
                                    "");
        return engine::core::make_ref<ParticleSystem>("s");
    }

    static float angle_of(const Vector<float>& direction) {
        // Direction = (0, -1) rotated by the angle: (-sin a, -cos a) in the engine's sense.
        return std::atan2(-direction.x, -direction.y);
    }

    LogCapture log;  // keeps expected warnings out of the test output
};

}  // namespace

TEST_F(ParticleSystemTest, UnknownIdGivesSystemWithoutEmitters) {
    ParticleSystem system("no such system");
    EXPECT_TRUE(system.get_emitters().empty());
    system.on_update(1.0f);
    EXPECT_EQ(system.get_particle_count(), 0u);
    EXPECT_EQ(system.get_gravity(), Vector<float>(0.0f, 9.8f));
}

TEST_F(ParticleSystemTest, CopiesGravityAndMakesOneChildEmitterPerDefinition) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='two' gravity='1 2'><ParticleEmitterData emission_rate='4'/>"
        "<ParticleEmitterData emission_rate='5' speed='6 7' spread='0.25' emission_limit='9'/>"
        "</ParticleSystemData></P>",
        "");
    ParticleSystem system("two");
    EXPECT_EQ(system.get_gravity(), Vector<float>(1.0f, 2.0f));
    ASSERT_EQ(system.get_emitters().size(), 2u);
    for (ParticleEmitter* emitter : system.get_emitters()) EXPECT_EQ(emitter->get_parent(), &system);
    const ParticleEmitter& second = *system.get_emitters()[1];
    EXPECT_EQ(second.get_emission_rate(), 5.0f);
    EXPECT_EQ(second.get_emission_limit(), 9.0f);
    EXPECT_EQ(second.get_spread(), 0.25f);
    EXPECT_EQ(second.get_min_speed(), 6.0f);
    EXPECT_EQ(second.get_max_speed(), 7.0f);
}

TEST_F(ParticleSystemTest, EmissionLimitBoundsParticlesOverItsWholeLife) {
    auto system = make("emission_rate='10' emission_limit='5'");
    for (int frame = 0; frame < 1000; ++frame) system->on_update(0.1f);
    EXPECT_EQ(system->get_particle_count(), 5u);
    EXPECT_EQ(system->get_emitters()[0]->get_emitted(), 5u);
}

TEST_F(ParticleSystemTest, EmitsTheWholePartOfTheAccumulatedRate) {
    auto system = make("emission_rate='37'");
    float accumulator = 0.0f;
    for (int frame = 0; frame < 600; ++frame) {
        system->on_update(1.0f / 60.0f);
        accumulator += 37.0f * (1.0f / 60.0f);
        ASSERT_EQ(system->get_particle_count(), std::size_t(std::floor(accumulator))) << "frame " << frame;
    }
    EXPECT_NEAR(double(system->get_particle_count()), 370.0, 1.0);
}

TEST_F(ParticleSystemTest, EmitterWithoutParticleKindsCountsButMakesNothing) {
    ParticleDatabase::load_text("<P><ParticleSystemData id='e'><ParticleEmitterData emission_rate='10'/>"
                                "</ParticleSystemData></P>",
                                "");
    ParticleSystem system("e");
    system.on_update(1.0f);
    EXPECT_EQ(system.get_particle_count(), 0u);
    EXPECT_EQ(system.get_emitters()[0]->get_emitted(), 10u);
}

TEST_F(ParticleSystemTest, SpreadZeroEmitsAlongTheWorldHeading) {
    auto system = make("emission_rate='100' speed='50 50'");
    system->on_update(0.1f);
    ASSERT_EQ(system->get_particle_count(), 10u);
    for (std::size_t i = 0; i < 10; ++i) {
        const Particle& p = system->get_particle(0, i);
        EXPECT_EQ(p.velocity.x, 0.0f);
        EXPECT_EQ(p.velocity.y, -50.0f);  // up the screen at rotation 0
    }
    // Turned, the emitter fires along its world heading.
    auto turned = make("emission_rate='100' speed='50 50'");
    turned->set_rotation(0.5f);
    turned->on_update(0.1f);
    for (std::size_t i = 0; i < turned->get_particle_count(0); ++i)
        EXPECT_FLOAT_EQ(angle_of(turned->get_particle(0, i).velocity), 0.5f);
}

TEST_F(ParticleSystemTest, DirectionsAndSpeedsStayInTheirRangesForAnySeed) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        engine::core::seed_random(seed);
        auto system = make("emission_rate='1000' spread='0.6' speed='20 30'");
        system->set_rotation(-0.4f);
        system->on_update(0.1f);
        ASSERT_EQ(system->get_particle_count(), 100u);
        for (std::size_t i = 0; i < 100; ++i) {
            const Particle& p = system->get_particle(0, i);
            EXPECT_GE(p.speed, 20.0f);
            EXPECT_LT(p.speed, 30.0f);
            const float offset = angle_of(p.velocity) - (-0.4f);
            EXPECT_LE(std::fabs(offset), 0.6f + 1e-5f) << "seed " << seed;
            EXPECT_NEAR(std::hypot(p.velocity.x, p.velocity.y), p.speed, 1e-3);
        }
    }
}

TEST_F(ParticleSystemTest, SpreadOfHalfTurnOrMoreEmitsInEveryDirection) {
    int quadrants[4] = {0, 0, 0, 0};
    auto system = make("emission_rate='4000' spread='3.14159' speed='10 10'");
    system->on_update(0.1f);
    for (std::size_t i = 0; i < system->get_particle_count(0); ++i) {
        const Vector<float>& v = system->get_particle(0, i).velocity;
        ++quadrants[(v.x >= 0 ? 1 : 0) + (v.y >= 0 ? 2 : 0)];
    }
    for (int q : quadrants) EXPECT_GT(q, 50);
}

TEST_F(ParticleSystemTest, SpreadOfFloatPiEmitsInEveryDirection) {
    // 3.14159 is the bound, so pi itself (a larger float) is already "every direction":
    // particles leave downwards too, which a spread below the bound never does.
    auto system = make("emission_rate='2000' spread='3.1415927' speed='10 10'");
    system->on_update(0.1f);
    int downwards = 0;
    for (std::size_t i = 0; i < system->get_particle_count(0); ++i)
        if (system->get_particle(0, i).velocity.y > 9.0f) ++downwards;
    EXPECT_GT(downwards, 0);
}

TEST_F(ParticleSystemTest, NarrowSpreadBunchesTowardsTheHeading) {
    auto system = make("emission_rate='10000' spread='1.0' speed='10 10'");
    system->on_update(0.1f);
    int inner = 0;
    const std::size_t n = system->get_particle_count(0);
    for (std::size_t i = 0; i < n; ++i)
        if (std::fabs(angle_of(system->get_particle(0, i).velocity)) < 0.25f) ++inner;
    // A squared uniform falls within a quarter of the spread half the time (uniform: a quarter).
    EXPECT_GT(double(inner) / double(n), 0.4);
}

TEST_F(ParticleSystemTest, LifeComesFromTheDefinitionsRange) {
    auto fixed = make("emission_rate='100'", "life='2 2'");
    fixed->on_update(0.1f);
    for (std::size_t i = 0; i < fixed->get_particle_count(0); ++i) EXPECT_EQ(fixed->get_particle(0, i).life, 2.0f);
    auto ranged = make("emission_rate='100'", "life='1 3'");
    ranged->on_update(0.1f);
    for (std::size_t i = 0; i < ranged->get_particle_count(0); ++i) {
        EXPECT_GE(ranged->get_particle(0, i).life, 1.0f);
        EXPECT_LT(ranged->get_particle(0, i).life, 3.0f);
    }
}

TEST_F(ParticleSystemTest, ParticlesOfOneFrameSpreadAlongTheEmittersPath) {
    auto system = make("emission_rate='200' speed='0 0'");
    system->on_update(0.0001f);  // the first frame knows no earlier position
    const std::size_t before = system->get_particle_count();
    system->set_position({100.0f, 0.0f});
    system->on_update(0.5f);
    const std::size_t after = system->get_particle_count();
    ASSERT_EQ(after - before, 100u);
    float lowest = 1e9f, highest = -1e9f;
    for (std::size_t i = before; i < after; ++i) {
        const Particle& p = system->get_particle(0, i);
        EXPECT_GE(p.position.x, 0.0f);
        EXPECT_LE(p.position.x, 100.0f);
        EXPECT_EQ(p.position.y, 0.0f);
        lowest = std::min(lowest, p.position.x);
        highest = std::max(highest, p.position.x);
    }
    EXPECT_LT(lowest, 20.0f);
    EXPECT_GT(highest, 80.0f);
}

TEST_F(ParticleSystemTest, DeadParticleIsTransparentAndStaysCounted) {
    auto system = make("emission_rate='10' emission_limit='1' speed='5 5'", "life='0.5 0.5' size='3 3'");
    system->on_update(0.1f);
    ASSERT_EQ(system->get_particle_count(), 1u);
    for (int frame = 0; frame < 10; ++frame) system->on_update(0.1f);
    const Particle& p = system->get_particle(0, 0);
    EXPECT_LE(p.remaining, 0.0f);
    EXPECT_EQ(p.colour, Colour(0.0f, 0.0f, 0.0f, 0.0f));
    EXPECT_EQ(system->get_particle_count(), 1u);
    const float* v = system->get_vertices(0);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(system->get_vertex_count(0), 4u);
    for (int corner = 0; corner < 4; ++corner)
        for (int channel = 2; channel < 6; ++channel) EXPECT_EQ(v[corner * 8 + channel], 0.0f);
}

TEST_F(ParticleSystemTest, DeadParticlesAreNeverRecycled) {
    auto system = make("emission_rate='10'", "life='0.05 0.05'");
    for (int frame = 0; frame < 100; ++frame) system->on_update(0.1f);
    EXPECT_EQ(system->get_particle_count(), 100u);  // every one ever emitted, all dead but the newest
}

TEST_F(ParticleSystemTest, StepFallsUnderGravityAndFollowsTheCurves) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='c' gravity='0 10'><ParticleEmitterData emission_rate='1' emission_limit='1'>"
        "<ParticleData life='2 2' size='9 9'><SizeCurve><Keyframe key='0' value='1'/><Keyframe key='1' value='5'/>"
        "</SizeCurve><ColourCurve><Keyframe key='0' value='1 1 1 1'/><Keyframe key='1' value='0 0 0 0'/>"
        "</ColourCurve></ParticleData></ParticleEmitterData></ParticleSystemData></P>",
        "");
    ParticleSystem system("c");
    system.on_update(1.0f);  // emitted at some point of this frame, stepped by a random share of it
    ASSERT_EQ(system.get_particle_count(), 1u);
    Particle before = system.get_particle(0, 0);
    system.on_update(0.25f);
    const Particle& p = system.get_particle(0, 0);
    const float remaining = before.remaining - 0.25f;
    const float vy = before.velocity.y + 10.0f * 0.25f;
    EXPECT_EQ(p.remaining, remaining);
    EXPECT_EQ(p.velocity.y, vy);
    EXPECT_EQ(p.position.y, before.position.y + vy * 0.25f);
    const float t = 1.0f - remaining / 2.0f;
    EXPECT_EQ(p.size, 1.0f + (5.0f - 1.0f) * t);
    EXPECT_EQ(p.colour.a, 1.0f + (0.0f - 1.0f) * t);
}

TEST_F(ParticleSystemTest, WithoutCurvesSizeIsTheFirstValueAndColourTheDefinitions) {
    auto system = make("emission_rate='1' emission_limit='1'", "life='5 5' size='3 7'");
    system->on_update(1.0f);
    system->on_update(0.5f);
    EXPECT_EQ(system->get_particle(0, 0).size, 3.0f);
    EXPECT_EQ(system->get_particle(0, 0).colour, Colour());
}

TEST_F(ParticleSystemTest, WritesEachParticleAsAQuadOf32ByteVertices) {
    auto system = make("emission_rate='1' emission_limit='1'", "life='5 5' size='4 4'");
    system->on_update(1.0f);
    system->on_update(0.0f);
    const Particle& p = system->get_particle(0, 0);
    const float* v = system->get_vertices(0);
    ASSERT_EQ(system->get_vertex_count(0), 4u);
    const float expected[4][4] = {{p.position.x - 4, p.position.y - 4, 0, 0},
                                  {p.position.x + 4, p.position.y - 4, 1, 0},
                                  {p.position.x + 4, p.position.y + 4, 1, 1},
                                  {p.position.x - 4, p.position.y + 4, 0, 1}};
    for (int c = 0; c < 4; ++c) {
        EXPECT_EQ(v[c * 8 + 0], expected[c][0]);
        EXPECT_EQ(v[c * 8 + 1], expected[c][1]);
        EXPECT_EQ(v[c * 8 + 2], 1.0f);
        EXPECT_EQ(v[c * 8 + 5], 1.0f);
        EXPECT_EQ(v[c * 8 + 6], expected[c][2]);
        EXPECT_EQ(v[c * 8 + 7], expected[c][3]);
    }
}

TEST_F(ParticleSystemTest, PoolsGrowInBlocksAndKeepTheirRecordsInPlace) {
    auto system = make("emission_rate='5000'");
    system->on_update(1.0f);
    ASSERT_EQ(system->get_particle_count(0), 5000u);
    const Particle* first = &system->get_particle(0, 0);
    system->on_update(1.0f);
    EXPECT_EQ(system->get_particle_count(0), 10000u);
    EXPECT_EQ(&system->get_particle(0, 0), first);  // a new block, not a moved array
    EXPECT_EQ(system->get_vertex_count(0), 40000u);
}

TEST_F(ParticleSystemTest, OnePoolPerTextureInOrderOfFirstUse) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='m' gravity='0 0'>"
        "<ParticleEmitterData emission_rate='10'><ParticleData texture='b.png' life='9 9'/></ParticleEmitterData>"
        "<ParticleEmitterData emission_rate='10'><ParticleData texture='a.png' life='9 9'/>"
        "</ParticleEmitterData><ParticleEmitterData emission_rate='10'><ParticleData texture='b.png' life='9 9'/>"
        "</ParticleEmitterData></ParticleSystemData></P>",
        "t");
    ParticleSystem system("m");
    system.on_update(1.0f);
    ASSERT_EQ(system.get_pool_count(), 2u);
    EXPECT_EQ(system.get_pool_texture(0), "t/b.png");
    EXPECT_EQ(system.get_pool_texture(1), "t/a.png");
    EXPECT_EQ(system.get_particle_count(0), 20u);
    EXPECT_EQ(system.get_particle_count(1), 10u);
}

TEST_F(ParticleSystemTest, PicksParticleKindsByFrequencyWalkingInOrder) {
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='f' gravity='0 0'><ParticleEmitterData emission_rate='2000'>"
        "<ParticleData frequency='0.25' texture='x.png' life='9 9'/>"
        "<ParticleData frequency='0' texture='never.png' life='9 9'/>"
        "<ParticleData frequency='0' texture='rest.png' life='9 9'/>"
        "</ParticleEmitterData></ParticleSystemData></P>",
        "");
    ParticleSystem system("f");
    system.on_update(1.0f);
    // The middle kind is never taken (r < 0 never holds); the last takes what is left.
    ASSERT_EQ(system.get_pool_count(), 2u);
    const std::size_t x = system.get_pool_texture(0) == "x.png" ? 0 : 1;
    EXPECT_EQ(system.get_pool_texture(1 - x), "rest.png");
    EXPECT_NEAR(double(system.get_particle_count(x)) / 2000.0, 0.25, 0.05);
}

TEST_F(ParticleSystemTest, ScriptChangesToOneEmitterLeaveTheDefinitionAlone) {
    auto system = make("emission_rate='10'");
    ParticleSystem second("s");
    system->get_emitters()[0]->set_emission_rate(100.0f);
    EXPECT_EQ(second.get_emitters()[0]->get_emission_rate(), 10.0f);
}

TEST_F(ParticleSystemTest, LaterPoolsStartAtTheRunningVertexTotal) {
    // Two textures: the second pool's buffer is readable as far as the draw will read
    // (its own vertices, then transparent zeros), though its vertex count is its own.
    ParticleDatabase::load_text(
        "<P><ParticleSystemData id='two'><ParticleEmitterData emission_rate='3' emission_limit='3'>"
        "<ParticleData texture='a.png' life='9 9'/></ParticleEmitterData>"
        "<ParticleEmitterData emission_rate='2' emission_limit='2'><ParticleData texture='b.png' life='9 9'/>"
        "</ParticleEmitterData></ParticleSystemData></P>",
        "");
    ParticleSystem system("two");
    system.on_update(1.0f);
    ASSERT_EQ(system.get_vertex_count(0), 12u);
    ASSERT_EQ(system.get_vertex_count(1), 8u);
    const float* v = system.get_vertices(1);
    for (std::size_t i = 8 * 8; i < (12 + 8) * 8; ++i) ASSERT_EQ(v[i], 0.0f) << i;
}

// Frames the emitters cannot take at face value -------------------------------------------

namespace {

std::size_t warnings_about(const LogCapture& log, const char* text) {
    std::size_t n = 0;
    for (const auto& entry : log.entries())
        n += entry.level == engine::core::Log::Level::Warning && entry.message.find(text) != std::string::npos;
    return n;
}

constexpr std::size_t kCap = ParticleEmitter::kMaxEmittedPerUpdate;

}  // namespace

TEST_F(ParticleSystemTest, AnInfiniteRateMakesAtMostTheCapEachUpdateWithOneWarning) {
    auto system = make("emission_rate='inf'");
    system->on_update(1.0f / 60.0f);
    EXPECT_EQ(system->get_particle_count(), kCap);
    system->on_update(1.0f / 60.0f);
    EXPECT_EQ(system->get_particle_count(), 2 * kCap);
    EXPECT_EQ(warnings_about(log, "dropped the rest"), 1u);
}

TEST_F(ParticleSystemTest, AHugeRateMakesAtMostTheCapInOneUpdate) {
    auto system = make("emission_rate='1e12'");
    system->on_update(1.0f / 60.0f);
    EXPECT_EQ(system->get_particle_count(), kCap);
    EXPECT_EQ(system->get_emitters()[0]->get_emitted(), unsigned(kCap));
}

TEST_F(ParticleSystemTest, AFrameLongerThanEveryLifeMakesOnlyThoseOfItsLastLifetime) {
    auto system = make("emission_rate='200'", "life='1 2' size='2 2'");
    system->on_update(1e30f);
    EXPECT_EQ(system->get_particle_count(), 400u);  // 200 a second over the longest life, 2 s
    EXPECT_EQ(warnings_about(log, "dropped the rest"), 1u);
    system->on_update(1.0f);
    EXPECT_EQ(system->get_particle_count(), 600u);
}

TEST_F(ParticleSystemTest, AFrameOwingNoMoreThanTheCapKeepsEveryParticle) {
    // The cap changes nothing below it: dead particles of a long frame stay counted.
    auto system = make("emission_rate='200'", "life='1 2' size='2 2'");
    system->on_update(50.0f);
    EXPECT_EQ(system->get_particle_count(), 10000u);
    EXPECT_EQ(warnings_about(log, "dropped the rest"), 0u);
}

TEST_F(ParticleSystemTest, DroppedParticlesAreNotOwedLater) {
    auto system = make("emission_rate='inf'");
    system->on_update(1.0f / 60.0f);
    ParticleEmitter& emitter = *system->get_emitters()[0];
    emitter.set_emission_rate(10.0f);
    system->on_update(1.0f);
    EXPECT_EQ(system->get_particle_count(), kCap + 10);
    EXPECT_EQ(emitter.get_emitted(), unsigned(kCap + 10));
}

TEST_F(ParticleSystemTest, TheEmissionLimitHoldsAcrossCappedUpdates) {
    auto system = make("emission_rate='inf' emission_limit='20000'");
    system->on_update(1.0f / 60.0f);
    EXPECT_EQ(system->get_particle_count(), kCap);
    system->on_update(1.0f / 60.0f);
    system->on_update(1.0f / 60.0f);
    EXPECT_EQ(system->get_particle_count(), 20000u);
}

TEST_F(ParticleSystemTest, ABadDtIsIgnoredWithOneWarningAndEmissionGoesOn) {
    for (float bad : {std::nanf(""), INFINITY, -INFINITY, -1e9f}) {
        engine::core::test::LogCapture capture;
        auto system = make("emission_rate='100' speed='10 10'");
        system->on_update(0.1f);
        ASSERT_EQ(system->get_particle_count(), 10u);
        const Vector<float> moved = system->get_particle(0, 0).position;
        system->on_update(bad);
        EXPECT_EQ(system->get_particle_count(), 10u) << bad;
        EXPECT_EQ(system->get_particle(0, 0).position, moved) << bad;
        EXPECT_EQ(system->get_emitters()[0]->get_accumulator(), 10.0f) << bad;
        EXPECT_EQ(warnings_about(capture, "needs a finite time of 0 or more"), 1u) << bad;
        system->on_update(0.1f);
        EXPECT_EQ(system->get_particle_count(), 20u) << bad;
    }
}

TEST_F(ParticleSystemTest, ARateOfZeroOrLessOwesNothing) {
    auto system = make("emission_rate='-100'");
    system->on_update(1.0f);
    ParticleEmitter& emitter = *system->get_emitters()[0];
    EXPECT_EQ(emitter.get_accumulator(), 0.0f);
    emitter.set_emission_rate(std::nanf(""));
    system->on_update(1.0f);
    emitter.set_emission_rate(100.0f);
    system->on_update(0.1f);
    EXPECT_EQ(system->get_particle_count(), 10u);
}
