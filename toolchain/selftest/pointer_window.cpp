#include "pointer_window.h"

namespace selftest {

PointerWindow::PointerWindow() : m_thread([this] { run(); }) {}

PointerWindow::~PointerWindow() {
    for (;;) {
        {
            std::lock_guard lock(m_mutex);
            if (m_window) {
                PostMessageW(m_window, WM_CLOSE, 0, 0);
                break;
            }
        }
        std::this_thread::yield();
    }
    m_thread.join();
}

PointerWindow::Sum PointerWindow::sum() const {
    std::lock_guard lock(m_mutex);
    Sum sum = m_sum;
    sum.foreground = m_window && GetForegroundWindow() == m_window;
    return sum;
}

LRESULT CALLBACK PointerWindow::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INPUT) {
        reinterpret_cast<PointerWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA))
            ->take(reinterpret_cast<HRAWINPUT>(lParam));
    } else if (message == WM_DESTROY) {
        PostQuitMessage(0);
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void PointerWindow::take(HRAWINPUT handle) {
    RAWINPUT input{};
    UINT size = sizeof input;
    if (GetRawInputData(handle, RID_INPUT, &input, &size, sizeof(RAWINPUTHEADER)) != static_cast<UINT>(-1) &&
        input.header.dwType == RIM_TYPEMOUSE) {
        std::lock_guard lock(m_mutex);
        m_sum.x += input.data.mouse.lLastX;
        m_sum.y += input.data.mouse.lLastY;
        if (input.data.mouse.usButtonFlags) {
            m_sum.buttons += std::to_string(input.data.mouse.usButtonFlags) + ' ';
        }
    }
}

void PointerWindow::run() {
    WNDCLASSW type{};
    type.lpfnWndProc = procedure;
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = L"zeb-selftest-pointer";
    RegisterClassW(&type);
    HWND window = CreateWindowExW(0, type.lpszClassName, L"Selftest pointer", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 50, 50,
                                  600, 400, nullptr, nullptr, type.hInstance, nullptr);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    const RAWINPUTDEVICE mouse{1, 2, RIDEV_INPUTSINK, window};  // generic desktop page, mouse
    RegisterRawInputDevices(&mouse, 1, sizeof mouse);
    SetForegroundWindow(window);
    {
        std::lock_guard lock(m_mutex);
        m_window = window;
    }
    for (MSG message; GetMessageW(&message, nullptr, 0, 0) > 0;) {
        DispatchMessageW(&message);
    }
    UnregisterClassW(type.lpszClassName, type.hInstance);
}

}  // namespace selftest
