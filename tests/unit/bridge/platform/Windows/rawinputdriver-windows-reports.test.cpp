#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

#include "unit/bridge/platform/Windows/rawinputdriver_fixture.h"

namespace {

std::atomic<std::size_t> g_allocations = 0;

}  // namespace

// Counts every allocation of the program's C++ code.
void* operator new(std::size_t size) {
    ++g_allocations;
    if (void* const block = std::malloc(size)) return block;
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

// What the input loop makes of the raw input reports that it reads.
namespace zeb {
namespace {

using standins::User32;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using unit::buttons;
using unit::motion;
using unit::mouseReport;

using ReadReportTest = unit::RawInputDriverTest;

constexpr UINT kMouseSize = 48;

User32::Report reportOfSize(UINT size) {
    User32::Report report = mouseReport({});
    report.bytes.resize(size);
    return report;
}

TEST_F(ReadReportTest, offsetIsTheDevicesAndScreenPointTheCursors) {
    capture();
    system.cursor = {-1280, 719};
    system.addReport(mouseReport(motion(7, -2)));
    run();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].motion.offset.x, 7);
    EXPECT_EQ(records[0].motion.offset.y, -2);
    EXPECT_EQ(records[0].motion.screenPoint.x, -1280);
    EXPECT_EQ(records[0].motion.screenPoint.y, 719);
}

TEST_F(ReadReportTest, offsetsOfAnySizeArePassedOn) {
    constexpr LONG least = std::numeric_limits<LONG>::min();
    constexpr LONG most = std::numeric_limits<LONG>::max();
    capture();
    system.cursor = {most, least};
    system.addReport(mouseReport(motion(least, most)));
    run();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].motion.offset.x, least);
    EXPECT_EQ(records[0].motion.offset.y, most);
    EXPECT_EQ(records[0].motion.screenPoint.x, most);
    EXPECT_EQ(records[0].motion.screenPoint.y, least);
}

TEST_F(ReadReportTest, absoluteCoordinatesAreOffsetsToo) {
    capture();
    system.addReport(mouseReport(motion(65535, 32768, MOUSE_MOVE_ABSOLUTE | MOUSE_VIRTUAL_DESKTOP)));
    run();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].motion.offset.x, 65535);
    EXPECT_EQ(records[0].motion.offset.y, 32768);
}

TEST_F(ReadReportTest, theCursorIsReadForEachReport) {
    capture();
    for (const LONG x : {10, 20, 30}) {
        system.addChange([this, x] { system.cursor = {x, 0}; });
        system.addReport(mouseReport({}));
    }
    run();
    ASSERT_THAT(records, SizeIs(3));
    EXPECT_EQ(records[0].motion.screenPoint.x, 10);
    EXPECT_EQ(records[1].motion.screenPoint.x, 20);
    EXPECT_EQ(records[2].motion.screenPoint.x, 30);
}

TEST_F(ReadReportTest, withoutACursorTheReportIsDeliveredAllTheSame) {
    capture();
    system.cursor = {5, 6};
    system.tellsCursor = false;
    system.addReport(mouseReport(motion(1, 2)));
    run();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].motion.offset.x, 1);
    EXPECT_EQ(records[0].motion.screenPoint.x, 0);
    EXPECT_EQ(records[0].motion.screenPoint.y, 0);
}

// ---- buttons --------------------------------------------------------------------------------------------------------

struct Press {
    USHORT flags;
    std::array<int, 3> buttons;  // left, middle, right
};

