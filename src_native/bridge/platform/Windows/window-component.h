#pragma once

#include <v8.h>

#include <cstdint>
#include <string>

#include "bridge/component.h"

namespace zeb {

/// Services of the Windows desktop for script. Exported as "windows". Holds no state; script thread.
/// Failure, where a method reports one: a `common::Exception` whose message is the system's text.
class WindowsComponent : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    WindowsComponent(v8::Isolate* isolate, v8::Local<v8::Object> object);
    static common::js::MethodTable methods();

    /// Has the system start the application again, without arguments, after it crashed, hung, or made way for an
    /// update or a restart of the system. Whether the system agreed is not reported.
    static void registerApplicationRestart();

    /// Opens an address in the user's default handler, even when an installed application has claimed it. Does not
    /// wait, and does not report whether a handler was found.
    /// Throws `winrt::hresult_error` for what is no absolute address: an assertion failure in a script call.
    static void openExternalIgnoringAppLinking(const std::string& url);

    /// The update build revision: the last number of the full Windows version.
    static std::uint32_t getWindowsUpdateBuildRevision();

    /// Sets a window's normal rectangle and show command (SW_...), and leaves where it is minimised and maximised to.
    /// `windowHandle` is the HWND's value. Rectangles are in workspace coordinates, as the system's placement has them.
    static void setWindowPlacement(std::int64_t windowHandle, std::int32_t left, std::int32_t top, std::int32_t right,
                                   std::int32_t bottom, std::int32_t showCommand);
};

}  // namespace zeb
