#include "common/v8binding/v8convert.h"

#include <iterator>

namespace common::js {

void ConversionFailure::keep(v8::Isolate* isolate, const v8::TryCatch& caught) {
    keepTermination(isolate, caught);
    if (m_exception.IsEmpty() && !caught.HasTerminated()) m_exception = caught.Exception();
}

namespace convert_internal {

bool toInteger(v8::Isolate* isolate, v8::Local<v8::Value> value, std::int64_t& result, ConversionFailure& failure) {
    const v8::TryCatch tryCatch(isolate);
    if (value->IntegerValue(isolate->GetCurrentContext()).To(&result)) return true;
    failure.keep(isolate, tryCatch);
    return false;
}

std::string toText(v8::Isolate* isolate, v8::Local<v8::Value> value, ConversionFailure& failure) {
    const v8::TryCatch tryCatch(isolate);
    v8::Local<v8::String> string;
    if (!value->ToString(isolate->GetCurrentContext()).ToLocal(&string)) {
        failure.keep(isolate, tryCatch);
        failure.stopCall();
        return {};
    }
    const v8::String::Utf8Value text(isolate, string);
    return *text == nullptr ? std::string() : std::string(*text);
}

}  // namespace convert_internal

v8::Local<v8::Value> toScript(v8::Isolate* isolate, const std::vector<std::wstring>& list) {
    const v8::Local<v8::Context> context = isolate->GetCurrentContext();
    const v8::Local<v8::Array> array = v8::Array::New(isolate, static_cast<int>(list.size()));
    for (std::size_t index = 0; index < list.size(); ++index) {
        const v8::HandleScope scope(isolate);
        // wchar_t is wider than a UTF-16 unit on some platforms.
        const std::u16string units(list[index].begin(), list[index].end());
        static_cast<void>(
            array->CreateDataProperty(context, static_cast<std::uint32_t>(index), makeStr(isolate, units)));
    }
    return array;
}

}  // namespace common::js
