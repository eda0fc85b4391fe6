#pragma once

namespace common::js {

/// An interface of components that work in the background. When a `shutdown` on another thread is about to release such
/// a component, its own script thread asks it first to abandon its work: the caller of `shutdown` may wait for the
/// work, but another thread's script must not stand still for it. This is a plain base that the object's interface
/// query returns.
///
///     struct Indexer : virtual IRefCounted, BackgroundWorker {
///         using Interfaces = TypeList<BackgroundWorker>;
///         void abandonWork() noexcept override { m_work.reset(); }  // its thread shares the work and goes on
///         std::shared_ptr<Work> m_work;
///     };
struct BackgroundWorker {
    /// Leaves the work to itself, so that the component's release does not wait for it. Script thread.
    virtual void abandonWork() noexcept = 0;

protected:
    ~BackgroundWorker() = default;
};

}  // namespace common::js
