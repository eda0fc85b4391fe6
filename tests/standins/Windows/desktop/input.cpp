#include <windows.h>

#include "desktop.h"

namespace desktop {

namespace {

constexpr wchar_t kSinkClassName[] = L"zeb-internal-sink-window";

/// This process's sink window, or null. Other processes may have theirs on the same desktop.
HWND sinkWindow() {
    HWND found = nullptr;
    while ((found = FindWindowExW(nullptr, found, kSinkClassName, nullptr)) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(found, &process);
        if (process == GetCurrentProcessId()) return found;
    }
    return nullptr;
}

// (flags, dx, dy, data, times): the same raw input report several times
napi_value sendMouse(const Arguments& arguments) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = static_cast<DWORD>(arguments.number(0));
    input.mi.dx = static_cast<LONG>(arguments.number(1));
    input.mi.dy = static_cast<LONG>(arguments.number(2));
    input.mi.mouseData = static_cast<DWORD>(arguments.number(3));
    const std::int64_t times = arguments.number(4);
    for (std::int64_t sent = 0; sent < (times > 1 ? times : 1); ++sent) {
        if (SendInput(1, &input, sizeof input) != 1) throwLastError("SendInput");
    }
    return nullptr;
}

// (virtual key, up)
napi_value sendKey(const Arguments& arguments) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = static_cast<WORD>(arguments.number(0));
    input.ki.dwFlags = arguments.flag(1) ? KEYEVENTF_KEYUP : 0;
    if (SendInput(1, &input, sizeof input) != 1) throwLastError("SendInput");
    return nullptr;
}

napi_value keyDown(const Arguments& arguments) {
    return toScript(arguments.env(), (GetAsyncKeyState(static_cast<int>(arguments.number(0))) & 0x8000) != 0);
}

napi_value cursor(const Arguments& arguments) {
    POINT point{};
    if (!GetCursorPos(&point)) throwLastError("GetCursorPos");
    return Object(arguments.env()).set("x", point.x).set("y", point.y).value();
}

napi_value setCursor(const Arguments& arguments) {
    if (!SetCursorPos(static_cast<int>(arguments.number(0)), static_cast<int>(arguments.number(1)))) {
        throwLastError("SetCursorPos");
    }
    return nullptr;
}

// (swapped, whether to tell no window)
napi_value swapButtons(const Arguments& arguments) {
    const UINT tell = arguments.flag(1) ? 0 : SPIF_UPDATEINIFILE | SPIF_SENDCHANGE;
    if (!SystemParametersInfoW(SPI_SETMOUSEBUTTONSWAP, arguments.flag(0), nullptr, tell)) {
        throwLastError("SystemParametersInfoW");
    }
    return nullptr;
}

napi_value buttonsSwapped(const Arguments& arguments) {
    return toScript(arguments.env(), GetSystemMetrics(SM_SWAPBUTTON) != 0);
}

napi_value sinkWindowOf(const Arguments& arguments) {
    return toScript(arguments.env(), reinterpret_cast<std::uintptr_t>(sinkWindow()));
}

// Wine does not wake a thread that waits for a range of messages when raw input arrives. A timer message of its window
// does: it is in the range, and the product's loop ignores it.
napi_value wakeSinkWindow(const Arguments& arguments) {
    const HWND window = sinkWindow();
    return toScript(arguments.env(), window != nullptr && SetTimer(window, 1, 10, nullptr) != 0);
}

// Posts to the thread of this process's sink window, as a foreign program could.
napi_value postToInputThread(const Arguments& arguments) {
    const DWORD thread = GetWindowThreadProcessId(sinkWindow(), nullptr);
    return toScript(arguments.env(), PostThreadMessageW(thread, static_cast<UINT>(arguments.number(0)),
                                                        static_cast<WPARAM>(arguments.number(1)), 0) != 0);
}

napi_value rawInputRegistrations(const Arguments& arguments) {
    UINT count = 0;
    GetRegisteredRawInputDevices(nullptr, &count, sizeof(RAWINPUTDEVICE));
    std::vector<RAWINPUTDEVICE> devices(count);
    if (count != 0 && GetRegisteredRawInputDevices(devices.data(), &count, sizeof(RAWINPUTDEVICE)) == UINT(-1)) {
        throwLastError("GetRegisteredRawInputDevices");
    }
    std::vector<napi_value> result;
    for (const RAWINPUTDEVICE& device : devices) {
        result.push_back(Object(arguments.env())
                             .set("page", device.usUsagePage)
                             .set("usage", device.usUsage)
                             .set("flags", device.dwFlags)
                             .set("target", reinterpret_cast<std::uintptr_t>(device.hwndTarget))
                             .value());
    }
    return toScript(arguments.env(), result);
}

}  // namespace

std::vector<NamedFunction> inputFunctions() {
    return {{"sendMouse", &sendMouse},
            {"sendKey", &sendKey},
            {"keyDown", &keyDown},
            {"cursor", &cursor},
            {"setCursor", &setCursor},
            {"swapButtons", &swapButtons},
            {"buttonsSwapped", &buttonsSwapped},
            {"sinkWindow", &sinkWindowOf},
            {"wakeSinkWindow", &wakeSinkWindow},
            {"rawInputRegistrations", &rawInputRegistrations},
            {"postToInputThread", &postToInputThread}};
}

}  // namespace desktop
