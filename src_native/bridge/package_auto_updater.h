#pragma once

#include <uv.h>
#include <v8.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "bridge/component.h"
#include "common/com/disposable.h"
#include "common/utils/functor.h"
#include "common/v8binding/background_worker.h"
#include "common/v8binding/environment_observer.h"

namespace zeb {

/// Lets the system apply a new package of the application while script continues, and tells script if that fails.
/// Exported as "msix_auto_updater". Script thread.
///
/// An update keeps the event loop running until it has ended. Success calls nothing. A failure for which there is no
/// handler is dropped.
/// The destructor waits for running updates. The end of the environment does not; it abandons them.
class WindowsPackageAutoUpdater : public Component,
                                  public common::Disposable,
                                  public common::js::BackgroundWorker,
                                  private common::js::EnvironmentObserver {
public:
    using Interfaces = common::TypeList<Component, common::Disposable, common::js::BackgroundWorker>;
    /// What the script function receives: (what went wrong).
    using ErrorHandler = common::FunctorClass<0, void, common::TypeList<std::string>>;

    WindowsPackageAutoUpdater(v8::Isolate* isolate, v8::Local<v8::Object> object);
    ~WindowsPackageAutoUpdater() override;
    static common::js::MethodTable methods();

    /// Replaces the handler; the handler itself may call this. An empty one removes it.
    void setErrorHandler(std::unique_ptr<ErrorHandler> handler);

    /// The event records that `query` selects, as XML, oldest first; see `EventLogFetcher`. Only ASCII queries arrive
    /// unchanged: every other byte is sign-extended, which is part of the interface.
    std::vector<std::wstring> getUpdateErrors(const std::string& query);

    /// Starts to apply the package at `packageUri` and returns at once; see `PackageUpdate`. Meant to be called again
    /// only after the previous update has ended; updates that overlap report their failures one by one. An update that
    /// cannot start writes one log record and counts as failed. The handler is called later if the system gave no
    /// thread, and before this returns if the loop gave no async handle.
    void applyUpdate(std::string packageUri);

    /// Removes the handler. A running update continues.
    void dispose() override;

    /// Abandons the running updates. Their failures are not reported any more.
    void abandonWork() noexcept override;

private:
    class Update;

    static void onUpdateSignal(uv_async_t* handle);

    void onEnvironmentEnd() noexcept override;
    void finish(const Update& ended);

    std::unique_ptr<ErrorHandler> m_errorHandler;
    std::list<std::unique_ptr<Update>> m_updates;  // running, or ended and not yet reported
};

}  // namespace zeb
