#include "engine/core/Thread.h"

#include "engine/core/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using engine::core::Mutex;
using engine::core::MutexLock;
using engine::core::Thread;

namespace {

// Thread runs plain functions, so the tests talk to them through globals.
std::atomic<int> g_runs{0};
std::atomic<bool> g_release{false};
std::atomic<bool> g_finished{false};

void count_run() { ++g_runs; }

void wait_for_release() {
    while (!g_release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    g_finished = true;
}

void sleep_then_finish() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    g_finished = true;
}

Mutex g_mutex;
long g_counter = 0;  // guarded by g_mutex
constexpr int kIncrements = 100000;

void increment_under_lock() {
    for (int i = 0; i < kIncrements; ++i) {
        MutexLock lock(g_mutex);
        ++g_counter;
    }
}

std::atomic<bool> g_acquired{false};

void acquire_and_mark() {
    MutexLock lock(g_mutex);
    g_acquired = true;
}

}  // namespace

TEST(Thread, RunsTheFunction) {
    g_runs = 0;
    Thread thread(count_run);
    EXPECT_FALSE(thread.is_running());
    ASSERT_TRUE(thread.start());
    thread.join();
    EXPECT_EQ(g_runs, 1);
    EXPECT_FALSE(thread.is_running());
}

TEST(Thread, StartingTwiceReturnsFalse) {
    g_release = false;
    g_finished = false;
    Thread thread(wait_for_release);
    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.is_running());
    EXPECT_FALSE(thread.start());
    g_release = true;
    thread.join();
    EXPECT_TRUE(g_finished);
}

TEST(Thread, CanBeStartedAgainAfterJoin) {
    g_runs = 0;
    Thread thread(count_run);
    ASSERT_TRUE(thread.start());
    thread.join();
    ASSERT_TRUE(thread.start());
    thread.join();
    EXPECT_EQ(g_runs, 2);
}

TEST(Thread, NullFunctionDoesNotStart) {
    Thread thread(nullptr);
    EXPECT_FALSE(thread.start());
    EXPECT_FALSE(thread.is_running());
}

TEST(Thread, JoinWithoutStartDoesNothing) {
    Thread thread(count_run);
    thread.join();
    EXPECT_FALSE(thread.is_running());
}

TEST(Thread, DestructorWaitsForTheFunction) {
    g_finished = false;
    {
        Thread thread(sleep_then_finish);
        ASSERT_TRUE(thread.start());
    }
    EXPECT_TRUE(g_finished);
}

TEST(Mutex, ExcludesOtherThreads) {
    g_counter = 0;
    Thread a(increment_under_lock), b(increment_under_lock), c(increment_under_lock);
    ASSERT_TRUE(a.start());
    ASSERT_TRUE(b.start());
    ASSERT_TRUE(c.start());
    a.join();
    b.join();
    c.join();
    EXPECT_EQ(g_counter, 3L * kIncrements);
}

TEST(Mutex, AcquireBlocksUntilReleased) {
    g_acquired = false;
    g_mutex.acquire();
    Thread thread(acquire_and_mark);
    ASSERT_TRUE(thread.start());
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(g_acquired);
    g_mutex.release();
    thread.join();
    EXPECT_TRUE(g_acquired);
}

TEST(Mutex, LockReleasesAtTheEndOfItsScope) {
    { MutexLock lock(g_mutex); }
    g_acquired = false;
    Thread thread(acquire_and_mark);
    ASSERT_TRUE(thread.start());
    thread.join();
    EXPECT_TRUE(g_acquired);
}
