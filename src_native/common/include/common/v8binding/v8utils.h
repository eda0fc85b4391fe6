#pragma once

#include <v8.h>

#include <cstdint>
#include <string_view>

namespace common::js {

/// The type tag of this module's `External` values: the engine's own default.
inline constexpr std::uint16_t kExternalTag = 0;

/// Makes a script string from UTF-8 text; invalid sequences become U+FFFD. If `isolate` is null, the current isolate is
/// used. Empty text gives the engine's empty string and allocates nothing.
/// Failure: an assertion failure if the engine cannot make the string (it is longer than `v8::String::kMaxLength`). If
/// an assertion handler returns, the result is the empty string.
/// Script thread, inside a handle scope.
v8::Local<v8::String> makeStr(v8::Isolate* isolate, std::string_view text);

/// The same from UTF-16 text. Lone surrogates are kept.
v8::Local<v8::String> makeStr(v8::Isolate* isolate, std::u16string_view text);

/// An engine `External` for internal fields. Newer releases of the engine require a type tag and deprecate the form
/// without one. All of ours have the same tag, because only we read our objects' fields.
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

/// Whether script is among the callers of the native code that is running.
bool isScriptRunning(v8::Isolate* isolate);

/// For native code that has called script under `tryCatch` and continues afterwards. The engine would forget a
/// termination (of a worker, or by a time limit) at the next call into it. This terminates the script further down the
/// stack; if there is none, the termination has already done its work, and this returns false. `ReThrow` needs no such
/// help.
bool keepTermination(v8::Isolate* isolate, const v8::TryCatch& tryCatch);

/// Does what `object[name] = value` does in script, with setters and proxies. An exception that script throws stays
/// pending.
void setProperty(v8::Local<v8::Context> context, v8::Local<v8::Object> object, v8::Local<v8::String> name,
                 v8::Local<v8::Value> value);

}  // namespace common::js
