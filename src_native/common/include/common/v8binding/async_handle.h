#pragma once

#include <uv.h>

#include <cstddef>
#include <memory>

namespace common::js {

/// Closes an async handle through its loop and clears its `data`; the close callback frees the memory on a later turn
/// of the loop. Script thread only.
struct AsyncHandleCloser {
    void operator()(uv_async_t* handle) const noexcept;
};

/// A libuv async handle in memory of its own. `uv_async_send` is the one call that other threads may make on it.
using AsyncHandle = std::unique_ptr<uv_async_t, AsyncHandleCloser>;

/// Whether `handle` keeps the event loop, and so the process, running. A new one does not. Script thread only.
void setKeepsLoopRunning(const AsyncHandle& handle, bool keeps) noexcept;

/// Makes the async handles of one environment and counts those that libuv still knows, so that the environment can
/// wait for the last close callback.
///
/// Script thread only. Must outlive every handle it has made, up to its close callback.
class AsyncHandles {
public:
    explicit AsyncHandles(uv_loop_t* loop) noexcept : m_loop(loop) {}
    AsyncHandles(const AsyncHandles&) = delete;
    AsyncHandles& operator=(const AsyncHandles&) = delete;

    /// A new handle that does not keep the loop running. `owner` becomes its `data`. Empty when libuv gives none.
    /// Throws std::bad_alloc.
    AsyncHandle make(void* owner, uv_async_cb callback);

    /// Calls `then(argument)` once libuv knows none of the handles any more: now, or from the last close callback.
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
