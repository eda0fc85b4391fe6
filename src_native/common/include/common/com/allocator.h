#pragma once

#include <cstddef>

#include "common/com/comptr.h"
#include "common/com/interfaces.h"

namespace common {

/// Describes a block to `deallocate`.
struct BlockDescriptor {
    std::size_t size;
    std::size_t count;  ///< always 1: blocks are never arrays
};

/// Provides the memory of the module's objects. The order of the virtual functions is fixed.
/// Threads: any, because an object is freed on the thread that drops its last reference.
struct Allocator : virtual IRefCounted {
    /// Allocates `size` bytes, aligned for any object, when `block` is null; otherwise resizes the block. Returns null
    /// on failure.
    virtual void* reallocate(void* block, std::size_t size) noexcept = 0;
    virtual void deallocate(void* block, const BlockDescriptor& descriptor) noexcept = 0;
};

/// The allocator for the next object: the override if one is set, otherwise the process's `CrtAllocator`. An object
/// keeps the allocator that made it and returns its memory there. Any thread.
ComPtr<Allocator> currentAllocator();

/// Sets the override, or removes it when `allocator` is empty, and releases the previous one. Any thread.
void setCurrentAllocator(ComPtr<Allocator> allocator);

}  // namespace common
