#include "bridge/diagnostics_component.h"

#include <array>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "common/utils/failure_services.h"
#include "common/utils/format.h"
#include "common/utils/log.h"
#include "common/v8binding/environment.h"
#include "common/v8binding/v8binding.h"
#include "common/v8binding/v8marshal.h"
#include "common/v8binding/v8utils.h"
#include "common/v8binding/weak_reference_holder.h"

namespace zeb {

using common::diagnostics::Log;
using common::diagnostics::LogContext;
using common::js::Environment;

namespace {

using LogCallback = DiagnosticsComponent::LogCallback;

/// A script function that the log's handler calls. It belongs to its environment's thread.
class ScriptLogFunction final : public common::js::ScriptThreadObject, private common::js::EnvironmentObserver {
public:
    ScriptLogFunction(Environment& environment, std::unique_ptr<LogCallback> callback)
        : EnvironmentObserver(&environment), m_isolate(environment.isolate()), m_callback(std::move(callback)) {}

    /// Any thread may call this; on other threads than its own it does nothing.
    void operator()(Log::Level level, const char* message) const {
        v8::Isolate* const isolate = v8::Isolate::TryGetCurrent();
        if (isolate == nullptr || isolate != m_isolate || !isolate->InContext() || !m_callback) return;
        if (common::js::isScriptRunning(isolate)) {
            call(level, message);
        } else {
            callFromLoop(level, message);
        }
    }

private:
    void call(Log::Level level, const char* message) const {
        (*m_callback)(std::string(message), static_cast<int>(level));
    }

    // An event of the loop has written the log record, so this is a callback of its own. A log record is not kept.
    void callFromLoop(Log::Level level, const char* message) const {
        const v8::HandleScope handles(m_isolate);
        if (environment()->isScriptRefused()) return;
        const common::js::DrainScope scope(*environment());
        if (environment()->scriptState() == common::js::ScriptState::ready) call(level, message);
    }

    void onEnvironmentEnd() noexcept override { m_callback.reset(); }

    v8::Isolate* const m_isolate;
    std::unique_ptr<LogCallback> m_callback;
};

/// Destroys a `ScriptLogFunction` on its own thread, because the handler that owns it may end on any thread.
struct DestroyOnScriptThread {
    v8::Isolate* isolate;
    std::shared_ptr<common::js::ThreadRequests> requests;

    void operator()(ScriptLogFunction* function) const noexcept {
        std::unique_ptr<ScriptLogFunction> owned(function);
        if (v8::Isolate::TryGetCurrent() != isolate) requests->destroy(std::move(owned));
    }
};

void writeToDebugger(const char* message) {
    if (!common::platform::isDebuggerAttached()) return;
    // A message that ends in a line break gets a second one, because readers of the debug output rely on it.
    common::platform::writeDebugOutput(common::format("{0}\n", message).c_str());
}

}  // namespace

common::js::MethodTable DiagnosticsComponent::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<DiagnosticsComponent, &DiagnosticsComponent::setLogHandler>("setLogHandler"),
    };
    return table;
}

DiagnosticsComponent::DiagnosticsComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, methods());
}

DiagnosticsComponent::~DiagnosticsComponent() { Log::setHandler(nullptr); }

void DiagnosticsComponent::setLogHandler(std::unique_ptr<LogCallback> callback) {
    Environment* const environment = Environment::running(v8::Isolate::GetCurrent());
    if (environment == nullptr) return;
    std::unique_ptr<ScriptLogFunction, DestroyOnScriptThread> script(
        callback ? new ScriptLogFunction(*environment, std::move(callback)) : nullptr,
        DestroyOnScriptThread{environment->isolate(), environment->requests()});
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the deleter may hand it to the script thread
    Log::setHandler(common::makeFunctor<Log::Handler>(
        [script = std::move(script)](Log::Level level, const LogContext&, const char* message) noexcept {
            try {
                writeToDebugger(message);
                if (script && !common::js::insideWeakCallback()) (*script)(level, message);
            } catch (const std::bad_alloc&) {
                // The code that logs must continue, and the log record is what it can best do without.
            }
        }));
}

}  // namespace zeb
