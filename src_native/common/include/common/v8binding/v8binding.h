#pragma once

#include <v8.h>

#include <array>
#include <cstddef>
#include <exception>
#include <memory>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>

#include "common/com/comptr.h"
#include "common/com/interfaces.h"
#include "common/v8binding/receivers.h"
#include "common/v8binding/v8convert.h"
#include "common/v8binding/v8marshal.h"

namespace common::js {

/// One method of a class as script sees it.
struct MethodEntry {
    const char* name;
    v8::FunctionCallback callback;
    v8::Local<v8::FunctionTemplate> (*makeTemplate)(v8::Isolate* isolate);
};

/// A class's methods in the order in which script enumerates them. Every class that script uses names its methods in
/// one place, its static `MethodTable methods()`.
///
///     static constexpr std::array table{methodEntry<Lamp, &Lamp::setLevel>("setLevel")};
///     MethodTable Lamp::methods() { return table; }
///     Lamp::Lamp(v8::Isolate* isolate, v8::Local<v8::Object> object) { bindMethods(isolate, object, methods()); }
using MethodTable = std::span<const MethodEntry>;

/// Converts a native object that a method returns; see `toValue`.
template <typename T>
v8::Local<v8::Value> toScript(v8::Isolate* isolate, ComPtr<T> native);

/// Throws a script `Error` with the text of `failure`, which must be the exception being caught. If the system gave an
/// error number, the `Error` has it as its `code`.
void throwScriptError(v8::Isolate* isolate, const std::exception& failure);

}  // namespace common::js

namespace common::js_internal {

/// Throws the argument-count error.
[[noreturn]] void throwTooFewArguments(std::size_t expected, int actual);

/// Throws the `TypeError` for a `this` that does not stand for an object of the method's class.
void throwIllegalInvocation(const v8::FunctionCallbackInfo<v8::Value>& info);

/// Queries the receiver's native object for the class that a method needs.
void* queryReceiver(js::Receiver& receiver, const std::type_info& type) noexcept;

/// The receiver's native object as the method's class, or null.
template <typename Class>
Class* nativeOf(js::Receiver& receiver) noexcept {
    return static_cast<Class*>(receiver.askedClass == &typeid(Class) ? receiver.asClass
                                                                     : queryReceiver(receiver, typeid(Class)));
}

/// Reports that a method threw something other than a `std::exception`.
void raiseUnexpectedException();

v8::Local<v8::Value> wrap(v8::Isolate* isolate, ComPtr<IRefCounted> native, js::MethodTable methods,
                          const std::type_info& type);

/// Fills the method's parameters, which the caller has default-initialised, from the call's arguments. Throws a
/// `DefaultException` if there are too few, and ignores any beyond the last parameter.
template <typename... Parameters>
void initializeArguments(const v8::FunctionCallbackInfo<v8::Value>& info, std::tuple<Parameters...>& parameters,
                         js::ConversionFailure& failure) {
    int index = 0;
    const auto read = [&](auto& parameter) {
        if (index >= info.Length()) throwTooFewArguments(sizeof...(Parameters), info.Length());
        js::fromScript(info.GetIsolate(), info[index], parameter, failure);
        ++index;
    };
    std::apply([&](auto&... parameter) { (read(parameter), ...); }, parameters);
}

/// Whether a conversion of these parameters can stop the call. Methods without such parameters are spared the check.
template <typename Parameters>
constexpr bool canStopCall = false;

template <typename... Parameters>
constexpr bool canStopCall<std::tuple<Parameters...>> = std::disjunction_v<std::is_same<Parameters, std::string>...>;

/// What a method's signature says: parameters and result.
template <typename Method>
struct Signature;

template <typename C, typename R, typename... Args>
struct Signature<R (C::*)(Args...)> {
    using Result = R;
    using Parameters = std::tuple<std::decay_t<Args>...>;
    template <auto method, typename Class>
    static R call(Class& receiver, Parameters& parameters) {
        return std::apply([&](auto&... args) -> R { return (receiver.*method)(std::move(args)...); }, parameters);
    }
};

template <typename C, typename R, typename... Args>
struct Signature<R (C::*)(Args...) const> : Signature<R (C::*)(Args...)> {};

template <typename R, typename... Args>
struct Signature<R (*)(Args...)> {
    using Result = R;
    using Parameters = std::tuple<std::decay_t<Args>...>;
    template <auto method, typename Class>
    static R call(Class&, Parameters& parameters) {
        return std::apply([](auto&... args) -> R { return method(std::move(args)...); }, parameters);
    }
};

template <typename Class, auto method>
void callMethod(const v8::FunctionCallbackInfo<v8::Value>& info) {
    using MethodSignature = Signature<decltype(method)>;
    // The engine opens a handle scope for every callback.
    v8::Isolate* const isolate = info.GetIsolate();
    try {
        typename MethodSignature::Parameters parameters{};
        js::ConversionFailure failure;
        initializeArguments(info, parameters, failure);
        if constexpr (canStopCall<typename MethodSignature::Parameters>) {
            if (failure.stopsCall()) return failure.rethrow(isolate);
        }
        js::Receivers* const receivers = js::Receivers::of(isolate);
        js::Receiver* const receiver = receivers != nullptr ? receivers->find(info.This()) : nullptr;
        Class* const native = receiver != nullptr ? nativeOf<Class>(*receiver) : nullptr;
        if (native == nullptr) return throwIllegalInvocation(info);
        const js::Receivers::CallScope call(*receivers, receiver->environment);
        if constexpr (std::is_void_v<typename MethodSignature::Result>) {
            MethodSignature::template call<method>(*native, parameters);
        } else if constexpr (std::is_same_v<typename MethodSignature::Result, bool>) {
            info.GetReturnValue().Set(MethodSignature::template call<method>(*native, parameters));
        } else {
            info.GetReturnValue().Set(
                js::toScript(isolate, MethodSignature::template call<method>(*native, parameters)));
        }
        failure.rethrow(isolate);
    } catch (const std::exception& failure) {
        js::throwScriptError(isolate, failure);
    } catch (...) {
        raiseUnexpectedException();
    }
}

}  // namespace common::js_internal

