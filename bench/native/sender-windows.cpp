// A mouse of the system: a thread that sends real input to whatever listens in this process.
#include <node_api.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <thread>

#include "native/mouse.h"
#include "native/mouse_script.h"

namespace {

using zeb::bench::Clock;

constexpr std::uint32_t kRow = 1001;

struct Sender {
    std::uint32_t rate = 0;
    std::uint32_t milliseconds = 0;
    std::int32_t* sentAt = nullptr;  // script keeps both alive
    std::int32_t* took = nullptr;
    std::size_t capacity = 0;
    HWND woken = nullptr;
    std::atomic<bool> hasEnded{false};
    zeb::bench::MouseTally tally;
    std::thread thread;
};

Sender g_sender;

// Single steps along rows, to and fro: no two reports lead to the same place, and none is accelerated.
void step(std::uint32_t number) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = MOUSEEVENTF_MOVE;
    const bool isRowsEnd = number % kRow == kRow - 1;
    input.mi.dy = isRowsEnd ? 1 : 0;
    input.mi.dx = isRowsEnd ? 0 : (number / kRow % 2 == 0 ? 1 : -1);
    SendInput(1, &input, sizeof input);
}

void send() {
    std::uint32_t number = 0;
    bool isFirst = true;  // of the reports that are sent at once
    g_sender.tally = zeb::bench::runMouse(g_sender.rate, g_sender.milliseconds, [&](std::int32_t, bool isLast) {
        if (number >= g_sender.capacity) return;
        const Clock::time_point before = Clock::now();
        g_sender.sentAt[number] = zeb::bench::toStamp(before);
        step(number);
        g_sender.took[number] =
            static_cast<std::int32_t>(std::chrono::duration_cast<zeb::bench::Stamp>(Clock::now() - before).count());
        ++number;
        // When raw input comes, Windows wakes a thread that waits for a range of messages; Wine does not.
        if (g_sender.woken != nullptr && (isFirst || isLast)) PostMessageW(g_sender.woken, WM_APP, 0, 0);
        isFirst = isLast;
    });
    g_sender.hasEnded.store(true);
}

// (reports a second, milliseconds, sentAt: Int32Array, took: Int32Array, the window whose thread is woken, or 0)
napi_value start(napi_env env, napi_callback_info info) {
    std::size_t count = 5;
    std::array<napi_value, 5> arguments{};
    napi_get_cb_info(env, info, &count, arguments.data(), nullptr, nullptr);
    napi_get_value_uint32(env, arguments[0], &g_sender.rate);
    napi_get_value_uint32(env, arguments[1], &g_sender.milliseconds);
    void* data = nullptr;
    napi_get_typedarray_info(env, arguments[2], nullptr, &g_sender.capacity, &data, nullptr, nullptr);
    g_sender.sentAt = static_cast<std::int32_t*>(data);
    napi_get_typedarray_info(env, arguments[3], nullptr, nullptr, &data, nullptr, nullptr);
    g_sender.took = static_cast<std::int32_t*>(data);
    std::int64_t window = 0;
    napi_get_value_int64(env, arguments[4], &window);
    g_sender.woken = reinterpret_cast<HWND>(window);
    g_sender.hasEnded.store(false);
    g_sender.thread = std::thread(&send);
    return nullptr;
}

// The tally, once, when the mouse has ended.
napi_value finish(napi_env env, napi_callback_info) {
    if (!g_sender.hasEnded.load()) return nullptr;
    g_sender.thread.join();
    return zeb::bench::toScript(env, g_sender.tally);
}

napi_value initialize(napi_env env, napi_value exports) {
    using Function = napi_value (*)(napi_env, napi_callback_info);
    struct Named {
        const char* name;
        Function function;
    };
    for (const Named& entry : std::array<Named, 4>{{{"start", &start},
                                                    {"finish", &finish},
                                                    {"now", &zeb::bench::now},
                                                    {"threadTime", &zeb::bench::scriptThreadTime}}}) {
        napi_value function = nullptr;
        napi_create_function(env, entry.name, NAPI_AUTO_LENGTH, entry.function, nullptr, &function);
        napi_set_named_property(env, exports, entry.name, function);
    }
    return exports;
}

}  // namespace

NAPI_MODULE(zebbridge_sender, initialize)
