#pragma once

#include "bridge/rawinputdriverbase.h"

namespace zeb {

/// Reads the raw mouse input of the whole system, also while the application has no focus.
///
/// Its input thread owns a window that is never shown, registers it for raw input, and runs a message loop until the
/// stop message arrives. The registration belongs to the process: Windows keeps one target per device class, so the end
/// of a capture also ends a registration that the host has made.
/// Failure: if the window or the registration cannot be made, that is logged, and the capture delivers nothing.
class WindowsRawInputDriver : public RawInputDriverBase {
public:
    using Interfaces = common::TypeList<RawInputDriver>;

    ~WindowsRawInputDriver() override;

    void processInput() override;
    void interruptInputThread(uv_thread_t thread) override;
};

}  // namespace zeb
