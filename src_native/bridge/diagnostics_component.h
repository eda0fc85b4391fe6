#pragma once

#include <v8.h>

#include <memory>
#include <string>

#include "bridge/component.h"
#include "common/utils/functor.h"

namespace zeb {

/// Forwards the module's log to a script function. Exported as "diagnostics".
///
/// The log has one handler for the whole process: the last `setLogHandler` wins, whichever context called it, and the
/// end of any diagnostics component removes the handler. The handler sends every log record to the debugger's output if
/// a debugger is attached. The script function only receives the log records that are written on its own script thread.
class DiagnosticsComponent : public Component {
public:
    using Interfaces = common::TypeList<Component>;
    /// What the script function receives: (text, level).
    using LogCallback = common::FunctorClass<0, void, common::TypeList<std::string, int>>;

    DiagnosticsComponent(v8::Isolate* isolate, v8::Local<v8::Object> object);
    ~DiagnosticsComponent() override;

    static common::js::MethodTable methods();

private:
    /// Installs `callback`. Without one, log records only go to the debugger's output.
    static void setLogHandler(std::unique_ptr<LogCallback> callback);
};

}  // namespace zeb
