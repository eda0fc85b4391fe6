#include "bridge/rawinputdriverbase.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "common/com/shared_state.h"
#include "common/utils/failure.h"
#include "standins/uv_thread.h"
#include "unit/support/log_recorder.h"
#include "unit/support/scripted_driver.h"

namespace zeb {
namespace {

using common::ComPtr;
using unit::ScriptedDriver;

constexpr RawInputDriver::PointerData kRecord{{{7, -2}, {100, 200}}, {2, 0, 1}};

bool operator==(const RawInputDriver::PointerData& a, const RawInputDriver::PointerData& b) {
    return a.motion.offset.x == b.motion.offset.x && a.motion.offset.y == b.motion.offset.y &&
           a.motion.screenPoint.x == b.motion.screenPoint.x && a.motion.screenPoint.y == b.motion.screenPoint.y &&
           a.buttons.left == b.buttons.left && a.buttons.middle == b.buttons.middle &&
           a.buttons.right == b.buttons.right;
}

std::unique_ptr<RawInputDriver::Handler> makeHandler(std::function<void(RawInputDriver::PointerData)> call,
                                                     std::shared_ptr<void> alive = {}) {
    return common::makeFunctor<RawInputDriver::Handler>(
        [call = std::move(call), alive = std::move(alive)](RawInputDriver::PointerData record) { call(record); });
}

std::unique_ptr<RawInputDriver::Handler> ignoringHandler(std::shared_ptr<void> alive = {}) {
    return makeHandler([](RawInputDriver::PointerData) {}, std::move(alive));
}

class RawInputDriverBaseTest : public testing::Test {
protected:
    ~RawInputDriverBaseTest() override {
        standins::failThreadCreation(false);
        driver.reset();
        EXPECT_EQ(standins::unjoinedThreads(), 0);
    }

