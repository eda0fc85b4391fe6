#include "common/v8binding/v8convert.h"

#include <algorithm>
#include <array>
#include <span>

namespace common::js {

namespace {

// V8 has renamed this call. Where the new name exists, the old one is deprecated or gone.
template <typename String>
void copyUnits(v8::Isolate* isolate, v8::Local<String> string, int start, int count, std::uint16_t* units) {
    if constexpr (requires { string->WriteV2(isolate, 0, 0, units); }) {
        string->WriteV2(isolate, static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(count), units);
    } else {
        string->Write(isolate, units, start, count, String::NO_NULL_TERMINATION);
    }
}

constexpr bool isHighSurrogate(std::uint32_t unit) { return (unit & 0xFC00U) == 0xD800U; }
constexpr bool isLowSurrogate(std::uint32_t unit) { return (unit & 0xFC00U) == 0xDC00U; }

constexpr std::uint32_t pairOf(std::uint32_t high, std::uint32_t low) {
    return 0x10000U + ((high & 0x3FFU) << 10U) + (low & 0x3FFU);
}

void appendUtf8(std::string& text, std::uint32_t character) {
    const auto append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    const auto appendTrail = [&](unsigned shift) { append(0x80U | ((character >> shift) & 0x3FU)); };
    if (character < 0x80U) {
        append(character);
    } else if (character < 0x800U) {
        append(0xC0U | (character >> 6U));
        appendTrail(0);
    } else if (character < 0x10000U) {
        append(0xE0U | (character >> 12U));
        appendTrail(6);
        appendTrail(0);
    } else {
        append(0xF0U | (character >> 18U));
        appendTrail(12);
        appendTrail(6);
        appendTrail(0);
    }
}

/// The string up to its first NUL. It is converted here because the engines' own UTF-8 functions differ for a lone
/// surrogate: V8 12 writes its three bytes, V8 13 and later write U+FFFD.
std::string utf8UpToNul(v8::Isolate* isolate, v8::Local<v8::String> string) {
    std::string text;
    std::array<std::uint16_t, 256> units;
    std::uint32_t high = 0;  // a surrogate that waits for its other half
    const int length = string->Length();
    for (int start = 0; start < length;) {
        const int count = std::min(length - start, static_cast<int>(units.size()));
        copyUnits(isolate, string, start, count, units.data());
        start += count;
        for (const std::uint32_t unit : std::span(units).first(static_cast<std::size_t>(count))) {
            if (high != 0 && isLowSurrogate(unit)) {
                appendUtf8(text, pairOf(high, unit));
                high = 0;
                continue;
            }
            if (high != 0) appendUtf8(text, high);
            high = isHighSurrogate(unit) ? unit : 0;
            if (unit == 0) return text;
            if (high == 0) appendUtf8(text, unit);
        }
    }
    if (high != 0) appendUtf8(text, high);
    return text;
}

}  // namespace

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
    return utf8UpToNul(isolate, string);
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
