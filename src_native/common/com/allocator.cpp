#include "common/com/allocator.h"

#include <cstddef>
#include <new>

#include "common/com/crt_allocator.h"
#include "common/utils/lock.h"

namespace common {

namespace {

struct Override {
    Lock lock;
    ComPtr<Allocator> allocator ZEB_GUARDED_BY(lock);
};

// Never destroyed, because objects may still be made and released while the process runs its exit handlers. The memory
// is static, because asking for an allocator must not fail.
Override& overrideSlot() {
    alignas(Override) static std::byte memory[sizeof(Override)];
    static Override& slot = *new (&memory[0]) Override;
    return slot;
}

}  // namespace

ComPtr<Allocator> currentAllocator() {
    Override& slot = overrideSlot();
    {
        const LockGuard guard(slot.lock);
        if (slot.allocator) return slot.allocator;
    }
    return ComPtr<Allocator>::acquire(CrtAllocator::shared());
}

void setCurrentAllocator(ComPtr<Allocator> allocator) {
    Override& slot = overrideSlot();
    const LockGuard guard(slot.lock);
    slot.allocator.swap(allocator);
}  // the previous allocator is released after the lock

}  // namespace common
