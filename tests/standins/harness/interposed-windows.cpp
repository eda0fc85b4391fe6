#include "interposed.h"

#include <windows.h>

// An import is a pointer with a known name, and the linker takes ours before it looks in the host's import library.
#define GLOBALIZE "?GlobalizeReference@api_internal@v8@@YAPEA_KPEAVIsolate@internal@2@_K@Z"
#define DISPOSE "?DisposeGlobal@api_internal@v8@@YAXPEA_K@Z"
#define SELF_CLEARING "?MakeWeak@api_internal@v8@@YAXPEAPEA_K@Z"
#define INTERPOSE(variable, name, function)                             \
    extern decltype(&(function)) const variable __asm__("__imp_" name); \
    decltype(&(function)) const variable = &function

extern "C" {

INTERPOSE(g_asyncInit, "uv_async_init", harness::interposed::asyncInit);
INTERPOSE(g_close, "uv_close", harness::interposed::close);
INTERPOSE(g_threadCreate, "uv_thread_create", harness::interposed::threadCreate);
INTERPOSE(g_globalize, GLOBALIZE, harness::interposed::globalize);
INTERPOSE(g_disposeGlobal, DISPOSE, harness::interposed::disposeGlobal);
INTERPOSE(g_makeSelfClearing, SELF_CLEARING, harness::interposed::makeSelfClearing);

}  // extern "C"

namespace harness::real {

namespace {

template <typename Function>
Function hostFunction(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(nullptr), name)));
}

}  // namespace

int asyncInit(uv_loop_t* loop, uv_async_t* handle, uv_async_cb callback) {
    static const auto host = hostFunction<decltype(&asyncInit)>("uv_async_init");
    return host(loop, handle, callback);
}
void close(uv_handle_t* handle, uv_close_cb callback) {
    static const auto host = hostFunction<decltype(&close)>("uv_close");
    host(handle, callback);
}
int threadCreate(uv_thread_t* thread, uv_thread_cb entry, void* argument) {
    static const auto host = hostFunction<decltype(&threadCreate)>("uv_thread_create");
    return host(thread, entry, argument);
}
interposed::Address* globalize(v8::internal::Isolate* isolate, interposed::Address value) {
    static const auto host = hostFunction<decltype(&globalize)>(GLOBALIZE);
    return host(isolate, value);
}
void disposeGlobal(interposed::Address* location) {
    static const auto host = hostFunction<decltype(&disposeGlobal)>(DISPOSE);
    host(location);
}
void makeSelfClearing(interposed::Address** location) {
    static const auto host = hostFunction<decltype(&makeSelfClearing)>(SELF_CLEARING);
    host(location);
}

}  // namespace harness::real
