#include "bridge/diagnostics_component.h"

#include <array>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "common/utils/failure_services.h"
#include "common/utils/format.h"
#include "common/utils/log.h"
#include "common/v8binding/environment.h"
#include "common/v8binding/v8binding.h"

namespace zeb {

using common::diagnostics::Log;
using common::diagnostics::LogContext;
using common::js::Environment;

namespace {

using LogCallback = DiagnosticsComponent::LogCallback;

/// The script functions of one environment that the log may call. Theirs is its thread and its end, whichever thread
/// takes the handler that calls them out of the log.
class LogCallbacks final : public common::js::Attachment {
public:
    explicit LogCallbacks(Environment&) {}

    LogCallback* add(std::unique_ptr<LogCallback> callback) {
        m_callbacks.push_back(std::move(callback));
        return m_callbacks.back().get();
    }
    /// On the environment's thread.
    static void drop(v8::Isolate* isolate, const LogCallback* callback) {
        Environment* const environment = Environment::of(isolate);
        if (environment == nullptr) return;  // which has dropped them all
        environment->attachment<LogCallbacks>()->m_callbacks.remove_if(
            [callback](const auto& kept) { return kept.get() == callback; });
    }

private:
    std::list<std::unique_ptr<LogCallback>> m_callbacks;
};

/// The right to call a script function, for the log's handler. Ends on any thread.
class ScriptLogCallback {
public:
    ScriptLogCallback(Environment& environment, std::unique_ptr<LogCallback> callback)
        : m_isolate(environment.isolate()),
          m_callback(callback ? environment.attachment<LogCallbacks>()->add(std::move(callback)) : nullptr) {}
    ScriptLogCallback(ScriptLogCallback&& other) noexcept
        : m_isolate(other.m_isolate), m_callback(std::exchange(other.m_callback, nullptr)) {}
    ScriptLogCallback& operator=(ScriptLogCallback&&) = delete;
    ~ScriptLogCallback() {
        if (m_callback == nullptr) return;
        if (v8::Isolate::TryGetCurrent() == m_isolate) {
            LogCallbacks::drop(m_isolate, m_callback);
        } else {
            Environment::post(m_isolate,
                              [isolate = m_isolate, callback = m_callback] { LogCallbacks::drop(isolate, callback); });
        }
    }

    void operator()(Log::Level level, const char* message) const {
        v8::Isolate* const isolate = v8::Isolate::TryGetCurrent();
        if (isolate == nullptr || isolate != m_isolate || !isolate->InContext()) return;
        if (m_callback == nullptr || Environment::of(isolate) == nullptr) return;
        (*m_callback)(std::string(message), static_cast<int>(level));
    }

private:
    v8::Isolate* m_isolate;
    LogCallback* m_callback;
};

void writeToDebugger(const char* message) {
    if (!common::platform::isDebuggerAttached()) return;
    // A message that ends in a line break gets a second one: readers of the installed base count on it.
    common::platform::writeDebugOutput(common::format("{0}\n", message).c_str());
}

}  // namespace

struct DiagnosticsComponent::Methods {
    static constexpr std::array table{
        common::js::methodEntry<DiagnosticsComponent, &DiagnosticsComponent::setLogHandler>("setLogHandler"),
    };
};

DiagnosticsComponent::DiagnosticsComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, Methods::table);
}

DiagnosticsComponent::~DiagnosticsComponent() { Log::setHandler(nullptr); }

void DiagnosticsComponent::setLogHandler(std::unique_ptr<LogCallback> callback) {
    Environment* const environment = Environment::of(v8::Isolate::GetCurrent());
    if (environment == nullptr) return;
    Log::setHandler(
        common::makeFunctor<Log::Handler>([script = ScriptLogCallback(*environment, std::move(callback))](
                                              Log::Level level, const LogContext&, const char* message) noexcept {
            try {
                writeToDebugger(message);
                if (!common::js::insideWeakCallback()) script(level, message);
            } catch (const std::bad_alloc&) {
                // Whoever logs must go on: of all that fails without memory, a record is missed least.
            }
        }));
}

}  // namespace zeb
