#include "bridge/packageupdate.h"

#include <memory>
#include <utility>

#include "bridge/packagedeployment.h"

namespace zeb {

namespace {

std::string reportText(const DeploymentFailure& failure) {
    return "winrt exception with message: " + failure.message + " and code: " + std::to_string(failure.code);
}

}  // namespace

PackageUpdate::PackageUpdate(std::string packageUri, std::function<void()> ended)
    : m_packageUri(std::move(packageUri)), m_ended(std::move(ended)) {
    m_started = uv_thread_create(&m_workerThread, &runUpdate, this) == 0;
}

PackageUpdate::~PackageUpdate() { join(); }

std::optional<std::string> PackageUpdate::waitForReport() {
    join();
    return std::move(m_report);
}

void PackageUpdate::join() noexcept {
    if (!m_started || std::exchange(m_joined, true)) return;
    static_cast<void>(uv_thread_join(&m_workerThread));
}

void PackageUpdate::runUpdate(void* self) noexcept {
    auto* const update = static_cast<PackageUpdate*>(self);
    std::unique_ptr<PackageDeployment> deployment = startPackageUpdate(update->m_packageUri);
    try {
        update->m_report = deployment->wait();
    } catch (const DeploymentFailure& failure) {
        update->m_report = reportText(failure);
    } catch (...) {
        update->m_report = "Unknown exception";
    }
    deployment.reset();  // whoever hears of the end finds nothing of the deployment left
    update->m_ended();
}

}  // namespace zeb
