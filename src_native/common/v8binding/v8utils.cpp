#include "common/v8binding/v8utils.h"

#include <limits>
#include <string>

#include "common/utils/failure.h"
#include "common/utils/format.h"
#include "common/utils/text.h"

namespace common::js {

namespace {

constexpr SourceLocation location(std::uint32_t line) {
    return {"common::js::makeStr", "src_native/common/include/common/v8binding/v8utils", line};
}

// The engine counts in int. A longer text cannot become a string anyway.
constexpr std::size_t kMaxCount = std::numeric_limits<int>::max();

v8::Isolate* currentUnlessGiven(v8::Isolate* isolate) {
    return isolate != nullptr ? isolate : v8::Isolate::GetCurrent();
}

}  // namespace

v8::Local<v8::String> makeStr(v8::Isolate* isolate, std::string_view text) {
    isolate = currentUnlessGiven(isolate);
    if (text.empty()) return v8::String::Empty(isolate);
    v8::MaybeLocal<v8::String> maybeJsStr;
    if (text.size() <= kMaxCount) {
        maybeJsStr =
            v8::String::NewFromUtf8(isolate, text.data(), v8::NewStringType::kNormal, static_cast<int>(text.size()));
    }
    v8::Local<v8::String> jsStr;
    if (maybeJsStr.ToLocal(&jsStr) && !jsStr.IsEmpty()) return jsStr;
    raiseAssertionFailure(location(28), nullptr, "maybeJsStr.ToLocal(&jsStr) && !jsStr.IsEmpty()",
                          common::format("Fail to allocate js string: ({0})", text));
    return v8::String::Empty(isolate);
}

v8::Local<v8::String> makeStr(v8::Isolate* isolate, std::u16string_view text) {
    isolate = currentUnlessGiven(isolate);
    if (text.empty()) return v8::String::Empty(isolate);
    v8::MaybeLocal<v8::String> maybeJsStr;
    if (text.size() <= kMaxCount) {
        maybeJsStr = v8::String::NewFromTwoByte(isolate, reinterpret_cast<const std::uint16_t*>(text.data()),
                                                v8::NewStringType::kNormal, static_cast<int>(text.size()));
    }
    v8::Local<v8::String> jsStr;
    if (maybeJsStr.ToLocal(&jsStr) && !jsStr.IsEmpty()) return jsStr;
    raiseAssertionFailure(location(56), nullptr, "jsStr.IsEmpty()",
                          "Fail to allocate js string:" + utf16ToUtf8(std::wstring(text.begin(), text.end())));
    return v8::String::Empty(isolate);
}

bool isScriptRunning(v8::Isolate* isolate) {
    const v8::HandleScope scope(isolate);
    // The script may be another environment's, with a security token of its own.
    const auto trace =
        v8::StackTrace::CurrentStackTrace(isolate, 1, v8::StackTrace::kExposeFramesAcrossSecurityOrigins);
    return trace->GetFrameCount() > 0;
}

bool keepTermination(v8::Isolate* isolate, const v8::TryCatch& tryCatch) {
    // If no script runs, a termination requested here would hit whatever the event loop runs next.
    if (!tryCatch.HasTerminated() || !isScriptRunning(isolate)) return false;
    isolate->TerminateExecution();
    return true;
}

void setProperty(v8::Local<v8::Context> context, v8::Local<v8::Object> object, v8::Local<v8::String> name,
                 v8::Local<v8::Value> value) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    v8::TryCatch tryCatch(isolate);
    if (object->Set(context, name, value).IsJust()) return;
    tryCatch.ReThrow();
}

}  // namespace common::js