    unit::LogRecorder log;
    ComPtr<ScriptedDriver> driver = common::makeInstance<ScriptedDriver, common::ConcurrentRC>();
};

TEST(PointerRecords, keepTheirLayout) {
    EXPECT_EQ(sizeof(Point), 8u);
    EXPECT_EQ(offsetof(Point, x), 0u);
    EXPECT_EQ(offsetof(Point, y), 4u);
    EXPECT_EQ(sizeof(MotionEventData), 16u);
    EXPECT_EQ(offsetof(MotionEventData, offset), 0u);
    EXPECT_EQ(offsetof(MotionEventData, screenPoint), 8u);
    EXPECT_EQ(sizeof(ButtonsEventData), 12u);
    EXPECT_EQ(offsetof(ButtonsEventData, left), 0u);
    EXPECT_EQ(offsetof(ButtonsEventData, middle), 4u);
    EXPECT_EQ(offsetof(ButtonsEventData, right), 8u);
    EXPECT_EQ(sizeof(RawInputDriver::PointerData), 28u);
    EXPECT_EQ(offsetof(RawInputDriver::PointerData, motion), 0u);
    EXPECT_EQ(offsetof(RawInputDriver::PointerData, buttons), 16u);
    static_assert(std::is_trivially_copyable_v<RawInputDriver::PointerData>);
}

TEST(PointerRecords, transitionsAreNumbersThatScriptSees) {
    EXPECT_EQ(static_cast<int>(ButtonTransition::unchanged), 0);
    EXPECT_EQ(static_cast<int>(ButtonTransition::released), 1);
    EXPECT_EQ(static_cast<int>(ButtonTransition::pressed), 2);
}

TEST_F(RawInputDriverBaseTest, startsIdle) {
    EXPECT_FALSE(driver->isPointerCaptured());
    EXPECT_EQ(standins::unjoinedThreads(), 0);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(RawInputDriverBaseTest, aCaptureRunsTheInputLoopOnAThreadOfItsOwn) {
    driver->capturePointer(ignoringHandler());
    EXPECT_TRUE(driver->isPointerCaptured());
    driver->waitForRuns(1);
    EXPECT_NE(driver->m_inputThreadId, std::this_thread::get_id());
    EXPECT_EQ(standins::unjoinedThreads(), 1);
    EXPECT_TRUE(log.records().empty());
    driver->releasePointerCapture();
    EXPECT_EQ(standins::unjoinedThreads(), 0);
    EXPECT_EQ(driver->m_runs, 1);
}

TEST_F(RawInputDriverBaseTest, recordsReachTheHandlerInOrderOnTheInputThread) {
    std::vector<RawInputDriver::PointerData> seen;
    std::thread::id handledOn;
    driver->capturePointer(makeHandler([&](RawInputDriver::PointerData record) {
        handledOn = std::this_thread::get_id();
        seen.push_back(record);
    }));
    RawInputDriver::PointerData second = kRecord;
    second.motion.offset.x = 8;
    driver->onInputThread([&] {
        driver->dispatchPointerData(kRecord);
        driver->dispatchPointerData(second);
    });
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_TRUE(seen[0] == kRecord);
    EXPECT_TRUE(seen[1] == second);
    EXPECT_EQ(handledOn, driver->m_inputThreadId);
}

TEST_F(RawInputDriverBaseTest, theHandlerGetsACopy) {
    driver->capturePointer(makeHandler([](RawInputDriver::PointerData record) { record.motion.offset.x = 99; }));
    RawInputDriver::PointerData record = kRecord;
    driver->onInputThread([&] { driver->dispatchPointerData(record); });
    EXPECT_TRUE(record == kRecord);
}

TEST_F(RawInputDriverBaseTest, aRecordOfNothingIsDispatchedAsWell) {
    int seen = 0;
    driver->capturePointer(makeHandler([&](RawInputDriver::PointerData) { ++seen; }));
    driver->onInputThread([&] { driver->dispatchPointerData({}); });
    EXPECT_EQ(seen, 1);
}

TEST_F(RawInputDriverBaseTest, withoutAHandlerRecordsAreDropped) { driver->dispatchPointerData(kRecord); }

TEST_F(RawInputDriverBaseTest, capturingTwiceThrowsAndKeepsTheFirst) {
    int first = 0;
    const auto firstAlive = std::make_shared<int>(0);
    const auto secondAlive = std::make_shared<int>(0);
    driver->capturePointer(makeHandler([&](RawInputDriver::PointerData) { ++first; }, firstAlive));
    try {
        driver->capturePointer(ignoringHandler(secondAlive));
        ADD_FAILURE() << "nothing thrown";
    } catch (const common::common_internal::DefaultException& failure) {
        EXPECT_STREQ(failure.what(), "Pointer already captured.");
        EXPECT_STREQ(failure.fullText(), "src_native/bridge/rawinputdriverbase(19):Pointer already captured.");
        EXPECT_EQ(failure.location().function, "zeb::RawInputDriverBase::capturePointer");
        EXPECT_EQ(failure.location().file, "src_native/bridge/rawinputdriverbase");
        EXPECT_EQ(failure.location().line, 19u);
        EXPECT_EQ(failure.code(), 0u);
    }
    EXPECT_EQ(secondAlive.use_count(), 1);
    EXPECT_EQ(firstAlive.use_count(), 2);
    EXPECT_TRUE(driver->isPointerCaptured());
    driver->onInputThread([&] { driver->dispatchPointerData(kRecord); });  // the lock was released
    EXPECT_EQ(first, 1);
    EXPECT_EQ(driver->m_runs, 1);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(RawInputDriverBaseTest, releasingDropsTheHandlerThenInterruptsJoinsAndLogs) {
    const auto alive = std::make_shared<int>(0);
    driver->capturePointer(ignoringHandler(alive));
    driver->waitForRuns(1);
    std::vector<std::string> order;
    driver->m_onInterrupt = [&] {
        order.push_back("handlers " + std::to_string(alive.use_count() - 1));
        order.push_back("captured " + std::to_string(driver->isPointerCaptured()));
        order.push_back("threads " + std::to_string(standins::unjoinedThreads()));
        order.push_back("records " + std::to_string(log.records().size()));
    };
    driver->releasePointerCapture();
    EXPECT_EQ(order, (std::vector<std::string>{"handlers 0", "captured 0", "threads 1", "records 0"}));
    EXPECT_EQ(standins::unjoinedThreads(), 0);
    EXPECT_FALSE(driver->isPointerCaptured());
    ASSERT_EQ(log.records().size(), 1u);
    const unit::LogRecord record = log.records()[0];
    EXPECT_EQ(record.level, 0);
    EXPECT_EQ(record.message, "Pointer capture released");
    EXPECT_EQ(record.function, "zeb::RawInputDriverBase::releasePointerCapture");
    EXPECT_EQ(record.file, "src_native/bridge/rawinputdriverbase");
    EXPECT_EQ(record.line, 49u);
}

TEST_F(RawInputDriverBaseTest, theInterruptNamesTheInputThread) {
    driver->capturePointer(ignoringHandler());
    driver->waitForRuns(1);
    driver->releasePointerCapture();
    ASSERT_EQ(driver->m_interrupted.size(), 1u);
    EXPECT_NE(driver->m_interrupted[0], uv_thread_t{});
}

TEST_F(RawInputDriverBaseTest, releasingWithoutACaptureDoesNothing) {
    const int joins = standins::joinCalls();
    driver->releasePointerCapture();
    driver->releasePointerCapture();
    EXPECT_TRUE(log.records().empty());
    EXPECT_TRUE(driver->m_interrupted.empty());
    EXPECT_EQ(standins::joinCalls(), joins);
}

TEST_F(RawInputDriverBaseTest, aSecondReleaseIsHarmless) {
    driver->capturePointer(ignoringHandler());
    driver->releasePointerCapture();
    driver->releasePointerCapture();
    EXPECT_EQ(log.records().size(), 1u);
    EXPECT_EQ(driver->m_interrupted.size(), 1u);
}

TEST_F(RawInputDriverBaseTest, eachCaptureHasAThreadAndOneLogRecordOfItsOwn) {
    int seen = 0;
    for (int turn = 1; turn <= 3; ++turn) {
        driver->capturePointer(makeHandler([&](RawInputDriver::PointerData) { ++seen; }));
        driver->waitForRuns(turn);
        driver->onInputThread([&] { driver->dispatchPointerData(kRecord); });
        driver->releasePointerCapture();
        EXPECT_EQ(seen, turn);
        EXPECT_EQ(log.records().size(), static_cast<std::size_t>(turn));
        EXPECT_FALSE(driver->isPointerCaptured());
    }
    EXPECT_EQ(driver->m_runs, 3);
}

TEST_F(RawInputDriverBaseTest, aRecordBetweenTheHandlersEndAndTheThreadsIsDropped) {
    int seen = 0;
    driver->capturePointer(makeHandler([&](RawInputDriver::PointerData) { ++seen; }));
    driver->onInputThread([&] { driver->dispatchPointerData(kRecord); });
    bool dispatched = false;
    driver->m_onInterrupt = [&] {
        driver->onInputThread([&] {
            driver->dispatchPointerData(kRecord);
            dispatched = true;
        });
    };
    driver->releasePointerCapture();
    EXPECT_TRUE(dispatched);
    EXPECT_EQ(seen, 1);
}

TEST_F(RawInputDriverBaseTest, anInputLoopThatReturnsByItselfLeavesTheCaptureUntilItIsReleased) {
    driver->m_returnsByItself = true;
    driver->capturePointer(ignoringHandler());
    driver->waitForRuns(1);
    EXPECT_TRUE(driver->isPointerCaptured());
    EXPECT_THROW(driver->capturePointer(ignoringHandler()), common::Exception);
    EXPECT_TRUE(log.records().empty());
    driver->releasePointerCapture();
    EXPECT_FALSE(driver->isPointerCaptured());
    EXPECT_EQ(driver->m_interrupted.size(), 1u);
    EXPECT_EQ(standins::unjoinedThreads(), 0);
    EXPECT_EQ(log.records().size(), 1u);
}

TEST_F(RawInputDriverBaseTest, aThreadThatCannotStartLeavesACaptureWithoutRecords) {
    const auto alive = std::make_shared<int>(0);
    driver->capturePointer(ignoringHandler());  // must not be mistaken for the next one's thread
    driver->releasePointerCapture();
    standins::failThreadCreation(true);
    driver->capturePointer(ignoringHandler(alive));
    EXPECT_TRUE(driver->isPointerCaptured());
    EXPECT_EQ(alive.use_count(), 2);
    EXPECT_EQ(log.records().size(), 1u);
    const int joins = standins::joinCalls();
    driver->releasePointerCapture();
    EXPECT_EQ(standins::joinCalls(), joins);  // there is nobody to wait for
    EXPECT_EQ(alive.use_count(), 1);
    EXPECT_FALSE(driver->isPointerCaptured());
    ASSERT_EQ(driver->m_interrupted.size(), 2u);
    EXPECT_EQ(driver->m_interrupted[1], uv_thread_t{});
    EXPECT_EQ(log.records().size(), 2u);
}

TEST_F(RawInputDriverBaseTest, afterAFailedStartTheNextCaptureRuns) {
    standins::failThreadCreation(true);
    driver->capturePointer(ignoringHandler());
    driver->releasePointerCapture();
    standins::failThreadCreation(false);
    driver->m_stops = 0;
    int seen = 0;
    driver->capturePointer(makeHandler([&](RawInputDriver::PointerData) { ++seen; }));
    driver->onInputThread([&] { driver->dispatchPointerData(kRecord); });
    EXPECT_EQ(seen, 1);
}

TEST_F(RawInputDriverBaseTest, theEndOfADriverReleasesItsCapture) {
    const auto alive = std::make_shared<int>(0);
    driver->capturePointer(ignoringHandler(alive));
    driver->waitForRuns(1);
    driver.reset();
    EXPECT_EQ(alive.use_count(), 1);
    EXPECT_EQ(standins::unjoinedThreads(), 0);
    ASSERT_EQ(log.records().size(), 1u);
    EXPECT_EQ(log.records()[0].message, "Pointer capture released");
}

TEST_F(RawInputDriverBaseTest, theEndOfAnIdleDriverLogsNothing) {
    driver.reset();
    EXPECT_TRUE(log.records().empty());
}

TEST_F(RawInputDriverBaseTest, theHandlerRunsUnderTheDriversLock) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};
    driver->capturePointer(makeHandler([&](RawInputDriver::PointerData) {
        entered.set_value();
        mayLeave.get_future().wait();
        left = true;
    }));
    driver->postToInputThread([&] { driver->dispatchPointerData(kRecord); });
    entered.get_future().wait();
    bool leftBeforeAnswer = false;
    std::atomic<bool> answered{false};
    std::thread asking([&] {
        EXPECT_TRUE(driver->isPointerCaptured());
        leftBeforeAnswer = left;
        answered = true;
    });
    for (int turn = 0; turn < 1000; ++turn) std::this_thread::yield();
    EXPECT_FALSE(answered);
    mayLeave.set_value();
    asking.join();
    EXPECT_TRUE(leftBeforeAnswer);
}

TEST_F(RawInputDriverBaseTest, theThreadIsJoinedWithoutTheLock) {
    driver->capturePointer(ignoringHandler());
    driver->waitForRuns(1);
    bool answered = false;
    // Runs on the input thread while the script thread waits for that thread to end, or is about to.
    driver->m_onInterrupt = [&] {
        driver->postToInputThread([&] {
            std::thread other([&] { answered = !driver->isPointerCaptured(); });
            other.join();
            driver->dispatchPointerData(kRecord);
        });
    };
    driver->releasePointerCapture();
    EXPECT_TRUE(answered);
}

TEST_F(RawInputDriverBaseTest, noCallOfTheHandlerFollowsARelease) {
    for (int turn = 1; turn <= 50; ++turn) {
        std::atomic<bool> released{false};
        std::atomic<bool> calledLate{false};
        std::atomic<int> calls{0};
        std::atomic<bool> stop{false};
        driver->capturePointer(makeHandler([&](RawInputDriver::PointerData) {
            ++calls;
            if (released) calledLate = true;
        }));
        driver->postToInputThread([&] {
            while (!stop) driver->dispatchPointerData(kRecord);
        });
        while (calls == 0) std::this_thread::yield();
        driver->m_onInterrupt = [&] {
            released = true;
            stop = true;
        };
        driver->releasePointerCapture();
        EXPECT_FALSE(calledLate);
    }
}

TEST_F(RawInputDriverBaseTest, immediateStopsAreNotLost) {
    for (int turn = 0; turn < 300; ++turn) {
        driver->capturePointer(ignoringHandler());
        driver->releasePointerCapture();
    }
    EXPECT_EQ(driver->m_runs, 300);
    EXPECT_EQ(log.records().size(), 300u);
}

using RawInputDriverBaseDeathTest = RawInputDriverBaseTest;

TEST_F(RawInputDriverBaseDeathTest, anExceptionThatLeavesTheInputLoopEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            driver->capturePointer(ignoringHandler());
            driver->postToInputThread([] {
                std::set_terminate([] {  // one per thread on Windows
                    std::fputs("terminate was called\n", stderr);
                    std::abort();
                });
                throw std::runtime_error("boom");
            });
            driver->releasePointerCapture();
        },
        "terminate was called");
}

}  // namespace
}  // namespace zeb
