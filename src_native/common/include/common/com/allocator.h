#pragma once

#include <cstddef>

#include "common/com/comptr.h"
#include "common/com/interfaces.h"

namespace common {

/// What `deallocate` is told about a block.
struct BlockDescriptor {
    std::size_t size;
    std::size_t count;  ///< always 1: blocks are never arrays
};

/// Provides the memory of the module's objects. The virtual operations keep this order.
/// Threads: any, because objects are released wherever their last reference goes.
struct Allocator : virtual IRefCounted {
    /// Allocates `size` bytes, aligned for any object, when `block` is null; otherwise resizes the block.
    /// Null on failure.
    virtual void* reallocate(void* block, std::size_t size) noexcept = 0;
    virtual void deallocate(void* block, const BlockDescriptor& descriptor) noexcept = 0;
};

/// The allocator for the next object: the override when one is set, else the process's `CrtAllocator`.
/// An object keeps the allocator that made it and returns its memory there.
ComPtr<Allocator> currentAllocator();

/// Sets, or with an empty pointer removes, the override, and releases the one before. Any thread.
void setCurrentAllocator(ComPtr<Allocator> allocator);

}  // namespace common
