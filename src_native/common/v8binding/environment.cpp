#include "common/v8binding/environment.h"

#include <node.h>

#include <unordered_map>
#include <utility>

#include "common/v8binding/v8binding.h"

namespace common::js {

namespace {

/// The memory of an async handle: libuv's part comes first, so a pointer to one is a pointer to the other.
struct OwnedAsyncHandle {
    uv_async_t handle;
    Environment* environment;
};

}  // namespace

struct Environment::Registry {
    Lock lock;
    std::unordered_map<v8::Isolate*, Environment*> environments ZEB_GUARDED_BY(lock);
};

// Never destroyed: other threads may still post while the process runs its exit handlers.
Environment::Registry& Environment::registry() {
    static Registry& instance = *new Registry;
    return instance;
}

Environment* Environment::search(v8::Isolate* isolate) noexcept {
    Registry& known = registry();
    const LockGuard guard(known.lock);
    const auto found = known.environments.find(isolate);
    if (found == known.environments.end()) return nullptr;
    t_last = {isolate, found->second};
    return found->second;
}

Environment* Environment::open(v8::Local<v8::Context> context) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    if (Environment* const existing = of(isolate)) return existing;
    node::Environment* const host = node::GetCurrentEnvironment(context);
    uv_loop_t* const loop = node::GetCurrentEventLoop(isolate);
    if (host == nullptr || loop == nullptr) return nullptr;

    auto* const created = new Environment(isolate, node::GetMainContext(host), loop);
    {
        Registry& known = registry();
        const LockGuard guard(known.lock);
        known.environments.emplace(isolate, created);
    }
    // The clean-up hook runs when the environment is freed, the exit hook on process.exit(), where nothing is freed.
    // The hook stays for the environment's whole life: its handle, which could remove it, is dropped at once.
    static_cast<void>(node::AddEnvironmentCleanupHook(isolate, &onCleanup, created));
    node::AtExit(host, &onAtExit, isolate);
    return created;
}

bool Environment::post(v8::Isolate* isolate, std::function<void()> task) {
    Registry& known = registry();
    const LockGuard guard(known.lock);  // held until the signal is sent: the handle must not be closed in between
    const auto found = known.environments.find(isolate);
    if (found == known.environments.end()) return false;
    Environment& environment = *found->second;
    {
        const LockGuard tasksGuard(environment.m_tasksLock);
        environment.m_tasks.push_back(std::move(task));
    }
    if (environment.m_taskSignal) uv_async_send(environment.m_taskSignal.get());
    return true;
}

Environment::Environment(v8::Isolate* isolate, v8::Local<v8::Context> context, uv_loop_t* loop)
    : m_isolate(isolate), m_context(isolate, context), m_loop(loop) {
    m_taskSignal = makeAsyncHandle(this, &onTasks);
}

Environment::~Environment() = default;

v8::Local<v8::ObjectTemplate> Environment::wrapperTemplate() {
    if (m_wrapperTemplate.IsEmpty()) {
        const v8::Local<v8::ObjectTemplate> made = v8::ObjectTemplate::New(m_isolate);
        made->SetInternalFieldCount(1);
        m_wrapperTemplate.Reset(m_isolate, made);
    }
    return m_wrapperTemplate.Get(m_isolate);
}

void Environment::link(v8::Local<v8::Object> object, IRefCounted* native, bool ownedByObject) {
    object->SetInternalField(0, v8::External::New(m_isolate, native));
    Receiver& receiver = m_receivers[native];
    receiver = {native, ownedByObject, v8::Global<v8::Object>(m_isolate, object)};
    receiver.object.SetWeak();
}

void Environment::cutOff(IRefCounted* native) noexcept {
    const auto found = m_receivers.find(native);
    if (found == m_receivers.end()) return;
    const v8::HandleScope scope(m_isolate);
    const v8::Local<v8::Object> object = found->second.object.Get(m_isolate);
    if (!object.IsEmpty()) object->SetInternalField(0, v8::External::New(m_isolate, nullptr));
    forget(native);
}

void Environment::forget(IRefCounted* native) noexcept {
    const auto found = m_receivers.find(native);
    if (found == m_receivers.end()) return;
    if (m_lastReceiver == &found->second) m_lastReceiver = nullptr;
    m_receivers.erase(found);
}

Receiver* Environment::searchReceiver(v8::Local<v8::Object> object) {
    if (object->InternalFieldCount() != 1) return nullptr;
    const v8::Local<v8::Data> field = object->GetInternalField(0);
    if (!field->IsValue() || !field.As<v8::Value>()->IsExternal()) return nullptr;
    const auto found = m_receivers.find(field.As<v8::Value>().As<v8::External>()->Value());
    if (found == m_receivers.end()) return nullptr;
    m_lastReceiver = &found->second;
    return m_lastReceiver;
}

