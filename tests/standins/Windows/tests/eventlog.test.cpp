// The stand-in event log, called as the module calls it.

#include <windows.h>
#include <winevt.h>

#include <gtest/gtest.h>
#include <cstring>
#include <vector>

#include "standin_client.h"

namespace {

using standins::StandinClient;

constexpr DWORD flags = EvtQueryChannelPath | EvtQueryTolerateQueryErrors;

class StandinEventLog : public testing::Test {
protected:
    void SetUp() override {
        log.command(L"reset");
        SetLastError(0);
    }

    // The result of a call as one number: 0 for success, otherwise the last error.
    static DWORD outcome(BOOL result) { return result ? 0 : GetLastError(); }

    EVT_HANDLE query(const wchar_t* text = L"<QueryList/>") { return evtQuery(nullptr, nullptr, text, flags); }

    DWORD next(EVT_HANDLE set, std::vector<EVT_HANDLE>& records) {
        records.assign(10, nullptr);
        DWORD returned = 77;
        const DWORD result = outcome(evtNext(set, 10, records.data(), INFINITE, 0, &returned));
        records.resize(result == 0 ? returned : 0);
        return result;
    }

    std::wstring render(EVT_HANDLE record) {
        DWORD used = 0;
        DWORD properties = 77;
        EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER},
                  outcome(evtRender(nullptr, record, EvtRenderEventXml, 0, nullptr, &used, &properties)));
        std::wstring text(used / sizeof(wchar_t), L'?');
        EXPECT_TRUE(evtRender(nullptr, record, EvtRenderEventXml, used, text.data(), &used, &properties));
        EXPECT_EQ(0u, properties);
        EXPECT_EQ(L'\0', text.back());
        text.pop_back();
        return text;
    }

    StandinClient log{L"system32\\wevtapi.dll"};
    decltype(&EvtQuery) evtQuery = log.function<decltype(EvtQuery)>("EvtQuery");
    decltype(&EvtNext) evtNext = log.function<decltype(EvtNext)>("EvtNext");
    decltype(&EvtRender) evtRender = log.function<decltype(EvtRender)>("EvtRender");
    decltype(&EvtGetQueryInfo) evtGetQueryInfo = log.function<decltype(EvtGetQueryInfo)>("EvtGetQueryInfo");
    decltype(&EvtClose) evtClose = log.function<decltype(EvtClose)>("EvtClose");
};

TEST_F(StandinEventLog, EmptyLogHasNoMoreItems) {
    const EVT_HANDLE set = query();
    ASSERT_NE(nullptr, set);
    std::vector<EVT_HANDLE> records;
    EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, next(set, records));
    EXPECT_EQ(R"({"queries":1,"records":0,"badCloses":0})", log.report("open"));
    EXPECT_TRUE(evtClose(set));
    EXPECT_EQ(R"({"queries":0,"records":0,"badCloses":0})", log.report("open"));
}

TEST_F(StandinEventLog, GivesRecordsInOrderAndInBatches) {
    log.command(L"record\t<a/>\nrecord\t<b>\\t\\n\\\\</b>\nrecord\tc\\0d\nbatch\t0\nbatch\t2");
    const EVT_HANDLE set = query();
    std::vector<EVT_HANDLE> records;
    EXPECT_EQ(0u, next(set, records));
    EXPECT_TRUE(records.empty());
    EXPECT_EQ(0u, next(set, records));
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(L"<a/>", render(records[0]));
    EXPECT_EQ(L"<b>\t\n\\</b>", render(records[1]));
    EXPECT_TRUE(evtClose(records[0]));
    EXPECT_EQ(R"({"queries":1,"records":1,"badCloses":0})", log.report("open"));
    EXPECT_EQ(0u, next(set, records));
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(std::wstring(L"c\0d", 3), render(records[0]));
    EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, next(set, records));
}

TEST_F(StandinEventLog, NamesChannelsAndTheirStatuses) {
    log.command(L"channel\tApplication\t0\nchannel\tMissing\t15007");
    const EVT_HANDLE set = query();
    for (const auto property : {EvtQueryNames, EvtQueryStatuses}) {
        DWORD used = 0;
        EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, outcome(evtGetQueryInfo(set, property, 0, nullptr, &used)));
        std::vector<EVT_VARIANT> buffer(used / sizeof(EVT_VARIANT) + 1);
        ASSERT_TRUE(evtGetQueryInfo(set, property, used, buffer.data(), &used));
        EXPECT_EQ(2u, buffer[0].Count);
        if (property == EvtQueryNames) {
            EXPECT_EQ(DWORD{EvtVarTypeString} | EVT_VARIANT_TYPE_ARRAY, buffer[0].Type);
            EXPECT_STREQ(L"Application", buffer[0].StringArr[0]);
            EXPECT_STREQ(L"Missing", buffer[0].StringArr[1]);
        } else {
            EXPECT_EQ(DWORD{EvtVarTypeUInt32} | EVT_VARIANT_TYPE_ARRAY, buffer[0].Type);
            EXPECT_EQ(0u, buffer[0].UInt32Arr[0]);
            EXPECT_EQ(15007u, buffer[0].UInt32Arr[1]);
        }
    }
}

