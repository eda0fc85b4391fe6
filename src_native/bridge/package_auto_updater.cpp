#include "bridge/package_auto_updater.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <utility>

#include "bridge/eventlog-fetcher.h"
#include "bridge/package_update.h"
#include "common/utils/log.h"
#include "common/v8binding/async_handle.h"
#include "common/v8binding/environment.h"
#include "common/v8binding/v8binding.h"

namespace zeb {

namespace {

using common::SourceLocation;
using common::diagnostics::Log;
using common::js::AsyncHandle;
using common::js::Environment;
using common::js::ScriptState;

// The byte 0xE9 becomes the unit 0xFFE9.
std::wstring widenWithSign(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    std::ranges::transform(text, wide.begin(), [](char byte) {
        const unsigned bits = static_cast<unsigned char>(byte);
        return static_cast<wchar_t>(bits < 0x80 ? bits : bits | 0xFF00);
    });
    return wide;
}

}  // namespace

/// A package update and its way back to the script thread. Keeps the event loop running.
class WindowsPackageAutoUpdater::Update {
public:
    Update(WindowsPackageAutoUpdater& updater, Environment& environment)
        : m_updater(updater), m_completionSignal(environment.makeAsyncHandle(this, &onUpdateSignal)) {}
    ~Update() {
        m_update.reset();  // waits for the worker, which signals, before the handle is closed
    }
    Update(const Update&) = delete;
    Update& operator=(const Update&) = delete;

    /// Whether there is an async handle to report with. Without one, the update must not start.
    bool canReport() const noexcept { return m_completionSignal != nullptr; }
    /// False if there is no thread. That is reported too.
    bool start(std::string packageUri) {
        uv_async_t* const signal = m_completionSignal.get();
        m_update = std::make_unique<PackageUpdate>(std::move(packageUri), [signal] { uv_async_send(signal); });
        common::js::setKeepsLoopRunning(m_completionSignal, true);
        if (!m_update->isStarted()) uv_async_send(signal);
        return m_update->isStarted();
    }
    void abandon() noexcept { PackageUpdate::abandon(std::move(m_update)); }

    WindowsPackageAutoUpdater& updater() const noexcept { return m_updater; }
    void wait() const noexcept { m_update->wait(); }
    std::optional<std::string> waitForReport() { return m_update->waitForReport(); }
    void signalAgain() const noexcept { uv_async_send(m_completionSignal.get()); }

private:
    WindowsPackageAutoUpdater& m_updater;
    AsyncHandle m_completionSignal;
    std::unique_ptr<PackageUpdate> m_update;
};

common::js::MethodTable WindowsPackageAutoUpdater::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<WindowsPackageAutoUpdater, &WindowsPackageAutoUpdater::setErrorHandler>("setErrorHandler"),
        methodEntry<WindowsPackageAutoUpdater, &WindowsPackageAutoUpdater::getUpdateErrors>("getUpdateErrors"),
        methodEntry<WindowsPackageAutoUpdater, &WindowsPackageAutoUpdater::applyUpdate>("applyUpdate"),
        methodEntry<common::Disposable, &common::Disposable::dispose>("dispose"),
    };
    return table;
}

WindowsPackageAutoUpdater::WindowsPackageAutoUpdater(v8::Isolate* isolate, v8::Local<v8::Object> object)
    : EnvironmentObserver(Environment::running(isolate)) {
    common::js::bindMethods(isolate, object, methods());
}

WindowsPackageAutoUpdater::~WindowsPackageAutoUpdater() = default;

void WindowsPackageAutoUpdater::onEnvironmentEnd() noexcept {
    abandonWork();
    m_errorHandler.reset();
}

void WindowsPackageAutoUpdater::abandonWork() noexcept {
    for (const std::unique_ptr<Update>& update : m_updates) update->abandon();
    m_updates.clear();
}

void WindowsPackageAutoUpdater::setErrorHandler(std::unique_ptr<ErrorHandler> handler) {
    m_errorHandler = std::move(handler);
}

std::vector<std::wstring> WindowsPackageAutoUpdater::getUpdateErrors(const std::string& query) {
    return EventLogFetcher::fetchLogs(widenWithSign(query));
}

void WindowsPackageAutoUpdater::applyUpdate(std::string packageUri) {
    if (environment() == nullptr) return;  // it has ended, so nobody would hear of the update
    std::list<std::unique_ptr<Update>> update;
    update.push_back(std::make_unique<Update>(*this, *environment()));
    const bool canReport = update.front()->canReport();
    const bool isStarted = canReport && update.front()->start(std::move(packageUri));
    if (canReport) m_updates.splice(m_updates.end(), update);
    if (isStarted) return;
    // The log's handler may release this component and end the environment. Then the loop's report is dropped.
    Log::write(
        Log::Level::error,
        SourceLocation{"zeb::WindowsPackageAutoUpdater::applyUpdate", "src_native/bridge/package_auto_updater", {}},
        PackageUpdate::kNotStarted);
    if (!canReport && m_errorHandler) (*m_errorHandler)(PackageUpdate::kNotStarted);
}

void WindowsPackageAutoUpdater::dispose() { m_errorHandler.reset(); }

void WindowsPackageAutoUpdater::onUpdateSignal(uv_async_t* handle) {
    const auto* const ended = static_cast<Update*>(handle->data);
    const v8::HandleScope scope(v8::Isolate::GetCurrent());
    ended->updater().finish(*ended);
}

void WindowsPackageAutoUpdater::finish(const Update& ended) {
    const common::ComPtr<Component> alive(this);  // the handler may release the component
    ended.wait();                                 // first, because script may be ended meanwhile
    if (environment()->isScriptRefused()) return ended.signalAgain();
    const common::js::DrainScope scope(*environment());
    const ScriptState state = environment()->scriptState();
    if (state == ScriptState::refused) return ended.signalAgain();
    const auto found = std::ranges::find_if(m_updates, [&ended](const auto& update) { return update.get() == &ended; });
    std::optional<std::string> report = (*found)->waitForReport();
    m_updates.erase(found);
    if (report && m_errorHandler && state == ScriptState::ready) (*m_errorHandler)(std::move(*report));
}

}  // namespace zeb
