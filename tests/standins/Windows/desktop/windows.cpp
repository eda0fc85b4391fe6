#include <windows.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "desktop.h"

namespace desktop {

namespace {

HWND windowArgument(const Arguments& arguments) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(arguments.number(0)));
}

std::wstring className(HWND window) {
    wchar_t name[256];
    return std::wstring(&name[0], static_cast<std::size_t>(GetClassNameW(window, &name[0], 256)));
}

// Also reads controls in other processes, whose text GetWindowTextW does not return.
std::wstring textOf(HWND window) {
    DWORD_PTR length = 0;
    if (!SendMessageTimeoutW(window, WM_GETTEXTLENGTH, 0, 0, SMTO_NORMAL, 10000, &length)) {
        throwLastError("WM_GETTEXTLENGTH");
    }
    std::wstring text(length + 1, L'\0');
    DWORD_PTR copied = 0;
    SendMessageTimeoutW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()), SMTO_NORMAL, 10000,
                        &copied);
    text.resize(copied);
    return text;
}

napi_value describe(napi_env env, HWND window) {
    DWORD process = 0;
    const DWORD thread = GetWindowThreadProcessId(window, &process);
    return Object(env)
        .set("window", reinterpret_cast<std::uintptr_t>(window))
        .set("process", process)
        .set("thread", thread)
        .set("className", className(window))
        .set("visible", IsWindowVisible(window) != FALSE)
        .set("style", static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE)))
        .set("exStyle", static_cast<DWORD>(GetWindowLongW(window, GWL_EXSTYLE)))
        .set("owner", reinterpret_cast<std::uintptr_t>(GetWindow(window, GW_OWNER)))
        .set("parent", reinterpret_cast<std::uintptr_t>(GetAncestor(window, GA_PARENT)))
        .value();
}

std::vector<HWND> collect(HWND parent) {
    std::vector<HWND> found;
    const auto add = [](HWND window, LPARAM list) -> BOOL {
        reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
        return TRUE;
    };
    if (parent == nullptr) {
        EnumWindows(add, reinterpret_cast<LPARAM>(&found));
    } else {
        EnumChildWindows(parent, add, reinterpret_cast<LPARAM>(&found));
    }
    return found;
}

// The top-level windows of all processes, or the controls of one window.
napi_value windows(const Arguments& arguments) {
    std::vector<napi_value> result;
    for (HWND window : collect(windowArgument(arguments))) result.push_back(describe(arguments.env(), window));
    return toScript(arguments.env(), result);
}

napi_value windowText(const Arguments& arguments) {
    return toScript(arguments.env(), textOf(windowArgument(arguments)));
}

// What a window's class was registered with, as far as its own process can find out.
napi_value windowClass(const Arguments& arguments) {
    const HWND window = windowArgument(arguments);
    WNDCLASSW info{};
    const auto instance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(window, GWLP_HINSTANCE));
    if (!GetClassInfoW(instance, className(window).c_str(), &info)) throwLastError("GetClassInfoW");
    return Object(arguments.env())
        .set("style", info.style)
        .set("extra", info.cbClsExtra + info.cbWndExtra)
        .set("ofTheExecutable", info.hInstance == GetModuleHandleW(nullptr) && instance == info.hInstance)
        .set("icon", info.hIcon != nullptr)
        .set("cursor", info.hCursor != nullptr)
        .set("background", info.hbrBackground != nullptr)
        .set("menu", info.lpszMenuName != nullptr)
        .value();
}

napi_value postMessage(const Arguments& arguments) {
    return toScript(arguments.env(), PostMessageW(windowArgument(arguments), static_cast<UINT>(arguments.number(1)),
                                                  static_cast<WPARAM>(arguments.number(2)), 0) != 0);
}

napi_value sendMessage(const Arguments& arguments) {
    DWORD_PTR result = 0;
    if (!SendMessageTimeoutW(windowArgument(arguments), static_cast<UINT>(arguments.number(1)),
                             static_cast<WPARAM>(arguments.number(2)), 0, SMTO_ABORTIFHUNG, 5000, &result)) {
        throwLastError("SendMessageTimeoutW");
    }
    return toScript(arguments.env(), result);
}

/// A visible window on its own thread. Raw input reaches a desktop only while a window has the foreground.
class VisibleWindow {
public:
    VisibleWindow() : m_thread([this] { run(); }) {
        std::unique_lock lock(m_mutex);
        m_made.wait(lock, [this] { return m_done; });
    }
    ~VisibleWindow() {
        PostMessageW(m_window, WM_CLOSE, 0, 0);
        m_thread.join();
    }
    VisibleWindow(const VisibleWindow&) = delete;
    VisibleWindow& operator=(const VisibleWindow&) = delete;

    HWND handle() const noexcept { return m_window; }

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_DESTROY) PostQuitMessage(0);
        return DefWindowProcW(window, message, wParam, lParam);
    }

    void run() {
        WNDCLASSW type{};
        type.lpfnWndProc = &procedure;
        type.hInstance = GetModuleHandleW(nullptr);
        type.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
        type.lpszClassName = L"zeb-test-visible-window";
        RegisterClassW(&type);
        const HWND window = CreateWindowExW(0, type.lpszClassName, L"Test window", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40,
                                            40, 1100, 680, nullptr, nullptr, type.hInstance, nullptr);
        SetForegroundWindow(window);
        {
            const std::lock_guard lock(m_mutex);
            m_window = window;
            m_done = true;
        }
        m_made.notify_one();
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    }

    std::mutex m_mutex;
    std::condition_variable m_made;
    bool m_done = false;
    HWND m_window = nullptr;
    std::thread m_thread;
};

std::unique_ptr<VisibleWindow> g_window;

napi_value openWindow(const Arguments& arguments) {
    if (!g_window) g_window = std::make_unique<VisibleWindow>();
    return toScript(arguments.env(), reinterpret_cast<std::uintptr_t>(g_window->handle()));
}

napi_value closeWindow(const Arguments&) {
    g_window.reset();
    return nullptr;
}

// Registers a class with the sink window's class name whose windows cannot be made, before the module registers its
// own.
napi_value refuseSinkWindows(const Arguments&) {
    WNDCLASSW type{};
    type.lpfnWndProc = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
        return message == WM_NCCREATE ? FALSE : DefWindowProcW(window, message, wParam, lParam);
    };
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = L"zeb-internal-sink-window";
    if (!RegisterClassW(&type)) throwLastError("RegisterClassW");
    return nullptr;
}

napi_value foregroundWindow(const Arguments& arguments) {
    return toScript(arguments.env(), reinterpret_cast<std::uintptr_t>(GetForegroundWindow()));
}

}  // namespace

std::vector<NamedFunction> windowFunctions() {
    return {{"windows", &windows},
            {"windowText", &windowText},
            {"windowClass", &windowClass},
            {"postMessage", &postMessage},
            {"sendMessage", &sendMessage},
            {"openWindow", &openWindow},
            {"closeWindow", &closeWindow},
            {"foregroundWindow", &foregroundWindow},
            {"refuseSinkWindows", &refuseSinkWindows}};
}

}  // namespace desktop
