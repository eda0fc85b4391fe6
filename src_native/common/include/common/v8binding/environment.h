#pragma once

#include <uv.h>
#include <v8.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <typeinfo>
#include <unordered_map>
#include <utility>
#include <vector>

#include "common/com/comptr.h"
#include "common/com/interfaces.h"
#include "common/utils/lock.h"

namespace common::js {

class Environment;
class EnvironmentObserver;

/// Closes an async handle through its loop; the close callback frees the memory on a later turn of the loop.
/// Script thread only.
struct AsyncHandleCloser {
    void operator()(uv_async_t* handle) const noexcept;
};

/// A libuv async handle in memory of its own. `send` on it (`uv_async_send`) is the one call for other threads.
using AsyncHandle = std::unique_ptr<uv_async_t, AsyncHandleCloser>;

/// A native object that script can call methods on.
struct Receiver {
    IRefCounted* native;
    bool ownedByObject;
    v8::Global<v8::Object> object;  // weak
    // The last answered query: a method asks every time for the same class.
    const std::type_info* askedClass = nullptr;
    void* asClass = nullptr;
};

/// Base of what other units keep per environment; let go when the environment ends, while the engine still runs.
class Attachment {
public:
    Attachment() = default;
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;
    virtual ~Attachment() = default;
};

/// One isolate's use of the module: which native objects its script can reach, and an orderly end while the engine
/// still runs. Made when the module is loaded, ended by the runtime's clean-up hooks (also on `process.exit`), after
/// which `of` finds nothing.
///
/// Threads: the isolate's script thread, except `post`.
/// Ownership: owns itself; ends with its isolate's Node.js environment.
class Environment {
public:
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    /// The environment of `isolate`, or null when it has none or it has ended.
    static Environment* of(v8::Isolate* isolate) noexcept {
        return isolate == t_last.isolate && isolate != nullptr ? t_last.environment : search(isolate);
    }

    /// The environment of the context's isolate, made at the first call. Null when the context is not Node's.
    static Environment* open(v8::Local<v8::Context> context);

    /// Has `task` run on the script thread of `isolate` on a later turn of its loop, or when its environment ends.
    /// Any thread. False, and nothing runs, when there is no such environment any more.
    static bool post(v8::Isolate* isolate, std::function<void()> task);

    v8::Isolate* isolate() const noexcept { return m_isolate; }
    /// The main context of the isolate. Inside a handle scope.
    v8::Local<v8::Context> context() const { return m_context.Get(m_isolate); }

    /// What every wrapper of a native object is made of: an object with one internal field. One for all of them,
    /// because the engine keeps what a template has made until the context ends. Inside a handle scope.
    v8::Local<v8::ObjectTemplate> wrapperTemplate();

    /// Stores `native` in internal field 0 of `object` and lets script call methods on it. With `ownedByObject` the
    /// object's collection releases a reference of it (see `toValue`); it is released when the environment ends, for
    /// then no collection comes any more.
    void link(v8::Local<v8::Object> object, IRefCounted* native, bool ownedByObject);

    /// Cuts the script object off from its native one, which is about to go.
    void cutOff(IRefCounted* native) noexcept;

    /// The same inside a collection that has claimed the script object.
    void forget(IRefCounted* native) noexcept;

    /// The native object that `object` stands for, or null: any object can be passed as a receiver, so the pointer in
    /// internal field 0 is followed only when it is one that `link` has stored.
    Receiver* findReceiver(v8::Local<v8::Object> object) {
        if (m_lastReceiver != nullptr && m_lastReceiver->object == object) return m_lastReceiver;
        return searchReceiver(object);
    }

    /// Drops a reference to an object that script could reach: at once, or, while a method runs, when the outermost one
    /// has returned, for it may be a method of that object.
    void retire(ComPtr<IRefCounted> object) noexcept;

    /// Marks a running method.
    class CallScope {
    public:
        explicit CallScope(Environment& environment) noexcept : m_environment(environment) {
            ++environment.m_runningCalls;
        }
        ~CallScope() {
            if (--m_environment.m_runningCalls == 0 && !m_environment.m_retired.empty()) {
                m_environment.releaseRetired();
            }
        }
        CallScope(const CallScope&) = delete;
        CallScope& operator=(const CallScope&) = delete;

    private:
        Environment& m_environment;
    };

    /// The one object of type `T` that belongs to this environment; made by `T(Environment&)` at the first call.
    /// Shared, because the environment may end below a function that uses it.
    template <typename T>
    std::shared_ptr<T> attachment() {
        for (const auto& attached : m_attachments) {
            if (auto found = std::dynamic_pointer_cast<T>(attached)) return found;
        }
        auto created = std::make_shared<T>(*this);
        m_attachments.push_back(created);
        return created;
    }

    /// A new async handle on this environment's loop that does not keep the loop running by itself. `owner` becomes
    /// its `data`, which `AsyncHandleCloser` clears. Empty when libuv gives none.
    AsyncHandle makeAsyncHandle(void* owner, uv_async_cb callback);

private:
    friend class EnvironmentObserver;
    friend struct AsyncHandleCloser;
    struct Registry;

    /// What the last lookup on this thread found: a thread has one isolate as a rule.
    struct Last {
        v8::Isolate* isolate;
        Environment* environment;
    };

    Environment(v8::Isolate* isolate, v8::Local<v8::Context> context, uv_loop_t* loop);
    ~Environment();

    static Environment* search(v8::Isolate* isolate) noexcept;
    Receiver* searchReceiver(v8::Local<v8::Object> object);

    static inline thread_local constinit Last t_last{nullptr, nullptr};

    static Registry& registry();
    static void onCleanup(void* self, void (*done)(void*), void* doneArgument);
    static void onAtExit(void* isolate);
    static void onTasks(uv_async_t* handle);

    void end() noexcept;
    void runTasks() noexcept;
    void releaseRetired() noexcept;
    void handleClosed() noexcept;

    v8::Isolate* const m_isolate;
    v8::Global<v8::Context> m_context;
    v8::Global<v8::ObjectTemplate> m_wrapperTemplate;
    uv_loop_t* const m_loop;
    std::unordered_map<const void*, Receiver> m_receivers;
    Receiver* m_lastReceiver = nullptr;  // the method calls of one object come in a row
    std::size_t m_runningCalls = 0;
    std::vector<ComPtr<IRefCounted>> m_retired;
    std::vector<std::shared_ptr<Attachment>> m_attachments;
    EnvironmentObserver* m_observers = nullptr;  // newest first
    std::size_t m_openHandles = 0;
    AsyncHandle m_taskSignal;
    Lock m_tasksLock;
    std::vector<std::function<void()>> m_tasks ZEB_GUARDED_BY(m_tasksLock);
    void (*m_done)(void*) = nullptr;
    void* m_doneArgument = nullptr;
};

/// Base of objects that must let go of threads, handles or script values before their environment's engine ends.
/// Registered from construction to destruction; script thread only.
class EnvironmentObserver {
public:
    EnvironmentObserver(const EnvironmentObserver&) = delete;
    EnvironmentObserver& operator=(const EnvironmentObserver&) = delete;

    /// The environment is ending: newest observers hear it first. Script must not be called.
    virtual void onEnvironmentEnd() noexcept = 0;

protected:
    /// `environment` may be null; the observer then hears nothing.
    explicit EnvironmentObserver(Environment* environment) noexcept;
    virtual ~EnvironmentObserver();

private:
    friend class Environment;
    void unlink() noexcept;

    Environment* m_environment;
    EnvironmentObserver* m_newer = nullptr;
    EnvironmentObserver* m_older = nullptr;
};

}  // namespace common::js
