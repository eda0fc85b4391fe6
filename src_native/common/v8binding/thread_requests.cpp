#include "common/v8binding/thread_requests.h"

#include <utility>

namespace common::js {

void ThreadRequests::open(uv_async_t* signal) noexcept {
    const LockGuard guard(m_lock);
    m_signal = signal;
}

void ThreadRequests::requestRelease() noexcept {
    const LockGuard guard(m_lock);
    m_isReleaseRequested = true;
    if (m_signal != nullptr) uv_async_send(m_signal);
}

bool ThreadRequests::takeReleaseRequest() noexcept {
    const LockGuard guard(m_lock);
    return std::exchange(m_isReleaseRequested, false);
}

void ThreadRequests::destroy(std::unique_ptr<ScriptThreadObject> object) noexcept {
    const LockGuard guard(m_lock);
    if (m_isClosed) return;
    object->m_next = std::move(m_newest);
    m_newest = std::move(object);
    if (m_signal != nullptr) uv_async_send(m_signal);
}

void ThreadRequests::takeObjects() noexcept {
    std::unique_ptr<ScriptThreadObject> next;
    {
        const LockGuard guard(m_lock);
        next = std::move(m_newest);
    }
    while (next) next = std::move(next->m_next);
}

void ThreadRequests::close() noexcept {
    {
        const LockGuard guard(m_lock);
        m_isClosed = true;
        m_signal = nullptr;
    }
    takeObjects();
}

}  // namespace common::js
