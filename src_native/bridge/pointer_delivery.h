#pragma once

#include <v8.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "bridge/rawinputdriver.h"

namespace zeb {

/// Delivers pointer records to script, many in one call into the engine.
///
/// A call from native code into script costs several times what the call itself does, and so does every object that
/// native code builds. So a script, `pointer_delivery.js`, does both: it gets the records as numbers in one array,
/// builds the event objects, calls the callbacks and ignores what they throw, as `FunctionMarshaller` does for single
/// calls.
///
/// Script thread; one drain at a time.
class PointerDelivery {
public:
    static constexpr std::size_t kCapacity = 1024;

    /// The two functions to call; undefined if there is none.
    struct Callbacks {
        v8::Local<v8::Value> motion;
        v8::Local<v8::Value> buttons;
    };

    /// Where a delivery stands. Each pointer record has a motion event, then a buttons event.
    struct Position {
        std::size_t record = 0;
        bool isMotionDone = false;
    };

    /// For use in the current context; the event objects belong to its realm.
    explicit PointerDelivery(v8::Isolate* isolate);
    PointerDelivery(const PointerDelivery&) = delete;
    PointerDelivery& operator=(const PointerDelivery&) = delete;

    /// Delivers at most `kCapacity` pointer records, starting at `from`. `position` then says how far it came. It stops
    /// early if `interrupt` is called meanwhile, or if the engine runs no script here because it is being terminated or
    /// the stack is used up; in the second case the result is false.
    bool deliver(std::span<const RawInputDriver::PointerData> records, Position from, const Callbacks& callbacks);

    /// Ends the running `deliver` after the current event, because a callback was replaced or another drain continues.
    void interrupt() noexcept;

    /// The position after the event whose callback is running or ran last.
    Position position() const noexcept;

private:
    v8::Local<v8::Int32Array> batch();
    std::int32_t* memory() const noexcept;

    v8::Isolate* const m_isolate;
    v8::Global<v8::Function> m_deliver;
    v8::Global<v8::Int32Array> m_batch;
    std::size_t m_count = 0;  // of the pointer records that are being delivered
};

/// Lends deliveries to the drains of one component's captures: usually the same one, and another one to each drain that
/// a callback runs inside another drain. Script thread.
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
