#include <gtest/gtest.h>
#include <windows.h>

#include "bridge/thread_detach.h"

namespace zeb {
namespace {

DWORD WINAPI waitForEvent(void* event) { return WaitForSingleObject(event, INFINITE); }

TEST(ThreadDetachTest, theHandleIsClosedAndTheThreadGoesOn) {
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_NE(event, nullptr);
    const HANDLE thread = CreateThread(nullptr, 0, &waitForEvent, event, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    HANDLE own = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &own, SYNCHRONIZE, FALSE, 0));

    detachThread(thread);
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(thread, &flags));
    EXPECT_EQ(WaitForSingleObject(own, 0), static_cast<DWORD>(WAIT_TIMEOUT));

    SetEvent(event);
    EXPECT_EQ(WaitForSingleObject(own, 60'000), WAIT_OBJECT_0);
    CloseHandle(own);
    CloseHandle(event);
}

}  // namespace
}  // namespace zeb
