#include "common/utils/log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <future>
#include <thread>
#include <type_traits>
#include <vector>

#include "common/utils/format.h"
#include "common/utils/platform_services.h"
#include "unit/support/log_recorder.h"
#include "unit/support/other_thread.h"

namespace {

using common::SourceLocation;
using common::diagnostics::Log;
using common::diagnostics::LogContext;

constexpr SourceLocation kSite{"zeb::Thing::run", "src_native/bridge/thing", 12};

void write(const std::string& message) { Log::write(Log::Level::information, kSite, message); }

std::unique_ptr<Log::Handler> makeHandler(std::function<void(const char*)> call, std::shared_ptr<void> alive = {}) {
    return common::makeFunctor<Log::Handler>(
        [call = std::move(call), alive = std::move(alive)](Log::Level, const LogContext&, const char* message) {
            call(message);
        });
}

/// Every test ends without a handler.
class LogTest : public testing::Test {
protected:
    ~LogTest() override { Log::setHandler(nullptr); }
};

TEST_F(LogTest, theLevelsAreNumbersThatScriptSees) {
    EXPECT_EQ(static_cast<int>(Log::Level::information), 0);
    EXPECT_EQ(static_cast<int>(Log::Level::warning), 1);
    EXPECT_EQ(static_cast<int>(Log::Level::error), 2);
}

TEST_F(LogTest, theContextsFieldsKeepTheirOrder) {
    static_assert(std::is_standard_layout_v<LogContext>);
    EXPECT_EQ(offsetof(LogContext, timeStamp), 0u);
    EXPECT_LT(offsetof(LogContext, timeStamp), offsetof(LogContext, function));
    EXPECT_LT(offsetof(LogContext, function), offsetof(LogContext, file));
    EXPECT_LT(offsetof(LogContext, file), offsetof(LogContext, line));
}

TEST_F(LogTest, withoutAHandlerARecordIsDropped) {
    write("nobody hears this, and it is long enough to need memory of its own");
    int heard = 0;
    Log::setHandler(makeHandler([&](const char*) { ++heard; }));
    EXPECT_EQ(heard, 0);
}

TEST_F(LogTest, theHandlerGetsTheRecord) {
    const unit::LogRecorder recorder;
    Log::write(Log::Level::error, kSite, "It failed");
    ASSERT_EQ(recorder.records().size(), 1u);
    const unit::LogRecord record = recorder.records()[0];
    EXPECT_EQ(record.level, 2);
    EXPECT_EQ(record.function, "zeb::Thing::run");
    EXPECT_EQ(record.file, "src_native/bridge/thing");
    EXPECT_EQ(record.line, 12u);
    EXPECT_EQ(record.message, "It failed");
}

TEST_F(LogTest, theLineIsAbsentWhenTheWriterGaveNone) {
    const unit::LogRecorder recorder;
    Log::write(Log::Level::information, SourceLocation{"f", "g", std::nullopt}, "text");
    EXPECT_FALSE(recorder.records().at(0).line.has_value());
}

TEST_F(LogTest, theTimeStampIsTheMomentOfWriting) {
    const unit::LogRecorder recorder;
    const std::int64_t before = common::platform::systemTimeTicks();
    write("text");
    const std::int64_t after = common::platform::systemTimeTicks();
    EXPECT_GE(recorder.records().at(0).timeStamp, before);
    EXPECT_LE(recorder.records().at(0).timeStamp, after);
}

TEST_F(LogTest, aGivenContextIsPassedAsItIs) {
    const unit::LogRecorder recorder;
    Log::write(Log::Level::warning, LogContext{-7, "f", "g", 0}, "text");
    const unit::LogRecord record = recorder.records().at(0);
    EXPECT_EQ(record.level, 1);
    EXPECT_EQ(record.timeStamp, -7);
    EXPECT_EQ(record.line, 0u);
}

TEST_F(LogTest, messagesArriveInOrder) {
    const unit::LogRecorder recorder;
    write("");
    write("second");
    write("third\n");
    ASSERT_EQ(recorder.records().size(), 3u);
    EXPECT_EQ(recorder.records()[0].message, "");
    EXPECT_EQ(recorder.records()[1].message, "second");
    EXPECT_EQ(recorder.records()[2].message, "third\n");
}

TEST_F(LogTest, wideTextInAMessageIsNeverConverted) {
    const unit::LogRecorder recorder;
    write(common::format("channel: {0}", std::wstring(L"System")));
    EXPECT_EQ(recorder.records().at(0).message, "channel: UTF16->UTF8:NOT-CONVERTED");
}

TEST_F(LogTest, replacingAHandlerDestroysItOnce) {
    const auto alive = std::make_shared<int>(0);
    std::vector<std::string> heard;
    Log::setHandler(makeHandler([&](const char* message) { heard.push_back(std::string("1:") + message); }, alive));
    EXPECT_EQ(alive.use_count(), 2);
    write("a");
    Log::setHandler(makeHandler([&](const char* message) { heard.push_back(std::string("2:") + message); }));
    EXPECT_EQ(alive.use_count(), 1);
    write("b");
    EXPECT_EQ(heard, (std::vector<std::string>{"1:a", "2:b"}));
}

TEST_F(LogTest, installingNoneRemovesTheHandler) {
    const auto alive = std::make_shared<int>(0);
    int heard = 0;
    Log::setHandler(makeHandler([&](const char*) { ++heard; }, alive));
    Log::setHandler(nullptr);
    EXPECT_EQ(alive.use_count(), 1);
    write("text");
    EXPECT_EQ(heard, 0);
    Log::setHandler(nullptr);
}

TEST_F(LogTest, aHandlerMayWriteRecords) {
    std::vector<std::string> heard;
    Log::setHandler(makeHandler([&](const char* message) {
        heard.emplace_back(message);
        if (heard.size() < 3) write(std::string(message) + "'");
    }));
    write("a");
    EXPECT_EQ(heard, (std::vector<std::string>{"a", "a'", "a''"}));
}

TEST_F(LogTest, aHandlerThatReplacesItselfEndsWhenItsCallReturns) {
    const auto alive = std::make_shared<int>(0);
    std::vector<std::string> heard;
    long aliveInside = 0;
    Log::setHandler(makeHandler(
        [&](const char* message) {
            heard.push_back(std::string("1:") + message);
            Log::setHandler(makeHandler([&](const char* later) { heard.push_back(std::string("2:") + later); }));
            aliveInside = alive.use_count();
            write("inside");
        },
        alive));
    write("a");
    EXPECT_EQ(aliveInside, 2);
    EXPECT_EQ(alive.use_count(), 1);
    write("b");
    EXPECT_EQ(heard, (std::vector<std::string>{"1:a", "2:inside", "2:b"}));
}

TEST_F(LogTest, aHandlerThatRemovesItselfEndsWhenItsCallReturns) {
    const auto alive = std::make_shared<int>(0);
    int heard = 0;
    Log::setHandler(makeHandler(
        [&](const char*) {
            ++heard;
            Log::setHandler(nullptr);
        },
        alive));
    write("a");
    write("b");
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(LogTest, aHandlerReplacedByANestedCallEndsWithItsOutermostOne) {
    const auto alive = std::make_shared<int>(0);
    int depth = 0;
    long aliveAfterNestedCall = 0;
    Log::setHandler(makeHandler(
        [&](const char*) {
            if (++depth == 2) {
                Log::setHandler(nullptr);
                return;
            }
            write("nested");
            aliveAfterNestedCall = alive.use_count();
        },
        alive));
    write("a");
    EXPECT_EQ(depth, 2);
    EXPECT_EQ(aliveAfterNestedCall, 2);
    EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(LogTest, aHandlerReplacedTwiceFromInsideItselfEndsBothOnTime) {
    const auto first = std::make_shared<int>(0);
    const auto second = std::make_shared<int>(0);
    Log::setHandler(makeHandler(
        [&](const char*) {
            Log::setHandler(makeHandler([](const char*) {}, second));
            EXPECT_EQ(second.use_count(), 2);
            Log::setHandler(nullptr);
            EXPECT_EQ(second.use_count(), 1);
            EXPECT_EQ(first.use_count(), 2);
        },
        first));
    write("a");
    EXPECT_EQ(first.use_count(), 1);
}

TEST_F(LogTest, theHandlerRunsOnTheWritersThread) {
    std::thread::id heardOn;
    Log::setHandler(makeHandler([&](const char*) { heardOn = std::this_thread::get_id(); }));
    std::thread::id wroteOn;
    std::thread writer([&] {
        wroteOn = std::this_thread::get_id();
        write("a");
    });
    writer.join();
    EXPECT_EQ(heardOn, wroteOn);
}

TEST_F(LogTest, theHandlerMayRunOnTwoThreadsAtOnce) {
    std::vector<std::string> heard;
    unit::OtherThread other;
    Log::setHandler(makeHandler([&](const char* message) {
        heard.emplace_back(message);
        if (heard.size() == 1) EXPECT_TRUE(other.ends([] { write("second"); }));
    }));
    write("first");
    EXPECT_EQ(heard, (std::vector<std::string>{"first", "second"}));
}

TEST_F(LogTest, nobodyWaitsForAHandlerThatRunsOnAnotherThread) {
    const auto first = std::make_shared<int>(0);
    const auto second = std::make_shared<int>(0);
    unit::OtherThread other;
    Log::setHandler(makeHandler(
        [&](const char*) {
            EXPECT_TRUE(other.ends([&] { Log::setHandler(makeHandler([](const char*) {}, second)); }));
            EXPECT_TRUE(other.ends([] { write("to the second"); }));
            EXPECT_TRUE(other.ends([] { Log::setHandler(nullptr); }));
            EXPECT_EQ(first.use_count(), 2);
            EXPECT_EQ(second.use_count(), 1);
        },
        first));
    write("to the first");
    EXPECT_EQ(first.use_count(), 1);
}

TEST_F(LogTest, aReplacedHandlerEndsOnTheThreadThatLeavesItLast) {
    std::promise<void> inside;
    std::promise<void> mayLeave;
    std::thread::id endedOn;
    Log::setHandler(makeHandler(
        [&](const char*) {
            inside.set_value();
            mayLeave.get_future().wait();
        },
        std::shared_ptr<void>(nullptr, [&](void*) { endedOn = std::this_thread::get_id(); })));
    std::thread writer([] { write("a"); });
    const std::thread::id wroteOn = writer.get_id();
    inside.get_future().wait();
    Log::setHandler(nullptr);
    EXPECT_EQ(endedOn, std::thread::id());
    mayLeave.set_value();
    writer.join();
    EXPECT_EQ(endedOn, wroteOn);
}

TEST_F(LogTest, aHandlerEndsOutsideTheLogsLock) {
    bool ended = false;
    unit::OtherThread other;
    Log::setHandler(makeHandler([](const char*) {}, std::shared_ptr<void>(nullptr, [&](void*) {
                                    EXPECT_TRUE(other.ends([] { write("a"); }));
                                    ended = true;
                                })));
    Log::setHandler(nullptr);
    EXPECT_TRUE(ended);
}

TEST_F(LogTest, aHandlersEndMayInstallAnother) {
    std::vector<std::string> heard;
    Log::setHandler(makeHandler([](const char*) {}, std::shared_ptr<void>(nullptr, [&](void*) {
                                    Log::setHandler(
                                        makeHandler([&](const char* message) { heard.emplace_back(message); }));
                                })));
    Log::setHandler(nullptr);
    write("a");
    EXPECT_EQ(heard, std::vector<std::string>{"a"});
}

TEST_F(LogTest, twoHandlersCallsMayReplaceEachOther) {
    // Both threads are inside the same handler when both replace it. Neither may wait for the other's call.
    std::promise<void> firstInside;
    std::promise<void> secondInside;
    auto firstSeen = firstInside.get_future().share();
    auto secondSeen = secondInside.get_future().share();
    const auto alive = std::make_shared<int>(0);
    Log::setHandler(makeHandler(
        [&](const char* message) {
            if (std::string_view(message) == "first") {
                firstInside.set_value();
                secondSeen.wait();
            } else {
                secondInside.set_value();
                firstSeen.wait();
            }
            Log::setHandler(nullptr);
        },
        alive));
    std::thread first([] { write("first"); });
    std::thread second([] { write("second"); });
    first.join();
    second.join();
    EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(LogTest, writersRaceReplacementsFromSeveralThreads) {
    constexpr int kThreads = 3;
    constexpr int kReplacements = 1000;
    struct Life {
        explicit Life(std::atomic<int>& count) : m_count(count) { ++m_count; }
        ~Life() { --m_count; }
        std::atomic<int>& m_count;
    };
    std::atomic<int> heard{0};
    std::atomic<int> heardByTheDead{0};
    std::atomic<int> alive{0};
    std::atomic<bool> stop{false};
    const auto install = [&] {
        auto life = std::make_shared<Life>(alive);
        const std::weak_ptr<Life> weak = life;
        Log::setHandler(makeHandler(
            [&, weak](const char*) {
                ++heard;
                if (weak.expired()) ++heardByTheDead;
            },
            std::move(life)));
    };
    std::vector<std::thread> writers;
    std::vector<std::thread> replacers;
    for (int thread = 0; thread < kThreads; ++thread) {
        writers.emplace_back([&] {
            while (!stop) write("racing");
        });
        replacers.emplace_back([&] {
            for (int turn = 0; turn < kReplacements; ++turn) install();
        });
    }
    for (std::thread& replacer : replacers) replacer.join();
    // The last handler stays until it has been called, so that there was a race at all.
    while (heard == 0) std::this_thread::yield();
    Log::setHandler(nullptr);
    stop = true;
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(heardByTheDead, 0);
    EXPECT_EQ(alive, 0);
}

}  // namespace
