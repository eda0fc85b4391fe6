#include "interposed.h"

// The linker redirects the add-on's calls to __wrap_NAME and ours to __real_NAME; see --wrap in CMakeLists.txt.
#define GLOBALIZE _ZN2v812api_internal18GlobalizeReferenceEPNS_8internal7IsolateEm
#define DISPOSE _ZN2v812api_internal13DisposeGlobalEPm
#define SELF_CLEARING _ZN2v812api_internal8MakeWeakEPPm
#define JOIN(a, b) a##b
#define WRAP(name) JOIN(__wrap_, name)
#define REAL(name) JOIN(__real_, name)

using harness::interposed::Address;

extern "C" {

int __real_uv_async_init(uv_loop_t* loop, uv_async_t* handle, uv_async_cb callback);
void __real_uv_close(uv_handle_t* handle, uv_close_cb callback);
int __real_uv_thread_create(uv_thread_t* thread, uv_thread_cb entry, void* argument);
Address* REAL(GLOBALIZE)(v8::internal::Isolate* isolate, Address value);
void REAL(DISPOSE)(Address* location);
void REAL(SELF_CLEARING)(Address** location);

int __wrap_uv_async_init(uv_loop_t* loop, uv_async_t* handle, uv_async_cb callback) {
    return harness::interposed::asyncInit(loop, handle, callback);
}
void __wrap_uv_close(uv_handle_t* handle, uv_close_cb callback) { harness::interposed::close(handle, callback); }
int __wrap_uv_thread_create(uv_thread_t* thread, uv_thread_cb entry, void* argument) {
    return harness::interposed::threadCreate(thread, entry, argument);
}
Address* WRAP(GLOBALIZE)(v8::internal::Isolate* isolate, Address value) {
    return harness::interposed::globalize(isolate, value);
}
void WRAP(DISPOSE)(Address* location) { harness::interposed::disposeGlobal(location); }
void WRAP(SELF_CLEARING)(Address** location) { harness::interposed::makeSelfClearing(location); }

}  // extern "C"

namespace harness::real {

int asyncInit(uv_loop_t* loop, uv_async_t* handle, uv_async_cb callback) {
    return __real_uv_async_init(loop, handle, callback);
}
void close(uv_handle_t* handle, uv_close_cb callback) { __real_uv_close(handle, callback); }
int threadCreate(uv_thread_t* thread, uv_thread_cb entry, void* argument) {
    return __real_uv_thread_create(thread, entry, argument);
}
Address* globalize(v8::internal::Isolate* isolate, Address value) { return REAL(GLOBALIZE)(isolate, value); }
void disposeGlobal(Address* location) { REAL(DISPOSE)(location); }
void makeSelfClearing(Address** location) { REAL(SELF_CLEARING)(location); }

}  // namespace harness::real
