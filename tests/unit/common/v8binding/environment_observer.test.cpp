#include "common/v8binding/environment_observer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace {

using common::js::EnvironmentObserver;
using common::js::EnvironmentObservers;

class Observers : public EnvironmentObservers {
public:
    using EnvironmentObservers::notifyEnd;
};

class Observer : public EnvironmentObserver {
public:
    Observer(Observers* observers, std::function<void()> onEnd)
        : EnvironmentObserver(observers), m_onEnd(std::move(onEnd)) {}
    void onEnvironmentEnd() noexcept override { m_onEnd(); }

private:
    std::function<void()> m_onEnd;
};

class EnvironmentObserverTest : public testing::Test {
protected:
    auto noting(char name) {
        return [this, name] { m_told += name; };
    }

    Observers m_observers;
    std::string m_told;
};

TEST_F(EnvironmentObserverTest, theNewestIsToldFirstAndEachOnce) {
    const Observer oldest(&m_observers, noting('a'));
    const Observer middle(&m_observers, noting('b'));
    const Observer newest(&m_observers, noting('c'));
    m_observers.notifyEnd();
    m_observers.notifyEnd();
    EXPECT_EQ(m_told, "cba");
}

TEST_F(EnvironmentObserverTest, oneThatIsDestroyedIsNotTold) {
    auto oldest = std::make_unique<Observer>(&m_observers, noting('a'));
    const Observer second(&m_observers, noting('b'));
    auto third = std::make_unique<Observer>(&m_observers, noting('c'));
    const Observer fourth(&m_observers, noting('d'));
    auto newest = std::make_unique<Observer>(&m_observers, noting('e'));
    for (auto* const gone : {&oldest, &third, &newest}) gone->reset();
    m_observers.notifyEnd();
    EXPECT_EQ(m_told, "db");
}

TEST_F(EnvironmentObserverTest, oneThatIsToldMayDestroyItselfAndOthersAndMakeNewOnes) {
    std::unique_ptr<Observer> oldest;
    std::unique_ptr<Observer> newest;
    std::unique_ptr<Observer> late;
    oldest = std::make_unique<Observer>(&m_observers, noting('a'));
    const Observer middle(&m_observers, [&] {
        m_told += 'b';
        oldest.reset();
        late = std::make_unique<Observer>(&m_observers, noting('l'));
    });
    newest = std::make_unique<Observer>(&m_observers, [&] {
        m_told += 'c';
        newest.reset();
    });
    m_observers.notifyEnd();
    EXPECT_EQ(m_told, "cbl");
}

TEST_F(EnvironmentObserverTest, withoutAnEnvironmentNothingIsTold) {
    const Observer alone(nullptr, noting('a'));
    m_observers.notifyEnd();
    EXPECT_EQ(m_told, "");
}

}  // namespace
