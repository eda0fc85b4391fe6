#include "common/com/allocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "common/com/crt_allocator.h"
#include "unit/support/counting_allocator.h"
#include "unit/support/log_recorder.h"
#include "unit/support/other_thread.h"

namespace {

using common::Allocator;
using common::ComPtr;
using common::currentAllocator;
using common::setCurrentAllocator;
using unit::CountingAllocator;

TEST(CurrentAllocator, isTheCrtAllocatorUnlessOverridden) {
    const unit::LogRecorder log;
    const std::uint32_t references = common::CrtAllocator::shared()->refCount();
    {
        const ComPtr<Allocator> current = currentAllocator();
        EXPECT_EQ(current.get(), static_cast<Allocator*>(common::CrtAllocator::shared()));
        EXPECT_EQ(current->refCount(), references + 1);
    }
    EXPECT_EQ(common::CrtAllocator::shared()->refCount(), references);
    EXPECT_TRUE(log.records().empty());
}

TEST(CurrentAllocator, anOverrideIsHandedOutWithAReference) {
    CountingAllocator::Counts counts;
    const ComPtr<Allocator> mine = CountingAllocator::make(counts);
    setCurrentAllocator(mine);
    EXPECT_EQ(mine->refCount(), 2u);
    {
        const ComPtr<Allocator> current = currentAllocator();
        EXPECT_EQ(current.get(), mine.get());
        EXPECT_EQ(mine->refCount(), 3u);
    }
    setCurrentAllocator(nullptr);
    EXPECT_EQ(mine->refCount(), 1u);
    EXPECT_EQ(currentAllocator().get(), static_cast<Allocator*>(common::CrtAllocator::shared()));
}

TEST(CurrentAllocator, replacingReleasesTheOneBeforeOnce) {
    CountingAllocator::Counts first;
    CountingAllocator::Counts second;
    ComPtr<Allocator> next = CountingAllocator::make(second);
    setCurrentAllocator(CountingAllocator::make(first));
    EXPECT_EQ(first.destroyed, 0);
    setCurrentAllocator(std::move(next));
    EXPECT_EQ(first.destroyed, 1);
    EXPECT_EQ(second.destroyed, 0);
    setCurrentAllocator(nullptr);
    EXPECT_EQ(first.destroyed, 1);
    EXPECT_EQ(second.destroyed, 1);
    setCurrentAllocator(nullptr);
    EXPECT_EQ(second.destroyed, 1);
}

TEST(CurrentAllocator, settingTheSameOneKeepsIt) {
    CountingAllocator::Counts counts;
    const ComPtr<Allocator> mine = CountingAllocator::make(counts);
    setCurrentAllocator(mine);
    setCurrentAllocator(mine);
    EXPECT_EQ(mine->refCount(), 2u);
    setCurrentAllocator(nullptr);
    EXPECT_EQ(mine->refCount(), 1u);
    EXPECT_EQ(counts.destroyed, 0);
}

TEST(CurrentAllocator, anOverrideMakesTheNextObjects) {
    CountingAllocator::Counts outer;
    CountingAllocator::Counts inner;
    {
        const unit::AllocatorOverride current(outer);
        const ComPtr<Allocator> made = CountingAllocator::make(inner);
        EXPECT_EQ(outer.allocated, 1);
    }
    EXPECT_EQ(outer.freed, 1);
    EXPECT_EQ(outer.destroyed, 1);
}

TEST(CurrentAllocator, theOverrideThatGoesMayAskForTheCurrentOne) {
    class Asking : public Allocator {
    public:
        using Interfaces = common::TypeList<Allocator>;
        explicit Asking(Allocator*& seen) : m_seen(seen) {}
        ~Asking() override { m_seen = currentAllocator().get(); }
        void* reallocate(void*, std::size_t) noexcept override { return nullptr; }
        void deallocate(void*, const common::BlockDescriptor&) noexcept override {}

    private:
        Allocator*& m_seen;
    };
    Allocator* seen = nullptr;
    setCurrentAllocator(ComPtr<Allocator>(common::makeInstance<Asking, common::ConcurrentRC>(seen)));
    setCurrentAllocator(nullptr);
    EXPECT_EQ(seen, static_cast<Allocator*>(common::CrtAllocator::shared()));
}

TEST(CurrentAllocator, theOneBeforeIsReleasedOutsideTheLock) {
    /// While this allocator is destroyed, another thread must be able to get the current one.
    class Asking : public Allocator {
    public:
        using Interfaces = common::TypeList<Allocator>;
        Asking(unit::OtherThread& other, bool& answered) : m_other(other), m_answered(answered) {}
        ~Asking() override {
            m_answered = m_other.ends([] { static_cast<void>(currentAllocator()); });
        }
        void* reallocate(void*, std::size_t) noexcept override { return nullptr; }
        void deallocate(void*, const common::BlockDescriptor&) noexcept override {}

    private:
        unit::OtherThread& m_other;
        bool& m_answered;
    };
    bool answered = false;
    unit::OtherThread other;
    setCurrentAllocator(ComPtr<Allocator>(common::makeInstance<Asking, common::ConcurrentRC>(other, answered)));
    setCurrentAllocator(nullptr);
    EXPECT_TRUE(answered);
}

TEST(CurrentAllocatorDeathTest, anOverrideOutlivesEverythingThatEndsWithTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Runs after everything that is registered later, which includes the destruction of every static object
            // from here on.
            static Allocator* kept = nullptr;
            static CountingAllocator::Counts& counts = *new CountingAllocator::Counts;
            std::atexit([] {
                const bool isCurrent = currentAllocator().get() == kept;
                setCurrentAllocator(nullptr);
                std::fprintf(stderr, "%s, then %d ended\n", isCurrent ? "current" : "gone", counts.destroyed.load());
            });
            setCurrentAllocator(CountingAllocator::make(counts));
            kept = currentAllocator().get();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "current, then 1 ended");
}

TEST(CurrentAllocator, mayBeReplacedWhileOthersUseIt) {
    CountingAllocator::Counts counts;
    std::atomic<bool> stop{false};
    std::thread user([&] {
        while (!stop) {
            const ComPtr<Allocator> current = currentAllocator();
            void* const block = current->reallocate(nullptr, 16);
            current->deallocate(block, {16, 1});
        }
    });
    for (int turn = 0; turn < 2000; ++turn) {
        setCurrentAllocator(CountingAllocator::make(counts));
        setCurrentAllocator(nullptr);
    }
    stop = true;
    user.join();
    EXPECT_EQ(counts.destroyed, 2000);
    EXPECT_EQ(counts.allocated, counts.freed);
}

}  // namespace