constexpr Press kPresses[] = {
    {0, {0, 0, 0}},
    {RI_MOUSE_LEFT_BUTTON_DOWN, {2, 0, 0}},
    {RI_MOUSE_LEFT_BUTTON_UP, {1, 0, 0}},
    {RI_MOUSE_LEFT_BUTTON_DOWN | RI_MOUSE_LEFT_BUTTON_UP, {2, 0, 0}},
    {RI_MOUSE_MIDDLE_BUTTON_DOWN, {0, 2, 0}},
    {RI_MOUSE_MIDDLE_BUTTON_UP, {0, 1, 0}},
    {RI_MOUSE_MIDDLE_BUTTON_DOWN | RI_MOUSE_MIDDLE_BUTTON_UP, {0, 2, 0}},
    {RI_MOUSE_RIGHT_BUTTON_DOWN, {0, 0, 2}},
    {RI_MOUSE_RIGHT_BUTTON_UP, {0, 0, 1}},
    {RI_MOUSE_RIGHT_BUTTON_DOWN | RI_MOUSE_RIGHT_BUTTON_UP, {0, 0, 2}},
    {RI_MOUSE_LEFT_BUTTON_DOWN | RI_MOUSE_MIDDLE_BUTTON_UP | RI_MOUSE_RIGHT_BUTTON_DOWN, {2, 1, 2}},
    {RI_MOUSE_LEFT_BUTTON_UP | RI_MOUSE_MIDDLE_BUTTON_DOWN | RI_MOUSE_RIGHT_BUTTON_UP, {1, 2, 1}},
    {RI_MOUSE_BUTTON_4_DOWN, {0, 0, 0}},
    {RI_MOUSE_BUTTON_4_UP, {0, 0, 0}},
    {RI_MOUSE_BUTTON_5_DOWN, {0, 0, 0}},
    {RI_MOUSE_BUTTON_5_UP, {0, 0, 0}},
    {RI_MOUSE_WHEEL, {0, 0, 0}},
    {RI_MOUSE_HWHEEL, {0, 0, 0}},
    {0xFFFF, {2, 2, 2}},
};

// These flags and the numbers that script sees are the system's; they are repeated here.
static_assert(RI_MOUSE_LEFT_BUTTON_DOWN == 0x0001 && RI_MOUSE_LEFT_BUTTON_UP == 0x0002);
static_assert(RI_MOUSE_RIGHT_BUTTON_DOWN == 0x0004 && RI_MOUSE_RIGHT_BUTTON_UP == 0x0008);
static_assert(RI_MOUSE_MIDDLE_BUTTON_DOWN == 0x0010 && RI_MOUSE_MIDDLE_BUTTON_UP == 0x0020);

class ReadButtonsTest : public ReadReportTest, public testing::WithParamInterface<Press> {
protected:
    std::array<int, 3> read(int buttonSwap) {
        capture();
        system.buttonSwap = buttonSwap;
        system.addReport(mouseReport(buttons(GetParam().flags, 120)));
        run();
        EXPECT_THAT(records, SizeIs(1));
        if (records.empty()) return {-1, -1, -1};
        EXPECT_EQ(records[0].motion.offset.x, 0);
        EXPECT_EQ(records[0].motion.offset.y, 0);
        return {records[0].buttons.left, records[0].buttons.middle, records[0].buttons.right};
    }
};

TEST_P(ReadButtonsTest, pressedWinsOverReleased) { EXPECT_EQ(read(0), GetParam().buttons); }

TEST_P(ReadButtonsTest, aSwapExchangesLeftAndRightOnly) {
    const auto [left, middle, right] = GetParam().buttons;
    EXPECT_EQ(read(1), (std::array{right, middle, left}));
}

INSTANTIATE_TEST_SUITE_P(Flags, ReadButtonsTest, testing::ValuesIn(kPresses), [](const auto& each) {
    return std::to_string(each.index) + "_flags" + std::to_string(each.param.flags);
});

// ---- reports that are skipped ---------------------------------------------------------------------------------------

TEST_F(ReadReportTest, reportsOfOtherDevicesAreSkipped) {
    capture();
    for (const DWORD type : {DWORD{RIM_TYPEKEYBOARD}, DWORD{RIM_TYPEHID}, DWORD{3}}) {
        system.addReport(mouseReport(motion(1, 1), type));
    }
    run();
    EXPECT_THAT(records, IsEmpty());
    EXPECT_THAT(system.callsOf("GetCursorPos"), IsEmpty());
}

