#include "common/com/crt_allocator.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "common/com/shared_state.h"

namespace {

using common::Allocator;
using common::ComPtr;
using common::CrtAllocator;

TEST(CrtAllocator, isOneForTheProcess) {
    CrtAllocator* const shared = CrtAllocator::shared();
    EXPECT_EQ(CrtAllocator::shared(), shared);
    EXPECT_GE(shared->refCount(), 1u);
}

TEST(CrtAllocator, startsOnceWhenThreadsRaceForIt) {
    std::vector<CrtAllocator*> seen(4);
    std::vector<std::thread> threads;
    for (CrtAllocator*& slot : seen) threads.emplace_back([&slot] { slot = CrtAllocator::shared(); });
    for (std::thread& thread : threads) thread.join();
    for (CrtAllocator* const instance : seen) EXPECT_EQ(instance, CrtAllocator::shared());
}

TEST(CrtAllocator, allocatesResizesAndFrees) {
    CrtAllocator* const allocator = CrtAllocator::shared();
    void* block = allocator->reallocate(nullptr, 16);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
    std::memcpy(block, "0123456789abcde", 16);
    block = allocator->reallocate(block, 1 << 20);
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(static_cast<const char*>(block), "0123456789abcde");
    allocator->deallocate(block, {1 << 20, 1});
}

TEST(CrtAllocator, looksAtNoDescriptor) {
    CrtAllocator* const allocator = CrtAllocator::shared();
    allocator->deallocate(allocator->reallocate(nullptr, 16), {0, 0});
    allocator->deallocate(nullptr, {16, 1});
}

TEST(CrtAllocator, queryReturnsTheClassAlthoughItIsNotAnInterface) {
    CrtAllocator* const allocator = CrtAllocator::shared();
    EXPECT_EQ(allocator->query(typeid(CrtAllocator)), allocator);
    EXPECT_EQ(allocator->query(typeid(Allocator)), static_cast<Allocator*>(allocator));
    EXPECT_EQ(allocator->query(typeid(IRefCounted)), static_cast<IRefCounted*>(allocator));
    EXPECT_EQ(allocator->query(typeid(IAnything)), static_cast<IAnything*>(allocator));
    EXPECT_EQ(allocator->query(typeid(int)), nullptr);
    EXPECT_TRUE(allocator->supports(typeid(Allocator)));
    EXPECT_TRUE(allocator->supports(typeid(IRefCounted)));
    EXPECT_TRUE(allocator->supports(typeid(IAnything)));
    EXPECT_FALSE(allocator->supports(typeid(CrtAllocator)));
    EXPECT_FALSE(allocator->supports(typeid(int)));
}

TEST(CrtAllocator, isCountedForManyThreads) {
    using Object = common::com_internal::ComObject<CrtAllocator, common::ConcurrentRC>;
    EXPECT_NE(dynamic_cast<Object*>(CrtAllocator::shared()), nullptr);
}

TEST(CrtAllocator, hasALiveWeakReference) {
    CrtAllocator* const allocator = CrtAllocator::shared();
    const std::uint32_t references = allocator->refCount();
    IWeakReference* const weak = allocator->getWeakReference();
    EXPECT_FALSE(weak->expired());
    IRefCounted* const locked = weak->lock();
    EXPECT_EQ(locked, static_cast<IRefCounted*>(allocator));
    EXPECT_EQ(allocator->refCount(), references + 1);
    locked->release();
    weak->release();
    EXPECT_EQ(allocator->refCount(), references);
}

TEST(CrtAllocatorDeathTest, theProcessesOwnReferenceIsReleasedAtItsEnd) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Runs after everything that is registered later, which includes the end of the shared allocator.
            static CrtAllocator* kept = nullptr;
            std::atexit([] { std::fprintf(stderr, "%u at the end\n", kept->refCount()); });
            kept = CrtAllocator::shared();
            kept->addRef();
            std::fprintf(stderr, "%u before, ", kept->refCount());
            std::exit(0);
        },
        testing::ExitedWithCode(0), "2 before, 1 at the end");
}

}  // namespace
