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
#include "common/v8binding/environment.h"

namespace zeb {

namespace {

using common::ComPtr;
using common::LockGuard;
using common::SourceLocation;
using common::diagnostics::Log;
using common::js::Environment;
using common::js::ScriptState;

// A capture keeps the memory of its queue between drains, but not the memory of a burst that came while script was
// busy.
constexpr std::size_t kKeptRecords = std::size_t{16} * 1024;

// Pointer records that arrive while callbacks run are delivered at once, because waking the loop costs more than many
// of them. After this time the loop gets its turn: its timers and its input must not wait for a pointer that never
// rests.
constexpr std::uint64_t kTurnNanoseconds = 1'000'000;

template <typename... Args>
v8::Local<v8::Value> scriptFunction(v8::Isolate* isolate,
                                    const common::FunctorClass<0, void, common::TypeList<Args...>>* callback) {
    // The binding layer makes every callback of this kind, from a script function.
    const auto* const marshaller = static_cast<const common::js::FunctionMarshaller<void, Args...>*>(callback);
    if (marshaller == nullptr) return v8::Undefined(isolate);
    return marshaller->function(isolate);
}

}  // namespace

/// The driver calls this with its pointer records, and drops it on the script thread.
class PointerCaptureImpl::Handler {
public:
    explicit Handler(PointerCaptureImpl& capture) noexcept : m_capture(&capture) {}
    Handler(Handler&& other) noexcept : m_capture(std::exchange(other.m_capture, nullptr)) {}
    Handler& operator=(Handler&&) = delete;
    ~Handler() {
        if (m_capture != nullptr) m_capture->onHandlerDropped();
    }
    void operator()(const RawInputDriver::PointerData& record) const { m_capture->enqueue(record); }

private:
    PointerCaptureImpl* m_capture;
};

common::js::MethodTable PointerCapture::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<PointerCapture, &PointerCapture::stopCapturing>("stopCapturing"),
        methodEntry<PointerCapture, &PointerCapture::startCapturing>("startCapturing"),
        methodEntry<PointerCapture, &PointerCapture::setMotionEventCallback>("setMotionEventCallback"),
        methodEntry<PointerCapture, &PointerCapture::setButtonsEventCallback>("setButtonsEventCallback"),
    };
    return table;
}

PointerCaptureImpl::PointerCaptureImpl(ComPtr<RawInputDriver>&& driver, std::shared_ptr<PointerDeliveries> deliveries)
    : EnvironmentObserver(Environment::running(v8::Isolate::GetCurrent())),
      m_driver(std::move(driver)),
      m_deliveries(std::move(deliveries)) {
    Log::write(Log::Level::information,
               SourceLocation{"zeb::PointerCaptureImpl::PointerCaptureImpl", "src_native/bridge/pointercapture", 20},
               "Native: capture pointer");
    // The log's handler may have ended the environment.
    if (environment() != nullptr) m_wake = environment()->makeAsyncHandle(this, &onPendingPointerData);
}

PointerCaptureImpl::~PointerCaptureImpl() { close(); }

// The environment ends every object that no garbage collection has ended. After this, no thread and no handle refers to
// it.
void PointerCaptureImpl::onEnvironmentEnd() noexcept {
    const ComPtr<PointerCapture> last = std::move(m_untilDelivered);
    close();
}

void PointerCaptureImpl::close() noexcept {
    m_isClosed = true;
    if (m_driver) {
        m_driver->releasePointerCapture();
        m_driver.reset();
    }
    m_wake.reset();
    m_deliveries.reset();
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
    m_hasHandler = true;
    if (m_wake) common::js::setKeepsLoopRunning(m_wake, true);
    m_driver->capturePointer(common::makeFunctor<RawInputDriver::Handler>(
        [handler = Handler(*this)](const RawInputDriver::PointerData& record) { handler(record); }));
}

void PointerCaptureImpl::onHandlerDropped() noexcept {
    m_hasHandler = false;
    if (m_isClosed || !m_wake) return;
    if (hasUndelivered()) {
        m_untilDelivered = ComPtr<PointerCapture>(this);
        // If a callback stops and then runs the loop, what its drain has taken is delivered there.
        uv_async_send(m_wake.get());
    } else {
        common::js::setKeepsLoopRunning(m_wake, false);
    }
}

void PointerCaptureImpl::stopCapturing() {
    const ComPtr<RawInputDriver> driver = m_driver;  // a log handler may end the environment meanwhile
    if (!driver || !driver->isPointerCaptured()) return;
    driver->releasePointerCapture();
}

void PointerCaptureImpl::enqueue(const RawInputDriver::PointerData& record) {
    const LockGuard guard(m_lock);
    if (!m_wake) return;  // there is no handle to wake the script thread with
    const bool isFirst = m_pending.empty();
    try {
        m_pending.push_back(record);
    } catch (const std::bad_alloc&) {
        return;  // script was busy for so long that its queue fills the memory: the newest pointer records are lost
    }
    if (isFirst) uv_async_send(m_wake.get());  // the drain looks again before it ends, and so finds the others
}

