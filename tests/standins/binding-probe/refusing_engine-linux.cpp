#include <v8.h>

#include "refusing_engine.h"

// The linker redirects this add-on's calls of three engine functions here (--wrap) and renames the engine's own.
#define NEW_INSTANCE "_ZN2v814ObjectTemplate11NewInstanceENS_5LocalINS_7ContextEEE"
#define NEW_FROM_UTF8 "_ZN2v86String11NewFromUtf8EPNS_7IsolateEPKcNS_13NewStringTypeEi"
#define NEW_FROM_TWO_BYTE "_ZN2v86String14NewFromTwoByteEPNS_7IsolateEPKtNS_13NewStringTypeEi"

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

}  // namespace

v8::MaybeLocal<v8::Object> engineNewInstance(v8::ObjectTemplate* self,
                                             v8::Local<v8::Context> context) __asm__("__real_" NEW_INSTANCE);
v8::MaybeLocal<v8::String> engineNewFromUtf8(v8::Isolate* isolate, const char* text, v8::NewStringType type,
                                             int length) __asm__("__real_" NEW_FROM_UTF8);
v8::MaybeLocal<v8::String> engineNewFromTwoByte(v8::Isolate* isolate, const std::uint16_t* text, v8::NewStringType type,
                                                int length) __asm__("__real_" NEW_FROM_TWO_BYTE);

v8::MaybeLocal<v8::Object> newInstance(v8::ObjectTemplate* self,
                                       v8::Local<v8::Context> context) __asm__("__wrap_" NEW_INSTANCE);
v8::MaybeLocal<v8::String> newFromUtf8(v8::Isolate* isolate, const char* text, v8::NewStringType type,
                                       int length) __asm__("__wrap_" NEW_FROM_UTF8);
v8::MaybeLocal<v8::String> newFromTwoByte(v8::Isolate* isolate, const std::uint16_t* text, v8::NewStringType type,
                                          int length) __asm__("__wrap_" NEW_FROM_TWO_BYTE);

v8::MaybeLocal<v8::Object> newInstance(v8::ObjectTemplate* self, v8::Local<v8::Context> context) {
    return g_refuseInstances ? refuseInstance() : engineNewInstance(self, context);
}

v8::MaybeLocal<v8::String> newFromUtf8(v8::Isolate* isolate, const char* text, v8::NewStringType type, int length) {
    return g_refuseStrings ? v8::MaybeLocal<v8::String>() : engineNewFromUtf8(isolate, text, type, length);
}

v8::MaybeLocal<v8::String> newFromTwoByte(v8::Isolate* isolate, const std::uint16_t* text, v8::NewStringType type,
                                          int length) {
    return g_refuseStrings ? v8::MaybeLocal<v8::String>() : engineNewFromTwoByte(isolate, text, type, length);
}

void refuseInstances(bool refuse, bool throwing) noexcept {
    g_refuseInstances = refuse;
    g_refusalThrows = throwing;
}

void refuseStrings(bool refuse) noexcept { g_refuseStrings = refuse; }

}  // namespace probe
