#include "common/com/comptr.h"

#include <gtest/gtest.h>

#include "common/com/allocator.h"
#include "common/com/shared_state.h"
#include "standins/recording_failure_services.h"
#include "unit/support/assertion_recorder.h"
#include "unit/support/log_recorder.h"
#include "unit/support/type_spelling.h"

namespace unit {

struct First : virtual IRefCounted {
    virtual int first() = 0;
};

struct Second : virtual IRefCounted {
    virtual int second() = 0;
};

struct Unimplemented : virtual IRefCounted {};

class Pair : public First, public Second {
public:
    using Interfaces = common::TypeList<First, Second>;

    explicit Pair(int* ends = nullptr) : m_ends(ends) {}
    ~Pair() override {
        if (m_ends != nullptr) ++*m_ends;
    }
    int first() override { return 1; }
    int second() override { return 2; }

private:
    int* m_ends;
};

}  // namespace unit

namespace {

using common::ComPtr;
using unit::First;
using unit::Pair;
using unit::Second;
using unit::spelled;
using unit::Unimplemented;

ComPtr<Pair> makePair(int* ends = nullptr) { return common::makeInstance<Pair, common::SingleThreadRC>(ends); }

TEST(ComPtr, isOnePointer) { static_assert(sizeof(ComPtr<First>) == sizeof(First*)); }

TEST(ComPtr, startsEmpty) {
    const ComPtr<First> fromNothing;
    const ComPtr<First> fromNull(nullptr);
    EXPECT_FALSE(fromNothing);
    EXPECT_FALSE(fromNull);
    EXPECT_EQ(fromNothing.get(), nullptr);
    EXPECT_FALSE(ComPtr<First>(static_cast<First*>(nullptr)));
}

TEST(ComPtr, aNewObjectHasOneReference) {
    const ComPtr<Pair> pair = makePair();
    ASSERT_TRUE(pair);
    EXPECT_EQ(pair->refCount(), 1u);
}

TEST(ComPtr, copyingAddsAReference) {
    int ends = 0;
    ComPtr<Pair> pair = makePair(&ends);
    {
        const ComPtr<Pair> copy(pair);
        EXPECT_EQ(copy.get(), pair.get());
        EXPECT_EQ(pair->refCount(), 2u);
        ComPtr<Pair> assigned;
        assigned = copy;
        EXPECT_EQ(pair->refCount(), 3u);
    }
    EXPECT_EQ(pair->refCount(), 1u);
    pair.reset();
    EXPECT_EQ(ends, 1);
}

TEST(ComPtr, movingTransfersTheReference) {
    ComPtr<Pair> pair = makePair();
    Pair* const instance = pair.get();
    ComPtr<Pair> moved(std::move(pair));
    EXPECT_FALSE(pair);
    EXPECT_EQ(moved.get(), instance);
    EXPECT_EQ(moved->refCount(), 1u);
    ComPtr<Pair> assigned;
    assigned = std::move(moved);
    EXPECT_FALSE(moved);
    EXPECT_EQ(assigned->refCount(), 1u);
}

TEST(ComPtr, assigningReleasesWhatWasHeld) {
    int ends = 0;
    int others = 0;
    ComPtr<Pair> pair = makePair(&ends);
    pair = makePair(&others);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(others, 0);
    pair = nullptr;
    EXPECT_EQ(others, 1);
}

TEST(ComPtr, assigningToItselfKeepsTheObject) {
    int ends = 0;
    ComPtr<Pair> pair = makePair(&ends);
    ComPtr<Pair>& same = pair;
    pair = same;
    EXPECT_EQ(pair->refCount(), 1u);
    pair = std::move(same);
    ASSERT_TRUE(pair);
    EXPECT_EQ(pair->refCount(), 1u);
    EXPECT_EQ(ends, 0);
}

TEST(ComPtr, fromARawPointerAddsAReferenceAndAttachAndDetachDoNot) {
    ComPtr<Pair> pair = makePair();
    const ComPtr<Pair> counted(pair.get());
    EXPECT_EQ(pair->refCount(), 2u);
    Pair* const raw = pair.detach();
    EXPECT_FALSE(pair);
    EXPECT_EQ(raw->refCount(), 2u);
    const ComPtr<Pair> attached = ComPtr<Pair>::attach(raw);
    EXPECT_EQ(raw->refCount(), 2u);
}

TEST(ComPtr, convertsToABaseInterface) {
    int ends = 0;
    {
        const ComPtr<Second> second(makePair(&ends));
        EXPECT_EQ(second->second(), 2);
        EXPECT_EQ(second->refCount(), 1u);
    }
    EXPECT_EQ(ends, 1);
}

TEST(ComPtr, resetEmptiesThePointerBeforeItReleases) {
    struct Watcher : Pair {
        explicit Watcher(ComPtr<Pair>& holder, bool& foundEmpty) : m_holder(holder), m_foundEmpty(foundEmpty) {}
        ~Watcher() override { m_foundEmpty = !m_holder; }
        ComPtr<Pair>& m_holder;
        bool& m_foundEmpty;
    };
    ComPtr<Pair> holder;
    bool foundEmpty = false;
    holder = ComPtr<Pair>(common::makeInstance<Watcher, common::SingleThreadRC>(holder, foundEmpty));
    holder.reset();
    EXPECT_TRUE(foundEmpty);
    holder.reset();
}

TEST(ComPtr, acquireFindsTheInterfaceAndAddsAReference) {
    const unit::LogRecorder log;
    const ComPtr<Pair> pair = makePair();
    const ComPtr<Second> second = ComPtr<Second>::acquire(pair);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->second(), 2);
    EXPECT_EQ(pair->refCount(), 2u);
    const ComPtr<First> first = ComPtr<First>::acquire(second.get());
    ASSERT_TRUE(first);
    EXPECT_EQ(first->first(), 1);
    EXPECT_EQ(pair->refCount(), 3u);
    const ComPtr<Pair> whole = ComPtr<Pair>::acquire(first);
    EXPECT_EQ(whole.get(), pair.get());
    EXPECT_TRUE(log.records().empty());
}

