#pragma once

#include <v8.h>

#include <cstdint>
#include <string>

#include "bridge/component.h"

namespace zeb {

/// Services of the Windows desktop for script. Exported as "windows". Holds no state; script thread.
/// Failure: a method that reports one throws a `common::Exception` whose message is the system's text.
class WindowsComponent : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    WindowsComponent(v8::Isolate* isolate, v8::Local<v8::Object> object);
    static common::js::MethodTable methods();

    /// Asks the system to start the application again, without arguments, after it crashed, hung, or was closed for an
    /// update or a restart of the system. Does not report whether the system agreed.
    static void registerApplicationRestart();

    /// Opens an address in the user's default handler, even if an installed application has claimed the address. Does
    /// not wait, and does not report whether a handler was found. Throws `winrt::hresult_error` if the text is not an
    /// absolute address: an assertion failure in a script call.
    static void openExternalIgnoringAppLinking(const std::string& url);

    /// The update build revision: the last number of the full Windows version.
    static std::uint32_t getWindowsUpdateBuildRevision();

    /// Sets a window's normal rectangle and show command (SW_...), and leaves its minimised and maximised positions
    /// alone. `windowHandle` is the value of the HWND. Rectangles are in workspace coordinates, like the system's
    /// window placement.
    static void setWindowPlacement(std::int64_t windowHandle, std::int32_t left, std::int32_t top, std::int32_t right,
                                   std::int32_t bottom, std::int32_t showCommand);
};

}  // namespace zeb
