#pragma once

#include <uv.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zeb {

/// One update of the application's package, applied on its own thread.
///
/// Threads: the script thread, except `ended`. The worker thread only uses this object, and the object waits for it
/// before it is destroyed. Several updates may run side by side, as far as the system allows. An abandoned update
/// belongs to its worker thread.
/// Failure: a text that is not an address, or a deployment that cannot start, ends the process, so that an application
/// that ships a broken update address notices at once. All later failures are reported, and so is a worker thread that
/// cannot be started.
class PackageUpdate {
public:
    /// The report of an update whose worker thread could not be started.
    static constexpr char kNotStarted[] = "Fail to start package update";

    /// Starts the worker thread. The last thing that the worker does is to call `ended`, also after a success. If the
    /// worker cannot be started, nothing is called and the report says so.
    PackageUpdate(std::string packageUri, std::function<void()> ended);
    /// Waits for the worker, that is, until the deployment has finished.
    ~PackageUpdate();
    PackageUpdate(const PackageUpdate&) = delete;
    PackageUpdate& operator=(const PackageUpdate&) = delete;

    /// Leaves the update to its worker, which destroys it after the deployment and tells nobody. Waits for nothing.
    static void abandon(std::unique_ptr<PackageUpdate> update) noexcept;

    bool isStarted() const noexcept { return m_started; }

    /// Waits for the worker.
    void wait() noexcept;
    /// Waits for the worker and returns its report: what went wrong, passed to script word for word. Empty if the
    /// update was applied. The text is returned once.
    std::optional<std::string> waitForReport();

private:
    enum class State { running, ended, abandoned };

    static void runUpdate(void* self) noexcept;
    void applyUpdate() noexcept;

    const std::string m_packageUri;
    const std::function<void()> m_ended;
    std::optional<std::string> m_report;  // written by the worker, if there is one, until it is joined
    std::atomic<State> m_state{State::running};
    uv_thread_t m_workerThread{};
    bool m_started = false;
    bool m_joined = false;
};

}  // namespace zeb
