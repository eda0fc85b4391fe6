#pragma once

#include <uv.h>

#include <memory>

#include "bridge/rawinputdriver.h"
#include "common/utils/lock.h"

namespace zeb {

/// The part of a driver that is the same on every platform: the handler, starting and stopping the input thread, and
/// passing on pointer records. A platform's driver adds the input loop and how to interrupt it. It must release the
/// capture in its own destructor, while its `interruptInputThread` still exists.
///
/// The lock guards the handler. It is held while the handler runs, which takes the capture object's lock; that order is
/// never reversed. It is not held while the input thread is joined.
class RawInputDriverBase : public RawInputDriver {
public:
    RawInputDriverBase() = default;
    ~RawInputDriverBase() override;

    void capturePointer(std::unique_ptr<Handler> handler) override;
    void releasePointerCapture() override;
    bool isPointerCaptured() override;

    /// Passes a copy of the pointer record to the handler, if one is installed. Input thread.
    void dispatchPointerData(const PointerData& record);

private:
    static void inputThreadMain(void* driver) noexcept;

    common::Lock m_lock;
    uv_thread_t m_inputThread{};  // zero if no thread was started
    bool m_running = false;       // script thread only
    std::unique_ptr<Handler> m_handler ZEB_GUARDED_BY(m_lock);
};

}  // namespace zeb
