#include <winrt/Windows.Foundation.h>
#include <winrt/Windows.Management.Deployment.h>

#include "bridge/package_deployment.h"
#include "common/utils/text.h"

namespace zeb {

namespace {

using winrt::Windows::Foundation::IAsyncOperationWithProgress;
using winrt::Windows::Foundation::Uri;
using winrt::Windows::Management::Deployment::DeploymentOptions;
using winrt::Windows::Management::Deployment::DeploymentProgress;
using winrt::Windows::Management::Deployment::DeploymentResult;
using winrt::Windows::Management::Deployment::PackageManager;

class WindowsPackageDeployment final : public PackageDeployment {
public:
    explicit WindowsPackageDeployment(const std::string& packageUri)
        : m_packageUri(common::utf8ToUtf16(packageUri)),
          m_operation(m_packageManager.UpdatePackageAsync(m_packageUri, nullptr,
                                                          DeploymentOptions::ForceApplicationShutdown)) {}

    std::optional<std::string> wait() override {
        try {
            const DeploymentResult result = m_operation.get();
            if (result.ErrorText().empty()) return std::nullopt;  // even if there is an error code, which tells nothing
            return common::utf16ToUtf8(result.ErrorText());
        } catch (const winrt::hresult_error& error) {
            throw DeploymentFailure{common::utf16ToUtf8(error.message()), error.code()};
        }
    }

private:
    Uri m_packageUri;
    PackageManager m_packageManager;
    IAsyncOperationWithProgress<DeploymentResult, DeploymentProgress> m_operation;
};

}  // namespace

std::unique_ptr<PackageDeployment> startPackageUpdate(const std::string& packageUri) {
    return std::make_unique<WindowsPackageDeployment>(packageUri);
}

}  // namespace zeb
