#pragma once

#include <uv.h>

#include <memory>

#include "common/utils/lock.h"

namespace common::js {

/// Base of objects that other threads may let go of although they must be destroyed on their script thread.
class ScriptThreadObject {
public:
    ScriptThreadObject() = default;
    ScriptThreadObject(const ScriptThreadObject&) = delete;
    ScriptThreadObject& operator=(const ScriptThreadObject&) = delete;
    virtual ~ScriptThreadObject() = default;

private:
    friend class ThreadRequests;
    std::unique_ptr<ScriptThreadObject> m_next;
};

/// What other threads ask of an environment's script thread. Shared, because those who ask may outlive the environment.
///
/// No request allocates memory. `open`, `take...` and `close` are for the script thread, the others for any.
class ThreadRequests {
public:
    ThreadRequests() = default;
    ThreadRequests(const ThreadRequests&) = delete;
    ThreadRequests& operator=(const ThreadRequests&) = delete;

    /// `signal` wakes the script thread from now on. With null, requests wait for the end of the environment.
    void open(uv_async_t* signal) noexcept;

    /// Asks for the release of the environment's components.
    void requestRelease() noexcept;
    /// Whether that has been asked since the last call.
    bool takeReleaseRequest() noexcept;

    /// Has `object` destroyed on the script thread. After `close`, when the object has let go of all that belongs to
    /// script, it is destroyed here.
    void destroy(std::unique_ptr<ScriptThreadObject> object) noexcept;
    /// Destroys what has been handed over.
    void takeObjects() noexcept;

    /// The script thread takes no more requests; destroys what has been handed over.
    void close() noexcept;

private:
    Lock m_lock;
    std::unique_ptr<ScriptThreadObject> m_newest ZEB_GUARDED_BY(m_lock);
    uv_async_t* m_signal ZEB_GUARDED_BY(m_lock) = nullptr;
    bool m_isReleaseRequested ZEB_GUARDED_BY(m_lock) = false;
    bool m_isClosed ZEB_GUARDED_BY(m_lock) = false;
};

}  // namespace common::js
