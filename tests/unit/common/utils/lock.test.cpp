#include "common/utils/lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using common::Lock;
using common::LockGuard;

struct Counter {
    Lock lock;
    int count ZEB_GUARDED_BY(lock) = 0;
};

TEST(Lock, letsOneThreadInAtATime) {
    Counter counter;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 10000; ++turn) {
                const LockGuard guard(counter.lock);
                ++counter.count;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const LockGuard guard(counter.lock);
    EXPECT_EQ(counter.count, 40000);
}

TEST(Lock, holdsOthersBackUntilItIsLeft) {
    Lock lock;
    std::atomic<bool> left{false};
    std::atomic<bool> started{false};
    bool leftBeforeEntry = false;
    lock.enter();
    std::thread other([&] {
        started = true;
        const LockGuard guard(lock);
        leftBeforeEntry = left;
    });
    while (!started) std::this_thread::yield();
    for (int turn = 0; turn < 1000; ++turn) std::this_thread::yield();
    left = true;
    lock.leave();
    other.join();
    EXPECT_TRUE(leftBeforeEntry);
}

void enter(Lock& lock, int& entries) {
    const LockGuard guard(lock);
    ++entries;
}

void enterTwice(Lock& lock, int& entries) {
    const LockGuard guard(lock);
    ++entries;
    enter(lock, entries);
}

TEST(Lock, isRecursive) {
    Lock lock;
    int entries = 0;
    enterTwice(lock, entries);
    EXPECT_EQ(entries, 2);
    std::thread other([&] { enter(lock, entries); });
    other.join();
    EXPECT_EQ(entries, 3);
}

}  // namespace
