#include "engine/core/Log.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <unistd.h>

namespace Log = engine::core::Log;
using engine::core::test::LogCapture;
using Level = Log::Level;

TEST(Log, SinkReceivesLevelCategoryAndMessage) {
    LogCapture log;
    Log::info("graphics", "loaded %d textures", 3);
    Log::warning("window", "mode %dx%d not available", 640, 480);
    Log::error("core", "%s failed: %.2f", "step", 0.5);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].level, Level::Info);
    EXPECT_EQ(entries[0].category, "graphics");
    EXPECT_EQ(entries[0].message, "loaded 3 textures");
    EXPECT_EQ(entries[1].level, Level::Warning);
    EXPECT_EQ(entries[1].category, "window");
    EXPECT_EQ(entries[1].message, "mode 640x480 not available");
    EXPECT_EQ(entries[2].level, Level::Error);
    EXPECT_EQ(entries[2].category, "core");
    EXPECT_EQ(entries[2].message, "step failed: 0.50");
}

TEST(Log, LongMessagesArriveWhole) {
    LogCapture log;
    const std::string long_text(1000, 'x');
    Log::info("core", "<%s>", long_text.c_str());
    Log::warning("core", "%s%s", std::string(255, 'a').c_str(), "b");  // exactly 256 characters
    Log::error("core", "%0300d", 7);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].message, "<" + long_text + ">");
    EXPECT_EQ(entries[1].message, std::string(255, 'a') + "b");
    EXPECT_EQ(entries[2].message, std::string(299, '0') + "7");
}

TEST(Log, MessageWithoutArgumentsIsTakenLiterally) {
    LogCapture log;
    Log::info("core", "plain text");
    Log::info("core", "%s", "100% sure %d");
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].message, "plain text");
    EXPECT_EQ(entries[1].message, "100% sure %d");
}

TEST(Log, NullCategoryBecomesEmpty) {
    LogCapture log;
    Log::info(nullptr, "no category");
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_EQ(log.entries()[0].category, "");
}

TEST(Log, AnyThreadMayLogToTheSink) {
    LogCapture log;
    std::thread a([] {
        for (int i = 0; i < 100; ++i) Log::info("a", "message %d", i);
    });
    std::thread b([] {
        for (int i = 0; i < 100; ++i) Log::warning("b", "message %d", i);
    });
    a.join();
    b.join();
    const auto entries = log.entries();
    EXPECT_EQ(entries.size(), 200u);
    int from_a = 0;
    for (const auto& e : entries) from_a += e.category == "a";
    EXPECT_EQ(from_a, 100);
}

TEST(Log, EmptySinkRestoresStandardError) {
    { LogCapture log; }
    ::testing::internal::CaptureStderr();
    Log::warning("core", "to standard error");
    const std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(output.find("to standard error"), std::string::npos) << output;
    EXPECT_NE(output.find("engine.core"), std::string::npos) << output;
}
