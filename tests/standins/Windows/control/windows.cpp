#include <windows.h>

#include <future>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

#include "control.h"

namespace control {

namespace {

using desktop::Arguments;
using desktop::Object;

/// A top-level window on its own thread that others may move.
class TestWindow {
public:
    explicit TestWindow(bool visible) : m_thread([this, visible] { run(visible); }) {
        m_window = m_made.get_future().get();
    }
    ~TestWindow() {
        if (m_window != nullptr) PostMessageW(m_window, WM_CLOSE, 0, 0);
        m_thread.join();
    }
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    HWND handle() const noexcept { return m_window; }

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_DESTROY) PostQuitMessage(0);
        return DefWindowProcW(window, message, wParam, lParam);
    }

    void run(bool visible) {
        WNDCLASSW type{};
        type.lpfnWndProc = &procedure;
        type.hInstance = GetModuleHandleW(nullptr);
        type.lpszClassName = L"zeb-test-placed-window";
        RegisterClassW(&type);
        const HWND window =
            CreateWindowExW(0, type.lpszClassName, L"Placed window", WS_OVERLAPPEDWINDOW | (visible ? WS_VISIBLE : 0),
                            100, 100, 400, 300, nullptr, nullptr, type.hInstance, nullptr);
        m_made.set_value(window);
        if (window == nullptr) return;
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    }

    std::promise<HWND> m_made;
    HWND m_window = nullptr;
    std::thread m_thread;
};

std::map<HWND, std::unique_ptr<TestWindow>> g_windows;

HWND windowArgument(const Arguments& arguments) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(arguments.number(0)));
}

napi_value pointOf(napi_env env, const POINT& point) { return Object(env).set("x", point.x).set("y", point.y).value(); }

napi_value rectangleOf(napi_env env, const RECT& rectangle) {
    return Object(env)
        .set("left", rectangle.left)
        .set("top", rectangle.top)
        .set("right", rectangle.right)
        .set("bottom", rectangle.bottom)
        .value();
}

napi_value openPlacedWindow(const Arguments& arguments) {
    auto window = std::make_unique<TestWindow>(arguments.flag(0));
    const HWND handle = window->handle();
    if (handle == nullptr) throw std::runtime_error("no window could be made: is this a desktop session?");
    g_windows[handle] = std::move(window);
    return desktop::toScript(arguments.env(), reinterpret_cast<std::uintptr_t>(handle));
}

napi_value closePlacedWindow(const Arguments& arguments) {
    g_windows.erase(windowArgument(arguments));
    return nullptr;
}

// The placement as the system reports it to a caller that has set the length.
napi_value windowPlacement(const Arguments& arguments) {
    WINDOWPLACEMENT placement{};
    placement.length = sizeof placement;
    if (!GetWindowPlacement(windowArgument(arguments), &placement)) desktop::throwLastError("GetWindowPlacement");
    const napi_env env = arguments.env();
    return Object(env)
        .set("flags", placement.flags)
        .set("showCommand", placement.showCmd)
        .set("minimised", pointOf(env, placement.ptMinPosition))
        .set("maximised", pointOf(env, placement.ptMaxPosition))
        .set("normal", rectangleOf(env, placement.rcNormalPosition))
        .value();
}

napi_value windowState(const Arguments& arguments) {
    const HWND window = windowArgument(arguments);
    RECT rectangle{};
    GetWindowRect(window, &rectangle);
    return Object(arguments.env())
        .set("exists", IsWindow(window) != FALSE)
        .set("visible", IsWindowVisible(window) != FALSE)
        .set("minimised", IsIconic(window) != FALSE)
        .set("maximised", IsZoomed(window) != FALSE)
        .set("rectangle", rectangleOf(arguments.env(), rectangle))
        .value();
}

}  // namespace

std::vector<desktop::NamedFunction> windowFunctions() {
    return {{"openPlacedWindow", &openPlacedWindow},
            {"closePlacedWindow", &closePlacedWindow},
            {"windowPlacement", &windowPlacement},
            {"windowState", &windowState}};
}

}  // namespace control
