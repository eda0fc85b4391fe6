#include "common/v8binding/async_handle.h"

namespace common::js {

namespace {

/// The memory of an async handle. libuv's part comes first, so a pointer to it is also a pointer to the whole.
struct OwnedAsyncHandle {
    uv_async_t handle;
    AsyncHandles* maker;
};

}  // namespace

void AsyncHandleCloser::operator()(uv_async_t* handle) const noexcept {
    uv_close(reinterpret_cast<uv_handle_t*>(handle), [](uv_handle_t* closed) {
        const std::unique_ptr<OwnedAsyncHandle> owned(reinterpret_cast<OwnedAsyncHandle*>(closed));
        owned->maker->handleClosed();
    });
}

void setKeepsLoopRunning(const AsyncHandle& handle, bool keeps) noexcept {
    auto* const known = reinterpret_cast<uv_handle_t*>(handle.get());
    if (keeps) {
        uv_ref(known);
    } else {
        uv_unref(known);
    }
}

AsyncHandle AsyncHandles::make(void* owner, uv_async_cb callback) {
    auto owned = std::make_unique<OwnedAsyncHandle>();
    owned->maker = this;
    owned->handle.data = owner;
    if (uv_async_init(m_loop, &owned->handle, callback) != 0) return {};
    ++m_open;
    AsyncHandle handle(&owned.release()->handle);
    setKeepsLoopRunning(handle, false);
    return handle;
}

void AsyncHandles::whenClosed(void (*then)(void*), void* argument) noexcept {
    if (m_open == 0) return then(argument);
    m_then = then;
    m_argument = argument;
}

void AsyncHandles::handleClosed() noexcept {
    if (--m_open == 0 && m_then != nullptr) m_then(m_argument);
}

}  // namespace common::js
