#pragma once

#include <node.h>
#include <uv.h>
#include <v8.h>

#include <memory>
#include <utility>

#include "common/com/comptr.h"
#include "common/com/interfaces.h"
#include "common/v8binding/async_handle.h"
#include "common/v8binding/environment_observer.h"
#include "common/v8binding/receivers.h"
#include "common/v8binding/script_probe.h"
#include "common/v8binding/thread_requests.h"

namespace common::js {

/// One Node.js environment's use of the module: the native objects that its script can reach, the async handles on its
/// loop, and an orderly end while the engine still runs. An isolate may carry several environments, which come and go
/// in any order. Each owns what it has made and releases it when it ends.
///
/// Threads: the environment's script thread.
/// Ownership: made when the module is loaded; ended by the runtime's clean-up hooks, also on `process.exit`.
class Environment final : public EnvironmentObservers {
public:
    /// The environment that `context` belongs to, made at the first call. Null if the context is not one of Node.js.
    /// Throws `std::bad_alloc`.
    static Environment* open(v8::Local<v8::Context> context);

    /// The environment for which native code runs: that of the method's receiver, or the one that loads the module.
    /// Null if neither applies, and when that environment has ended meanwhile.
    static Environment* running(v8::Isolate* isolate) noexcept {
        const Receivers* const receivers = Receivers::of(isolate);
        return receivers != nullptr ? receivers->runningEnvironment() : nullptr;
    }

    /// Releases the components of every environment of the process. Those on `isolate` are released before this
    /// returns, in the order in which they were made; those of other threads are released on their threads. Allocates
    /// nothing.
    static void releaseAllComponents(v8::Isolate* isolate) noexcept;

    v8::Isolate* isolate() const noexcept { return m_isolate; }
    Receivers& receivers() const noexcept { return *m_receivers; }
    /// The main context. Call inside a handle scope.
    v8::Local<v8::Context> context() const { return m_context.Get(m_isolate); }
    const std::shared_ptr<ThreadRequests>& requests() const noexcept { return m_requests; }

    /// The template of every wrapper: an object with one internal field. There is one for all wrappers, because the
    /// engine keeps what a template has made until the context ends. Call inside a handle scope.
    v8::Local<v8::ObjectTemplate> wrapperTemplate();

    /// Lets script call the component's methods on `object` until the component is released.
    void linkComponent(v8::Local<v8::Object> object, ComPtr<IRefCounted> component) {
        m_receivers->link(m_natives, *this, object, std::move(component), true);
    }
    /// Lets script call the native object's methods on `object`. The reference is dropped when `object` is
    /// garbage-collected (see `toValue`) or, at the latest, when the environment ends.
    void linkWrapper(v8::Local<v8::Object> object, ComPtr<IRefCounted> native) {
        m_receivers->link(m_natives, *this, object, std::move(native), false);
    }

    /// True if script gets no event now but will later: keep the event, and signal it again. See `ScriptProbe`. Call
    /// inside a handle scope.
    bool isScriptRefused() { return m_probe.isRefused(context()); }
    /// Whether script may be called. See `ScriptProbe`. Call inside a `DrainScope`, before each call into the engine.
    ScriptState scriptState() { return m_probe.state(context()); }

    /// See `AsyncHandles::make`.
    AsyncHandle makeAsyncHandle(void* owner, uv_async_cb callback) { return m_handles.make(owner, callback); }

private:
    Environment(v8::Isolate* isolate, v8::Local<v8::Context> context, uv_loop_t* loop);
    ~Environment() = default;

    static void onCleanup(void* self, void (*done)(void*), void* doneArgument);
    static void onAtExit(void* host);
    static void onRequest(uv_async_t* handle);

    void end() noexcept;
    void releaseComponents() noexcept;
    void releaseWrappers() noexcept;

    v8::Isolate* const m_isolate;
    Receivers::Share m_receivers;
    v8::Global<v8::Context> m_context;
    v8::Global<v8::ObjectTemplate> m_wrapperTemplate;
    ScriptProbe m_probe;
    ReceiverList m_natives;
    AsyncHandles m_handles;
    AsyncHandle m_signal;
    std::shared_ptr<ThreadRequests> m_requests = std::make_shared<ThreadRequests>();
    void (*m_done)(void*) = nullptr;
    void* m_doneArgument = nullptr;
};

inline Environment* EnvironmentObserver::environment() const noexcept {
    return static_cast<Environment*>(m_environment);
}

}  // namespace common::js