TEST_F(StandinEventLog, FailsTheCallItIsToldTo) {
    log.command(L"record\tx\nfault\tEvtNext\t2\t1722\t0\t0\nfault\tEvtRender\t2\t5\t1\t1");
    const EVT_HANDLE set = query();
    std::vector<EVT_HANDLE> records;
    ASSERT_EQ(0u, next(set, records));
    std::vector<EVT_HANDLE> none;
    EXPECT_EQ(1722u, next(set, none));
    DWORD used = 0;
    DWORD properties = 0;
    wchar_t text[2] = L"";
    evtRender(nullptr, records[0], EvtRenderEventXml, 0, nullptr, &used, &properties);
    EXPECT_TRUE(evtRender(nullptr, records[0], EvtRenderEventXml, sizeof text, &text[0], &used, &properties));
    EXPECT_STREQ(L"x", &text[0]) << "it was told to do its work";
    EXPECT_EQ(5u, GetLastError());
}

TEST_F(StandinEventLog, RefusesAQuery) {
    log.command(L"fault\tEvtQuery\t1\t15001\t0\t0");
    EXPECT_EQ(nullptr, query());
    EXPECT_EQ(15001u, GetLastError());
    EXPECT_NE(nullptr, query());
    EXPECT_EQ(R"({"queries":1,"records":0,"badCloses":0})", log.report("open"));
}

TEST_F(StandinEventLog, SuccessSetsTheLastErrorUnlessQuiet) {
    SetLastError(1234);
    query();
    EXPECT_EQ(0u, GetLastError());
    log.command(L"quiet\t1");
    SetLastError(1234);
    query();
    EXPECT_EQ(1234u, GetLastError());
}

TEST_F(StandinEventLog, ReportsAnotherSizeThanTheTrueOne) {
    log.command(L"record\tab\nsize\t0\t1000");
    const EVT_HANDLE set = query();
    std::vector<EVT_HANDLE> records;
    ASSERT_EQ(0u, next(set, records));
    DWORD used = 0;
    DWORD properties = 0;
    EXPECT_FALSE(evtRender(nullptr, records[0], EvtRenderEventXml, 0, nullptr, &used, &properties));
    EXPECT_EQ(1000u, used);
    EXPECT_FALSE(evtRender(nullptr, records[0], EvtRenderEventXml, 5, nullptr, &used, &properties));
}

TEST_F(StandinEventLog, NoticesHandlesThatAreNot) {
    const EVT_HANDLE set = query();
    EXPECT_TRUE(evtClose(set));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, outcome(evtClose(set)));
    EXPECT_EQ(R"({"queries":0,"records":0,"badCloses":1})", log.report("open"));
    std::vector<EVT_HANDLE> records;
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, next(set, records));
    DWORD used = 0;
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, outcome(evtGetQueryInfo(set, EvtQueryNames, 0, nullptr, &used)));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE},
              outcome(evtRender(nullptr, set, EvtRenderEventXml, 0, nullptr, &used, &used)));
}

TEST_F(StandinEventLog, WritesEveryCallDown) {
    const EVT_HANDLE set = query(L"\xFFE9\"\\");
    evtClose(set);
    EXPECT_EQ(
        R"([{"call":"EvtQuery","session":false,"path":false,"flags":4097,"query":"\uffe9\"\\","result":true,"lastError":0},)"
        R"({"call":"EvtClose","kind":"query","result":true,"lastError":0}])",
        log.report("calls"));
    EXPECT_EQ(R"({"EvtQuery":1,"EvtNext":0,"EvtRender":0,"EvtGetQueryInfo":0,"EvtClose":1})", log.report("counts"));
    EXPECT_EQ("", log.report("nothing"));
}

TEST_F(StandinEventLog, SaysWhatIsWrongWithAScript) {
    const auto wrong = [&](const wchar_t* script) {
        try {
            log.command(script);
        } catch (const std::invalid_argument& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ("", wrong(L"\n\nquiet\t0\n"));
    EXPECT_EQ("dance: no such verb", wrong(L"dance"));
    EXPECT_EQ("channel: too few values", wrong(L"channel\tx"));
    EXPECT_EQ("channel: not a 32-bit number: x", wrong(L"channel\tx\tx"));
    EXPECT_EQ("channel: not a 32-bit number: 4294967296", wrong(L"channel\tx\t4294967296"));
    EXPECT_EQ("fault: no function EvtSeek", wrong(L"fault\tEvtSeek\t1\t1\t0\t0"));
    EXPECT_NE("", wrong(L"record\ta\\x"));
}

}  // namespace
