#pragma once

namespace common::js {

/// An interface of components that work in the background. The component is asked before a `shutdown` on another
/// thread releases it: whoever calls `shutdown` may wait for the work, but another thread's script must not stand still
/// for it. A plain base, answered by the object's interface query.
struct BackgroundWorker {
    /// Lets the work go on by itself; the release does not wait for it any more. Script thread.
    virtual void abandonWork() noexcept = 0;

protected:
    ~BackgroundWorker() = default;
};

}  // namespace common::js
