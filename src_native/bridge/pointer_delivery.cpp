#include "bridge/pointer_delivery.h"

#include <array>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "bridge/pointer_delivery_script.h"
#include "bridge/record_traits.h"
#include "common/v8binding/v8utils.h"

namespace zeb {

namespace {

using Record = RawInputDriver::PointerData;

// The words of the batch before the first pointer record; see pointer_delivery.js.
constexpr std::size_t kIsInterrupted = 0;
constexpr std::size_t kRecord = 1;
constexpr std::size_t kIsMotionDone = 2;
constexpr std::size_t kHead = 3;

// Whether the numbers in `data`, in the order in which script sees them, continue from `next`.
template <typename Data>
constexpr bool countsOn(const Data& data, std::int32_t& next) {
    if constexpr (std::is_same_v<Data, std::int32_t>) {
        return data == next++;
    } else {
        bool result = true;
        common::js::RecordTraits<Data>::forEachField(
            [&](std::string_view, auto member) { result = countsOn(data.*member, next) && result; });
        return result;
    }
}

// How many numbers a pointer record has; 0 if their order in memory is not the one in which script sees them.
constexpr std::size_t countFields() {
    constexpr Record numbered{{{0, 1}, {2, 3}}, {4, 5, 6}};
    std::int32_t count = 0;
    const bool isInOrder = countsOn(numbered.motion, count) && countsOn(numbered.buttons, count);
    return isInOrder ? static_cast<std::size_t>(count) : 0;
}

constexpr std::size_t kFields = countFields();
static_assert(sizeof(Record) == kFields * sizeof(std::int32_t), "the script reads pointer records as memory");

// Empty if the thread is being terminated.
v8::MaybeLocal<v8::Function> compile(v8::Isolate* isolate, v8::Local<v8::Context> context) {
    v8::ScriptOrigin origin(common::js::makeStr(isolate, std::string_view("zebbridge:bridge/pointer_delivery.js")));
    v8::Local<v8::Script> script;
    v8::Local<v8::Value> function;
    if (!v8::Script::Compile(context, common::js::makeStr(isolate, kPointerDeliveryScript), &origin).ToLocal(&script) ||
        !script->Run(context).ToLocal(&function)) {
        return {};
    }
    return function.As<v8::Function>();
}

}  // namespace

PointerDelivery::PointerDelivery(v8::Isolate* isolate) : m_isolate(isolate) {}

v8::Local<v8::Int32Array> PointerDelivery::batch() {
    v8::Local<v8::Int32Array> array = m_batch.Get(m_isolate);
    if (array.IsEmpty() || array->Buffer()->WasDetached()) {
        constexpr std::size_t length = kHead + (kCapacity * kFields);
        array = v8::Int32Array::New(v8::ArrayBuffer::New(m_isolate, length * sizeof(std::int32_t)), 0, length);
        m_batch.Reset(m_isolate, array);
    }
    return array;
}

// Asked again after script has run, because a debugger can find the array and detach its memory.
std::int32_t* PointerDelivery::memory() const noexcept {
    const v8::HandleScope scope(m_isolate);
    const v8::Local<v8::ArrayBuffer> buffer = m_batch.Get(m_isolate)->Buffer();
    return buffer->WasDetached() ? nullptr : static_cast<std::int32_t*>(buffer->Data());
}

bool PointerDelivery::deliver(std::span<const Record> records, Position from, const Callbacks& callbacks) {
    const v8::HandleScope scope(m_isolate);
    const v8::TryCatch tryCatch(m_isolate);
    const v8::Local<v8::Context> context = m_isolate->GetCurrentContext();
    const v8::Local<v8::Int32Array> array = batch();
    auto* const head = static_cast<std::int32_t*>(array->Buffer()->Data());
    head[kIsInterrupted] = 0;
    head[kRecord] = static_cast<std::int32_t>(from.record);
    head[kIsMotionDone] = from.isMotionDone ? 1 : 0;
    std::memcpy(head + kHead, records.data(), records.size_bytes());
    m_count = records.size();

    v8::Local<v8::Function> function = m_deliver.Get(m_isolate);
    if (function.IsEmpty()) {
        if (!compile(m_isolate, context).ToLocal(&function)) {
            common::js::keepTermination(m_isolate, tryCatch);
            return false;
        }
        m_deliver.Reset(m_isolate, function);
    }
    std::array<v8::Local<v8::Value>, 4> arguments{
        array,
        v8::Integer::NewFromUnsigned(m_isolate, static_cast<std::uint32_t>(records.size())),
        callbacks.motion,
        callbacks.buttons,
    };
    if (function->Call(context, v8::Undefined(m_isolate), static_cast<int>(arguments.size()), arguments.data())
            .IsEmpty()) {
        common::js::keepTermination(m_isolate, tryCatch);
        return false;
    }
    return true;
}

void PointerDelivery::interrupt() noexcept {
    if (std::int32_t* const head = memory()) head[kIsInterrupted] = 1;  // without memory, the script ends by itself
}

PointerDelivery::Position PointerDelivery::position() const noexcept {
    // A debugger can take the memory away or write anything there. Then the position is lost, and with it what is left
    // of these pointer records.
    const std::int32_t* const head = memory();
    const std::size_t record = head == nullptr ? m_count : static_cast<std::size_t>(head[kRecord]);
    if (record >= m_count) return {m_count, false};
    return {record, head[kIsMotionDone] != 0};
}

std::unique_ptr<PointerDelivery> PointerDeliveries::take(v8::Isolate* isolate) {
    return m_idle ? std::move(m_idle) : std::make_unique<PointerDelivery>(isolate);
}

}  // namespace zeb
