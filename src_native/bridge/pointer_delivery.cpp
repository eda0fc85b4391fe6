#include "bridge/pointer_delivery.h"

#include <cstring>
#include <optional>

#include "common/v8binding/v8utils.h"

namespace zeb {

namespace {

using Record = RawInputDriver::PointerData;

constexpr std::size_t kFields = 7;
constexpr std::size_t kHead = 2;  // what stands before the first record
static_assert(sizeof(Record) == kFields * sizeof(std::int32_t), "the script reads the fields as they lie in memory");

constexpr std::string_view kSource = R"(
'use strict';
(function deliver(records, step, end, motion, buttons) {
  let motionIsDone = (step & 1) !== 0;
  for (let index = step >> 1, at = 2 + index * 7; index < end; index++, at += 7) {
    if (motionIsDone) {
      motionIsDone = false;
    } else if (motion !== undefined) {
      const x = records[at], y = records[at + 1];
      if (x !== 0 || y !== 0) {
        records[1] = index * 2 + 1;
        try {
          motion({ offset: { x, y }, screenPoint: { x: records[at + 2], y: records[at + 3] } });
        } catch {}
        if (records[0] !== 0) return index * 2 + 1;
      }
    }
    if (buttons !== undefined) {
      const left = records[at + 4], middle = records[at + 5], right = records[at + 6];
      if (left !== 0 || middle !== 0 || right !== 0) {
        records[1] = index * 2 + 2;
        try {
          buttons({ left, middle, right });
        } catch {}
        if (records[0] !== 0) return index * 2 + 2;
      }
    }
  }
  return end * 2;
})
)";

// Empty when the thread is being terminated.
v8::MaybeLocal<v8::Function> compile(v8::Isolate* isolate, v8::Local<v8::Context> context) {
    const v8::ScriptOrigin origin(common::js::makeStr(isolate, std::string_view("zebbridge:pointer_delivery")));
    v8::ScriptCompiler::Source source(common::js::makeStr(isolate, kSource), origin);
    v8::Local<v8::Script> script;
    v8::Local<v8::Value> function;
    if (!v8::ScriptCompiler::Compile(context, &source).ToLocal(&script) || !script->Run(context).ToLocal(&function)) {
        return {};
    }
    return function.As<v8::Function>();
}

}  // namespace

PointerDelivery::Use::Use(common::js::Environment& environment)
    : m_delivery(environment.attachment<PointerDelivery>()) {
    if (m_delivery->m_inUse) {
        m_delivery.reset();
    } else {
        m_delivery->m_inUse = true;
    }
}

PointerDelivery::Use::~Use() {
    if (m_delivery != nullptr) m_delivery->m_inUse = false;
}

PointerDelivery::PointerDelivery(common::js::Environment& environment) : m_isolate(environment.isolate()) {
    constexpr std::size_t length = kHead + (kCapacity * kFields);
    const v8::Local<v8::ArrayBuffer> buffer = v8::ArrayBuffer::New(m_isolate, length * sizeof(std::int32_t));
    m_memory = static_cast<std::int32_t*>(buffer->Data());
    m_records.Reset(m_isolate, v8::Int32Array::New(buffer, 0, length));
}

std::optional<std::size_t> PointerDelivery::deliver(std::span<const Record> records, std::size_t step,
                                                    const Callbacks& callbacks) {
    m_memory[0] = 0;
    std::memcpy(m_memory + kHead, records.data(), records.size_bytes());
    const v8::HandleScope scope(m_isolate);
    const v8::TryCatch tryCatch(m_isolate);
    const v8::Local<v8::Context> context = m_isolate->GetCurrentContext();
    v8::Local<v8::Function> function = m_deliver.Get(m_isolate);
    if (function.IsEmpty()) {
        if (!compile(m_isolate, context).ToLocal(&function)) {
            common::js::keepTermination(m_isolate, tryCatch);
            return std::nullopt;
        }
        m_deliver.Reset(m_isolate, function);
    }
    std::array<v8::Local<v8::Value>, 5> arguments{
        m_records.Get(m_isolate),
        v8::Integer::NewFromUnsigned(m_isolate, static_cast<std::uint32_t>(step)),
        v8::Integer::NewFromUnsigned(m_isolate, static_cast<std::uint32_t>(records.size())),
        callbacks.motion,
        callbacks.buttons,
    };
    v8::Local<v8::Value> reached;
    if (!function->Call(context, v8::Undefined(m_isolate), static_cast<int>(arguments.size()), arguments.data())
             .ToLocal(&reached)) {
        common::js::keepTermination(m_isolate, tryCatch);
        return std::nullopt;
    }
    return reached.As<v8::Uint32>()->Value();
}

void PointerDelivery::interrupt() noexcept { m_memory[0] = 1; }

std::size_t PointerDelivery::nextStep() const noexcept { return static_cast<std::size_t>(m_memory[1]); }

}  // namespace zeb
