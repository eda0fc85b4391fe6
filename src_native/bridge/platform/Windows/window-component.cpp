#include "bridge/platform/Windows/window-component.h"

#include <windows.h>

#include <winrt/Windows.Foundation.h>
#include <winrt/Windows.System.h>

#include <array>
#include <string_view>

#include "bridge/system_error_text.h"
#include "common/utils/system_exception.h"
#include "common/utils/text.h"
#include "common/v8binding/v8binding.h"

namespace zeb {

namespace {

common::common_internal::SystemException failure(std::string_view function, std::uint32_t line, DWORD error) {
    return {{function, "src_native/bridge/platform/Windows/window-component", line}, systemErrorTextUtf8(error), error};
}

}  // namespace

common::js::MethodTable WindowsComponent::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<WindowsComponent, &WindowsComponent::registerApplicationRestart>("registerApplicationRestart"),
        methodEntry<WindowsComponent, &WindowsComponent::openExternalIgnoringAppLinking>(
            "openExternalIgnoringAppLinking"),
        methodEntry<WindowsComponent, &WindowsComponent::getWindowsUpdateBuildRevision>(
            "getWindowsUpdateBuildRevision"),
        methodEntry<WindowsComponent, &WindowsComponent::setWindowPlacement>("setWindowPlacement"),
    };
    return table;
}

WindowsComponent::WindowsComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, methods());
}

void WindowsComponent::registerApplicationRestart() { static_cast<void>(RegisterApplicationRestart(nullptr, 0)); }

void WindowsComponent::openExternalIgnoringAppLinking(const std::string& url) {
    const winrt::Windows::Foundation::Uri address(common::utf8ToUtf16(url));
    const winrt::Windows::System::LauncherOptions options;
    options.IgnoreAppUriHandlers(true);
    static_cast<void>(winrt::Windows::System::Launcher::LaunchUriAsync(address, options));
}

std::uint32_t WindowsComponent::getWindowsUpdateBuildRevision() {
    std::uint32_t revision = 0;
    DWORD size = sizeof revision;
    const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", L"UBR",
                                        RRF_RT_REG_DWORD, nullptr, &revision, &size);
    if (status != ERROR_SUCCESS) {
        throw failure("zeb::WindowsComponent::getWindowsUpdateBuildRevision", 79, static_cast<DWORD>(status));
    }
    return revision;
}

void WindowsComponent::setWindowPlacement(std::int64_t windowHandle, std::int32_t left, std::int32_t top,
                                          std::int32_t right, std::int32_t bottom, std::int32_t showCommand) {
    constexpr std::string_view function = "zeb::WindowsComponent::setWindowPlacement";
    const HWND window = reinterpret_cast<HWND>(static_cast<std::intptr_t>(windowHandle));
    // GetWindowPlacement does not read the length, contrary to its documentation; it fills the length in with the rest
    // of the structure. SetWindowPlacement does read it, and so gets the system's own value.
    WINDOWPLACEMENT placement{};
    if (!GetWindowPlacement(window, &placement)) throw failure(function, 48, GetLastError());
    placement.rcNormalPosition = {left, top, right, bottom};
    placement.showCmd = static_cast<UINT>(showCommand);
    if (!SetWindowPlacement(window, &placement)) throw failure(function, 60, GetLastError());
}

}  // namespace zeb
