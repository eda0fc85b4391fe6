#include "bridge/platform/Windows/rawinputdriver-windows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

#include "bridge/button_swap_state.h"
#include "standins/Windows/user32/user32.h"
#include "standins/uv_thread.h"
#include "unit/bridge/platform/Windows/rawinputdriver_fixture.h"
#include "unit/support/counting_allocator.h"

// The input loop's life: window, registration, messages, clean-up, stop. The reports it reads have their own tests.
namespace zeb {
namespace {

using standins::User32;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using unit::mouseReport;

constexpr char kFile[] = "src_native/bridge/platform/Windows/rawinputdriver-windows";
constexpr char kRegistrar[] = "zeb::`anonymous-namespace'::RawInputRegistrator::registerRIDeviceUsage";

class WindowsRawInputDriverTest : public unit::RawInputDriverTest {
protected:
    // The log without the base class's own log record.
    std::vector<unit::LogRecord> errors() const {
        std::vector<unit::LogRecord> found;
        for (const unit::LogRecord& record : log.records()) {
            if (record.level == 2) found.push_back(record);
        }
        return found;
    }

    void expectError(const std::string& message, const std::string& function, std::uint32_t line) const {
        ASSERT_THAT(errors(), SizeIs(1));
        const unit::LogRecord error = errors().front();
        EXPECT_EQ(error.message, message);
        EXPECT_EQ(error.function, function);
        EXPECT_EQ(error.file, kFile);
        EXPECT_EQ(error.line, line);
    }
};

TEST_F(WindowsRawInputDriverTest, oneReportFromStartToStop) {
    capture();
    system.addReport(mouseReport({}));
    run();
    EXPECT_THAT(callsBut({"RegisterClassW"}),
                ElementsAre("CreateWindowExW()", "GetSystemMetrics(23)",
                            "RegisterRawInputDevices(1, 2, 0x100, 0x51, 1, 16)",  //
                            "GetMessageW(0x0, 0xff, 0x804d)",                     //
                            "GetRawInputData(0x1, 0x10000003, no buffer, 0, 24)", "_aligned_realloc(no block, 48, 8)",
                            "GetRawInputData(0x1, 0x10000003, buffer, 48, 24)",  //
                            "GetCursorPos()",                                    //
                            "GetMessageW(0x0, 0xff, 0x804d)",                    //
                            "RegisterRawInputDevices(1, 2, 0x1, 0x0, 1, 16)",    //
                            "_aligned_free(block)", "DestroyWindow(0x51)"));
    EXPECT_THAT(records, SizeIs(1));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(WindowsRawInputDriverTest, withoutAReportNoBufferIsMade) {
    run();
    EXPECT_THAT(callsBut({"RegisterClassW"}),
                ElementsAre("CreateWindowExW()", "GetSystemMetrics(23)",
                            "RegisterRawInputDevices(1, 2, 0x100, 0x51, 1, 16)", "GetMessageW(0x0, 0xff, 0x804d)",
                            "RegisterRawInputDevices(1, 2, 0x1, 0x0, 1, 16)", "DestroyWindow(0x51)"));
}

TEST_F(WindowsRawInputDriverTest, sinkClassIsRegisteredOncePerProcessAndNobodyAsksHowThatWent) {
    run();
    run();
    ASSERT_THAT(User32::registeredClasses(), SizeIs(1));
    const WNDCLASSW& sink = User32::registeredClasses().front();
    EXPECT_EQ(sink.style, 0u);
    EXPECT_NE(sink.lpfnWndProc, nullptr);
    EXPECT_EQ(sink.cbClsExtra, 0);
    EXPECT_EQ(sink.cbWndExtra, 0);
    EXPECT_EQ(sink.hInstance, User32::host());
    EXPECT_EQ(sink.hIcon, nullptr);
    EXPECT_EQ(sink.hCursor, nullptr);
    EXPECT_EQ(sink.hbrBackground, nullptr);
    EXPECT_EQ(sink.lpszMenuName, nullptr);
    EXPECT_STREQ(sink.lpszClassName, L"zeb-internal-sink-window");
}

TEST_F(WindowsRawInputDriverTest, sinkWindowIsTopLevelUntouchedAndNotVisible) {
    run();
    ASSERT_THAT(system.windows(), SizeIs(1));
    const CREATESTRUCTW window = system.windows().front();
    EXPECT_EQ(window.dwExStyle, 0u);
    EXPECT_STREQ(window.lpszClass, L"zeb-internal-sink-window");
    EXPECT_STREQ(window.lpszName, L"Input-Sink");
    EXPECT_EQ(window.style, 0x00CF0000);
    for (const int place : {window.x, window.y, window.cx, window.cy}) EXPECT_EQ(place, CW_USEDEFAULT);
    EXPECT_EQ(window.hwndParent, nullptr);
    EXPECT_EQ(window.hMenu, nullptr);
    EXPECT_EQ(window.hInstance, User32::host());
    EXPECT_EQ(window.lpCreateParams, nullptr);
}

TEST_F(WindowsRawInputDriverTest, eachStartMakesAWindowAnew) {
    run();
    run();
    EXPECT_THAT(system.windows(), SizeIs(2));
    EXPECT_THAT(system.callsOf("DestroyWindow"), SizeIs(2));
}

// ---- what fails ---------------------------------------------------------------------------------------------------

TEST_F(WindowsRawInputDriverTest, withoutAWindowTheLoopEndsAtOnceAndTheCaptureStays) {
    capture();
    g_buttonSwapState = std::nullopt;
    system.makesWindows = false;
    driver->processInput();
    EXPECT_THAT(callsBut({"RegisterClassW"}), ElementsAre("CreateWindowExW()"));
    expectError("Fail to create sink window", "zeb::WindowsRawInputDriver::processInput", 127);
    EXPECT_EQ(g_buttonSwapState.load(), std::nullopt);
    EXPECT_TRUE(driver->isPointerCaptured());
}

TEST_F(WindowsRawInputDriverTest, aCaptureWithoutAWindowIsReleasedAsAnyOther) {
    system.makesWindows = false;
    captureOnItsThread();
    driver->releasePointerCapture();
    EXPECT_FALSE(driver->isPointerCaptured());
    EXPECT_EQ(standins::unjoinedThreads(), 0);
    ASSERT_THAT(log.records(), SizeIs(2));
    EXPECT_EQ(log.records().back().message, "Pointer capture released");
    EXPECT_EQ(log.records().back().level, 0);
}

TEST_F(WindowsRawInputDriverTest, withoutARegistrationTheLoopRunsAllTheSame) {
    capture();
    system.registersDevices = false;
    system.addReport(mouseReport({}));
    run();
    expectError("Unsuccessful RegisterRawInputDevices() call. flags:(256)", kRegistrar, 88);
    EXPECT_THAT(records, SizeIs(1));
    EXPECT_THAT(system.callsOf("RegisterRawInputDevices"),
                ElementsAre("RegisterRawInputDevices(1, 2, 0x100, 0x51, 1, 16)",
                            "RegisterRawInputDevices(1, 2, 0x1, 0x0, 1, 16)"));
}

TEST_F(WindowsRawInputDriverTest, aRegistrationThatStaysIsLoggedAndTheCleanUpGoesOn) {
    capture();
    system.removesDevices = false;
    system.addReport(mouseReport({}));
    run();
    expectError("Unsuccessful RegisterRawInputDevices() call. flags:(1)", kRegistrar, 88);
    EXPECT_THAT(system.callsOf("_aligned_free"), SizeIs(1));
    EXPECT_EQ(system.calls().back(), "DestroyWindow(0x51)");
}

TEST_F(WindowsRawInputDriverTest, bothRegistrationAndRemovalMayFail) {
    system.registersDevices = system.removesDevices = false;
    run();
    ASSERT_THAT(errors(), SizeIs(2));
    EXPECT_EQ(errors().front().message, "Unsuccessful RegisterRawInputDevices() call. flags:(256)");
    EXPECT_EQ(errors().back().message, "Unsuccessful RegisterRawInputDevices() call. flags:(1)");
}

// ---- messages -----------------------------------------------------------------------------------------------------

TEST_F(WindowsRawInputDriverTest, theLoopGoesOnWhenGetMessageGivesAnythingButOne) {
    capture();
    system.addReport(mouseReport({}));
    for (const BOOL result : {0, -1, 2}) {
        system.addMessage(User32::kStopMessage, 1, 0, result);
        system.addMessage(WM_INPUT, 0, 1, result);
    }
    system.addReport(mouseReport({}));
    run();
    EXPECT_THAT(records, SizeIs(2));
    EXPECT_THAT(system.callsOf("GetMessageW"), SizeIs(9));
}

TEST_F(WindowsRawInputDriverTest, otherMessagesAreNeitherTranslatedNorDispatched) {
    capture();
    for (const UINT message : {0x0100u, 0x0104u, 0x0113u, 0x0200u, 0x8000u, 0x804Cu}) system.addMessage(message, 0, 1);
    system.addReport(mouseReport({}));
    run();
    EXPECT_THAT(records, SizeIs(1));
    EXPECT_THAT(system.callsOf("GetMessageW"), SizeIs(8));
    for (const char* function : {"TranslateMessage", "DispatchMessageW", "DefWindowProcW"}) {
        EXPECT_THAT(system.callsOf(function), IsEmpty());
    }
}

TEST_F(WindowsRawInputDriverTest, everyMessageThatIsSentGetsTheSystemsDefault) {
    system.defaultResult = 0x1234;
    system.addSentMessage(WM_SETTINGCHANGE, SPI_SETMOUSEBUTTONSWAP, 7);
    system.addSentMessage(WM_CLOSE, 1, -2);
    run();
    EXPECT_THAT(system.callsOf("DefWindowProcW"),
                ElementsAre("DefWindowProcW(0x51, 0x1a, 0x21, 7)", "DefWindowProcW(0x51, 0x10, 0x1, -2)"));
    EXPECT_THAT(system.sentResults(), ElementsAre(0x1234, 0x1234));
}

// ---- the user's button swap -----------------------------------------------------------------------------------------

TEST_F(WindowsRawInputDriverTest, theButtonSwapIsReadAtEachStart) {
    for (const int swapped : {1, 0, 5, 0}) {
        system.buttonSwap = swapped;
        run();
        EXPECT_EQ(g_buttonSwapState.load(), std::optional<bool>(swapped != 0));
    }
}

TEST_F(WindowsRawInputDriverTest, aChangedButtonSwapHoldsFromTheNextReport) {
    capture();
    const RAWMOUSE press = unit::buttons(RI_MOUSE_LEFT_BUTTON_DOWN);
    system.addReport(mouseReport(press));
    system.addChange([&] { system.buttonSwap = 1; });
    system.addReport(mouseReport(press));  // the window has not been told yet
    system.addSentMessage(WM_SETTINGCHANGE, SPI_SETMOUSEBUTTONSWAP, 0);
    system.addReport(mouseReport(press));
    run();
    ASSERT_THAT(records, SizeIs(3));
    EXPECT_EQ(records[0].buttons.left, 2);
    EXPECT_EQ(records[1].buttons.left, 2);
    EXPECT_EQ(records[2].buttons.left, 0);
    EXPECT_EQ(records[2].buttons.right, 2);
    EXPECT_EQ(g_buttonSwapState.load(), std::optional<bool>(true));
}

TEST_F(WindowsRawInputDriverTest, otherSettingsAndMessagesLeaveTheButtonSwapAlone) {
    system.addSentMessage(WM_SETTINGCHANGE, SPI_SETMOUSE, 0);
    system.addSentMessage(WM_SETTINGCHANGE, 0, 0);
    system.addSentMessage(WM_DEVICECHANGE, SPI_SETMOUSEBUTTONSWAP, 0);
    run();
    EXPECT_THAT(system.callsOf("GetSystemMetrics"), SizeIs(1));
}

TEST_F(WindowsRawInputDriverTest, aButtonSwapThatNobodyKnowsIsAnError) {
    capture();
    system.addChange([] { g_buttonSwapState = std::nullopt; });
    system.addReport(mouseReport({}));
    EXPECT_THROW(run(), std::bad_optional_access);
    EXPECT_THAT(records, IsEmpty());
}

// ---- the stop -------------------------------------------------------------------------------------------------------

/// A thread that lives until it is told to end.
class IdleThread {
public:
    ~IdleThread() { end(); }

    void end() {
        SetEvent(m_end);
        WaitForSingleObject(m_thread, INFINITE);
    }
    uv_thread_t handle() const { return m_thread; }
    DWORD id() const { return GetThreadId(m_thread); }

private:
    static DWORD WINAPI wait(void* event) { return WaitForSingleObject(event, INFINITE); }

    HANDLE m_end = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE m_thread = CreateThread(nullptr, 0, &wait, m_end, 0, nullptr);
};

TEST_F(WindowsRawInputDriverTest, theStopIsPostedOnceToTheInputThread) {
    const IdleThread thread;
    driver->interruptInputThread(thread.handle());
    EXPECT_THAT(system.calls(), ElementsAre("PostThreadMessageW(" + std::to_string(thread.id()) + ", 0x804d, 1, 0)"));
}

TEST_F(WindowsRawInputDriverTest, theStopIsRepeatedUntilTheThreadHasAQueue) {
    const IdleThread thread;
    system.postsWithoutQueue = 3;
    driver->interruptInputThread(thread.handle());
    EXPECT_THAT(system.calls(), SizeIs(4));
    for (const std::string& call : system.calls()) EXPECT_EQ(call, system.calls().front());
}

TEST_F(WindowsRawInputDriverTest, theStopOfAThreadThatHasEndedIsGivenUp) {
    IdleThread thread;
    thread.end();
    system.postsWithoutQueue = 1'000'000;
    driver->interruptInputThread(thread.handle());
    EXPECT_THAT(system.calls(), SizeIs(1));
}

TEST_F(WindowsRawInputDriverTest, captureAndReleaseOverAndOver) {
    for (int round = 1; round <= 3; ++round) {
        captureOnItsThread();
        system.addReport(mouseReport({}));
        driver->releasePointerCapture();
        EXPECT_THAT(system.windows(), SizeIs(round));
        EXPECT_THAT(system.callsOf("DestroyWindow"), SizeIs(round));
        EXPECT_THAT(system.callsOf("PostThreadMessageW"), SizeIs(round));
        EXPECT_THAT(log.records(), SizeIs(round));
        EXPECT_EQ(standins::unjoinedThreads(), 0);
    }
    EXPECT_THAT(User32::registeredClasses(), SizeIs(1));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(WindowsRawInputDriverTest, theEndOfADriverStopsItsLoop) {
    captureOnItsThread();
    driver = {};
    EXPECT_EQ(standins::unjoinedThreads(), 0);
    EXPECT_THAT(system.callsOf("PostThreadMessageW"), SizeIs(1));
    EXPECT_EQ(system.calls().back(), "DestroyWindow(0x51)");
}

TEST(WindowsRawInputDriver, isCountedForManyThreads) {
    using Object = common::com_internal::ComObject<WindowsRawInputDriver, common::ConcurrentRC>;
    const common::ComPtr<RawInputDriver> driver = makeRawInputDriver();
    EXPECT_NE(dynamic_cast<Object*>(driver.get()), nullptr);
}

TEST(WindowsRawInputDriver, withoutMemoryThereIsNone) {
    unit::CountingAllocator::Counts counts;
    const unit::AllocatorOverride override(counts);
    counts.exhausted = true;
    EXPECT_FALSE(makeRawInputDriver());
    counts.exhausted = false;
    EXPECT_TRUE(makeRawInputDriver());
    EXPECT_EQ(counts.freed, 1);
}

}  // namespace
}  // namespace zeb
