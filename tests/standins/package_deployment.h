#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Package deployments for unit tests, instead of the platform's; see bridge/package_deployment.h.
namespace standins {

/// What the deployments that start from now on do. Both functions run on the updates' worker threads.
struct DeploymentPlan {
    std::function<void()> onStart;                             ///< may throw: the deployment is refused
    std::function<std::optional<std::string>()> whileWaiting;  ///< returns the result, or throws
};

/// Sets the plan and forgets earlier deployments.
void planDeployments(DeploymentPlan plan);

/// The addresses of all deployments since the plan, in the order in which they started.
std::vector<std::string> startedDeployments();

/// Deployment objects that still exist.
int livingDeployments();

}  // namespace standins
