#include "common/com/shared_state.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

#include "unit/support/counting_allocator.h"
#include "unit/support/log_recorder.h"

namespace unit {

struct Interface : virtual IRefCounted {
    virtual int value() = 0;
};

struct Other : virtual IRefCounted {};

class Thing : public Interface {
public:
    using Interfaces = common::TypeList<Interface>;

    explicit Thing(std::atomic<int>& ends) : m_ends(ends) {}
    ~Thing() override { ++m_ends; }
    int value() override { return 42; }

private:
    std::atomic<int>& m_ends;
};

}  // namespace unit

namespace {

using common::ComPtr;
using common::ConcurrentRC;
using common::makeInstance;
using common::SingleThreadRC;
using common::StrictSingleThreadRC;
using common::com_internal::ComClassSharedState;
using common::com_internal::ComObject;
using unit::AllocatorOverride;
using unit::CountingAllocator;
using unit::Interface;
using unit::Thing;

template <typename RC>
class SharedState : public testing::Test {
protected:
    ComPtr<Thing> makeThing() { return makeInstance<Thing, RC>(m_ends); }

    std::atomic<int> m_ends{0};
};

using Policies = testing::Types<SingleThreadRC, ConcurrentRC, StrictSingleThreadRC>;
TYPED_TEST_SUITE(SharedState, Policies);

TYPED_TEST(SharedState, theLastStrongReferenceEndsTheObject) {
    ComPtr<Thing> thing = this->makeThing();
    Thing* const raw = thing.get();
    raw->addRef();
    EXPECT_EQ(raw->refCount(), 2u);
    thing.reset();
    EXPECT_EQ(this->m_ends, 0);
    EXPECT_EQ(raw->refCount(), 1u);
    raw->release();
    EXPECT_EQ(this->m_ends, 1);
}

TYPED_TEST(SharedState, aWeakReferenceKeepsTheBlockButNotTheObject) {
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    ComPtr<Thing> thing = this->makeThing();
    IWeakReference* const weak = thing->getWeakReference();
    EXPECT_FALSE(weak->expired());
    EXPECT_EQ(thing->refCount(), 1u);
    thing.reset();
    EXPECT_EQ(this->m_ends, 1);
    EXPECT_EQ(counts.freed, 0);
    EXPECT_TRUE(weak->expired());
    EXPECT_EQ(weak->lock(), nullptr);
    EXPECT_TRUE(weak->expired());
    weak->release();
    EXPECT_EQ(this->m_ends, 1);
    EXPECT_EQ(counts.freed, 1);
}

TYPED_TEST(SharedState, everyWeakReferenceCounts) {
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    ComPtr<Thing> thing = this->makeThing();
    IWeakReference* const weak = thing->getWeakReference();
    EXPECT_EQ(thing->getWeakReference(), weak);
    weak->addRef();
    thing.reset();
    weak->release();
    weak->release();
    EXPECT_EQ(counts.freed, 0);
    weak->release();
    EXPECT_EQ(counts.freed, 1);
}

TYPED_TEST(SharedState, lockAddsAReferenceLikeAnyOther) {
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    ComPtr<Thing> thing = this->makeThing();
    IWeakReference* const weak = thing->getWeakReference();
    IRefCounted* const locked = weak->lock();
    EXPECT_EQ(locked, static_cast<IRefCounted*>(thing.get()));
    EXPECT_EQ(thing->refCount(), 2u);
    thing.reset();
    EXPECT_EQ(this->m_ends, 0);
    EXPECT_FALSE(weak->expired());
    // The lock added a weak count as well. Without it, this release would free the block under the object.
    weak->release();
    EXPECT_EQ(counts.freed, 0);
    locked->release();
    EXPECT_EQ(this->m_ends, 1);
    EXPECT_EQ(counts.freed, 1);
}

TYPED_TEST(SharedState, theBlockGoesBackToTheAllocatorThatMadeIt) {
    CountingAllocator::Counts maker;
    CountingAllocator::Counts later;
    ComPtr<Thing> thing;
    {
        const AllocatorOverride current(maker);
        thing = this->makeThing();
    }
    EXPECT_EQ(maker.destroyed, 0);  // the object holds it
    const AllocatorOverride current(later);
    IWeakReference* const weak = thing->getWeakReference();
    thing.reset();
    EXPECT_EQ(maker.freed, 0);
    weak->release();
    EXPECT_EQ(maker.freed, 1);
    EXPECT_EQ(maker.destroyed, 1);
    EXPECT_EQ(later.freed, 0);
}

TYPED_TEST(SharedState, stateAndObjectShareOneBlock) {
    using State = ComClassSharedState<TypeParam>;
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    ComPtr<Thing> thing = this->makeThing();
    EXPECT_EQ(counts.allocated, 1);
    const std::size_t size = sizeof(State) + sizeof(ComObject<Thing, TypeParam>);
    EXPECT_EQ(counts.lastSize, size);
    IWeakReference* const weak = thing->getWeakReference();
    EXPECT_EQ(static_cast<void*>(weak), counts.lastBlock);
    EXPECT_EQ(static_cast<char*>(dynamic_cast<void*>(thing.get())),
              static_cast<char*>(counts.lastBlock) + sizeof(State));
    weak->release();
    thing.reset();
    EXPECT_EQ(counts.lastFreed, counts.lastBlock);
    EXPECT_EQ(counts.lastDescriptor.size, size);
    EXPECT_EQ(counts.lastDescriptor.count, 1u);
}

TYPED_TEST(SharedState, withoutMemoryThereIsNoObject) {
    CountingAllocator::Counts counts;
    counts.exhausted = true;
    const AllocatorOverride current(counts);
    EXPECT_FALSE(this->makeThing());
    EXPECT_EQ(counts.freed, 0);
    EXPECT_EQ(this->m_ends, 0);
}

TYPED_TEST(SharedState, aConstructorThatThrowsLeavesNothingBehind) {
    class Failing : public Interface {
    public:
        using Interfaces = common::TypeList<Interface>;
        Failing() { throw std::runtime_error("boom"); }
        int value() override { return 0; }
    };
    CountingAllocator::Counts counts;
    {
        const AllocatorOverride current(counts);
        EXPECT_THROW(static_cast<void>((makeInstance<Failing, TypeParam>())), std::runtime_error);
        EXPECT_EQ(counts.allocated, 1);
        EXPECT_EQ(counts.freed, 1);
        EXPECT_EQ(counts.lastFreed, counts.lastBlock);
        EXPECT_EQ(counts.lastDescriptor.count, 1u);
        EXPECT_EQ(counts.lastDescriptor.size, counts.lastSize);
    }
    EXPECT_EQ(counts.destroyed, 1);  // the block kept no reference to the allocator
}

TYPED_TEST(SharedState, aDestructorMayTakeAndGiveBackWeakReferencesButNotRevive) {
    class Curious : public Interface {
    public:
        using Interfaces = common::TypeList<Interface>;
        explicit Curious(bool& revived) : m_revived(revived) {}
        ~Curious() override {
            m_revived = m_weak->lock() != nullptr || !m_weak->expired();
            m_weak->release();
        }
        int value() override { return 0; }
        IWeakReference* m_weak = nullptr;

    private:
        bool& m_revived;
    };
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    bool revived = true;
    ComPtr<Curious> curious = makeInstance<Curious, TypeParam>(revived);
    curious->m_weak = curious->getWeakReference();
    curious.reset();
    EXPECT_FALSE(revived);
    EXPECT_EQ(counts.freed, 1);
}

TYPED_TEST(SharedState, queryAnswersTheRootsTheInterfacesAndTheClass) {
    const ComPtr<Thing> thing = this->makeThing();
    Thing* const raw = thing.get();
    EXPECT_EQ(raw->query(typeid(IAnything)), static_cast<IAnything*>(raw));
    EXPECT_EQ(raw->query(typeid(IRefCounted)), static_cast<IRefCounted*>(raw));
    EXPECT_EQ(raw->query(typeid(Interface)), static_cast<Interface*>(raw));
    EXPECT_EQ(raw->query(typeid(Thing)), raw);
    EXPECT_EQ(raw->query(typeid(unit::Other)), nullptr);
    EXPECT_EQ(raw->query(typeid(int)), nullptr);
    EXPECT_EQ(raw->refCount(), 1u);  // no query adds a reference
}

TYPED_TEST(SharedState, supportsAnswersTheRootsAndTheInterfacesOnly) {
    const ComPtr<Thing> thing = this->makeThing();
    EXPECT_TRUE(thing->supports(typeid(IAnything)));
    EXPECT_TRUE(thing->supports(typeid(IRefCounted)));
    EXPECT_TRUE(thing->supports(typeid(Interface)));
    EXPECT_FALSE(thing->supports(typeid(Thing)));
    EXPECT_FALSE(thing->supports(typeid(unit::Other)));
    EXPECT_FALSE(thing->supports(typeid(IWeakReference)));
}

TYPED_TEST(SharedState, anObjectHasOneOfEachRoot) {
    const ComPtr<Thing> thing = this->makeThing();
    const auto second = static_cast<Interface*>(thing.get());
    EXPECT_EQ(static_cast<IAnything*>(thing.get()), static_cast<IAnything*>(static_cast<IRefCounted*>(second)));
}

TEST(StrictSingleThreadRC, notesTheThreadThatMadeTheObject) {
    std::atomic<int> ends{0};
    std::uint32_t maker = 0;
    ComPtr<Thing> thing;
    std::thread other([&] {
        maker = common::platform::currentThreadId();
        thing = makeInstance<Thing, StrictSingleThreadRC>(ends);
    });
    other.join();
    const auto* const object = static_cast<const ComObject<Thing, StrictSingleThreadRC>*>(thing.get());
    EXPECT_EQ(object->state().counts().ownerThread(), maker);
    EXPECT_NE(maker, common::platform::currentThreadId());
    EXPECT_NE(maker, 0u);
}

TEST(StrictSingleThreadRC, countingOnAForeignThreadFailsNothing) {
    const unit::LogRecorder log;
    std::atomic<int> ends{0};
    ComPtr<Thing> thing = makeInstance<Thing, StrictSingleThreadRC>(ends);
    std::thread other([&] {
        IWeakReference* const weak = thing->getWeakReference();
        thing->addRef();
        thing->release();
        weak->release();
        thing.reset();
    });
    other.join();
    EXPECT_EQ(ends, 1);
    EXPECT_TRUE(log.records().empty());
}

/// Runs `body(thread)` on several threads at once, round by round, with `prepare()` before and `check()` after each
/// round on the calling thread. The threads start each round as close together as possible. Returns the number of
/// rounds: as many as fit into a second, at most some thousands.
template <typename Prepare, typename Body, typename Check>
int race(int threads, Prepare prepare, Body body, Check check) {
    constexpr int kMostRounds = 5000;
    std::atomic<int> started{0};
    std::atomic<int> finished{0};
    std::atomic<bool> over{false};
    std::vector<std::thread> running;
    for (int index = 0; index < threads; ++index) {
        running.emplace_back([&, index] {
            for (int round = 1;; ++round) {
                while (started < round && !over) std::this_thread::yield();
                if (over) return;
                body(index);
                ++finished;
            }
        });
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    int rounds = 0;
    while (rounds < kMostRounds && std::chrono::steady_clock::now() < deadline) {
        prepare();
        started = ++rounds;
        while (finished < threads * rounds) std::this_thread::yield();
        check();
    }
    over = true;
    for (std::thread& thread : running) thread.join();
    return rounds;
}

TEST(ConcurrentRC, countsWithoutLoss) {
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    std::atomic<int> ends{0};
    ComPtr<Thing> thing = makeInstance<Thing, ConcurrentRC>(ends);
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 20000; ++turn) {
                const ComPtr<Thing> copy(thing);
                IWeakReference* const weak = copy->getWeakReference();
                weak->release();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(thing->refCount(), 1u);
    EXPECT_EQ(ends, 0);
    thing.reset();
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(counts.freed, 1);
}

TEST(ConcurrentRC, lockingNeverRevivesWhatTheLastReleaseEnded) {
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    std::atomic<int> ends{0};
    std::atomic<int> locks{0};
    ComPtr<Thing> thing;
    IWeakReference* weak = nullptr;
    const int rounds = race(
        2,
        [&] {
            thing = makeInstance<Thing, ConcurrentRC>(ends);
            weak = thing->getWeakReference();
            locks = 0;
        },
        [&](int index) {
            if (index == 0) {
                while (locks == 0) std::this_thread::yield();
                thing.reset();
                return;
            }
            // This thread locks all the time, so it is often in the middle of a lock when the last reference goes.
            while (IRefCounted* const locked = weak->lock()) {
                ++locks;
                const ComPtr<Interface> object = ComPtr<Interface>::acquire(locked);
                EXPECT_EQ(object->value(), 42);  // alive as long as the lock is held
                locked->release();
            }
            EXPECT_TRUE(weak->expired());
        },
        [&] {
            EXPECT_EQ(weak->lock(), nullptr);
            weak->release();
        });
    EXPECT_EQ(ends, rounds);
    EXPECT_EQ(counts.freed, rounds);
    EXPECT_GT(rounds, 0);
}

TEST(ConcurrentRC, theLastReferenceMayGoOnAnyThread) {
    CountingAllocator::Counts counts;
    const AllocatorOverride current(counts);
    std::atomic<int> ends{0};
    std::vector<ComPtr<Thing>> copies;
    const int rounds = race(
        3, [&] { copies.assign(3, makeInstance<Thing, ConcurrentRC>(ends)); },
        [&](int index) { copies[static_cast<std::size_t>(index)].reset(); }, [] {});
    EXPECT_EQ(ends, rounds);
    EXPECT_EQ(counts.freed, rounds);
}

}  // namespace
