#include "bridge/platform/Windows/rawinputdriver-windows.h"

#include <windows.h>

#include <malloc.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "bridge/button_swap_state.h"
#include "common/com/shared_state.h"
#include "common/utils/format.h"
#include "common/utils/log.h"

namespace zeb {

namespace {

using common::SourceLocation;
using common::diagnostics::Log;

constexpr std::string_view kFile = "src_native/bridge/platform/Windows/rawinputdriver-windows";
constexpr wchar_t kSinkClassName[] = L"zeb-internal-sink-window";

// https://learn.microsoft.com/windows/win32/winmsg/wm-app
constexpr UINT kStopInputMessage = WM_APP + 0x4D;

void readButtonSwap() { g_buttonSwapState.store(std::optional<bool>(GetSystemMetrics(SM_SWAPBUTTON) != 0)); }

// Setting changes are broadcast with a send, not a post: GetMessageW calls this while it waits.
LRESULT CALLBACK sinkWindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_SETTINGCHANGE && wParam == SPI_SETMOUSEBUTTONSWAP) readButtonSwap();
    return DefWindowProcW(window, message, wParam, lParam);
}

HINSTANCE registerSinkClass() {
    WNDCLASSW sinkClass{};
    sinkClass.lpfnWndProc = &sinkWindowProcedure;
    sinkClass.hInstance = GetModuleHandleA(nullptr);
    sinkClass.lpszClassName = kSinkClassName;
    RegisterClassW(&sinkClass);
    return sinkClass.hInstance;
}

struct WindowDestroyer {
    using pointer = HWND;
    void operator()(HWND window) const noexcept { DestroyWindow(window); }
};
using SinkWindow = std::unique_ptr<HWND, WindowDestroyer>;

// A top-level window, because a message-only window would not get the broadcast of setting changes.
SinkWindow createSinkWindow() {
    static const HINSTANCE instance = registerSinkClass();
    return SinkWindow(CreateWindowExW(0, kSinkClassName, L"Input-Sink", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT,
                                      CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, instance,
                                      nullptr));
}

/// Registers the mouse for a window and removes the registration at the end of the scope.
class RawInputRegistrator {
public:
    explicit RawInputRegistrator(HWND window)
        : m_window(window), m_registered(registerRIDeviceUsage(m_window, RIDEV_INPUTSINK)) {}
    // Also after a failed registration: removing a registration that does not exist is harmless; keeping one is not.
    ~RawInputRegistrator() { registerRIDeviceUsage(nullptr, RIDEV_REMOVE); }
    RawInputRegistrator(const RawInputRegistrator&) = delete;
    RawInputRegistrator& operator=(const RawInputRegistrator&) = delete;

    bool isRegistered() const noexcept { return m_registered; }

private:
    static bool registerRIDeviceUsage(HWND window, DWORD flags) {
        constexpr USHORT genericDesktopPage = 0x01;
        constexpr USHORT mouseUsage = 0x02;
        const RAWINPUTDEVICE device{genericDesktopPage, mouseUsage, flags, window};
        if (RegisterRawInputDevices(&device, 1, sizeof device)) return true;
        Log::write(Log::Level::error,
                   SourceLocation{"zeb::`anonymous-namespace'::RawInputRegistrator::registerRIDeviceUsage", kFile, 88},
                   common::format("Unsuccessful RegisterRawInputDevices() call. flags:({0})",
                                  static_cast<std::uint32_t>(flags)));
        return false;
    }

    HWND m_window;
    bool m_registered;
};

/// The buffer that every raw input report is read into. It only grows.
class ReportBuffer {
public:
    /// The raw input report behind `handle`, valid until the next read. Null if it cannot be read or is not a mouse's.
    const RAWMOUSE* readMouse(HRAWINPUT handle) {
        UINT size = 0;
        GetRawInputData(handle, RID_INPUT, nullptr, &size, sizeof(RAWINPUTHEADER));
        if (size > m_capacity && !grow(size)) return nullptr;
        if (size < sizeof(RAWINPUTHEADER) + sizeof(RAWMOUSE)) return nullptr;
        if (GetRawInputData(handle, RID_INPUT, m_buffer.get(), &size, sizeof(RAWINPUTHEADER)) != size) return nullptr;
        const auto* const report = static_cast<const RAWINPUT*>(m_buffer.get());
        return report->header.dwType == RIM_TYPEMOUSE ? &report->data.mouse : nullptr;
    }

private:
    struct Free {
        void operator()(void* block) const noexcept { _aligned_free(block); }
    };

