#pragma once

#include "bridge/rawinputdriverbase.h"

namespace zeb {

/// Reads raw mouse input of the whole system, also while the application has no focus.
///
/// Its input thread owns a window that is never shown, registers it for raw input, and runs a message loop until the
/// stop message comes. The registration is the process's: Windows keeps one target per device class, so the end of a
/// capture also ends a registration that the host made for itself.
/// Failure: a window or a registration that cannot be made is logged; the capture then delivers nothing.
class WindowsRawInputDriver : public RawInputDriverBase {
public:
    using Interfaces = common::TypeList<RawInputDriver>;

    ~WindowsRawInputDriver() override;

    void processInput() override;
    void interruptInputThread(uv_thread_t thread) override;
};

}  // namespace zeb