namespace common::js {

/// Makes a function template for one method: no data value, no signature, length 0, default constructor behaviour.
///
/// The script function checks and converts its arguments, finds the native `Class` object behind its `this`, runs the
/// method and converts the result. A `std::exception` becomes a script `Error` with its `what()` text; anything else
/// that is thrown is an assertion failure. A `this` that is not an object of `Class` is a `TypeError`.
template <typename Class, auto method>
v8::Local<v8::FunctionTemplate> getFunctionTemplate(v8::Isolate* isolate) {
    static const v8::FunctionCallback callback = &js_internal::callMethod<Class, method>;
    return v8::FunctionTemplate::New(isolate, callback);
}

/// The table entry of a method: `methodEntry<CrashEmitter, &CrashEmitter::emitStackOverflow>("emitStackOverflow")`.
template <typename Class, auto method>
constexpr MethodEntry methodEntry(const char* name) {
    return {name, &js_internal::callMethod<Class, method>, &getFunctionTemplate<Class, method>};
}

/// Sets one function per method on `object`, in the isolate's current context. For objects that live as long as their
/// context, because the engine keeps what a template has made until the context ends.
void bindMethods(v8::Isolate* isolate, v8::Local<v8::Object> object, MethodTable methods);

/// Sets the same functions, made without templates, on objects that come and go. False if the engine makes none; then
/// an exception is pending or the thread is being terminated.
bool bindCollectableMethods(v8::Isolate* isolate, v8::Local<v8::Object> object, MethodTable methods);

/// Wraps a native object in a new script object, which owns the reference. When the script object is garbage-collected,
/// the native object is disposed (if it is `Disposable`) and released, on the script thread, during the garbage
/// collection.
///
/// Failure: if `native` is empty or no script object can be made, returns undefined and writes one log record. If the
/// class does not expose `V8WeakReferenceHolder`, that is logged too, and the object lives until the environment ends,
/// so that no pointer dangles.
template <typename T>
v8::Local<v8::Value> toValue(v8::Isolate* isolate, ComPtr<T> native) {
    return js_internal::wrap(isolate, ComPtr<IRefCounted>(std::move(native)), T::methods(), typeid(T));
}

template <typename T>
v8::Local<v8::Value> toScript(v8::Isolate* isolate, ComPtr<T> native) {
    return toValue(isolate, std::move(native));
}

}  // namespace common::js
