#pragma once

#include <node.h>
#include <v8.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "common/utils/functor.h"
#include "common/v8binding/v8convert.h"

namespace common::js {

class Environment;

namespace marshal_internal {

/// Calls `function` in the isolate's current context with `this` undefined. Whatever it throws is ignored, including
/// the error for a value that is not a function.
void callIgnoringExceptions(v8::Isolate* isolate, v8::Local<v8::Value> function, int count,
                            v8::Local<v8::Value>* arguments);

/// Whether `function` was made by script of a Node.js environment that has not ended.
bool isNodeFunction(v8::Isolate* isolate, v8::Local<v8::Value> function);

/// Reports the call of a marshaller that holds no script value. `types` spells its template arguments.
void raiseEmptyHandle(const std::string& types);

/// "void,struct zeb::ButtonsEventData" and so on, as the platform's compiler spells template arguments.
template <typename... Types>
std::string typeTexts() {
    std::string result;
    ((result += (result.empty() ? "" : ",") + typeText<Types>()), ...);
    return result;
}

}  // namespace marshal_internal

/// A script function as a native callable of family 0.
///
/// The call into script is synchronous, so a marshaller is made, called and destroyed on the script thread, in the
/// isolate that made it. Work of other threads must be passed to that thread first (see `AsyncHandle`). The marshaller
/// keeps the script function alive.
///
/// The value is not checked to be a function: calling anything else fails silently, like a call that throws. Calling a
/// function whose own environment has ended fails silently too: script may pass functions from one environment to
/// another, and what such a function uses of Node.js is gone.
template <typename R, typename... Args>
class FunctionMarshaller final : public FunctorClass<0, R, TypeList<Args...>> {
    static_assert(std::is_void_v<R>, "script callbacks give nothing back");

public:
    FunctionMarshaller(v8::Isolate* isolate, v8::Local<v8::Value> function) {
        if (function.IsEmpty()) return;
        m_funcRef.Reset(isolate, function);
        m_isNodes = marshal_internal::isNodeFunction(isolate, function);
    }

    void operator()(Args... args) override { invoke(args...); }

    /// The script value, for callers that call it in another way. Undefined if the function's environment has ended.
    v8::Local<v8::Value> function(v8::Isolate* isolate) const {
        const v8::Local<v8::Value> function = m_funcRef.Get(isolate);
        if (m_isNodes && !marshal_internal::isNodeFunction(isolate, function)) return v8::Undefined(isolate);
        return function;
    }

    /// Raises an assertion failure if the marshaller was made from an empty handle.
    void invoke(const Args&... args) {
        v8::Isolate* const isolate = v8::Isolate::GetCurrent();
        if (m_funcRef.IsEmpty()) {
            marshal_internal::raiseEmptyHandle(marshal_internal::typeTexts<R, Args...>());
            return;
        }
        const v8::HandleScope scope(isolate);
        std::array<v8::Local<v8::Value>, sizeof...(Args)> arguments{toScript(isolate, args)...};
        marshal_internal::callIgnoringExceptions(isolate, function(isolate), static_cast<int>(arguments.size()),
                                                 arguments.data());
    }

private:
    v8::Global<v8::Value> m_funcRef;  // reset with the marshaller
    bool m_isNodes = false;           // a context without Node.js has no environment that could end
};

/// Runs the callbacks of one drain as the event loop runs its own: promise reactions and `process.nextTick` callbacks
/// that they queue run when the drain ends. Opens a handle scope and enters the environment's context. Before it, ask
/// `Environment::isScriptRefused`; inside it and before each call into the engine, `Environment::scriptState`.
/// Script thread only.
class DrainScope {
public:
    explicit DrainScope(const Environment& environment);

private:
    v8::HandleScope m_handles;
    v8::Local<v8::Context> m_context;
    v8::Context::Scope m_entered;
    node::CallbackScope m_callbacks;
};

}  // namespace common::js
