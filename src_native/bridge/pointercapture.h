#pragma once

#include <uv.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "bridge/pointer_delivery.h"
#include "bridge/rawinputdriver.h"
#include "common/com/comptr.h"
#include "common/utils/lock.h"
#include "common/v8binding/async_handle.h"
#include "common/v8binding/environment_observer.h"
#include "common/v8binding/v8binding.h"
#include "common/v8binding/weak_reference_holder.h"

namespace zeb {

/// The object that `hardware.capturePointer()` returns to script: delivers the driver's pointer records to two script
/// callbacks.
///
/// Script thread. The order of the virtual functions is fixed.
struct PointerCapture : virtual IRefCounted {
    using ButtonsCallback = common::FunctorClass<0, void, common::TypeList<ButtonsEventData>>;
    using MotionCallback = common::FunctorClass<0, void, common::TypeList<MotionEventData>>;

    /// Replaces the callback; the callback itself may call this. An empty one stops that kind of event, not the
    /// capture.
    virtual void setButtonsEventCallback(std::unique_ptr<ButtonsCallback> callback) = 0;
    virtual void setMotionEventCallback(std::unique_ptr<MotionCallback> callback) = 0;
    /// Starts to capture. Does nothing while any capture object of the same component captures.
    virtual void startCapturing() = 0;
    /// Ends the capture that runs, whichever capture object of the component started it.
    virtual void stopCapturing() = 0;

    static common::js::MethodTable methods();
};

/// Queues the driver's pointer records on the input thread and passes them to the callbacks on the script thread.
///
/// A pointer record becomes a motion event if its offset is not (0, 0), then a buttons event if a button changed. Each
/// drain delivers the pointer records in order; what a callback throws is ignored. If a callback runs the event loop
/// itself, the pointer records after its own are delivered there, in the same order.
/// The object keeps the event loop running while it captures and until what it has read is delivered. An idle object
/// does not.
/// Destroyed when its wrapper has been garbage-collected. That ends the component's running capture, even if another
/// object started it.
class PointerCaptureImpl : public PointerCapture,
                           public common::js::V8WeakReferenceHolder,
                           private common::js::EnvironmentObserver {
public:
    using Interfaces = common::TypeList<PointerCapture, common::js::V8WeakReferenceHolder>;

    /// For the environment whose method is running. The captures of one component share `deliveries`.
    PointerCaptureImpl(common::ComPtr<RawInputDriver>&& driver, std::shared_ptr<PointerDeliveries> deliveries);
    ~PointerCaptureImpl() override;

    void setButtonsEventCallback(std::unique_ptr<ButtonsCallback> callback) override;
    void setMotionEventCallback(std::unique_ptr<MotionCallback> callback) override;
    void startCapturing() override;
    void stopCapturing() override;

private:
    class Handler;

    static void onPendingPointerData(uv_async_t* handle);

    void onEnvironmentEnd() noexcept override;
    void enqueue(const RawInputDriver::PointerData& record);
    void onHandlerDropped() noexcept;
    void drain();
    void deliverPending();
    bool takePending();
    bool hasUndelivered() noexcept;
    void forgetTaken();
    // This and `deliver` return false if script may not be called now: a callback was ended, or the environment is
    // stopped.
    bool deliverTaken(common::js::Environment& environment);
    bool deliver(PointerDelivery& delivery);
    bool isScriptReady();
    void advance(PointerDelivery::Position reached) noexcept;
    void callbackReplaced() noexcept;
    void close() noexcept;

    common::ComPtr<RawInputDriver> m_driver;
    std::shared_ptr<PointerDeliveries> m_deliveries;
    common::js::AsyncHandle m_wake;
    std::unique_ptr<ButtonsCallback> m_buttonsCallback;  // replaced under the lock; only the script thread reads it
    std::unique_ptr<MotionCallback> m_motionCallback;
    common::Lock m_lock;
    std::vector<RawInputDriver::PointerData> m_pending ZEB_GUARDED_BY(m_lock);
    // What drains have taken and not yet delivered, from m_next on. Between drains, this keeps memory that the next
    // drain swaps with m_pending's.
    std::vector<RawInputDriver::PointerData> m_taken;
    PointerDelivery::Position m_next;
    PointerDelivery* m_delivery = nullptr;  // delivers for this object right now, from m_next on
    bool m_hasHandler = false;              // the driver has a handler of this object
    bool m_isClosed = false;
    // After a stop, until what was read is delivered, because script may have lost the wrapper by then.
    common::ComPtr<PointerCapture> m_untilDelivered;
};

}  // namespace zeb
