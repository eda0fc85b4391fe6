#pragma once

#include <cstddef>

#include "common/utils/thread_annotations.h"

namespace common {

/// The platform's lock; on Windows a critical section. Recursive, not copyable.
///
/// Threads: any. Failure: none; acquiring it waits without limit.
/// The platform's object lives inside this one, so a lock needs no allocation of its own. The platform's source asserts
/// that the object fits.
///
///     Lock m_lock;
///     int m_count ZEB_GUARDED_BY(m_lock) = 0;
///     void increment() { const LockGuard guard(m_lock); ++m_count; }
class ZEB_CAPABILITY("lock") Lock {
public:
    Lock() noexcept;
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void enter() noexcept ZEB_ACQUIRE();
    void leave() noexcept ZEB_RELEASE();

private:
    alignas(std::max_align_t) std::byte m_native[48];
};

/// Holds a `Lock` from construction to the end of the scope.
class ZEB_SCOPED_CAPABILITY LockGuard {
public:
    explicit LockGuard(Lock& lock) noexcept ZEB_ACQUIRE(lock) : m_lock(lock) { m_lock.enter(); }
    ~LockGuard() ZEB_RELEASE() { m_lock.leave(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lock& m_lock;
};

}  // namespace common
