#include "bridge/package_auto_updater.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "bridge/eventlog-fetcher.h"
#include "bridge/packageupdate.h"
#include "common/v8binding/v8binding.h"

namespace zeb {

namespace {

using common::js::AsyncHandle;
using common::js::Environment;

constexpr std::array kMethods{
    common::js::methodEntry<WindowsPackageAutoUpdater, &WindowsPackageAutoUpdater::setErrorHandler>("setErrorHandler"),
    common::js::methodEntry<WindowsPackageAutoUpdater, &WindowsPackageAutoUpdater::getUpdateErrors>("getUpdateErrors"),
    common::js::methodEntry<WindowsPackageAutoUpdater, &WindowsPackageAutoUpdater::applyUpdate>("applyUpdate"),
    common::js::methodEntry<common::Disposable, &common::Disposable::dispose>("dispose"),
};

// The byte 0xE9 becomes the unit 0xFFE9.
std::wstring widenWithSign(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    std::ranges::transform(text, wide.begin(), [](char byte) {
        const unsigned bits = static_cast<unsigned char>(byte);
        return static_cast<wchar_t>(bits < 0x80 ? bits : bits | 0xFF00);
    });
    return wide;
}

AsyncHandle keepingLoopAlive(AsyncHandle handle) {
    if (handle) uv_ref(reinterpret_cast<uv_handle_t*>(handle.get()));
    return handle;
}

}  // namespace

/// A package update with the way back to the script thread.
class WindowsPackageAutoUpdater::Update {
public:
    Update(WindowsPackageAutoUpdater& updater, Environment& environment, std::string packageUri)
        : m_updater(updater),
          m_completionSignal(keepingLoopAlive(environment.makeAsyncHandle(this, &onUpdateSignal))),
          m_update(std::move(packageUri), [signal = m_completionSignal.get()] {
              if (signal != nullptr) uv_async_send(signal);
          }) {}

    WindowsPackageAutoUpdater& updater() const noexcept { return m_updater; }
    bool isStarted() const noexcept { return m_update.isStarted(); }
    std::optional<std::string> waitForReport() { return m_update.waitForReport(); }

private:
    WindowsPackageAutoUpdater& m_updater;
    AsyncHandle m_completionSignal;
    PackageUpdate m_update;  // last: its worker, which signals, has ended before the handle is closed
};

WindowsPackageAutoUpdater::WindowsPackageAutoUpdater(v8::Isolate* isolate, v8::Local<v8::Object> object)
    : EnvironmentObserver(Environment::of(isolate)) {
    common::js::bindMethods(isolate, object, kMethods);
}

WindowsPackageAutoUpdater::~WindowsPackageAutoUpdater() = default;

void WindowsPackageAutoUpdater::onEnvironmentEnd() noexcept {
    m_updates.clear();
    m_errorHandler.reset();
}

void WindowsPackageAutoUpdater::setErrorHandler(std::unique_ptr<ErrorHandler> handler) {
    m_errorHandler = std::move(handler);
}

std::vector<std::wstring> WindowsPackageAutoUpdater::getUpdateErrors(const std::string& query) {
    return EventLogFetcher::fetchLogs(widenWithSign(query));
}

void WindowsPackageAutoUpdater::applyUpdate(std::string packageUri) {
    Environment* const environment = Environment::of(v8::Isolate::GetCurrent());
    if (environment == nullptr) return;  // it is ending, and would wait for the update
    auto update = std::make_unique<Update>(*this, *environment, std::move(packageUri));
    if (update->isStarted()) m_updates.push_back(std::move(update));
}

void WindowsPackageAutoUpdater::dispose() { m_errorHandler.reset(); }

void WindowsPackageAutoUpdater::onUpdateSignal(uv_async_t* handle) {
    if (const auto* const ended = static_cast<Update*>(handle->data)) ended->updater().finish(*ended);
}

void WindowsPackageAutoUpdater::finish(const Update& ended) {
    const common::ComPtr<Component> alive(this);  // the handler may have the component released
    const auto found = std::ranges::find_if(m_updates, [&ended](const auto& update) { return update.get() == &ended; });
    std::optional<std::string> report = (*found)->waitForReport();
    m_updates.erase(found);
    Environment* const environment = Environment::of(v8::Isolate::GetCurrent());
    if (!report || !m_errorHandler || environment == nullptr) return;
    const common::js::DrainScope scope(*environment);
    (*m_errorHandler)(std::move(*report));
}

}  // namespace zeb
