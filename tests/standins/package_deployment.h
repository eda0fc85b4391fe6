#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Package deployments for unit tests, in place of the platform's; see bridge/package_deployment.h.
namespace standins {

/// What happens to the deployments that start from now on. Both run on the updates' worker threads.
struct DeploymentPlan {
    std::function<void()> onStart;                             ///< may throw: the deployment is refused
    std::function<std::optional<std::string>()> whileWaiting;  ///< gives the result, or throws
};

/// Sets the plan and forgets what was seen.
void planDeployments(DeploymentPlan plan);

/// The addresses of all deployments since, in the order of their starts.
std::vector<std::string> startedDeployments();

/// Deployment objects that still exist.
int livingDeployments();

}  // namespace standins
