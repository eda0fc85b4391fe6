#include "bridge/package_update.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bridge/package_deployment.h"
#include "standins/package_deployment.h"
#include "standins/uv_thread.h"

namespace zeb {
namespace {

using Report = std::optional<std::string>;
using standins::DeploymentPlan;
using standins::planDeployments;

constexpr char kUri[] = "https://example.com/app.msix";

class PackageUpdateTest : public testing::Test {
protected:
    PackageUpdateTest() { planDeployments({}); }
    ~PackageUpdateTest() override {
        EXPECT_EQ(standins::unjoinedThreads(), 0);
        EXPECT_EQ(standins::livingDeployments(), 0);
    }

    static Report reportOf(DeploymentPlan plan) {
        planDeployments(std::move(plan));
        PackageUpdate update(kUri, [] {});
        return update.waitForReport();
    }

    static Report reportOfFailure(const std::string& message, std::int32_t code) {
        return reportOf({nullptr, [=]() -> Report { throw DeploymentFailure{message, code}; }});
    }
};

TEST_F(PackageUpdateTest, successReportsNothing) {
    EXPECT_EQ(reportOf({}), std::nullopt);
    EXPECT_EQ(standins::startedDeployments(), std::vector<std::string>{kUri});
}

TEST_F(PackageUpdateTest, errorTextIsReportedAsItIs) {
    const std::string text = "error 0x80073CF3: Package failed \xE2\x82\xAC validation.\r\n";
    EXPECT_EQ(reportOf({nullptr, [=]() -> Report { return text; }}), text);
    EXPECT_EQ(reportOf({nullptr, []() -> Report { return ""; }}), "");
}

TEST_F(PackageUpdateTest, failureIsReportedWithItsSignedCode) {
    EXPECT_EQ(reportOfFailure("Access is denied.", -2147024891),
              "winrt exception with message: Access is denied. and code: -2147024891");
    EXPECT_EQ(reportOfFailure("The operation was canceled by the user.", -2147023673),
              "winrt exception with message: The operation was canceled by the user. and code: -2147023673");
    EXPECT_EQ(reportOfFailure("", 0), "winrt exception with message:  and code: 0");
    EXPECT_EQ(reportOfFailure("a", std::numeric_limits<std::int32_t>::min()),
              "winrt exception with message: a and code: -2147483648");
    EXPECT_EQ(reportOfFailure("b", std::numeric_limits<std::int32_t>::max()),
              "winrt exception with message: b and code: 2147483647");
}

TEST_F(PackageUpdateTest, anythingElseIsAnUnknownException) {
    EXPECT_EQ(reportOf({nullptr, []() -> Report { throw std::runtime_error("hidden"); }}), "Unknown exception");
    EXPECT_EQ(reportOf({nullptr, []() -> Report { throw std::bad_alloc(); }}), "Unknown exception");
    EXPECT_EQ(reportOf({nullptr, []() -> Report { throw 42; }}), "Unknown exception");
}

TEST_F(PackageUpdateTest, startsOnItsOwnThreadAndReturnsBeforeAnyWorkIsDone) {
    std::promise<void> go;
    std::promise<std::thread::id> worker;
    planDeployments({[&] {
                         go.get_future().wait();
                         worker.set_value(std::this_thread::get_id());
                     },
                     nullptr});
    PackageUpdate update(kUri, [] {});
    EXPECT_TRUE(update.isStarted());
    go.set_value();
    EXPECT_NE(worker.get_future().get(), std::this_thread::get_id());
    EXPECT_EQ(update.waitForReport(), std::nullopt);
}

TEST_F(PackageUpdateTest, tellsItsEndLastAndAlsoAfterASuccess) {
    for (const bool succeeds : {true, false}) {
        planDeployments({nullptr, [=]() -> Report { return succeeds ? Report() : "failed"; }});
        std::promise<int> ended;
        PackageUpdate update(kUri, [&ended] { ended.set_value(standins::livingDeployments()); });
        EXPECT_EQ(ended.get_future().get(), 0);  // nothing is left of the deployment by then
        EXPECT_EQ(update.waitForReport().has_value(), !succeeds);
        EXPECT_EQ(update.waitForReport().has_value(), !succeeds);  // the second call joins nothing
    }
}

TEST_F(PackageUpdateTest, destructionWaitsForTheDeployment) {
    std::promise<void> started;
    std::promise<void> go;
    std::atomic<bool> finished = false;
    planDeployments({nullptr, [&]() -> Report {
                         started.set_value();
                         go.get_future().wait();
                         finished = true;
                         return "nobody hears this";
                     }});
    auto update = std::make_unique<PackageUpdate>(kUri, [] {});
    started.get_future().wait();
    std::thread helper([&] { go.set_value(); });
    update.reset();
    EXPECT_TRUE(finished);
    helper.join();
}

TEST_F(PackageUpdateTest, addressIsTheUpdatesOwn) {
    std::promise<void> go;
    const std::shared_future<void> gate = go.get_future().share();
    planDeployments({[gate] { gate.wait(); }, nullptr});
    std::string uri(100, 'a');
    PackageUpdate update(uri, [] {});
    uri.assign(100, 'b');
    go.set_value();
    update.waitForReport();
    EXPECT_EQ(standins::startedDeployments(), std::vector<std::string>{std::string(100, 'a')});
}

TEST_F(PackageUpdateTest, updatesThatOverlapKeepToThemselves) {
    std::promise<void> go;
    const std::shared_future<void> gate = go.get_future().share();
    std::atomic<int> next = 0;
    planDeployments({nullptr, [&next, gate]() -> Report {
                         const int number = next++;
                         gate.wait();
                         return std::to_string(number);
                     }});
    std::atomic<int> ended = 0;
    std::vector<std::unique_ptr<PackageUpdate>> updates;
    for (int index = 0; index < 8; ++index) updates.push_back(std::make_unique<PackageUpdate>(kUri, [&] { ++ended; }));
    go.set_value();
    std::string numbers;
    for (const auto& update : updates) numbers += update->waitForReport().value();
    EXPECT_EQ(ended, 8);
    for (char number = '0'; number < '8'; ++number) EXPECT_NE(numbers.find(number), std::string::npos) << number;
}

TEST_F(PackageUpdateTest, threadThatCannotBeStartedIsReportedWithoutWaiting) {
    standins::failThreadCreation(true);
    const int joinsBefore = standins::joinCalls();
    {
        PackageUpdate update(kUri, [] { ADD_FAILURE() << "it has not run"; });
        EXPECT_FALSE(update.isStarted());
        EXPECT_EQ(update.waitForReport(), "Fail to start package update");
    }
    standins::failThreadCreation(false);
    EXPECT_EQ(standins::joinCalls(), joinsBefore);
    EXPECT_TRUE(standins::startedDeployments().empty());
}

TEST_F(PackageUpdateTest, anAbandonedUpdateEndsByItselfAndTellsNobody) {
    std::promise<void> started;
    std::promise<void> go;
    planDeployments({nullptr, [&]() -> Report {
                         started.set_value();
                         go.get_future().wait();
                         return "nobody hears this";
                     }});
    std::promise<void> destroyed;
    std::shared_ptr<void> alive(nullptr, [&destroyed](void*) { destroyed.set_value(); });
    auto update =
        std::make_unique<PackageUpdate>(kUri, [alive = std::move(alive)] { ADD_FAILURE() << "it has told its end"; });
    started.get_future().wait();
    PackageUpdate::abandon(std::move(update));
    go.set_value();
    EXPECT_EQ(destroyed.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

TEST_F(PackageUpdateTest, withoutAThreadAnAbandonedUpdateIsDestroyedAtOnce) {
    const auto alive = std::make_shared<int>();
    standins::failThreadCreation(true);
    auto update = std::make_unique<PackageUpdate>(kUri, [alive] {});
    standins::failThreadCreation(false);
    PackageUpdate::abandon(std::move(update));
    EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(PackageUpdateTest, deploymentThatCannotStartEndsTheProcess) {
#if GTEST_HAS_DEATH_TEST
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto applyRefused = [] {
        planDeployments({[] { throw DeploymentFailure{"refused", -1}; }, nullptr});
        PackageUpdate update(kUri, [] {});
        update.waitForReport();
    };
    EXPECT_DEATH(applyRefused(), "");
#else
    GTEST_SKIP() << "no death tests on this system";
#endif
}

}  // namespace
}  // namespace zeb
