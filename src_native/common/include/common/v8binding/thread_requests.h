#pragma once

#include <uv.h>

#include <memory>

#include "common/utils/lock.h"

namespace common::js {

/// Base of objects that any thread may give up but that must be destroyed on their script thread.
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

/// What other threads ask of an environment's script thread. The object is shared, because those threads may outlive
/// the environment.
///
/// No request allocates memory. Only the script thread calls `open`, `take...` and `close`; any thread calls the
/// others.
class ThreadRequests {
public:
    ThreadRequests() = default;
    ThreadRequests(const ThreadRequests&) = delete;
    ThreadRequests& operator=(const ThreadRequests&) = delete;

    /// From now on, `signal` wakes the script thread. With null, requests wait for the end of the environment.
    void open(uv_async_t* signal) noexcept;

    /// Asks the script thread to release the environment's components.
    void requestRelease() noexcept;
    /// Whether that was asked since the last call.
    bool takeReleaseRequest() noexcept;

    /// Destroys `object` on the script thread. After `close`, the object has already released everything that belongs
    /// to script, so it is destroyed here.
    void destroy(std::unique_ptr<ScriptThreadObject> object) noexcept;
    /// Destroys the objects that other threads have passed on.
    void takeObjects() noexcept;

    /// The script thread takes no more requests. Destroys the objects that were passed on.
    void close() noexcept;

private:
    Lock m_lock;
    std::unique_ptr<ScriptThreadObject> m_newest ZEB_GUARDED_BY(m_lock);
    uv_async_t* m_signal ZEB_GUARDED_BY(m_lock) = nullptr;
    bool m_isReleaseRequested ZEB_GUARDED_BY(m_lock) = false;
    bool m_isClosed ZEB_GUARDED_BY(m_lock) = false;
};

}  // namespace common::js
