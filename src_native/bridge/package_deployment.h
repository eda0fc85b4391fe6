#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace zeb {

/// What the platform says about a deployment that could not be completed.
struct DeploymentFailure {
    std::string message;  ///< UTF-8
    std::int32_t code;
};

/// A running update of the application's own package. Used and destroyed on the thread that started it. Destroying it
/// does not stop the deployment.
class PackageDeployment {
public:
    PackageDeployment() = default;
    PackageDeployment(const PackageDeployment&) = delete;
    PackageDeployment& operator=(const PackageDeployment&) = delete;
    virtual ~PackageDeployment() = default;

    /// Waits for the end, without limit. Returns nothing if the update was applied, or the error text (UTF-8) of an
    /// update that the system tried and could not apply. Throws `DeploymentFailure`, or whatever else kept the result
    /// from being read. Call once.
    virtual std::optional<std::string> wait() = 0;
};

/// Starts to update the application's package from `packageUri`, an absolute address. Windows may end the application
/// to replace its files. Throws an exception of the platform if the text is not an address or the deployment cannot
/// start. Must not be called on a thread with a message loop.
std::unique_ptr<PackageDeployment> startPackageUpdate(const std::string& packageUri);

}  // namespace zeb
