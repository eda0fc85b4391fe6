#include <v8.h>
#include <windows.h>

#include <bit>

#include "refusing_engine.h"

// Imports of the binding layer that lead here instead of into the engine. An import is a pointer with a known name, and
// the linker takes ours before it looks in the host's import library.
#define NEW_INSTANCE "?NewInstance@ObjectTemplate@v8@@QEAA?AV?$MaybeLocal@VObject@v8@@@2@V?$Local@VContext@v8@@@2@@Z"
#define NEW_FROM_UTF8 "?NewFromUtf8@String@v8@@SA?AV?$MaybeLocal@VString@v8@@@2@PEAVIsolate@2@PEBDW4NewStringType@2@H@Z"
#define NEW_FROM_TWO_BYTE \
    "?NewFromTwoByte@String@v8@@SA?AV?$MaybeLocal@VString@v8@@@2@PEAVIsolate@2@PEBGW4NewStringType@2@H@Z"

namespace probe {

namespace {

bool g_refuseInstances = false;
bool g_refusalThrows = false;
bool g_refuseStrings = false;

v8::MaybeLocal<v8::Object> refuseInstance() {
    if (g_refusalThrows) {
        v8::Isolate* const isolate = v8::Isolate::GetCurrent();
        isolate->ThrowException(v8::Exception::RangeError(v8::String::NewFromUtf8Literal(isolate, "refused")));
    }
    return {};
}

template <typename Function>
Function engineFunction(const char* name) {
    return std::bit_cast<Function>(GetProcAddress(GetModuleHandleW(nullptr), name));
}

/// Stands in for the engine's class. It is a member function, so that the compiler uses the same calling convention.
class ObjectTemplate {
public:
    v8::MaybeLocal<v8::Object> newInstance(v8::Local<v8::Context> context) {
        static const auto engine = engineFunction<decltype(&ObjectTemplate::newInstance)>(NEW_INSTANCE);
        if (g_refuseInstances) return refuseInstance();
        return (this->*engine)(context);
    }
};

template <typename Unit>
v8::MaybeLocal<v8::String> newString(const char* engineName, v8::Isolate* isolate, const Unit* text,
                                     v8::NewStringType type, int length) {
    using Function = v8::MaybeLocal<v8::String> (*)(v8::Isolate*, const Unit*, v8::NewStringType, int);
    if (g_refuseStrings) return {};
    return engineFunction<Function>(engineName)(isolate, text, type, length);
}

v8::MaybeLocal<v8::String> newFromUtf8(v8::Isolate* isolate, const char* text, v8::NewStringType type, int length) {
    return newString(NEW_FROM_UTF8, isolate, text, type, length);
}

v8::MaybeLocal<v8::String> newFromTwoByte(v8::Isolate* isolate, const std::uint16_t* text, v8::NewStringType type,
                                          int length) {
    return newString(NEW_FROM_TWO_BYTE, isolate, text, type, length);
}

}  // namespace

void refuseInstances(bool refuse, bool throwing) noexcept {
    g_refuseInstances = refuse;
    g_refusalThrows = throwing;
}

void refuseStrings(bool refuse) noexcept { g_refuseStrings = refuse; }

using NewInstance = decltype(&ObjectTemplate::newInstance);
using NewFromUtf8 = decltype(&newFromUtf8);
using NewFromTwoByte = decltype(&newFromTwoByte);

extern "C" {
extern const NewInstance g_newInstance __asm__("__imp_" NEW_INSTANCE);
extern const NewFromUtf8 g_newFromUtf8 __asm__("__imp_" NEW_FROM_UTF8);
extern const NewFromTwoByte g_newFromTwoByte __asm__("__imp_" NEW_FROM_TWO_BYTE);
const NewInstance g_newInstance = &ObjectTemplate::newInstance;
const NewFromUtf8 g_newFromUtf8 = &newFromUtf8;
const NewFromTwoByte g_newFromTwoByte = &newFromTwoByte;
}

}  // namespace probe
