#pragma once

#include <uv.h>

#include <cstddef>
#include <memory>

namespace common::js {

/// Closes an async handle through its loop: its callback no longer runs, and the close callback frees the memory on a
/// later turn of the loop. Script thread only.
struct AsyncHandleCloser {
    void operator()(uv_async_t* handle) const noexcept;
};

/// A libuv async handle in its own memory. `uv_async_send` is the one call that other threads may make on it.
///
///     m_signal = environment.makeAsyncHandle(this, &onSignal);  // onSignal(handle) finds `this` in handle->data
///     setKeepsLoopRunning(m_signal, true);                      // as long as there is something to wait for
///     uv_async_send(m_signal.get());                            // any thread; onSignal runs on the script thread
using AsyncHandle = std::unique_ptr<uv_async_t, AsyncHandleCloser>;

/// Sets whether `handle` keeps the event loop, and so the process, running. A new handle does not. Script thread only.
void setKeepsLoopRunning(const AsyncHandle& handle, bool keeps) noexcept;

/// Makes the async handles of one environment and counts those that libuv still knows, so that the environment can wait
/// for the last close callback.
///
/// Script thread only. Must outlive every handle that it has made until that handle's close callback has run.
class AsyncHandles {
public:
    explicit AsyncHandles(uv_loop_t* loop) noexcept : m_loop(loop) {}
    AsyncHandles(const AsyncHandles&) = delete;
    AsyncHandles& operator=(const AsyncHandles&) = delete;

    /// A new handle that does not keep the loop running; `owner` becomes its `data`. Empty if libuv cannot make one.
    /// Throws `std::bad_alloc`.
    AsyncHandle make(void* owner, uv_async_cb callback);

    /// Calls `then(argument)` when libuv no longer knows any of the handles: at once, or from the last close callback.
    /// `then` may destroy this object.
    void whenClosed(void (*then)(void*), void* argument) noexcept;

private:
    friend struct AsyncHandleCloser;
    void handleClosed() noexcept;

    uv_loop_t* const m_loop;
    std::size_t m_open = 0;
    void (*m_then)(void*) = nullptr;
    void* m_argument = nullptr;
};

}  // namespace common::js
