#include <windows.h>

#include <new>

#include "common/utils/lock.h"

namespace common {

namespace {

CRITICAL_SECTION* native(std::byte* storage) noexcept { return reinterpret_cast<CRITICAL_SECTION*>(storage); }

}  // namespace

Lock::Lock() noexcept {
    static_assert(sizeof(CRITICAL_SECTION) <= sizeof(m_native) && alignof(CRITICAL_SECTION) <= alignof(Lock));
    InitializeCriticalSection(native(&m_native[0]));  // cannot fail since Windows Vista
}

Lock::~Lock() { DeleteCriticalSection(native(&m_native[0])); }

void Lock::enter() noexcept { EnterCriticalSection(native(&m_native[0])); }

void Lock::leave() noexcept { LeaveCriticalSection(native(&m_native[0])); }

}  // namespace common
