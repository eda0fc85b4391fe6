#include "bridge/diagnostics_component.h"

#include <array>
#include <new>
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

/// The script function together with the isolate that it belongs to. The log may drop its handler on the thread of
/// another isolate; the function's handle is given back on its own thread all the same.
class ScriptLogCallback {
public:
    ScriptLogCallback(v8::Isolate* isolate, std::unique_ptr<DiagnosticsComponent::LogCallback> callback)
        : m_isolate(isolate), m_callback(std::move(callback)) {}
    ScriptLogCallback(ScriptLogCallback&&) = default;
    ScriptLogCallback& operator=(ScriptLogCallback&&) = delete;
    ~ScriptLogCallback() {
        if (!m_callback || v8::Isolate::TryGetCurrent() == m_isolate) return;
        // After the end of its isolate the handle is gone with it, and so must not be touched.
        DiagnosticsComponent::LogCallback* const callback = m_callback.release();
        Environment::post(m_isolate, [callback] { delete callback; });
    }

    void operator()(Log::Level level, const char* message) const {
        v8::Isolate* const isolate = v8::Isolate::TryGetCurrent();
        if (isolate == nullptr || isolate != m_isolate || !isolate->InContext()) return;
        if (m_callback) (*m_callback)(std::string(message), static_cast<int>(level));
    }

private:
    v8::Isolate* m_isolate;
    std::unique_ptr<DiagnosticsComponent::LogCallback> m_callback;
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
    Log::setHandler(
        common::makeFunctor<Log::Handler>([script = ScriptLogCallback(v8::Isolate::GetCurrent(), std::move(callback))](
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