void Environment::retire(ComPtr<IRefCounted> object) noexcept {
    if (m_runningCalls != 0) m_retired.push_back(std::move(object));
}

void Environment::releaseRetired() noexcept {
    std::vector<ComPtr<IRefCounted>> retired;
    retired.swap(m_retired);
}

AsyncHandle Environment::makeAsyncHandle(void* owner, uv_async_cb callback) {
    auto owned = std::make_unique<OwnedAsyncHandle>();
    owned->environment = this;
    owned->handle.data = owner;
    if (uv_async_init(m_loop, &owned->handle, callback) != 0) return {};
    uv_unref(reinterpret_cast<uv_handle_t*>(&owned->handle));
    ++m_openHandles;
    return AsyncHandle(&owned.release()->handle);
}

void AsyncHandleCloser::operator()(uv_async_t* handle) const noexcept {
    handle->data = nullptr;
    uv_close(reinterpret_cast<uv_handle_t*>(handle), [](uv_handle_t* closed) {
        const std::unique_ptr<OwnedAsyncHandle> owned(reinterpret_cast<OwnedAsyncHandle*>(closed));
        owned->environment->handleClosed();
    });
}

void Environment::handleClosed() noexcept {
    if (--m_openHandles != 0 || m_done == nullptr) return;
    void (*const done)(void*) = m_done;
    void* const doneArgument = m_doneArgument;
    delete this;
    done(doneArgument);
}

void Environment::onCleanup(void* self, void (*done)(void*), void* doneArgument) {
    auto* const environment = static_cast<Environment*>(self);
    environment->m_done = done;
    environment->m_doneArgument = doneArgument;
    ++environment->m_openHandles;  // so that the last handle cannot end it before this function has
    environment->end();
    environment->handleClosed();
}

void Environment::onAtExit(void* isolate) {
    if (Environment* const environment = of(static_cast<v8::Isolate*>(isolate))) environment->end();
}

void Environment::onTasks(uv_async_t* handle) {
    auto* const environment = static_cast<Environment*>(handle->data);
    if (environment == nullptr) return;
    const v8::HandleScope scope(environment->m_isolate);
    environment->runTasks();
}

void Environment::runTasks() noexcept {
    std::vector<std::function<void()>> tasks;
    {
        const LockGuard guard(m_tasksLock);
        tasks.swap(m_tasks);
    }
    for (const std::function<void()>& task : tasks) task();
}

void Environment::end() noexcept {
    {
        Registry& known = registry();
        const LockGuard guard(known.lock);
        if (known.environments.erase(m_isolate) == 0) return;  // ended before
    }
    if (t_last.environment == this) t_last = {nullptr, nullptr};
    // A collection may come at any time below. It would not find this environment, so it must claim nothing of it.
    for (const auto& known : m_receivers) {
        if (known.second.ownedByObject) js_internal::unbindWrapped(*known.second.native);
    }
    const v8::HandleScope scope(m_isolate);
    const WeakCallbackScope noScript;
    runTasks();
    while (EnvironmentObserver* const observer = m_observers) {
        observer->unlink();
        observer->onEnvironmentEnd();
    }
    while (!m_receivers.empty()) {
        const Receiver& next = m_receivers.begin()->second;
        auto owned = ComPtr<IRefCounted>::attach(next.ownedByObject ? next.native : nullptr);
        forget(next.native);
        if (!owned) continue;
        js_internal::disposeWrapped(owned.get());
        retire(std::move(owned));
    }
    m_attachments.clear();
    m_taskSignal.reset();
    m_wrapperTemplate.Reset();
    m_context.Reset();
}

EnvironmentObserver::EnvironmentObserver(Environment* environment) noexcept : m_environment(environment) {
    if (environment == nullptr) return;
    m_older = environment->m_observers;
    if (m_older != nullptr) m_older->m_newer = this;
    environment->m_observers = this;
}

EnvironmentObserver::~EnvironmentObserver() { unlink(); }

void EnvironmentObserver::unlink() noexcept {
    if (m_environment == nullptr) return;
    if (m_newer != nullptr) {
        m_newer->m_older = m_older;
    } else {
        m_environment->m_observers = m_older;
    }
    if (m_older != nullptr) m_older->m_newer = m_newer;
    m_newer = m_older = nullptr;
    m_environment = nullptr;
}

}  // namespace common::js