void PointerCaptureImpl::onPendingPointerData(uv_async_t* handle) {
    auto* const capture = static_cast<PointerCaptureImpl*>(handle->data);
    // While the destructor releases the driver, a log handler may run the loop. Nobody may refer to the object then.
    if (!capture->m_isClosed) capture->drain();
}

void PointerCaptureImpl::drain() {
    const ComPtr<PointerCapture> alive(this);  // garbage collection may take the wrapper during a callback
    const v8::HandleScope scope(v8::Isolate::GetCurrent());
    if (environment() != nullptr && environment()->isScriptRefused()) {
        uv_async_send(m_wake.get());
        return;
    }
    try {
        deliverPending();
    } catch (const std::bad_alloc&) {
        // What is left is tried again below. An exception must not reach the loop's C frames.
    }
    if (!m_wake) return;  // a callback has ended the environment
    if (hasUndelivered()) {
        uv_async_send(m_wake.get());
        return;
    }
    if (!m_hasHandler) common::js::setKeepsLoopRunning(m_wake, false);
    m_untilDelivered.reset();
}

void PointerCaptureImpl::deliverPending() {
    const std::uint64_t end = uv_hrtime() + kTurnNanoseconds;
    do {
        if (environment() == nullptr || !takePending()) return;  // a callback may have ended the environment
    } while (deliverTaken(*environment()) && uv_hrtime() < end);
}

bool PointerCaptureImpl::takePending() {
    const LockGuard guard(m_lock);
    if (m_taken.empty()) {
        m_taken.swap(m_pending);
    } else {
        m_taken.insert(m_taken.end(), m_pending.begin(), m_pending.end());
        m_pending.clear();
    }
    return !m_taken.empty();
}

bool PointerCaptureImpl::hasUndelivered() noexcept {
    const LockGuard guard(m_lock);
    return !m_taken.empty() || !m_pending.empty();
}

bool PointerCaptureImpl::deliverTaken(Environment& environment) {
    const common::js::DrainScope scope(environment);
    if (PointerDelivery* const interrupted = std::exchange(m_delivery, nullptr)) {
        // A callback further up the stack runs the loop. What its drain has not delivered comes before what is new.
        advance(interrupted->position());
        interrupted->interrupt();
    }
    const std::shared_ptr<PointerDeliveries> deliveries = m_deliveries;  // a callback may end the environment
    std::unique_ptr<PointerDelivery> delivery = deliveries->take(environment.isolate());
    const bool isDelivered = deliver(*delivery);
    deliveries->giveBack(std::move(delivery));
    return isDelivered;
}

bool PointerCaptureImpl::deliver(PointerDelivery& delivery) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    while (m_next.record < m_taken.size()) {
        if (!isScriptReady()) return false;
        const PointerDelivery::Position from{0, m_next.isMotionDone};
        const auto records = std::span(m_taken).subspan(
            m_next.record, std::min(m_taken.size() - m_next.record, PointerDelivery::kCapacity));
        const v8::HandleScope scope(isolate);
        // Read again after every interruption, because that is when a callback was replaced.
        const PointerDelivery::Callbacks callbacks{scriptFunction(isolate, m_motionCallback.get()),
                                                   scriptFunction(isolate, m_buttonsCallback.get())};
        m_delivery = &delivery;
        const bool ran = delivery.deliver(records, from, callbacks);
        // Null if another drain has continued meanwhile and moved m_next.
        if (std::exchange(m_delivery, nullptr) != nullptr) advance(delivery.position());
        if (environment() == nullptr) break;
        if (!ran) {
            // A time limit, a debugger or the end of the thread has ended the callback. The next drain delivers the
            // rest, if it may.
            static_cast<void>(isScriptReady());
            return false;
        }
    }
    forgetTaken();
    return true;
}

// Asked before each call, and after one that was ended: a loop that the callback has turned may have used up the stop
// of a worker. Then the worker ends when nothing keeps it.
bool PointerCaptureImpl::isScriptReady() {
    const ScriptState state = environment()->scriptState();
    if (state == ScriptState::stopped) {
        common::js::setKeepsLoopRunning(m_wake, false);
        forgetTaken();
    }
    return state == ScriptState::ready;
}

void PointerCaptureImpl::forgetTaken() {
    m_next = {};
    m_taken.clear();
    if (m_taken.capacity() > kKeptRecords) m_taken.shrink_to_fit();
}

void PointerCaptureImpl::advance(PointerDelivery::Position reached) noexcept {
    m_next = {m_next.record + reached.record, reached.isMotionDone};
}

}  // namespace zeb
