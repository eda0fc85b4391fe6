#pragma once

#include "common/com/allocator.h"
#include "common/utils/functor.h"

namespace common {

/// The default allocator: the C runtime's heap. One instance lives in static storage.
class CrtAllocator : public Allocator {
public:
    using Interfaces = TypeList<Allocator>;

    void* reallocate(void* block, std::size_t size) noexcept override;
    void deallocate(void* block, const BlockDescriptor& descriptor) noexcept override;

    /// The process's instance, made on first use (thread-safe) and released when the process ends.
    static CrtAllocator* shared();
};

}  // namespace common
