#pragma once

#include <v8.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "bridge/rawinputdriver.h"

namespace zeb {

/// Hands pointer records to script, many in one call into the engine.
///
/// A call from native code into script costs several times what the call itself does, and so does every object that
/// native code builds. So a script, `pointer_delivery.js`, does both: it gets the records as numbers in one array,
/// builds the event objects, calls the callbacks and swallows what they throw, as `FunctionMarshaller` does for single
/// calls.
///
/// Script thread; one drain at a time.
class PointerDelivery {
public:
    static constexpr std::size_t kCapacity = 1024;

    /// The two functions to call; undefined for none.
    struct Callbacks {
        v8::Local<v8::Value> motion;
        v8::Local<v8::Value> buttons;
    };

    /// Where a delivery stands: a record has a motion event, then a buttons event.
    struct Position {
        std::size_t record = 0;
        bool isMotionDone = false;
    };

    /// For use in the current context, to whose realm the events' objects belong.
    explicit PointerDelivery(v8::Isolate* isolate);
    PointerDelivery(const PointerDelivery&) = delete;
    PointerDelivery& operator=(const PointerDelivery&) = delete;

    /// Delivers at most `kCapacity` records from `from` on. `position` then says how far it came: short of the end when
    /// `interrupt` was called meanwhile, or when the engine runs no script here, because it is being terminated or the
    /// stack is used up. In that case the result is false.
    bool deliver(std::span<const RawInputDriver::PointerData> records, Position from, const Callbacks& callbacks);

    /// Ends the running `deliver` after the current event: a callback has been replaced, or another drain goes on.
    void interrupt() noexcept;

    /// What follows the event whose callback is running, or ran last.
    Position position() const noexcept;

private:
    v8::Local<v8::Int32Array> batch();
    std::int32_t* memory() const noexcept;

    v8::Isolate* const m_isolate;
    v8::Global<v8::Function> m_deliver;
    v8::Global<v8::Int32Array> m_batch;
    std::size_t m_count = 0;  // of records that are being delivered
};

/// Lends deliveries to the drains of one component's captures: the same one as a rule, and a further one to each drain
/// that a callback runs inside of another. Script thread.
class PointerDeliveries {
public:
    PointerDeliveries() = default;
    PointerDeliveries(const PointerDeliveries&) = delete;
    PointerDeliveries& operator=(const PointerDeliveries&) = delete;

    std::unique_ptr<PointerDelivery> take(v8::Isolate* isolate);
    void giveBack(std::unique_ptr<PointerDelivery> delivery) noexcept { m_idle = std::move(delivery); }

private:
    std::unique_ptr<PointerDelivery> m_idle;
};

}  // namespace zeb
