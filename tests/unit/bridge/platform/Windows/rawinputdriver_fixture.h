#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

#include "bridge/button_swap_state.h"
#include "bridge/rawinputdriver.h"
#include "common/com/comptr.h"
#include "standins/Windows/user32/user32.h"
#include "standins/uv_thread.h"
#include "unit/support/log_recorder.h"

namespace unit {

/// A whole raw input report of a mouse as the system gives it.
inline standins::User32::Report mouseReport(const RAWMOUSE& mouse, DWORD type = RIM_TYPEMOUSE) {
    RAWINPUT input{};
    input.header.dwType = type;
    input.header.dwSize = sizeof(RAWINPUTHEADER) + sizeof mouse;
    input.data.mouse = mouse;
    std::vector<std::byte> bytes(input.header.dwSize);
    std::memcpy(bytes.data(), &input, bytes.size());
    return {std::move(bytes)};
}

inline RAWMOUSE buttons(USHORT flags, USHORT data = 0) {
    RAWMOUSE mouse{};
    mouse.usButtonFlags = flags;
    mouse.usButtonData = data;
    return mouse;
}

inline RAWMOUSE motion(LONG x, LONG y, USHORT flags = MOUSE_MOVE_RELATIVE) {
    RAWMOUSE mouse{};
    mouse.usFlags = flags;
    mouse.lLastX = x;
    mouse.lLastY = y;
    return mouse;
}

/// The Windows driver over a scripted user32.
///
/// Most tests capture without a thread and run the loop themselves, so that everything happens on one thread.
class RawInputDriverTest : public testing::Test {
protected:
    ~RawInputDriverTest() override {
        driver = {};
        standins::failThreadCreation(false);
        zeb::g_buttonSwapState = false;
    }

    /// Installs a handler that keeps the pointer records. The input thread never starts.
    void capture() {
        standins::failThreadCreation(true);
        install();
        standins::failThreadCreation(false);
    }
    void captureOnItsThread() { install(); }

    /// Runs the loop on this thread, through the messages added so far and a stop.
    void run() {
        system.addStop();
        driver->processInput();
    }

    /// The calls, without those of some functions.
    std::vector<std::string> callsBut(std::initializer_list<std::string> functions) const {
        std::vector<std::string> calls = system.calls();
        std::erase_if(calls, [&](const std::string& call) {
            return std::ranges::any_of(functions,
                                       [&](const std::string& name) { return call.starts_with(name + "("); });
        });
        return calls;
    }

    standins::User32 system;
    LogRecorder log;
    common::ComPtr<zeb::RawInputDriver> driver = zeb::makeRawInputDriver();
    std::mutex mutex;
    std::vector<zeb::RawInputDriver::PointerData> records;

private:
    void install() {
        driver->capturePointer(
            common::makeFunctor<zeb::RawInputDriver::Handler>([this](zeb::RawInputDriver::PointerData record) {
                const std::lock_guard guard(mutex);
                records.push_back(record);
            }));
    }
};

}  // namespace unit