    bool grow(UINT size) {
        void* const grown = _aligned_realloc(m_buffer.get(), size, 8);
        if (grown == nullptr) return false;
        static_cast<void>(m_buffer.release());  // NOLINT(bugprone-unused-return-value): freed by the reallocation
        m_buffer.reset(grown);
        m_capacity = size;
        return true;
    }

    std::unique_ptr<void, Free> m_buffer;
    UINT m_capacity = 0;
};

// If one raw input report has both transitions, pressed wins.
std::int32_t transition(USHORT flags, USHORT down, USHORT up) {
    if ((flags & down) != 0) return static_cast<std::int32_t>(ButtonTransition::pressed);
    if ((flags & up) != 0) return static_cast<std::int32_t>(ButtonTransition::released);
    return static_cast<std::int32_t>(ButtonTransition::unchanged);
}

RawInputDriver::PointerData toPointerData(const RAWMOUSE& mouse) {
    POINT cursor{};
    GetCursorPos(&cursor);
    RawInputDriver::PointerData record{};
    record.motion.offset = {mouse.lLastX, mouse.lLastY};  // absolute devices too, as their users expect
    record.motion.screenPoint = {cursor.x, cursor.y};
    ButtonsEventData& buttons = record.buttons;
    const USHORT flags = mouse.usButtonFlags;
    buttons.left = transition(flags, RI_MOUSE_LEFT_BUTTON_DOWN, RI_MOUSE_LEFT_BUTTON_UP);
    buttons.middle = transition(flags, RI_MOUSE_MIDDLE_BUTTON_DOWN, RI_MOUSE_MIDDLE_BUTTON_UP);
    buttons.right = transition(flags, RI_MOUSE_RIGHT_BUTTON_DOWN, RI_MOUSE_RIGHT_BUTTON_UP);
    if (g_buttonSwapState.load().value()) std::swap(buttons.left, buttons.right);
    return record;
}

}  // namespace

WindowsRawInputDriver::~WindowsRawInputDriver() { releasePointerCapture(); }

void WindowsRawInputDriver::processInput() {
    const SinkWindow window = createSinkWindow();
    if (!window) {
        Log::write(Log::Level::error, SourceLocation{"zeb::WindowsRawInputDriver::processInput", kFile, 127},
                   "Fail to create sink window");
        return;
    }
    readButtonSwap();
    ReportBuffer buffer;
    const RawInputRegistrator registrator(window.get());
    for (;;) {
        MSG message;
        if (GetMessageW(&message, nullptr, WM_INPUT, kStopInputMessage) != 1) continue;
        if (message.message == kStopInputMessage) break;
        if (message.message != WM_INPUT) continue;
        if (const RAWMOUSE* const mouse = buffer.readMouse(reinterpret_cast<HRAWINPUT>(message.lParam))) {
            dispatchPointerData(toPointerData(*mouse));
        }
    }
}

void WindowsRawInputDriver::interruptInputThread(uv_thread_t thread) {
    // A thread gets its message queue with its first window call; until then, posting fails. So this waits for the
    // queue or for the thread's end, whichever comes first, and no stop is lost.
    while (!PostThreadMessageW(GetThreadId(thread), kStopInputMessage, 1, 0)) {
        if (WaitForSingleObject(thread, 1) != WAIT_TIMEOUT) return;
    }
}

common::ComPtr<RawInputDriver> makeRawInputDriver() {
    return common::makeInstance<WindowsRawInputDriver, common::ConcurrentRC>();
}

}  // namespace zeb
