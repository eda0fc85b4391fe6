#include "bridge/platform/Windows/window-component.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <string>
#include <string_view>

#include "bridge/system_error_text.h"
#include "common/utils/failure.h"

namespace zeb {
namespace {

/// What the component's system calls return. The script tests see the arguments; they cannot see which place a failure
/// names.
struct System {
    LSTATUS registryStatus = ERROR_SUCCESS;
    bool readsPlacement = true;
    bool writesPlacement = true;
    DWORD lastError = ERROR_SUCCESS;
};
System g_system;

LSTATUS WINAPI getRegistryValue(HKEY, const wchar_t*, const wchar_t*, DWORD, DWORD*, void* data, DWORD*) {
    *static_cast<DWORD*>(data) = 4291;
    return g_system.registryStatus;
}

BOOL WINAPI readPlacement(HWND, WINDOWPLACEMENT*) {
    SetLastError(g_system.lastError);
    return g_system.readsPlacement;
}

BOOL WINAPI writePlacement(HWND, const WINDOWPLACEMENT*) {
    SetLastError(g_system.lastError);
    return g_system.writesPlacement;
}

}  // namespace
}  // namespace zeb

// The pointers that the component's imports read. They replace the import libraries' own.
extern "C" {
extern decltype(&RegGetValueW) const __imp_RegGetValueW = &zeb::getRegistryValue;
extern decltype(&GetWindowPlacement) const __imp_GetWindowPlacement = &zeb::readPlacement;
extern decltype(&SetWindowPlacement) const __imp_SetWindowPlacement = &zeb::writePlacement;
}

namespace zeb {
namespace {

class WindowsComponentTest : public testing::Test {
protected:
    WindowsComponentTest() { g_system = System(); }

    static void place() { WindowsComponent::setWindowPlacement(1, 2, 3, 4, 5, SW_SHOWNORMAL); }

    static void expectFailure(const std::function<void()>& call, std::string_view function, std::uint32_t line,
                              std::uint32_t code) {
        try {
            call();
            FAIL() << "nothing was thrown";
        } catch (const common::Exception& failure) {
            EXPECT_EQ(failure.message(), systemErrorTextUtf8(code));
            EXPECT_EQ(failure.location().function, function);
            EXPECT_EQ(failure.location().file, "src_native/bridge/platform/Windows/window-component");
            EXPECT_EQ(failure.location().line, line);
            EXPECT_EQ(failure.code(), 0u);
        }
    }
};

TEST_F(WindowsComponentTest, revisionIsTheRegistrysNumber) {
    EXPECT_EQ(WindowsComponent::getWindowsUpdateBuildRevision(), 4291u);
}

TEST_F(WindowsComponentTest, unreadableRevisionSaysWhereAndWhy) {
    g_system.registryStatus = ERROR_ACCESS_DENIED;
    g_system.lastError = ERROR_FILE_NOT_FOUND;
    expectFailure([] { WindowsComponent::getWindowsUpdateBuildRevision(); },
                  "zeb::WindowsComponent::getWindowsUpdateBuildRevision", 79, ERROR_ACCESS_DENIED);
}

TEST_F(WindowsComponentTest, unreadablePlacementSaysWhereAndWhy) {
    g_system.readsPlacement = false;
    g_system.lastError = ERROR_INVALID_WINDOW_HANDLE;
    expectFailure(&place, "zeb::WindowsComponent::setWindowPlacement", 48, ERROR_INVALID_WINDOW_HANDLE);
}

TEST_F(WindowsComponentTest, unwritablePlacementSaysWhereAndWhy) {
    g_system.writesPlacement = false;
    g_system.lastError = ERROR_INVALID_PARAMETER;
    expectFailure(&place, "zeb::WindowsComponent::setWindowPlacement", 60, ERROR_INVALID_PARAMETER);
    g_system.writesPlacement = true;
    EXPECT_NO_THROW(place());
}

}  // namespace
}  // namespace zeb
