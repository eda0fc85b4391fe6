#pragma once

#include <uv.h>
#include <v8.h>

#include <cstdint>

/// The add-on's calls of libuv and of the engine's handle functions lead here, where they are counted and fail as
/// planned. The platform's source redirects them; the product's code is unchanged.
namespace harness {

/// What the add-on holds of the runtime right now.
struct Held {
    std::int64_t asyncHandles;  ///< initialised and not yet closed by the loop; each environment has one
    std::int64_t threads;       ///< started and not yet returned
    std::int64_t handles;       ///< persistent handles that somebody has to reset
};

Held held() noexcept;

namespace interposed {

using v8::internal::Address;

int asyncInit(uv_loop_t* loop, uv_async_t* handle, uv_async_cb callback);
void close(uv_handle_t* handle, uv_close_cb callback);
int threadCreate(uv_thread_t* thread, uv_thread_cb entry, void* argument);
Address* globalize(v8::internal::Isolate* isolate, Address value);
void disposeGlobal(Address* location);
void makeSelfClearing(Address** location);

}  // namespace interposed

/// The runtime's own functions.
namespace real {

int asyncInit(uv_loop_t* loop, uv_async_t* handle, uv_async_cb callback);
void close(uv_handle_t* handle, uv_close_cb callback);
int threadCreate(uv_thread_t* thread, uv_thread_cb entry, void* argument);
interposed::Address* globalize(v8::internal::Isolate* isolate, interposed::Address value);
void disposeGlobal(interposed::Address* location);
void makeSelfClearing(interposed::Address** location);

}  // namespace real

}  // namespace harness
