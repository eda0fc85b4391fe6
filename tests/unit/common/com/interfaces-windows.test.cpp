// The object model's binary layout, on which another module built against the interfaces relies.
#include "common/com/interfaces.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include "common/com/allocator.h"
#include "common/com/crt_allocator.h"
#include "common/com/shared_state.h"
#include "unit/support/counting_allocator.h"
#include "unit/support/vtable-windows.h"

namespace {

using common::Allocator;
using common::BlockDescriptor;
using common::ComPtr;
using common::ConcurrentRC;
using common::CrtAllocator;
using common::SingleThreadRC;
using common::StrictSingleThreadRC;
using common::com_internal::ComClassSharedState;
using unit::field;
using unit::slot;

using Supports = bool (*)(const void*, const InterfaceId&);
using Query = void* (*)(void*, const InterfaceId&);
using Action = void (*)(void*);
using GetWeakReference = IWeakReference* (*)(void*);
using Lock = IRefCounted* (*)(void*);
using Predicate = bool (*)(const void*);
using Count = std::uint32_t (*)(const void*);

struct Marker : virtual IRefCounted {};

class Thing : public Marker {
public:
    using Interfaces = common::TypeList<Marker>;
    explicit Thing(int& ends) : m_ends(ends) {}
    ~Thing() override { ++m_ends; }

private:
    int& m_ends;
};

TEST(IAnythingSlots, areDestructorSupportsQuery) {
    int ends = 0;
    const ComPtr<Thing> thing = common::makeInstance<Thing, SingleThreadRC>(ends);
    IAnything* const anything = thing.get();
    EXPECT_TRUE(slot<Supports>(anything, 1)(anything, typeid(Marker)));
    EXPECT_FALSE(slot<Supports>(anything, 1)(anything, typeid(Thing)));
    EXPECT_EQ(slot<Query>(anything, 2)(anything, typeid(Thing)), thing.get());
    EXPECT_EQ(thing->refCount(), 1u);
}

TEST(IAnythingSlots, theDestructorIsTheDeletingOne) {
    struct Plain : IAnything {
        explicit Plain(int& ends) : m_ends(ends) {}
        ~Plain() override { ++m_ends; }
        bool supports(const InterfaceId&) const noexcept override { return false; }
        void* query(const InterfaceId&) noexcept override { return nullptr; }
        int& m_ends;
    };
    int ends = 0;
    alignas(Plain) std::byte memory[sizeof(Plain)];
    IAnything* const inPlace = ::new (&memory[0]) Plain(ends);
    slot<unit::DeletingDestructor>(inPlace, 0)(inPlace, unit::kKeepMemory);
    EXPECT_EQ(ends, 1);
    IAnything* const onHeap = new Plain(ends);
    slot<unit::DeletingDestructor>(onHeap, 0)(onHeap, 1);
    EXPECT_EQ(ends, 2);
}

TEST(IRefCountedSlots, areAddRefReleaseGetWeakReferenceRefCount) {
    int ends = 0;
    ComPtr<Thing> thing = common::makeInstance<Thing, SingleThreadRC>(ends);
    IRefCounted* const counted = thing.detach();
    EXPECT_EQ(slot<Count>(counted, 3)(counted), 1u);
    slot<Action>(counted, 0)(counted);
    EXPECT_EQ(slot<Count>(counted, 3)(counted), 2u);
    slot<Action>(counted, 1)(counted);
    EXPECT_EQ(slot<Count>(counted, 3)(counted), 1u);
    IWeakReference* const weak = slot<GetWeakReference>(counted, 2)(counted);
    slot<Action>(counted, 1)(counted);
    EXPECT_EQ(ends, 1);
    EXPECT_TRUE(weak->expired());
    weak->release();
}

TEST(IWeakReferenceSlots, areAddRefReleaseLockExpired) {
    unit::CountingAllocator::Counts counts;
    const unit::AllocatorOverride current(counts);
    int ends = 0;
    ComPtr<Thing> thing = common::makeInstance<Thing, SingleThreadRC>(ends);
    IWeakReference* const weak = thing->getWeakReference();
    slot<Action>(weak, 0)(weak);
    EXPECT_FALSE(slot<Predicate>(weak, 3)(weak));
    IRefCounted* const locked = slot<Lock>(weak, 2)(weak);
    EXPECT_EQ(locked, static_cast<IRefCounted*>(thing.get()));
    locked->release();
    thing.reset();
    EXPECT_TRUE(slot<Predicate>(weak, 3)(weak));
    EXPECT_EQ(slot<Lock>(weak, 2)(weak), nullptr);
    slot<Action>(weak, 1)(weak);
    EXPECT_EQ(counts.freed, 0);
    slot<Action>(weak, 1)(weak);
    EXPECT_EQ(counts.freed, 1);
}

TEST(AllocatorSlots, areReallocateDeallocate) {
    using Reallocate = void* (*)(void*, void*, std::size_t);
    using Deallocate = void (*)(void*, void*, const BlockDescriptor&);
    unit::CountingAllocator::Counts counts;
    const ComPtr<Allocator> allocator = unit::CountingAllocator::make(counts);
    void* const block = slot<Reallocate>(allocator.get(), 0)(allocator.get(), nullptr, 24);
    EXPECT_EQ(counts.lastSize, 24u);
    EXPECT_EQ(counts.lastBlock, block);
    slot<Deallocate>(allocator.get(), 1)(allocator.get(), block, {24, 1});
    EXPECT_EQ(counts.lastFreed, block);
    EXPECT_EQ(counts.lastDescriptor.size, 24u);
    EXPECT_EQ(counts.lastDescriptor.count, 1u);
    EXPECT_EQ(sizeof(BlockDescriptor), 16u);
    EXPECT_EQ(offsetof(BlockDescriptor, size), 0u);
    EXPECT_EQ(offsetof(BlockDescriptor, count), 8u);
}

TEST(ComPtrLayout, isOnePointer) {
    int ends = 0;
    const ComPtr<Thing> thing = common::makeInstance<Thing, SingleThreadRC>(ends);
    EXPECT_EQ(sizeof thing, sizeof(void*));
    EXPECT_EQ(field<Thing*>(&thing, 0), thing.get());
}

// Behind the table pointer: allocator, resolve, destroy, block size, the policy's counts, then the object.
constexpr std::size_t kAllocator = 8;
constexpr std::size_t kResolve = 16;
constexpr std::size_t kDestroy = 24;
constexpr std::size_t kBlockSize = 32;
constexpr std::size_t kCounts = 40;

template <typename RC>
class SharedStateLayout : public testing::Test {
protected:
    int m_ends = 0;
    unit::CountingAllocator::Counts m_counts;
    unit::AllocatorOverride m_override{m_counts};
    ComPtr<Thing> m_thing = common::makeInstance<Thing, RC>(m_ends);
    void* m_block = m_counts.lastBlock;
};

using Policies = testing::Types<SingleThreadRC, ConcurrentRC, StrictSingleThreadRC>;
TYPED_TEST_SUITE(SharedStateLayout, Policies);

TYPED_TEST(SharedStateLayout, fieldsKeepTheirOrder) {
    void* const block = this->m_block;
    const auto allocator = common::currentAllocator();
    EXPECT_EQ(field<Allocator*>(block, kAllocator), allocator.get());
    EXPECT_EQ(field<std::size_t>(block, kBlockSize), this->m_counts.lastSize);
    const std::size_t counts = std::is_same_v<TypeParam, StrictSingleThreadRC> ? 16 : 8;
    void* const storage = static_cast<std::byte*>(block) + kCounts + counts;
    EXPECT_EQ(storage, dynamic_cast<void*>(this->m_thing.get()));
    const auto resolve = field<typename ComClassSharedState<TypeParam>::Resolve>(block, kResolve);
    EXPECT_EQ(resolve(storage), static_cast<IRefCounted*>(this->m_thing.get()));
}

TYPED_TEST(SharedStateLayout, destroyRunsTheDestructorInPlace) {
    static_cast<void>(this->m_thing.detach());
    const auto destroy = field<typename ComClassSharedState<TypeParam>::Destroy>(this->m_block, kDestroy);
    destroy(static_cast<ComClassSharedState<TypeParam>*>(this->m_block) + 1);
    EXPECT_EQ(this->m_ends, 1);
    EXPECT_EQ(this->m_counts.freed, 0);
    auto* const weak = static_cast<IWeakReference*>(this->m_block);
    weak->release();
}

TEST(SharedStateCounts, areWeakThenStrongAndWeakCoversStrong) {
    const auto check = [](const ComPtr<Thing>& thing, std::size_t weakAt, std::size_t strongAt) {
        IWeakReference* const weak = thing->getWeakReference();
        thing->addRef();
        EXPECT_EQ(field<std::uint32_t>(weak, weakAt), 3u);
        EXPECT_EQ(field<std::uint32_t>(weak, strongAt), 2u);
        thing->release();
        EXPECT_EQ(field<std::uint32_t>(weak, weakAt), 2u);
        EXPECT_EQ(field<std::uint32_t>(weak, strongAt), 1u);
        weak->release();
    };
    int ends = 0;
    check(common::makeInstance<Thing, SingleThreadRC>(ends), kCounts, kCounts + 4);
    check(common::makeInstance<Thing, ConcurrentRC>(ends), kCounts, kCounts + 4);
    check(common::makeInstance<Thing, StrictSingleThreadRC>(ends), kCounts, kCounts + 8);
    EXPECT_EQ(ends, 3);
}

TEST(SharedStateCounts, theStrictPolicyPairsEachWithTheMakersThread) {
    int ends = 0;
    ComPtr<Thing> thing;
    std::uint32_t maker = 0;
    std::thread([&] {
        maker = common::platform::currentThreadId();
        thing = common::makeInstance<Thing, StrictSingleThreadRC>(ends);
    }).join();
    IWeakReference* const state = thing->getWeakReference();
    EXPECT_EQ(field<std::uint32_t>(state, kCounts + 4), maker);
    EXPECT_EQ(field<std::uint32_t>(state, kCounts + 12), maker);
    state->release();
}

TEST(CrtAllocatorState, hasItsStorageSizeAndNoAllocator) {
    IWeakReference* const state = CrtAllocator::shared()->getWeakReference();
    const auto* const block = reinterpret_cast<const std::byte*>(state);
    EXPECT_EQ(field<Allocator*>(block, kAllocator), nullptr);
    EXPECT_EQ(field<std::size_t>(block, kBlockSize), (common::com_internal::kBlockSize<CrtAllocator, ConcurrentRC>));
    EXPECT_EQ(static_cast<const void*>(block + kCounts + 8), dynamic_cast<void*>(CrtAllocator::shared()));
    state->release();
}

// A type's information: a table pointer, room for the readable name, the decorated name.
constexpr std::size_t kDecoratedName = 2 * sizeof(void*);

const char* decoratedName(const std::type_info& type) { return reinterpret_cast<const char*>(&type) + kDecoratedName; }

/// A copy of a type's information as another module has it: at another address, with the same decorated name.
class ForgedId {
public:
    explicit ForgedId(const std::type_info& type) : ForgedId(type, decoratedName(type)) {}
    ForgedId(const std::type_info& type, std::string_view name) : m_memory(kDecoratedName + name.size() + 1) {
        std::memcpy(m_memory.data(), static_cast<const void*>(&type), sizeof(void*));
        std::memcpy(m_memory.data() + kDecoratedName, name.data(), name.size());
    }
    const InterfaceId& get() const { return *reinterpret_cast<const InterfaceId*>(m_memory.data()); }

private:
    std::vector<char> m_memory;
};

TEST(InterfaceIdentity, goesByTheDecoratedName) {
    EXPECT_STREQ(decoratedName(typeid(Allocator)), ".?AUAllocator@common@@");
    EXPECT_STREQ(decoratedName(typeid(CrtAllocator)), ".?AVCrtAllocator@common@@");
    EXPECT_STREQ(decoratedName(typeid(IRefCounted)), ".?AUIRefCounted@@");
    EXPECT_STREQ(decoratedName(typeid(IAnything)), ".?AUIAnything@@");
}

TEST(InterfaceIdentity, anIdOfAnotherModuleMatches) {
    CrtAllocator* const allocator = CrtAllocator::shared();
    const ForgedId foreign(typeid(Allocator));
    ASSERT_NE(&foreign.get(), &typeid(Allocator));
    EXPECT_TRUE(foreign.get() == typeid(Allocator));
    EXPECT_EQ(allocator->query(foreign.get()), static_cast<Allocator*>(allocator));
    EXPECT_TRUE(allocator->supports(foreign.get()));
    EXPECT_EQ(allocator->query(ForgedId(typeid(IAnything)).get()), static_cast<IAnything*>(allocator));
    EXPECT_EQ(allocator->query(ForgedId(typeid(IRefCounted)).get()), static_cast<IRefCounted*>(allocator));
    EXPECT_EQ(allocator->query(ForgedId(typeid(CrtAllocator)).get()), allocator);
    EXPECT_FALSE(allocator->supports(ForgedId(typeid(CrtAllocator)).get()));
}

TEST(InterfaceIdentity, anotherNameDoesNotMatch) {
    CrtAllocator* const allocator = CrtAllocator::shared();
    const ForgedId stranger(typeid(Allocator), ".?AUAllocator@stranger@@");
    EXPECT_EQ(allocator->query(stranger.get()), nullptr);
    EXPECT_FALSE(allocator->supports(stranger.get()));
}

}  // namespace
