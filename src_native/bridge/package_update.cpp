#include "bridge/package_update.h"

#include <memory>
#include <utility>

#include "bridge/package_deployment.h"
#include "bridge/thread_detach.h"

namespace zeb {

namespace {

std::string reportText(const DeploymentFailure& failure) {
    return "winrt exception with message: " + failure.message + " and code: " + std::to_string(failure.code);
}

}  // namespace

PackageUpdate::PackageUpdate(std::string packageUri, std::function<void()> ended)
    : m_packageUri(std::move(packageUri)), m_ended(std::move(ended)) {
    m_started = uv_thread_create(&m_workerThread, &runUpdate, this) == 0;
    if (!m_started) m_report = kNotStarted;
}

PackageUpdate::~PackageUpdate() { wait(); }

std::optional<std::string> PackageUpdate::waitForReport() {
    wait();
    return std::move(m_report);
}

void PackageUpdate::wait() noexcept {
    if (!m_started || std::exchange(m_joined, true)) return;
    static_cast<void>(uv_thread_join(&m_workerThread));
}

void PackageUpdate::abandon(std::unique_ptr<PackageUpdate> update) noexcept {
    if (!update->m_started) return;
    const uv_thread_t workerThread = update->m_workerThread;
    // From here on the worker owns the update, unless it has ended. If it has, the destructor's join does not wait.
    if (update->m_state.exchange(State::abandoned) != State::running) return;
    static_cast<void>(update.release());  // NOLINT(bugprone-unused-return-value): the worker destroys it
    detachThread(workerThread);
}

void PackageUpdate::runUpdate(void* self) noexcept {
    auto* const update = static_cast<PackageUpdate*>(self);
    update->applyUpdate();
    if (update->m_state.exchange(State::ended) == State::abandoned) {
        update->m_joined = true;
        delete update;
        return;
    }
    update->m_ended();
}

void PackageUpdate::applyUpdate() noexcept {
    // Destroyed when this function returns, so that nothing of the deployment is left when `m_ended` runs.
    const std::unique_ptr<PackageDeployment> deployment = startPackageUpdate(m_packageUri);
    try {
        m_report = deployment->wait();
    } catch (const DeploymentFailure& failure) {
        m_report = reportText(failure);
    } catch (...) {
        m_report = "Unknown exception";
    }
}

}  // namespace zeb
