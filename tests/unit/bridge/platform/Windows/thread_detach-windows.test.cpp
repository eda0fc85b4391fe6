#include <gtest/gtest.h>
#include <windows.h>

#include "bridge/thread_detach.h"

namespace zeb {
namespace {

struct Events {
    HANDLE running;
    HANDLE end;
};

DWORD WINAPI waitForEnd(void* argument) {
    const auto* const events = static_cast<const Events*>(argument);
    SetEvent(events->running);
    return WaitForSingleObject(events->end, INFINITE);
}

TEST(ThreadDetachTest, theHandleIsClosedAndTheThreadGoesOn) {
    Events events{CreateEventW(nullptr, TRUE, FALSE, nullptr), CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const HANDLE thread = CreateThread(nullptr, 0, &waitForEnd, &events, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    ASSERT_EQ(WaitForSingleObject(events.running, 60'000), WAIT_OBJECT_0);  // it makes no more handles
    HANDLE own = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &own, SYNCHRONIZE, FALSE, 0));

    detachThread(thread);
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(thread, &flags));
    EXPECT_EQ(WaitForSingleObject(own, 0), static_cast<DWORD>(WAIT_TIMEOUT));

    SetEvent(events.end);
    EXPECT_EQ(WaitForSingleObject(own, 60'000), WAIT_OBJECT_0);
    CloseHandle(own);
    CloseHandle(events.end);
    CloseHandle(events.running);
}

}  // namespace
}  // namespace zeb
