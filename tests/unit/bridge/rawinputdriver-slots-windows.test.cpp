// The driver's binary layout: slots of the interface, fields of the base.
#include <gtest/gtest.h>

#include <string>

#include "bridge/rawinputdriverbase.h"
#include "common/com/shared_state.h"
#include "unit/support/vtable-windows.h"

namespace zeb {
namespace {

using unit::field;
using unit::slot;

class RecordingDriver : public RawInputDriver {
public:
    using Interfaces = common::TypeList<RawInputDriver>;

    void capturePointer(std::unique_ptr<Handler> handler) override {
        m_calls += "capture ";
        m_handler = std::move(handler);
    }
    void releasePointerCapture() override { m_calls += "release "; }
    bool isPointerCaptured() override {
        m_calls += "captured ";
        return m_handler != nullptr;
    }
    void processInput() override { m_calls += "process "; }
    void interruptInputThread(uv_thread_t thread) override {
        m_calls += "interrupt ";
        m_thread = thread;
    }

    std::string m_calls;
    std::unique_ptr<Handler> m_handler;
    uv_thread_t m_thread{};
};

TEST(RawInputDriverSlots, areCaptureReleaseIsCapturedProcessInterrupt) {
    using Handler = std::unique_ptr<RawInputDriver::Handler>;
    const common::ComPtr<RecordingDriver> driver = common::makeInstance<RecordingDriver, common::ConcurrentRC>();
    RawInputDriver* const base = driver.get();
    Handler handler = common::makeFunctor<RawInputDriver::Handler>([](RawInputDriver::PointerData) {});
    const auto* const raw = handler.get();
    slot<void (*)(void*, Handler*)>(base, 0)(base, &handler);  // a class with a destructor is passed by address
    EXPECT_EQ(driver->m_handler.get(), raw);
    static_cast<void>(handler.release());
    slot<void (*)(void*)>(base, 1)(base);
    EXPECT_TRUE(slot<bool (*)(void*)>(base, 2)(base));
    slot<void (*)(void*)>(base, 3)(base);
    const auto thread = reinterpret_cast<uv_thread_t>(0x1234);
    slot<void (*)(void*, uv_thread_t)>(base, 4)(base, thread);
    EXPECT_EQ(driver->m_thread, thread);
    EXPECT_EQ(driver->m_calls, "capture release captured process interrupt ");
}

class IdleDriver : public RawInputDriverBase {
public:
    using Interfaces = common::TypeList<RawInputDriver>;
    ~IdleDriver() override { releasePointerCapture(); }
    void processInput() override {}
    void interruptInputThread(uv_thread_t thread) override { m_thread = thread; }
    uv_thread_t m_thread{};
};

TEST(RawInputDriverBaseFields, areLockThreadRunningHandler) {
    // Behind the pointers to the function table and to the virtual bases.
    constexpr std::size_t kThread = 16 + sizeof(common::Lock);
    constexpr std::size_t kRunning = kThread + 8;
    constexpr std::size_t kHandler = kRunning + 8;
    const common::ComPtr<IdleDriver> driver = common::makeInstance<IdleDriver, common::ConcurrentRC>();
    const RawInputDriverBase* const base = driver.get();
    EXPECT_EQ(field<void*>(base, kThread), nullptr);
    EXPECT_FALSE(field<bool>(base, kRunning));
    EXPECT_EQ(field<void*>(base, kHandler), nullptr);
    auto handler = common::makeFunctor<RawInputDriver::Handler>([](RawInputDriver::PointerData) {});
    const void* const raw = handler.get();
    driver->capturePointer(std::move(handler));
    const auto thread = field<uv_thread_t>(base, kThread);
    EXPECT_NE(thread, nullptr);
    EXPECT_TRUE(field<bool>(base, kRunning));
    EXPECT_EQ(field<void*>(base, kHandler), raw);
    driver->releasePointerCapture();
    EXPECT_EQ(driver->m_thread, thread);
    EXPECT_FALSE(field<bool>(base, kRunning));
    EXPECT_EQ(field<void*>(base, kHandler), nullptr);
}

}  // namespace
}  // namespace zeb
