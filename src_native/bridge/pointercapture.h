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

/// What `hardware.capturePointer()` gives to script: brings the driver's records to two script callbacks.
///
/// Script thread. The virtual operations keep this order.
struct PointerCapture : virtual IRefCounted {
    using ButtonsCallback = common::FunctorClass<0, void, common::TypeList<ButtonsEventData>>;
    using MotionCallback = common::FunctorClass<0, void, common::TypeList<MotionEventData>>;

    /// Replaces the callback; an empty one stops that kind of event, not the capture. Also from inside the callback.
    virtual void setButtonsEventCallback(std::unique_ptr<ButtonsCallback> callback) = 0;
    virtual void setMotionEventCallback(std::unique_ptr<MotionCallback> callback) = 0;
    /// Starts to capture. Does nothing while any capture object of the same component captures.
    virtual void startCapturing() = 0;
    /// Ends the capture that runs, whichever capture object of the component started it.
    virtual void stopCapturing() = 0;

    static common::js::MethodTable methods();
};

/// Queues the driver's records on the input thread and hands them to the callbacks on the script thread.
///
/// A record becomes a motion event when its offset is not (0, 0), then a buttons event when a button changed. All
/// records found by one turn of the event loop are delivered in it, in order; what a callback throws is dropped. A
/// callback that runs the event loop itself gets its successors there, in the same order.
/// While it captures, and until what it has read is delivered, the object keeps the event loop running; an idle one
/// does not.
/// Destroyed when script has lost its wrapper; that ends the component's running capture, also another object's.
class PointerCaptureImpl : public PointerCapture,
                           public common::js::V8WeakReferenceHolder,
                           private common::js::EnvironmentObserver {
public:
    using Interfaces = common::TypeList<PointerCapture, common::js::V8WeakReferenceHolder>;

    /// For the environment whose method is running. `deliveries` are shared by the captures of one component.
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
    // This and `deliver`: false when the engine runs no script here any more.
    bool deliverTaken(common::js::Environment& environment);
    bool deliver(PointerDelivery& delivery);
    void advance(PointerDelivery::Position reached) noexcept;
    void callbackReplaced() noexcept;
    void close() noexcept;

    common::ComPtr<RawInputDriver> m_driver;
    std::shared_ptr<PointerDeliveries> m_deliveries;
    common::js::AsyncHandle m_wake;
    std::unique_ptr<ButtonsCallback> m_buttonsCallback;  // replaced under the lock; read by the script thread only
    std::unique_ptr<MotionCallback> m_motionCallback;
    common::Lock m_lock;
    std::vector<RawInputDriver::PointerData> m_pending ZEB_GUARDED_BY(m_lock);
    // What drains have taken and not delivered yet, from m_next on. Between drains it is the memory that m_pending gets
    // back at the next one.
    std::vector<RawInputDriver::PointerData> m_taken;
    PointerDelivery::Position m_next;
    PointerDelivery* m_delivery = nullptr;  // delivers for this object at this moment, from record m_next on
    bool m_hasHandler = false;              // the driver holds a handler of this object
    bool m_isClosed = false;
    // After a stop, until what has been read is delivered: script may have lost the wrapper by then.
    common::ComPtr<PointerCapture> m_untilDelivered;
};

}  // namespace zeb
