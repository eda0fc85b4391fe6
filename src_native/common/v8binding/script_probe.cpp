#include "common/v8binding/script_probe.h"

#include <string_view>

#include "common/v8binding/v8utils.h"

namespace common::js {

bool ScriptProbe::isRefused(v8::Local<v8::Context> context) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    const v8::TryCatch tryCatch(isolate);
    const v8::Context::Scope entered(context);
    if (m_nothing.IsEmpty()) {
        v8::Local<v8::Script> script;
        v8::Local<v8::Value> nothing;
        if (v8::Script::Compile(context, makeStr(isolate, std::string_view("(function () {})"))).ToLocal(&script) &&
            script->Run(context).ToLocal(&nothing)) {
            m_nothing.Reset(isolate, nothing.As<v8::Function>());
            return false;
        }
    } else if (!m_nothing.Get(isolate)->Call(context, v8::Undefined(isolate), 0, nullptr).IsEmpty()) {
        return false;
    }
    keepTermination(isolate, tryCatch);
    return !tryCatch.HasTerminated();
}

}  // namespace common::js
