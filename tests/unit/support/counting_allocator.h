#pragma once

#include <atomic>
#include <cstdlib>
#include <vector>

#include "common/com/allocator.h"
#include "common/com/shared_state.h"

namespace unit {

/// An allocator that counts the blocks it gives and takes back, and can run out. The blocks come from the C runtime, so
/// that the sanitizers watch them.
class CountingAllocator : public common::Allocator {
public:
    using Interfaces = common::TypeList<common::Allocator>;

    /// Outlives the allocator, so it also counts the allocator's end.
    struct Counts {
        std::atomic<int> allocated{0};
        std::atomic<int> freed{0};
        std::atomic<int> destroyed{0};
        bool exhausted = false;
        void* lastBlock = nullptr;
        std::size_t lastSize = 0;
        common::BlockDescriptor lastDescriptor{};
        void* lastFreed = nullptr;
    };

    explicit CountingAllocator(Counts& counts) : m_counts(counts) {}
    ~CountingAllocator() override { ++m_counts.destroyed; }

    void* reallocate(void* block, std::size_t size) noexcept override {
        if (m_counts.exhausted) return nullptr;
        ++m_counts.allocated;
        m_counts.lastSize = size;
        return m_counts.lastBlock = std::realloc(block, size);
    }
    void deallocate(void* block, const common::BlockDescriptor& descriptor) noexcept override {
        ++m_counts.freed;
        m_counts.lastFreed = block;
        m_counts.lastDescriptor = descriptor;
        std::free(block);
    }

    static common::ComPtr<common::Allocator> make(Counts& counts) {
        return common::makeInstance<CountingAllocator, common::ConcurrentRC>(counts);
    }

private:
    Counts& m_counts;
};

/// Makes a `CountingAllocator` the current allocator until the end of the scope.
class AllocatorOverride {
public:
    explicit AllocatorOverride(CountingAllocator::Counts& counts) {
        common::setCurrentAllocator(CountingAllocator::make(counts));
    }
    ~AllocatorOverride() { common::setCurrentAllocator(nullptr); }
    AllocatorOverride(const AllocatorOverride&) = delete;
    AllocatorOverride& operator=(const AllocatorOverride&) = delete;
};

}  // namespace unit
