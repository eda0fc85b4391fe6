#include "common/v8binding/script_probe.h"

#include <node.h>

#include <string_view>

#include "common/v8binding/v8utils.h"

namespace common::js {

// Empty if the engine runs no script.
v8::MaybeLocal<v8::Function> ScriptProbe::nothing(v8::Isolate* isolate, v8::Local<v8::Context> context) {
    if (m_nothing.IsEmpty()) {
        v8::Local<v8::Script> script;
        v8::Local<v8::Value> nothing;
        if (!v8::Script::Compile(context, makeStr(isolate, std::string_view("(function () {})"))).ToLocal(&script) ||
            !script->Run(context).ToLocal(&nothing)) {
            return {};
        }
        m_nothing.Reset(isolate, nothing.As<v8::Function>());
        // It inherits nothing that script could change, because Node.js enters the `domain` of a callback's receiver.
        m_receiver.Reset(isolate, v8::Object::New(isolate, v8::Null(isolate), nullptr, nullptr, 0));
    }
    return m_nothing.Get(isolate);
}

bool ScriptProbe::isRefused(v8::Local<v8::Context> context) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    const v8::Context::Scope entered(context);
    for (;;) {
        const v8::TryCatch tryCatch(isolate);
        v8::Local<v8::Function> function;
        if (nothing(isolate, context).ToLocal(&function) &&
            !function->Call(context, v8::Undefined(isolate), 0, nullptr).IsEmpty()) {
            return false;
        }
        if (keepTermination(isolate, tryCatch) || !tryCatch.HasTerminated()) return true;
    }
}

ScriptState ScriptProbe::state(v8::Local<v8::Context> context) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    for (;;) {
        const v8::TryCatch tryCatch(isolate);
        v8::Local<v8::Function> function;
        if (nothing(isolate, context).ToLocal(&function) &&
            !node::MakeCallback(isolate, m_receiver.Get(isolate), function, 0, nullptr, node::async_context{0, 0})
                 .IsEmpty()) {
            return ScriptState::ready;
        }
        if (!tryCatch.HasCaught()) return ScriptState::stopped;  // Node.js has not even tried
        if (keepTermination(isolate, tryCatch) || !tryCatch.HasTerminated()) return ScriptState::refused;
    }
}

}  // namespace common::js
