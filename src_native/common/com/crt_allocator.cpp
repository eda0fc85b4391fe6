#include "common/com/crt_allocator.h"

#include <cstddef>
#include <cstdlib>

#include "common/com/shared_state.h"

namespace common {

void* CrtAllocator::reallocate(void* block, std::size_t size) noexcept { return std::realloc(block, size); }

void CrtAllocator::deallocate(void* block, const BlockDescriptor&) noexcept { std::free(block); }

namespace {

/// The instance lives in static storage. Its state therefore names no allocator, and its last release frees no memory.
class StaticCrtAllocator {
public:
    StaticCrtAllocator()
        : m_reference(ComPtr<CrtAllocator>::attach(
              com_internal::constructInBlock<CrtAllocator, ConcurrentRC>(&m_block[0], ComPtr<Allocator>()))) {}

    CrtAllocator* get() const noexcept { return m_reference.get(); }

private:
    alignas(std::max_align_t) std::byte m_block[com_internal::kBlockSize<CrtAllocator, ConcurrentRC>];
    ComPtr<CrtAllocator> m_reference;
};

}  // namespace

CrtAllocator* CrtAllocator::shared() {
    static StaticCrtAllocator instance;
    return instance.get();
}

}  // namespace common
