#include "common/v8binding/environment.h"

#include <algorithm>
#include <list>

#include "common/v8binding/background_worker.h"
#include "common/v8binding/environment_registry.h"
#include "common/v8binding/weak_reference_holder.h"

namespace common::js {

Environment* Environment::open(v8::Local<v8::Context> context) {
    node::Environment* const host = node::GetCurrentEnvironment(context);
    if (host == nullptr) return nullptr;
    EnvironmentRegistry& registry = EnvironmentRegistry::instance();
    if (Environment* const existing = registry.find(host)) return existing;
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    const v8::Local<v8::Context> mainContext = node::GetMainContext(host);
    const v8::Context::Scope entered(mainContext);  // the calls below use the current context
    uv_loop_t* const loop = node::GetCurrentEventLoop(isolate);
    if (loop == nullptr) return nullptr;

    std::list<EnvironmentRegistry::Entry> entry(1);
    auto* const created = new Environment(isolate, mainContext, loop);
    entry.front() = {created, host, isolate, created->m_requests};
    registry.add(std::move(entry));
    // The clean-up hook runs when the environment is freed, and the exit hook on process.exit(), where nothing is
    // freed. The clean-up hook stays for the environment's whole life: the handle that could remove it is dropped at
    // once.
    static_cast<void>(node::AddEnvironmentCleanupHook(isolate, &onCleanup, created));
    node::AtExit(host, &onAtExit, host);
    return created;
}

Environment::Environment(v8::Isolate* isolate, v8::Local<v8::Context> context, uv_loop_t* loop)
    : m_isolate(isolate), m_receivers(isolate), m_context(isolate, context), m_handles(loop) {
    m_signal = m_handles.make(this, &onRequest);  // last, because a handle cannot be closed at once if this throws
    m_requests->open(m_signal.get());
}

v8::Local<v8::ObjectTemplate> Environment::wrapperTemplate() {
    if (m_wrapperTemplate.IsEmpty()) {
        const v8::Local<v8::ObjectTemplate> made = v8::ObjectTemplate::New(m_isolate);
        made->SetInternalFieldCount(1);
        m_wrapperTemplate.Reset(m_isolate, made);
    }
    return m_wrapperTemplate.Get(m_isolate);
}

void Environment::releaseAllComponents(v8::Isolate* isolate) noexcept {
    EnvironmentRegistry& registry = EnvironmentRegistry::instance();
    registry.requestReleaseOutside(isolate);
    const auto hasComponents = [](const Environment& environment) {
        return std::ranges::any_of(environment.m_natives, &Receiver::isComponent);
    };
    while (Environment* const next = registry.findOn(isolate, hasComponents)) next->releaseComponents();
}

void Environment::releaseComponents() noexcept {
    const Receivers::CallScope releasing(*m_receivers, this);
    for (;;) {
        const auto next = std::ranges::find_if(m_natives, &Receiver::isComponent);
        if (next == m_natives.end()) return;
        m_receivers->retire(*next);
    }
}

void Environment::releaseWrappers() noexcept {
    const Receivers::CallScope releasing(*m_receivers, this);
    while (!m_natives.empty()) {
        Receiver& wrapper = m_natives.front();
        disposeWrapped(*wrapper.native.get());
        m_receivers->retire(wrapper);
    }
}

void Environment::onRequest(uv_async_t* handle) {
    auto* const environment = static_cast<Environment*>(handle->data);
    const v8::HandleScope scope(environment->m_isolate);
    const std::shared_ptr<ThreadRequests> requests = environment->m_requests;  // a release may run anything
    if (requests->takeReleaseRequest()) {
        for (const Receiver& receiver : environment->m_natives) {
            auto* const worker = static_cast<BackgroundWorker*>(receiver.native.get()->query(typeid(BackgroundWorker)));
            if (worker != nullptr) worker->abandonWork();
        }
        environment->releaseComponents();
    }
    requests->takeObjects();
}

void Environment::onCleanup(void* self, void (*done)(void*), void* doneArgument) {
    auto* const environment = static_cast<Environment*>(self);
    environment->m_done = done;
    environment->m_doneArgument = doneArgument;
    environment->end();
    environment->m_handles.whenClosed(
        [](void* closed) {
            const auto* const ended = static_cast<Environment*>(closed);
            void (*const tell)(void*) = ended->m_done;
            void* const argument = ended->m_doneArgument;
            delete ended;
            tell(argument);
        },
        environment);
}

void Environment::onAtExit(void* host) {
    Environment* const environment = EnvironmentRegistry::instance().find(static_cast<node::Environment*>(host));
    if (environment != nullptr) environment->end();
}

// An environment ends in these steps:
// 1. The registry forgets the environment, so that no other thread and no load of the module finds it.
// 2. The weak handles are freed. A garbage collection may run at any time below and must find nothing to release.
// 3. Observers, newest first, release threads, handles and script values.
// 4. What other threads have given up is destroyed here; what they give up later is destroyed on their own threads.
// 5. Components, oldest first, and then wrapped objects are detached from their script objects and released. If one of
//    their methods is running, the release waits until it has returned.
// 6. The signal is closed, and the engine's handles are freed.
// 7. When libuv has closed the last handle, the environment is destroyed and the runtime is told (`onCleanup`).
void Environment::end() noexcept {
    if (!EnvironmentRegistry::instance().remove(*this)) return;  // ended before
    const v8::HandleScope scope(m_isolate);
    const WeakCallbackScope noScript;
    for (const Receiver& receiver : m_natives) {
        if (V8WeakReferenceHolder* const holder = weakReferenceHolderOf(*receiver.native.get())) holder->unbind();
    }
    notifyEnd();
    m_requests->close();
    releaseComponents();
    releaseWrappers();
    m_signal.reset();
    m_wrapperTemplate.Reset();
    m_probe.reset();
    m_context.Reset();
    m_receivers->forget(*this);
}

}  // namespace common::js
