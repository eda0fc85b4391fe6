#pragma once

#include <v8.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bridge/component.h"
#include "common/utils/functor.h"
#include "common/v8binding/v8binding.h"
#include "probe_wrapped.h"

namespace probe {

struct Inner {
    std::int32_t depth;
    std::int32_t width;
};

/// A structure with a structure inside.
struct Outer {
    std::int32_t first;
    Inner inner;
    std::int32_t last;
};

/// Methods of every kind that the binding layer supports, including those that the product's components do not use.
/// Exported as "probe".
class Probe : public zeb::Component {
public:
    using Interfaces = common::TypeList<zeb::Component>;
    using Callback = common::FunctorClass<0, void, common::TypeList<std::string, int>>;

    Probe(v8::Isolate* isolate, v8::Local<v8::Object> object);
    ~Probe() override { ++s_ended; }
    static common::js::MethodTable methods();

    // Parameters. The arguments come back as text: the bytes of texts in hexadecimal, numbers in decimal.
    std::string integer(std::int32_t value) { return std::to_string(value); }
    std::string wideInteger(std::int64_t value) { return std::to_string(value); }
    std::string unsignedInteger(std::uint32_t value) { return std::to_string(value); }
    std::string boolean(bool value) { return value ? "true" : "false"; }
    std::string text(std::string value);
    std::string two(std::int32_t number, std::string value);
    std::string mixed(std::int32_t first, std::int64_t second, std::string third, std::unique_ptr<Callback> callback);
    /// How often `mixed` has run, including calls that ended with an exception.
    std::int32_t mixedRuns() { return m_mixedRuns; }
    /// Calls back `times` times in a row.
    void call(std::unique_ptr<Callback> callback, std::string value, std::int32_t times);
    /// How many objects of this class were destroyed while a callback ran.
    static std::int32_t endedBy(std::unique_ptr<Callback> callback);
    /// How many have been destroyed since the process began.
    static std::int32_t ended() { return s_ended; }

    // Results.
    void nothing() {}
    std::int32_t smallest() { return INT32_MIN; }
    std::uint32_t largest() { return UINT32_MAX; }
    bool truth(std::int32_t value) { return value != 0; }
    std::string utf8();
    std::vector<std::wstring> list(std::int32_t length);
    std::vector<std::wstring> strangeTexts();
    Outer record() { return {1, {-2, 3}, INT32_MAX}; }
    common::ComPtr<Wrapped> wrapped(std::int32_t kind);
    static std::string classLevel() { return "class level"; }

    // Failures.
    void throwModuleException(std::string message);
    void throwStandardException(std::string message);
    void throwBadAlloc();
    void throwNumber(std::int32_t number);

private:
    static inline std::int32_t s_ended = 0;

    std::int32_t m_mixedRuns = 0;
};

}  // namespace probe

template <>
struct common::js::RecordTraits<probe::Inner> {
    template <typename Visit>
    static void forEachField(Visit visit) {
        visit("depth", &probe::Inner::depth);
        visit("width", &probe::Inner::width);
    }
};

template <>
struct common::js::RecordTraits<probe::Outer> {
    template <typename Visit>
    static void forEachField(Visit visit) {
        visit("first", &probe::Outer::first);
        visit("inner", &probe::Outer::inner);
        visit("last", &probe::Outer::last);
    }
};
