#include "engine/core/Thread.h"

#include "engine/core/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

using engine::core::Mutex;
using engine::core::MutexLock;
using engine::core::Thread;

namespace {

// A one-way signal between threads: wait() returns once set() has been called.
class Signal {
public:
    void set() {
        {
            std::lock_guard<std::mutex> hold(mutex_);
            set_ = true;
        }
        changed_.notify_all();
    }
    void wait() {
        std::unique_lock<std::mutex> hold(mutex_);
        changed_.wait(hold, [this] { return set_; });
    }
    void reset() {
        std::lock_guard<std::mutex> hold(mutex_);
        set_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool set_ = false;  // guarded by mutex_
};

// Thread runs plain functions, so the tests talk to them through globals.
std::atomic<int> g_runs{0};
Signal g_started;  // the function is running
Signal g_release;  // the function may return
std::atomic<bool> g_finished{false};

void count_run() { ++g_runs; }

void wait_for_release() {
    g_started.set();
    g_release.wait();
    g_finished = true;
}

void reset_signals() {
    g_started.reset();
    g_release.reset();
    g_finished = false;
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
std::atomic<bool> g_released{false};     // the test thread is about to release g_mutex
std::atomic<bool> g_saw_release{false};  // g_released, as the thread saw it once it held g_mutex

void acquire_and_mark() {
    g_started.set();
    MutexLock lock(g_mutex);
    g_saw_release = g_released.load();
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
    reset_signals();
    Thread thread(wait_for_release);
    ASSERT_TRUE(thread.start());
    g_started.wait();
    EXPECT_TRUE(thread.is_running());
    EXPECT_FALSE(thread.start());
    g_release.set();
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
    reset_signals();
    std::atomic<bool> leaving{false};
    // Lets the function return only once this thread is leaving the Thread's scope, so
    // the function is still running when the destructor starts.
    std::thread releaser([&leaving] {
        while (!leaving) std::this_thread::yield();
        g_release.set();
    });
    {
        Thread thread(wait_for_release);
        if (thread.start()) {
            g_started.wait();
            EXPECT_FALSE(g_finished);
        } else {
            ADD_FAILURE() << "the thread did not start";
        }
        leaving = true;
    }
    EXPECT_TRUE(g_finished);
    releaser.join();
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
    reset_signals();
    g_acquired = false;
    g_released = false;
    g_saw_release = false;
    g_mutex.acquire();
    Thread thread(acquire_and_mark);
    ASSERT_TRUE(thread.start());
    g_started.wait();  // the thread is on its way into acquire()
    EXPECT_FALSE(g_acquired);
    g_released = true;
    g_mutex.release();
    thread.join();
    EXPECT_TRUE(g_acquired);
    EXPECT_TRUE(g_saw_release);  // it held the lock only after this thread let go
}

TEST(Mutex, LockReleasesAtTheEndOfItsScope) {
    { MutexLock lock(g_mutex); }
    reset_signals();
    g_acquired = false;
    Thread thread(acquire_and_mark);
    ASSERT_TRUE(thread.start());
    thread.join();
    EXPECT_TRUE(g_acquired);
}
