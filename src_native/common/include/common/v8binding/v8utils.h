#pragma once

#include <v8.h>

#include <cstdint>
#include <string_view>

namespace common::js {

/// The type tag of this module's `External` values: the engine's own default.
inline constexpr std::uint16_t kExternalTag = 0;

/// Makes a script string from UTF-8 text; invalid sequences become U+FFFD. Without an isolate the current one is used.
/// The empty text gives the engine's empty string and allocates nothing.
/// Failure: an assertion failure when the engine cannot make the string (it is longer than
/// `v8::String::kMaxLength`); if an assertion handler returns, the result is the empty string.
/// Script thread, inside a handle scope.
v8::Local<v8::String> makeStr(v8::Isolate* isolate, std::string_view text);

/// The same from UTF-16 text, lone surrogates kept.
v8::Local<v8::String> makeStr(v8::Isolate* isolate, std::u16string_view text);

/// An engine `External` for internal fields. The engine's newer releases want a type tag with it and deprecate the form
/// without; all of ours have the same one, because only we read our objects' fields.
template <typename External = v8::External>
v8::Local<v8::External> makeExternal(v8::Isolate* isolate, void* value) {
    if constexpr (requires { External::New(isolate, value, kExternalTag); }) {
        return External::New(isolate, value, kExternalTag);
    } else {
        return External::New(isolate, value);
    }
}

/// The pointer that `makeExternal` was given.
template <typename External>
void* externalValue(v8::Local<External> external) {
    if constexpr (requires { external->Value(kExternalTag); }) {
        return external->Value(kExternalTag);
    } else {
        return external->Value();
    }
}

/// Whether script called the native code that is running, at whatever distance.
bool isScriptRunning(v8::Isolate* isolate);

/// For native code that has called script under `tryCatch` and does not return at once: a termination (of a worker, or
/// by a time limit) would be forgotten by the engine at the next call of it. Has the script further down the stack
/// terminated all the same; where there is none, the termination has done its work.
void keepTermination(v8::Isolate* isolate, const v8::TryCatch& tryCatch);

/// object[name] = value, setters and proxies included, and whatever comes of it. What script throws stays pending.
void setProperty(v8::Local<v8::Context> context, v8::Local<v8::Object> object, v8::Local<v8::String> name,
                 v8::Local<v8::Value> value);

}  // namespace common::js