TEST(ComPtr, acquireFromNothingGivesNothing) {
    const unit::LogRecorder log;
    EXPECT_FALSE(ComPtr<First>::acquire(ComPtr<Second>()));
    EXPECT_FALSE(ComPtr<First>::acquire(static_cast<Second*>(nullptr)));
    EXPECT_TRUE(log.records().empty());
}

TEST(ComPtr, acquireOfWhatIsNotThereGivesNothingAndOneLogRecord) {
    const unit::LogRecorder log;
    const unit::AssertionRecorder assertions;
    const ComPtr<Pair> pair = makePair();
    EXPECT_FALSE(ComPtr<Unimplemented>::acquire(pair));
    EXPECT_EQ(pair->refCount(), 1u);
    EXPECT_TRUE(assertions.failures().empty());
    ASSERT_EQ(log.records().size(), 1u);
    const unit::LogRecord record = log.records()[0];
    EXPECT_EQ(record.level, 2);
    EXPECT_EQ(record.message, "Expected API not exposed: (" + spelled("struct", "unit::Unimplemented") +
                                  "). Source type (" + spelled("class", "unit::Pair") + ")");
    EXPECT_EQ(record.function, "common::ComPtr<" + spelled("struct", "unit::Unimplemented") + ">::acquire");
    EXPECT_EQ(record.file, "src_native/common/include/common/com/comptr");
    EXPECT_EQ(record.line, 240u);
}

TEST(ComPtr, aFailedAcquireNamesTheInterfacesAsTheUserKnowsThem) {
    const unit::LogRecorder log;
    const ComPtr<Pair> pair = makePair();
    EXPECT_FALSE(ComPtr<common::Allocator>::acquire(static_cast<IRefCounted*>(pair.get())));
    ASSERT_EQ(log.records().size(), 1u);
    EXPECT_EQ(log.records()[0].message, "Expected API not exposed: (" + spelled("struct", "common::Allocator") +
                                            "). Source type (" + spelled("struct", "IRefCounted") + ")");
    EXPECT_EQ(log.records()[0].function, "common::ComPtr<" + spelled("struct", "common::Allocator") + ">::acquire");
}

TEST(ComPtr, dereferencingNothingIsAnAssertionFailureAndGivesNull) {
    const unit::AssertionRecorder assertions;
    const ComPtr<common::Allocator> none;
    EXPECT_EQ(none.operator->(), nullptr);
    ASSERT_EQ(assertions.failures().size(), 1u);
    const unit::AssertionFailure& failure = assertions.failures()[0];
    EXPECT_EQ(failure.message, "ComPtr<" + spelled("struct", "common::Allocator") + "> is not dereferencible");
    EXPECT_EQ(failure.expression, "m_instance");
    EXPECT_EQ(failure.function, "common::ComPtr<" + spelled("struct", "common::Allocator") + ">::operator ->");
    EXPECT_EQ(failure.file, "src_native/common/include/common/com/comptr");
    EXPECT_EQ(failure.line, 180u);
    EXPECT_FALSE(failure.hasModule);
}

TEST(ComPtr, dereferencingSomethingFailsNothing) {
    const unit::AssertionRecorder assertions;
    const ComPtr<Pair> pair = makePair();
    EXPECT_EQ(pair->first(), 1);
    EXPECT_TRUE(assertions.failures().empty());
}

TEST(ComPtr, withoutAHandlerTheReportOfAnEmptyPointerIsShown) {
    standins::failureServices() = {};
    const ComPtr<IRefCounted> none;
    try {
        none->addRef();
        ADD_FAILURE() << "no box";
    } catch (const standins::ErrorBoxShown& box) {
        const std::string type = spelled("struct", "IRefCounted");
        EXPECT_EQ(box.text,
                  "\n"
                  "ASSERTION FAILURE: m_instance\n"
                  "\n"
                  "Callee:(common::ComPtr<" +
                      type +
                      ">::operator ->) in module:()\n"
                      "src_native/common/include/common/com/comptr(180):ComPtr<" +
                      type + "> is not dereferencible\n");
        EXPECT_EQ(box.caption, "FAILURE");
    }
}

}  // namespace
