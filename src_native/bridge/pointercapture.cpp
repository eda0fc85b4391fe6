#include "bridge/pointercapture.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <span>
#include <string_view>
#include <utility>

#include "bridge/record_traits.h"
#include "common/utils/log.h"

namespace zeb {

namespace {

using common::ComPtr;
using common::LockGuard;
using common::SourceLocation;
using common::diagnostics::Log;
using common::js::Environment;

/// Keeps the event loop running while it lives. Script thread.
class LoopHold {
public:
    explicit LoopHold(uv_async_t* handle) noexcept : m_handle(reinterpret_cast<uv_handle_t*>(handle)) {
        if (m_handle != nullptr) uv_ref(m_handle);
    }
    LoopHold(LoopHold&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    LoopHold& operator=(LoopHold&&) = delete;
    ~LoopHold() {
        if (m_handle != nullptr) uv_unref(m_handle);
    }

private:
    uv_handle_t* m_handle;
};

bool isMotion(const MotionEventData& motion) { return motion.offset.x != 0 || motion.offset.y != 0; }

// A capture keeps the memory of its queue from drain to drain, but not that of a burst while script was busy.
constexpr std::size_t kKeptRecords = std::size_t{16} * 1024;

// Records that came while callbacks ran are delivered at once, for waking the loop costs more than many of them. After
// so long the loop has its turn: its timers and its input must not wait for a pointer that never rests.
constexpr std::uint64_t kTurnNanoseconds = 1'000'000;

template <typename... Args>
v8::Local<v8::Value> scriptFunction(v8::Isolate* isolate,
                                    const common::FunctorClass<0, void, common::TypeList<Args...>>* callback) {
    // Callbacks come from script: the binding layer makes nothing else.
    const auto* const marshaller = static_cast<const common::js::FunctionMarshaller<void, Args...>*>(callback);
    if (marshaller == nullptr) return v8::Undefined(isolate);
    return marshaller->function(isolate);
}

bool isTransition(const ButtonsEventData& buttons) {
    return buttons.left != 0 || buttons.middle != 0 || buttons.right != 0;
}

}  // namespace

PointerCaptureImpl::PointerCaptureImpl(ComPtr<RawInputDriver>&& driver)
    : EnvironmentObserver(Environment::of(v8::Isolate::GetCurrent())), m_driver(std::move(driver)) {
    Log::write(Log::Level::information,
               SourceLocation{"zeb::PointerCaptureImpl::PointerCaptureImpl", "src_native/bridge/pointercapture", 20},
               "Native: capture pointer");
    if (Environment* const environment = Environment::of(v8::Isolate::GetCurrent())) {
        m_wake = environment->makeAsyncHandle(this, &onPendingPointerData);
    }
}

PointerCaptureImpl::~PointerCaptureImpl() { close(); }

// Whoever is not told by a collection is told by the environment: from here on no thread and no handle refers to this.
void PointerCaptureImpl::onEnvironmentEnd() noexcept { close(); }

void PointerCaptureImpl::close() noexcept {
    if (m_driver) {
        m_driver->releasePointerCapture();
        m_driver.reset();
    }
    m_wake.reset();
}

void PointerCaptureImpl::setButtonsEventCallback(std::unique_ptr<ButtonsCallback> callback) {
    const LockGuard guard(m_lock);
    m_buttonsCallback = std::move(callback);
    callbackReplaced();
}

void PointerCaptureImpl::setMotionEventCallback(std::unique_ptr<MotionCallback> callback) {
    const LockGuard guard(m_lock);
    m_motionCallback = std::move(callback);
    callbackReplaced();
}

void PointerCaptureImpl::callbackReplaced() noexcept {
    if (m_delivery != nullptr) m_delivery->interrupt();
}

void PointerCaptureImpl::startCapturing() {
    if (!m_driver || m_driver->isPointerCaptured()) return;
    // The driver drops the handler, and with it the hold, on the script thread.
    m_driver->capturePointer(common::makeFunctor<RawInputDriver::Handler>(
        [this, hold = LoopHold(m_wake.get())](const RawInputDriver::PointerData& record) { enqueue(record); }));
}

void PointerCaptureImpl::stopCapturing() {
    const ComPtr<RawInputDriver> driver = m_driver;  // a log handler may end the environment meanwhile
    if (!driver || !driver->isPointerCaptured()) return;
    driver->releasePointerCapture();
}

void PointerCaptureImpl::enqueue(const RawInputDriver::PointerData& record) {
    const LockGuard guard(m_lock);
    if (!m_wake) return;  // nobody could be woken to take it
    try {
        m_pending.push_back(record);
    } catch (const std::bad_alloc&) {
        return;  // script has been busy for so long that its queue fills the memory: the newest records are lost
    }
    uv_async_send(m_wake.get());
}

void PointerCaptureImpl::onPendingPointerData(uv_async_t* handle) {
    try {
        if (auto* const capture = static_cast<PointerCaptureImpl*>(handle->data)) capture->drain();
    } catch (const std::bad_alloc&) {
        // What was taken is delivered with the next record. An exception must not reach the loop's C frames.
    }
}

bool PointerCaptureImpl::takePending() {
    const LockGuard guard(m_lock);
    if (m_pending.empty()) return false;
    if (m_taken.empty()) {
        m_taken.swap(m_pending);
    } else {
        m_taken.insert(m_taken.end(), m_pending.begin(), m_pending.end());
        m_pending.clear();
    }
    return true;
}

void PointerCaptureImpl::drain() {
    const ComPtr<PointerCapture> alive(this);  // a callback may lose the wrapper to a collection
    const std::uint64_t end = uv_hrtime() + kTurnNanoseconds;
    do {
        Environment* const environment = Environment::of(v8::Isolate::GetCurrent());  // a callback may end it
        if (environment == nullptr || !takePending()) return;
        if (!deliverTaken(*environment)) return;  // a script that is being terminated must not be run again
    } while (uv_hrtime() < end);
}

bool PointerCaptureImpl::deliverTaken(Environment& environment) {
    const common::js::DrainScope scope(environment);
    if (PointerDelivery* const interrupted = std::exchange(m_delivery, nullptr)) {
        // A callback further up the stack runs the loop. What its drain has not delivered comes before what is new.
        m_step += interrupted->nextStep();
        interrupted->interrupt();
    }
    const PointerDelivery::Use use(environment);
    bool delivered = true;
    if (use.get() != nullptr) {
        delivered = deliver(*use.get());
    } else {
        deliverOneByOne();
    }
    m_step = 0;
    m_taken.clear();
    if (m_taken.capacity() > kKeptRecords) m_taken.shrink_to_fit();
    return delivered;
}

bool PointerCaptureImpl::deliver(PointerDelivery& delivery) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    while (m_step / 2 < m_taken.size()) {
        const std::size_t first = m_step / 2;
        const std::size_t count = std::min(m_taken.size() - first, PointerDelivery::kCapacity);
        const std::size_t inFirst = m_step % 2;
        const v8::HandleScope scope(isolate);
        // Read anew after every interruption: that is when one of them has been replaced.
        const PointerDelivery::Callbacks callbacks{scriptFunction(isolate, m_motionCallback.get()),
                                                   scriptFunction(isolate, m_buttonsCallback.get())};
        m_step = first * 2;
        m_delivery = &delivery;
        const auto reached = delivery.deliver(std::span(m_taken).subspan(first, count), inFirst, callbacks);
        if (std::exchange(m_delivery, nullptr) == nullptr) continue;  // another drain has gone on, and moved m_step
        if (!reached) return false;  // nor would single calls run: what is left is dropped, as what callbacks throw is
        m_step += *reached;
    }
    return true;
}

void PointerCaptureImpl::deliverOneByOne() {
    while (m_step / 2 < m_taken.size()) {
        const RawInputDriver::PointerData record = m_taken[m_step / 2];
        const bool isMotionStep = m_step++ % 2 == 0;  // moved on first: a callback may run the loop, and so a drain
        if (isMotionStep) {
            if (m_motionCallback && isMotion(record.motion)) (*m_motionCallback)(record.motion);
        } else {
            if (m_buttonsCallback && isTransition(record.buttons)) (*m_buttonsCallback)(record.buttons);
        }
    }
}

}  // namespace zeb

common::js::MethodTable common::js::MethodsOf<zeb::PointerCapture>::table() {
    using zeb::PointerCapture;
    static constexpr std::array methods{
        methodEntry<PointerCapture, &PointerCapture::stopCapturing>("stopCapturing"),
        methodEntry<PointerCapture, &PointerCapture::startCapturing>("startCapturing"),
        methodEntry<PointerCapture, &PointerCapture::setMotionEventCallback>("setMotionEventCallback"),
        methodEntry<PointerCapture, &PointerCapture::setButtonsEventCallback>("setButtonsEventCallback"),
    };
    return methods;
}
