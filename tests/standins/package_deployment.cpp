#include "standins/package_deployment.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "bridge/package_deployment.h"

namespace standins {

namespace {

// Never destroyed, because abandoned updates continue while the process runs its exit handlers.
std::mutex& g_mutex = *new std::mutex;
DeploymentPlan& g_plan = *new DeploymentPlan;
std::vector<std::string>& g_started = *new std::vector<std::string>;
std::atomic<int> g_living{0};

class StandInDeployment final : public zeb::PackageDeployment {
public:
    explicit StandInDeployment(DeploymentPlan plan) : m_plan(std::move(plan)) { ++g_living; }
    ~StandInDeployment() override { --g_living; }
    std::optional<std::string> wait() override { return m_plan.whileWaiting ? m_plan.whileWaiting() : std::nullopt; }

private:
    DeploymentPlan m_plan;
};

DeploymentPlan noteStart(const std::string& packageUri) {
    const std::lock_guard guard(g_mutex);
    g_started.push_back(packageUri);
    return g_plan;
}

}  // namespace

void planDeployments(DeploymentPlan plan) {
    const std::lock_guard guard(g_mutex);
    g_plan = std::move(plan);
    g_started.clear();
}

std::vector<std::string> startedDeployments() {
    const std::lock_guard guard(g_mutex);
    return g_started;
}

int livingDeployments() { return g_living; }

}  // namespace standins

namespace zeb {

std::unique_ptr<PackageDeployment> startPackageUpdate(const std::string& packageUri) {
    standins::DeploymentPlan plan = standins::noteStart(packageUri);
    if (plan.onStart) plan.onStart();
    return std::make_unique<standins::StandInDeployment>(std::move(plan));
}

}  // namespace zeb
