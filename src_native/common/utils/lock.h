#pragma once

#include <cstddef>

#include "common/utils/thread_annotations.h"

namespace common {

/// The platform's lock: on Windows a critical section. Recursive, not copyable.
///
/// Threads: any. Failure: none; acquiring waits without limit.
/// The platform's object lives inside this one, so an owner embeds a lock without a further allocation; the
/// platform's source asserts that it fits.
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
