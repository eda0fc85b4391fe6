#pragma once

#include <node.h>
#include <uv.h>
#include <v8.h>

#include <memory>

namespace environments {

/// One more Node.js environment on the isolate and the loop of the environment that makes it, like a host's second
/// window.
///
/// Threads: the isolate's.
/// The destructor frees the environment. Meanwhile, Node.js turns the loop until the environment's handles are closed,
/// and the engine refuses all script of the isolate. Timers and immediates of other environments come afterwards.
class Environment {
public:
    struct Options {
        bool foreign;       // its script and the creator's may not use each other's objects
        bool fromSnapshot;  // of the isolate, in a third of the time; Node.js has one for the main thread alone
    };

    /// Makes the environment and runs its main script, which returns the function that `call` calls. Null, with a
    /// pending exception, if that fails.
    static std::unique_ptr<Environment> create(v8::Isolate* isolate, v8::Local<v8::String> mainScript, Options options);
    ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    node::Environment* creator() const noexcept { return m_creator; }

    /// Calls the main script's function as part of the event that is being handled.
    v8::MaybeLocal<v8::Value> call(v8::Local<v8::Value> argument);

    /// Node.js calls nothing of the environment back any more.
    void stop() const { node::Stop(m_environment, node::StopFlags::kDoNotTerminateIsolate); }

private:
    struct FreeData {
        void operator()(node::IsolateData* data) const { node::FreeIsolateData(data); }
    };

    Environment(v8::Isolate* isolate, node::Environment* creator);

    v8::Isolate* const m_isolate;
    node::Environment* const m_creator;
    uv_loop_t* const m_loop;
    std::unique_ptr<node::IsolateData, FreeData> m_data;  // null if it is the creator's
    node::Environment* m_environment = nullptr;
    v8::Global<v8::Context> m_context;
    v8::Global<v8::Function> m_entry;
};

}  // namespace environments
