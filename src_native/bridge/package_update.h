#pragma once

#include <uv.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zeb {

/// One update of the application's package, applied by a thread of its own.
///
/// Threads: the script thread, except `ended`. The worker uses only what belongs to this object, and the object ends
/// only after it: several updates may run side by side, as far as the system allows that. An abandoned update belongs
/// to its worker.
/// Failure: an address that is none, or a deployment that cannot even start, ends the process. Whoever ships such an
/// address ships a broken update path and must see it at once. All later failures are reported, and so is a worker that
/// the system does not start.
class PackageUpdate {
public:
    /// The report of an update that has not run.
    static constexpr char kNotStarted[] = "Fail to start package update";

    /// Starts the worker. `ended` is called on it as the last thing it does, also after a success.
    /// A worker that cannot be started calls nothing, and the report says so.
    PackageUpdate(std::string packageUri, std::function<void()> ended);
    /// Waits for the worker: until the deployment has finished.
    ~PackageUpdate();
    PackageUpdate(const PackageUpdate&) = delete;
    PackageUpdate& operator=(const PackageUpdate&) = delete;

    /// Leaves the update to its worker, which ends it with the deployment and tells nobody. Waits for nothing.
    static void abandon(std::unique_ptr<PackageUpdate> update) noexcept;

    bool isStarted() const noexcept { return m_started; }

    /// Waits for the worker and gives its report, which script gets word by word: what went wrong. Nothing when the
    /// update was applied. The text is given once.
    std::optional<std::string> waitForReport();

private:
    enum class State { running, ended, abandoned };

    static void runUpdate(void* self) noexcept;
    void applyUpdate() noexcept;
    void join() noexcept;

    const std::string m_packageUri;
    const std::function<void()> m_ended;
    std::optional<std::string> m_report;  // the worker's, if there is one, until it is joined
    std::atomic<State> m_state{State::running};
    uv_thread_t m_workerThread{};
    bool m_started = false;
    bool m_joined = false;
};

}  // namespace zeb
