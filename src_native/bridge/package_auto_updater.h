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

/// Has the system apply a new package of the application while script goes on, and tells script when that fails.
/// Exported as "msix_auto_updater". Script thread.
///
/// An update keeps the event loop running until it has ended; success calls nothing. Reports are not kept: one that
/// finds no handler is dropped.
/// The destructor waits for running updates. The end of the environment does not: it leaves them to themselves.
class WindowsPackageAutoUpdater : public Component,
                                  public common::Disposable,
                                  public common::js::BackgroundWorker,
                                  private common::js::EnvironmentObserver {
public:
    using Interfaces = common::TypeList<Component, common::Disposable, common::js::BackgroundWorker>;
    /// The script function's view: (what went wrong).
    using ErrorHandler = common::FunctorClass<0, void, common::TypeList<std::string>>;

    WindowsPackageAutoUpdater(v8::Isolate* isolate, v8::Local<v8::Object> object);
    ~WindowsPackageAutoUpdater() override;
    static common::js::MethodTable methods();

    /// Replaces the handler, also from inside itself; an empty one clears it.
    void setErrorHandler(std::unique_ptr<ErrorHandler> handler);

    /// The event log's records that `query` selects, as XML, oldest first; see `EventLogFetcher`. Only ASCII queries
    /// arrive unchanged: every other byte is widened with its sign, as it always was.
    std::vector<std::wstring> getUpdateErrors(const std::string& query);

    /// Starts to apply the package at `packageUri` and returns at once; see `PackageUpdate`. Meant to be called again
    /// only when the update before has ended; updates that overlap report one by one. An update that cannot start
    /// leaves one log record and is reported as a failed one: later when the system gives no thread, and before this
    /// returns when the loop gives no handle to come back with.
    void applyUpdate(std::string packageUri);

    /// Drops the handler. A running update goes on.
    void dispose() override;

    /// Leaves running updates to themselves; nothing is reported of them any more.
    void abandonWork() noexcept override;

private:
    class Update;

    static void onUpdateSignal(uv_async_t* handle);

    void onEnvironmentEnd() noexcept override;
    void finish(const Update& ended);

    std::unique_ptr<ErrorHandler> m_errorHandler;
    std::list<std::unique_ptr<Update>> m_updates;  // running, or ended and not yet heard of
};

}  // namespace zeb
