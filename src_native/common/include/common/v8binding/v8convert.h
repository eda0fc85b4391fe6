#pragma once

#include <v8.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "common/utils/format.h"
#include "common/utils/functor.h"
#include "common/v8binding/small_integer.h"
#include "common/v8binding/v8utils.h"

/// Conversions between script values and native ones. Script thread, inside a handle scope.
namespace common::js {

template <typename R, typename... Args>
class FunctionMarshaller;

/// Describes a native structure to script. A specialisation has a static `forEachField`. It calls its argument with
/// each field's name and pointer to member, in the order in which script enumerates the fields.
///
///     template <>
///     struct common::js::RecordTraits<Size> {
///         static void forEachField(auto visit) { visit("width", &Size::width), visit("height", &Size::height); }
///     };
template <typename Record>
struct RecordTraits;

template <typename T>
concept RecordType = requires { sizeof(RecordTraits<T>); };

// ---- script to native ------------------------------------------------------------------------------------------

/// Collects what the conversions of one call's arguments threw. The first exception is thrown into script at the end of
/// the call. It is kept until then, because the engine must not run script (such as the next argument's conversion)
/// while an exception is pending. If a number's conversion throws, the method still runs, with the parameter's default.
/// If a text's conversion throws, it does not: the empty text would be an address or a query, and some of those end the
/// process.
class ConversionFailure {
public:
    ConversionFailure() = default;
    ConversionFailure(const ConversionFailure&) = delete;
    ConversionFailure& operator=(const ConversionFailure&) = delete;

    void keep(v8::Isolate* isolate, const v8::TryCatch& caught);
    void stopCall() noexcept { m_stopsCall = true; }
    bool stopsCall() const noexcept { return m_stopsCall; }
    void rethrow(v8::Isolate* isolate) const {
        if (!m_exception.IsEmpty()) isolate->ThrowException(m_exception);
    }

private:
    v8::Local<v8::Value> m_exception;
    bool m_stopsCall = false;
};

namespace convert_internal {

/// False if the conversion threw.
bool toInteger(v8::Isolate* isolate, v8::Local<v8::Value> value, std::int64_t& result, ConversionFailure& failure);

/// The value's string form up to its first NUL, as UTF-8. A lone surrogate becomes its own three bytes, the same in
/// every runtime. If the conversion throws (for example of a Symbol), the method does not run.
std::string toText(v8::Isolate* isolate, v8::Local<v8::Value> value, ConversionFailure& failure);

}  // namespace convert_internal

/// Truth as script sees it: every text except the empty one is true. Never throws.
template <std::same_as<bool> Bool>
void fromScript(v8::Isolate* isolate, v8::Local<v8::Value> value, Bool& parameter, ConversionFailure&) {
    parameter = value->BooleanValue(isolate);
}

/// Integers: the engine's integer conversion, narrowed to the parameter's width. If the conversion throws, the
/// parameter keeps its value.
template <typename T>
    requires(std::is_integral_v<T> && !std::is_same_v<T, bool>) || std::is_enum_v<T>
void fromScript(v8::Isolate* isolate, v8::Local<v8::Value> value, T& parameter, ConversionFailure& failure) {
    std::int64_t integer = 0;
    if (readSmallInteger(value, integer) || convert_internal::toInteger(isolate, value, integer, failure)) {
        parameter = static_cast<T>(integer);
    }
}

inline void fromScript(v8::Isolate* isolate, v8::Local<v8::Value> value, std::string& parameter,
                       ConversionFailure& failure) {
    parameter = convert_internal::toText(isolate, value, failure);
}

/// Callbacks: null and undefined clear the parameter; any other value is kept unchanged.
template <typename R, typename... Args>
void fromScript(v8::Isolate* isolate, v8::Local<v8::Value> value,
                std::unique_ptr<FunctorClass<0, R, TypeList<Args...>>>& parameter, ConversionFailure&) {
    if (value->IsNullOrUndefined()) {
        parameter.reset();
    } else {
        parameter = std::make_unique<FunctionMarshaller<R, Args...>>(isolate, value);
    }
}

// ---- native to script ------------------------------------------------------------------------------------------

inline v8::Local<v8::Value> toScript(v8::Isolate* isolate, bool value) { return v8::Boolean::New(isolate, value); }

inline v8::Local<v8::Value> toScript(v8::Isolate* isolate, std::int32_t value) {
    return v8::Number::New(isolate, value);
}

inline v8::Local<v8::Value> toScript(v8::Isolate* isolate, std::uint32_t value) {
    return v8::Number::New(isolate, value);
}

inline v8::Local<v8::Value> toScript(v8::Isolate* isolate, const std::string& value) {
    return makeStr(isolate, std::string_view(value));
}

/// A list of wide strings (one UTF-16 unit per character) becomes an array of strings.
v8::Local<v8::Value> toScript(v8::Isolate* isolate, const std::vector<std::wstring>& list);

/// A structure becomes a new plain object with one property per field. Structures inside it are converted in the same
/// way.
template <RecordType Record>
v8::Local<v8::Value> toScript(v8::Isolate* isolate, const Record& record) {
    const v8::Local<v8::Context> context = isolate->GetCurrentContext();
    const v8::Local<v8::Object> object = v8::Object::New(isolate);
    RecordTraits<Record>::forEachField([&](std::string_view name, auto member) {
        static_cast<void>(
            object->CreateDataProperty(context, makeStr(isolate, name), toScript(isolate, record.*member)));
    });
    return object;
}

// ---- names in messages -----------------------------------------------------------------------------------------

/// The type as the platform's compiler spells it inside a template's name.
template <typename T>
std::string typeText() {
    if constexpr (std::is_void_v<T>) {
        return "void";
    } else if constexpr (std::is_same_v<T, int>) {
        return "int";
    } else if constexpr (std::is_same_v<T, std::string>) {
        return "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >";
    } else {
        return common::format("{0}", typeid(T));
    }
}

}  // namespace common::js
