#include "bridge/eventlog-fetcher.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "bridge/system_error_text.h"
#include "common/utils/failure.h"
#include "standins/event_log.h"

namespace zeb {
namespace {

using standins::EventLog;
using standins::eventLog;
using standins::EventLogCall;

constexpr std::string_view kFile = "src_native/bridge/platform/Windows/eventlog-fetcher";
constexpr std::uint32_t kAccessDenied = 5;

std::vector<std::wstring> numbered(std::size_t count) {
    std::vector<std::wstring> records;
    for (std::size_t index = 0; index < count; ++index) {
        records.push_back(L"<Event><EventRecordID>" + std::to_wstring(index) + L"</EventRecordID></Event>");
    }
    return records;
}

class EventLogFetcherTest : public testing::Test {
protected:
    EventLogFetcherTest() { eventLog() = EventLog(); }

    static std::vector<std::wstring> fetch() { return EventLogFetcher::fetchLogs(L"<QueryList/>"); }

    static void expectFailure(const std::string_view function, const std::uint32_t line, const std::uint32_t code) {
        try {
            static_cast<void>(fetch());
            FAIL() << "nothing was thrown";
        } catch (const common::Exception& failure) {
            EXPECT_EQ(failure.message(), systemErrorText(code));
            EXPECT_STREQ(static_cast<const std::exception&>(failure).what(), failure.message());
            EXPECT_EQ(failure.location().function, function);
            EXPECT_EQ(failure.location().file, kFile);
            EXPECT_EQ(failure.location().line, line);
            EXPECT_EQ(failure.code(), 0u);
        }
        EXPECT_TRUE(eventLog().isClosed());
    }
};

class EventLogFetcherCounts : public EventLogFetcherTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(EventLogFetcherCounts, recordsComeBackInOrderAndEveryHandleIsClosed) {
    eventLog().records = numbered(GetParam());
    EXPECT_EQ(fetch(), numbered(GetParam()));
    EXPECT_TRUE(eventLog().isClosed());
    EXPECT_EQ(eventLog().calls[EventLogCall::close], static_cast<int>(GetParam()) + 1);
    EXPECT_EQ(eventLog().calls[EventLogCall::takeRecords], static_cast<int>((GetParam() + 9) / 10) + 1);
    for (const std::uint32_t capacity : eventLog().capacities) EXPECT_EQ(capacity, 10u);
}

INSTANTIATE_TEST_SUITE_P(AroundBatches, EventLogFetcherCounts, testing::Values(0u, 1u, 9u, 10u, 11u, 20u, 10'000u));

TEST_F(EventLogFetcherTest, eachRecordIsClosedBeforeTheNextIsRendered) {
    eventLog().records = numbered(2);
    static_cast<void>(fetch());
    EXPECT_EQ(eventLog().handled,
              (std::vector<std::string>{"rendered 0", "closed 0", "rendered 1", "closed 1", "closed the query"}));
}

TEST_F(EventLogFetcherTest, whatAFailureLeavesIsClosedInOrder) {
    eventLog().records = numbered(3);
    eventLog().faults = {{EventLogCall::renderXml, 3, kAccessDenied}};  // two calls per event record: fails the second
    expectFailure("zeb::EventLogFetcher::getEvent", 193, kAccessDenied);
    EXPECT_EQ(eventLog().handled,
              (std::vector<std::string>{"rendered 0", "closed 0", "closed 1", "closed 2", "closed the query"}));
}

TEST_F(EventLogFetcherTest, queryGoesToTheServiceAsItIs) {
    const std::wstring query = L"<QueryList>\xFF80\xFFFF \x00E9</QueryList>";
    EXPECT_TRUE(EventLogFetcher::fetchLogs(query).empty());
    EXPECT_EQ(eventLog().query, query);
}

TEST_F(EventLogFetcherTest, batchesMayBeShortOrEmpty) {
    eventLog().records = numbered(12);
    eventLog().batches = {0, 3, 0, 0, 1};
    EXPECT_EQ(fetch(), numbered(12));
    EXPECT_EQ(eventLog().calls[EventLogCall::takeRecords], 7);
    EXPECT_TRUE(eventLog().isClosed());
}

TEST_F(EventLogFetcherTest, textIsTheServicesToItsTerminator) {
    eventLog().records = {L"", L"  <Event>\r\n\t\x20AC</Event>\r\n", std::wstring(L"<Event/>\0behind", 15)};
    EXPECT_EQ(fetch(), (std::vector<std::wstring>{L"", L"  <Event>\r\n\t\x20AC</Event>\r\n", L"<Event/>"}));
}

TEST_F(EventLogFetcherTest, bufferMayBeLargerThanTheText) {
    eventLog().records = numbered(2);
    eventLog().renderSizes[0] = 100'000;
    EXPECT_EQ(fetch(), numbered(2));
}

// ---- opening ----------------------------------------------------------------------------------------------------

TEST_F(EventLogFetcherTest, refusedQueryFailsAtOnce) {
    eventLog().faults = {{EventLogCall::openQuery, 1, 15001}};
    expectFailure("zeb::EventLogFetcher::fetchLogs", 30, 15001);
    EXPECT_EQ(eventLog().calls[EventLogCall::getQueryProperty], 0);
    EXPECT_EQ(eventLog().calls[EventLogCall::close], 0);
}

// ---- the channels' status ---------------------------------------------------------------------------------------

TEST_F(EventLogFetcherTest, unreadableChannelFailsTheQueryWithTheTextOfTheLastError) {
    eventLog().channelStatuses = {0, 15007, 0};
    eventLog().records = numbered(3);
    expectFailure("zeb::EventLogFetcher::fetchLogs", 38, eventlog::kSuccess);
    EXPECT_EQ(eventLog().calls[EventLogCall::takeRecords], 0);
}

TEST_F(EventLogFetcherTest, statusesAreSummedUpIn32Bits) {
    eventLog().channelStatuses = {15007, 0xFFFFFFFFu - 15006u};
    eventLog().records = numbered(1);
    EXPECT_EQ(fetch(), numbered(1));
    eventLog() = EventLog();
    eventLog().channelStatuses = {15007, 0xFFFFFFFFu};
    expectFailure("zeb::EventLogFetcher::fetchLogs", 38, eventlog::kSuccess);
}

TEST_F(EventLogFetcherTest, queryWithoutChannelsPasses) {
    eventLog().channelStatuses.clear();
    EXPECT_TRUE(fetch().empty());
}

TEST_F(EventLogFetcherTest, propertiesAreAskedForTwice) {
    EXPECT_TRUE(fetch().empty());
    EXPECT_EQ(eventLog().calls[EventLogCall::getQueryProperty], 4);
    EXPECT_EQ(eventLog().calls[EventLogCall::allocate], 2);
}

TEST_F(EventLogFetcherTest, failingPropertyFailsTheQueryWithItsError) {
    for (const int at : {1, 2, 3, 4}) {
        SCOPED_TRACE(at);
        eventLog() = EventLog();
        eventLog().faults = {{EventLogCall::getQueryProperty, at, kAccessDenied}};
        expectFailure("zeb::EventLogFetcher::fetchLogs", 38, kAccessDenied);
        EXPECT_EQ(eventLog().calls[EventLogCall::getQueryProperty], at);
    }
}

TEST_F(EventLogFetcherTest, propertyIsJudgedByTheLastErrorAlone) {
    eventLog().faults = {{EventLogCall::getQueryProperty, 2, kAccessDenied, true, true}};
    expectFailure("zeb::EventLogFetcher::fetchLogs", 38, kAccessDenied);
    for (const int at : {2, 4}) {
        SCOPED_TRACE(at);
        eventLog() = EventLog();
        eventLog().channelStatuses = {15007};
        eventLog().faults = {{EventLogCall::getQueryProperty, at, eventlog::kSuccess, false, false}};
        EXPECT_TRUE(fetch().empty());  // nothing came, so no channel is known to be unreadable
        EXPECT_TRUE(eventLog().isClosed());
    }
}

TEST_F(EventLogFetcherTest, propertyWithoutMemoryFailsTheQuery) {
    for (const int at : {1, 2}) {
        SCOPED_TRACE(at);
        eventLog() = EventLog();
        eventLog().faults = {{EventLogCall::allocate, at, eventlog::kInsufficientBuffer}};
        expectFailure("zeb::EventLogFetcher::fetchLogs", 38, eventlog::kInsufficientBuffer);
        EXPECT_EQ(eventLog().calls[EventLogCall::getQueryProperty], at * 2 - 1);
    }
}

TEST_F(EventLogFetcherTest, propertyThatTakesNoSpaceNamesNoChannel) {
    eventLog().channelStatuses = {15007};
    eventLog().propertiesNeedNoBuffer = true;
    eventLog().records = numbered(1);
    EXPECT_EQ(fetch(), numbered(1));
    EXPECT_EQ(eventLog().calls[EventLogCall::allocate], 1);  // the event record's
}

// ---- taking event records ---------------------------------------------------------------------------------------

TEST_F(EventLogFetcherTest, failureToTakeRecordsDiscardsThoseBefore) {
    eventLog().records = numbered(20);
    eventLog().faults = {{EventLogCall::takeRecords, 3, 1717}};
    expectFailure("zeb::EventLogFetcher::getEvents", 140, 1717);
    EXPECT_EQ(eventLog().calls[EventLogCall::close], 21);
}

TEST_F(EventLogFetcherTest, recordsLeftInTheSlotsAreClosed) {
    eventLog().records = numbered(4);
    eventLog().faults = {{EventLogCall::takeRecords, 1, eventlog::kNoMoreItems, false, true}};
    EXPECT_TRUE(fetch().empty());
    EXPECT_TRUE(eventLog().isClosed());
    EXPECT_EQ(eventLog().calls[EventLogCall::close], 5);
}

TEST_F(EventLogFetcherTest, getEventsLeavesTheResultSetOpen) {
    eventLog().records = numbered(3);
    const eventlog::Handle results = eventlog::openQuery(L"");
    EXPECT_EQ(EventLogFetcher::getEvents(results), numbered(3));
    EXPECT_EQ(eventLog().open.size(), 1u);
    eventlog::close(results);
    EXPECT_TRUE(eventLog().isClosed());
}

// ---- rendering --------------------------------------------------------------------------------------------------

TEST_F(EventLogFetcherTest, getEventLeavesTheRecordOpen) {
    eventLog().records = numbered(1);
    eventlog::Handle record = nullptr;
    std::uint32_t taken = 0;
    ASSERT_TRUE(eventlog::takeRecords(nullptr, 1, &record, taken));
    EXPECT_EQ(EventLogFetcher::getEvent(record), numbered(1).front());
    EXPECT_EQ(eventLog().open.size(), 1u);
}

TEST_F(EventLogFetcherTest, failureInTheMiddleOfABatchClosesTheWholeBatch) {
    for (const bool probing : {true, false}) {
        SCOPED_TRACE(probing);
        eventLog() = EventLog();
        eventLog().records = numbered(20);
        eventLog().faults = {{EventLogCall::renderXml, probing ? 13 : 14, 15027}};  // the 7th record's calls
        expectFailure("zeb::EventLogFetcher::getEvent", 193, 15027);
        EXPECT_EQ(eventLog().calls[EventLogCall::close], 11);
        EXPECT_EQ(eventLog().calls[EventLogCall::takeRecords], 1);
    }
}

TEST_F(EventLogFetcherTest, renderingIsJudgedByTheLastErrorAlone) {
    eventLog().records = numbered(1);
    eventLog().faults = {{EventLogCall::renderXml, 2, kAccessDenied, true, true}};
    expectFailure("zeb::EventLogFetcher::getEvent", 193, kAccessDenied);

    eventLog() = EventLog();
    eventLog().records = numbered(1);
    eventLog().faults = {{EventLogCall::renderXml, 2, eventlog::kSuccess, false, true}};
    EXPECT_EQ(fetch(), numbered(1));

    eventLog() = EventLog();
    eventLog().records = numbered(1);
    eventLog().faults = {{EventLogCall::renderXml, 2, eventlog::kSuccess, false, false}};
    EXPECT_EQ(fetch(), std::vector<std::wstring>{L""});  // nothing was written
}

TEST_F(EventLogFetcherTest, recordWithoutMemoryFailsWithItsOwnCode) {
    eventLog().records = numbered(10);
    eventLog().faults = {{EventLogCall::allocate, 2 + 7, eventlog::kInsufficientBuffer}};
    expectFailure("zeb::EventLogFetcher::getEvent", 186, eventlog::kOutOfMemory);
    EXPECT_EQ(eventLog().calls[EventLogCall::renderXml], 13);
}

TEST_F(EventLogFetcherTest, tooSmallASizeIsAFailure) {
    eventLog().records = numbered(1);
    eventLog().renderSizes[0] = sizeof(wchar_t);
    expectFailure("zeb::EventLogFetcher::getEvent", 193, eventlog::kInsufficientBuffer);
}

TEST_F(EventLogFetcherTest, textWithoutTerminatorEndsWithTheBuffer) {
    eventLog().records = {L"abcd"};
    eventLog().renderSizes[0] = 3 * sizeof(wchar_t);
    // The call reports success although the text did not fit.
    eventLog().faults = {{EventLogCall::renderXml, 2, eventlog::kSuccess, true, true}};
    EXPECT_EQ(fetch(), std::vector<std::wstring>{L"abc"});
}

TEST_F(EventLogFetcherTest, recordThatTakesNoSpaceIsEmpty) {
    eventLog().records = numbered(1);
    eventLog().faults = {{EventLogCall::renderXml, 1, eventlog::kSuccess, true, false}};
    EXPECT_EQ(fetch(), std::vector<std::wstring>{L""});
    EXPECT_EQ(eventLog().calls[EventLogCall::renderXml], 1);
}

}  // namespace
}  // namespace zeb
