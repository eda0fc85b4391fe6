#pragma once

#include <uv.h>

#include <cstdint>
#include <memory>

#include "common/com/comptr.h"
#include "common/com/interfaces.h"
#include "common/utils/functor.h"

namespace zeb {

struct Point {
    std::int32_t x;
    std::int32_t y;
};

/// What happened to a button in one raw input report.
enum class ButtonTransition : std::int32_t {
    unchanged = 0,
    released = 1,
    pressed = 2,
};

struct MotionEventData {
    Point offset;       ///< relative motion in the device's raw counts, without acceleration or scaling
    Point screenPoint;  ///< the system cursor in virtual-screen pixels, read when the raw input report was processed
};

/// The `ButtonTransition` of each logical button. The user's button swap is already applied.
struct ButtonsEventData {
    std::int32_t left;
    std::int32_t middle;
    std::int32_t right;
};

/// A source of pointer records with one handler at a time and one thread per capture.
///
/// Threads: the script thread, except that any thread may call `isPointerCaptured` and that the input thread runs
/// `processInput`. The handler runs on the input thread, under the driver's lock; it must not call the driver.
/// The order of the virtual functions is fixed.
struct RawInputDriver : virtual IRefCounted {
    /// One pointer record: what one raw input report says.
    struct PointerData {
        MotionEventData motion;
        ButtonsEventData buttons;
    };

    using Handler = common::FunctorClass<1, void, common::TypeList<PointerData>>;

    /// Installs `handler` and starts the input thread. If a handler is installed already, throws "Pointer already
    /// captured." and drops the new one.
    virtual void capturePointer(std::unique_ptr<Handler> handler) = 0;
    /// Drops the handler, stops the input thread and waits for it to end; writes a log record if a capture was running.
    /// The handler is not called after this returns. Does nothing without a capture.
    virtual void releasePointerCapture() = 0;
    virtual bool isPointerCaptured() = 0;
    /// Reads input until it is interrupted.
    virtual void processInput() = 0;
    /// Makes the `processInput` that runs on `thread` return soon, even if the thread was only just started.
    virtual void interruptInputThread(uv_thread_t thread) = 0;
};

/// The platform's driver. Empty if there is no memory.
common::ComPtr<RawInputDriver> makeRawInputDriver();

}  // namespace zeb
