#include "bridge/host_check.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "bridge/host_imports.h"
#include "common/v8binding/small_integer.h"
#include "common/v8binding/v8utils.h"

// Before the flags are known, only calls into the engine and reads inside the objects that it returns are safe. So
// apart from what is compared, nothing here uses an inlined accessor to ask a value for its type or its fields.

namespace zeb {

namespace {

using Values = v8::internal::ValueHelper;

#ifdef V8_ENABLE_SANDBOX
constexpr bool kSandbox = true;
#else
constexpr bool kSandbox = false;
#endif

/// One of the engine's build flags, by its name in the engine's configuration, and whether the module was compiled with
/// it.
struct Flag {
    std::string_view name;
    bool on;
};

constexpr Flag kReferences[] = {
    {"v8_enable_pointer_compression", v8::internal::PointerCompressionIsEnabled()},
    {"v8_enable_sandbox", kSandbox},
};
constexpr Flag kIntegers = {"v8_enable_31bit_smis_on_64bit_arch", v8::internal::SmiValuesAre31Bits()};

v8::MaybeLocal<v8::Value> property(v8::Isolate* isolate, v8::Local<v8::Context> context, v8::Local<v8::Value> object,
                                   std::string_view name) {
    v8::Local<v8::String> key;
    v8::Local<v8::Object> holder;
    if (!v8::String::NewFromUtf8(isolate, name.data(), v8::NewStringType::kNormal, static_cast<int>(name.size()))
             .ToLocal(&key) ||
        !object->ToObject(context).ToLocal(&holder)) {
        return {};
    }
    return holder->Get(context, key);
}

// These flags decide where the engine keeps its constants. So this compares the undefined that the engine returns with
// the word at the place where the module's headers expect it.
bool referencesFit(v8::Isolate* isolate, v8::Local<v8::Context> context) {
    v8::Local<v8::Value> undefined;
    if (!property(isolate, context, context->Global(), "undefined").ToLocal(&undefined))
        return true;  // no engine to ask
    return Values::ValueAsAddress(*undefined) == Values::ValueAsAddress(*v8::Undefined(isolate));
}

bool integersFit(v8::Isolate* isolate) {
    constexpr std::int32_t kNumber = -1234567;
    std::int64_t read = 0;
    return common::js::readSmallInteger(v8::Integer::New(isolate, kNumber), read) && read == kNumber;
}

/// The flags that the runtime says its engine was built with: `process.config.variables`, if it exists.
class Configuration {
public:
    Configuration(v8::Isolate* isolate, v8::Local<v8::Context> context) : m_isolate(isolate), m_context(context) {
        v8::Local<v8::Value> value = context->Global();
        for (const std::string_view name : {"process", "config", "variables"}) {
            if (!property(isolate, context, value, name).ToLocal(&value)) return;
        }
        m_variables = value;
    }

    /// Whether the runtime says the opposite of what the module was compiled with.
    bool contradicts(const Flag& flag) const {
        v8::Local<v8::Value> value;
        double number = 0;
        return !m_variables.IsEmpty() && property(m_isolate, m_context, m_variables, flag.name).ToLocal(&value) &&
               value->NumberValue(m_context).To(&number) && (number == 0 || number == 1) && (number == 1) != flag.on;
    }

private:
    v8::Isolate* m_isolate;
    v8::Local<v8::Context> m_context;
    v8::Local<v8::Value> m_variables;
};

/// The flags that do not fit: a list of what the module was compiled with, and a list of what this engine has.
class Differences {
public:
    void add(const Flag& flag) {
        append(m_compiled, flag.name, flag.on);
        append(m_found, flag.name, !flag.on);
    }
    /// One of these differs, and it is not known which.
    template <std::size_t Count>
    void addUnknown(const Flag (&flags)[Count]) {
        for (const Flag& flag : flags) append(m_compiled, flag.name, flag.on);
        m_found += "others";  // the first of all differences
    }
    std::string text() const {
        return "this zebbridge was compiled for an engine with " + m_compiled + ", and this program's has " + m_found;
    }

private:
    static void append(std::string& list, std::string_view name, bool on) {
        if (!list.empty()) list += ", ";
        list += name;
        list += on ? "=1" : "=0";
    }

    std::string m_compiled;
    std::string m_found;
};

std::string mismatch(v8::Isolate* isolate, v8::Local<v8::Context> context) {
    v8::TryCatch tryCatch(isolate);  // script may have replaced process.config with anything
    const bool references = referencesFit(isolate, context);
    const bool integers = integersFit(isolate);
    Differences differences;
    if (!references) {
        const Configuration configuration(isolate, context);
        bool known = false;
        for (const Flag& flag : kReferences) {
            if (!configuration.contradicts(flag)) continue;
            differences.add(flag);
            known = true;
        }
        if (!known) differences.addUnknown(kReferences);
    }
    if (!integers) differences.add(kIntegers);
    common::js::keepTermination(isolate, tryCatch);
    return references && integers ? std::string() : differences.text();
}

void throwError(v8::Isolate* isolate, const char* text) {
    v8::Local<v8::String> message;
    if (!v8::String::NewFromUtf8(isolate, text).ToLocal(&message)) return;  // then it has thrown
    isolate->ThrowException(v8::Exception::Error(message));
}

}  // namespace

bool checkHost(v8::Isolate* isolate, v8::Local<v8::Context> context) noexcept {
    try {
        std::string problem = missingImport();
        if (problem.empty()) problem = mismatch(isolate, context);
        if (problem.empty()) return true;
        throwError(isolate, problem.c_str());
    } catch (const std::exception& failure) {
        throwError(isolate, failure.what());
    }
    return false;
}

}  // namespace zeb
