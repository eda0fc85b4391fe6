#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace zeb {

/// What the platform reports about a deployment that could not be carried through.
struct DeploymentFailure {
    std::string message;  ///< UTF-8
    std::int32_t code;
};

/// A running update of the application's own package. Used and destroyed on the thread that started it; destroying it
/// does not stop the deployment.
class PackageDeployment {
public:
    PackageDeployment() = default;
    PackageDeployment(const PackageDeployment&) = delete;
    PackageDeployment& operator=(const PackageDeployment&) = delete;
    virtual ~PackageDeployment() = default;

    /// Waits for the end, without limit. Gives the error text (UTF-8) of an update that the system tried and could
    /// not apply, nothing when it was applied. Throws `DeploymentFailure`, or whatever else kept the result from being
    /// read. Once.
    virtual std::optional<std::string> wait() = 0;
};

/// Starts to update the application's package from `packageUri`, an absolute address. Windows may end the application
/// to replace its files. Throws something of the platform's own when the address is none or the deployment cannot even
/// start. Not on a thread with a message loop.
std::unique_ptr<PackageDeployment> startPackageUpdate(const std::string& packageUri);

}  // namespace zeb
