#pragma once

#include <v8.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "bridge/rawinputdriver.h"
#include "common/v8binding/environment.h"

namespace zeb {

/// Hands pointer records to script, many in one call into the engine.
///
/// A call from native code into script costs several times what the call itself does, and so does every object that
/// native code builds. So a piece of script, compiled once per environment, does both: it gets the records as numbers
/// in one array, builds the event objects, calls the callbacks and swallows what they throw, as `FunctionMarshaller`
/// does for single calls. Its objects are ordinary literals, which scripts read fastest.
///
/// Script thread; one use at a time.
class PointerDelivery final : public common::js::Attachment {
public:
    static constexpr std::size_t kCapacity = 1024;

    /// The two functions to call; undefined for none.
    struct Callbacks {
        v8::Local<v8::Value> motion;
        v8::Local<v8::Value> buttons;
    };

    /// Claims the environment's delivery for one drain, unless a drain further up the stack has it.
    class Use {
    public:
        explicit Use(common::js::Environment& environment);
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        PointerDelivery* get() const noexcept { return m_delivery.get(); }

    private:
        std::shared_ptr<PointerDelivery> m_delivery;
    };

    explicit PointerDelivery(common::js::Environment& environment);

    /// Delivers at most `kCapacity` records from `step` on, and returns the step reached. A step is half a record: its
    /// motion event, then its buttons event. Short of the end when `interrupt` was called meanwhile.
    /// Nothing when the engine does not run script here, for the thread is being terminated or its stack is used up.
    std::optional<std::size_t> deliver(std::span<const RawInputDriver::PointerData> records, std::size_t step,
                                       const Callbacks& callbacks);

    /// Ends the running `deliver` after the current event: a callback has been replaced, or somebody else goes on.
    void interrupt() noexcept;

    /// The step that follows the event whose callback is running.
    std::size_t nextStep() const noexcept;

private:
    v8::Isolate* m_isolate;
    v8::Global<v8::Function> m_deliver;
    v8::Global<v8::Int32Array> m_records;  // [interrupted, next step, then each record's fields]
    std::int32_t* m_memory = nullptr;      // of m_records
    bool m_inUse = false;
};

}  // namespace zeb