TEST_F(ReadReportTest, reportsThatAreNotReadInFullAreSkipped) {
    capture();
    for (const UINT result : {0u, kMouseSize - 1, kMouseSize + 1, static_cast<UINT>(-1)}) {
        User32::Report report = mouseReport(motion(1, 1));
        report.readResult = result;
        system.addReport(std::move(report));
    }
    run();
    EXPECT_THAT(records, IsEmpty());
    EXPECT_THAT(system.callsOf("GetCursorPos"), IsEmpty());
}

TEST_F(ReadReportTest, reportsThatAreShorterThanAMousesAreSkipped) {
    capture();
    for (const UINT size : {0u, 1u, 23u, 24u, kMouseSize - 1}) {
        User32::Report report = reportOfSize(size);
        report.sizeSaid = size;
        system.addReport(std::move(report));
    }
    system.addReport(mouseReport(motion(3, 4)));
    run();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].motion.offset.x, 3);
}

TEST_F(ReadReportTest, aReportThatComesAfterASkippedOneIsDelivered) {
    capture();
    User32::Report shortOne = mouseReport(motion(1, 1));
    shortOne.readResult = kMouseSize - 1;
    system.addReport(std::move(shortOne));
    system.addReport(mouseReport(motion(9, 9)));
    run();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].motion.offset.x, 9);
}

// ---- the buffer -----------------------------------------------------------------------------------------------------

TEST_F(ReadReportTest, theBufferGrowsOnlyForALargerReport) {
    capture();
    for (const UINT size : {kMouseSize, kMouseSize, 64u, kMouseSize, 64u, 65u}) system.addReport(reportOfSize(size));
    run();
    EXPECT_THAT(records, SizeIs(6));
    EXPECT_THAT(system.callsOf("_aligned_realloc"),
                ElementsAre("_aligned_realloc(no block, 48, 8)", "_aligned_realloc(block, 64, 8)",
                            "_aligned_realloc(block, 65, 8)"));
    EXPECT_THAT(system.callsOf("_aligned_free"), ElementsAre("_aligned_free(block)"));
}

TEST_F(ReadReportTest, eachReportIsReadWithItsOwnSize) {
    capture();
    system.addReport(reportOfSize(64));
    system.addReport(reportOfSize(kMouseSize));
    run();
    EXPECT_THAT(system.callsOf("GetRawInputData"), ElementsAre("GetRawInputData(0x1, 0x10000003, no buffer, 0, 24)",
                                                               "GetRawInputData(0x1, 0x10000003, buffer, 64, 24)",
                                                               "GetRawInputData(0x2, 0x10000003, no buffer, 0, 24)",
                                                               "GetRawInputData(0x2, 0x10000003, buffer, 48, 24)"));
}

TEST_F(ReadReportTest, withoutMemoryForAReportItIsSkippedAndTheOldBufferStays) {
    capture();
    system.addReport(mouseReport(motion(1, 0)));
    system.addChange([this] { system.growsBuffers = false; });
    system.addReport(reportOfSize(100));
    system.addReport(mouseReport(motion(2, 0)));
    run();
    ASSERT_THAT(records, SizeIs(2));
    EXPECT_EQ(records[1].motion.offset.x, 2);
    EXPECT_THAT(system.callsOf("_aligned_free"), ElementsAre("_aligned_free(block)"));
}

TEST_F(ReadReportTest, noReportAllocatesOnceTheBufferIsThere) {
    capture();
    system.writesCallsDown = false;
    system.addReport(mouseReport(motion(1, 1)));
    std::size_t before = 0;
    std::size_t after = 0;
    constexpr int reports = 1000;
    system.addChange([&] { before = g_allocations; });
    for (int report = 0; report < reports; ++report) {
        system.addMessage(WM_INPUT, 0, 1);
    }
    system.addChange([&] { after = g_allocations; });
    records.reserve(static_cast<std::size_t>(reports) + 1);
    run();
    EXPECT_THAT(records, SizeIs(reports + 1));
    EXPECT_GT(before, 0u);
    EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace zeb
