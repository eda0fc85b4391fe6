#include "common/utils/lock.h"

#include <pthread.h>

#include <new>

namespace common {

namespace {

pthread_mutex_t* native(std::byte* storage) noexcept {
    return std::launder(reinterpret_cast<pthread_mutex_t*>(storage));
}

}  // namespace

Lock::Lock() noexcept {
    static_assert(sizeof(pthread_mutex_t) <= sizeof(m_native) && alignof(pthread_mutex_t) <= alignof(Lock));
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(::new (&m_native[0]) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

Lock::~Lock() { pthread_mutex_destroy(native(&m_native[0])); }

void Lock::enter() noexcept { pthread_mutex_lock(native(&m_native[0])); }

void Lock::leave() noexcept { pthread_mutex_unlock(native(&m_native[0])); }

}  // namespace common
