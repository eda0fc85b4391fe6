#pragma once

#include "common/com/allocator.h"
#include "common/utils/functor.h"

namespace common {

/// The default allocator: the C runtime's heap. Its one instance lives in static storage.
class CrtAllocator : public Allocator {
public:
    using Interfaces = TypeList<Allocator>;

    void* reallocate(void* block, std::size_t size) noexcept override;
    void deallocate(void* block, const BlockDescriptor& descriptor) noexcept override;

    /// The process's instance. Made on first use, on any thread; released when the process ends.
    static CrtAllocator* shared();
};

}  // namespace common
