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

/// What happened to a button in one input report.
enum class ButtonTransition : std::int32_t {
    unchanged = 0,
    released = 1,
    pressed = 2,
};

struct MotionEventData {
    Point offset;       ///< relative motion in the device's raw counts, without acceleration or scaling
    Point screenPoint;  ///< the system cursor in virtual-screen pixels, read when the report was processed
};

/// `ButtonTransition` of each logical button: the user's button swap is already applied.
struct ButtonsEventData {
    std::int32_t left;
    std::int32_t middle;
    std::int32_t right;
};

/// A source of pointer records with one handler at a time and one thread per capture.
///
/// Threads: the script thread, except that `isPointerCaptured` may be called on any and `processInput` is the input
/// thread's body. The handler runs on the input thread, under the driver's lock; it must not call the driver.
/// The virtual operations keep this order.
struct RawInputDriver : virtual IRefCounted {
    /// One input report.
    struct PointerData {
        MotionEventData motion;
        ButtonsEventData buttons;
    };

    using Handler = common::FunctorClass<1, void, common::TypeList<PointerData>>;

    /// Installs `handler` and starts the input thread. Throws "Pointer already captured." and drops the handler it was
    /// given when one is installed.
    virtual void capturePointer(std::unique_ptr<Handler> handler) = 0;
    /// Drops the handler, stops the input thread and waits for its end; logs when there was one. No handler call
    /// follows the return. Harmless without a capture.
    virtual void releasePointerCapture() = 0;
    virtual bool isPointerCaptured() = 0;
    /// Reads input until interrupted.
    virtual void processInput() = 0;
    /// Makes the `processInput` that runs on `thread` return soon. A stop that comes before the thread can hear it is
    /// not lost.
    virtual void interruptInputThread(uv_thread_t thread) = 0;
};

/// The platform's driver. Empty when there is no memory.
common::ComPtr<RawInputDriver> makeRawInputDriver();

}  // namespace zeb
