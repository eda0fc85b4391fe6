#pragma once

#include <v8.h>

#include "bridge/component.h"

namespace zeb {

/// Crashes the host process on request, so that an application can test its crash reporting. Exported as
/// "crash_emitter". Stateless; script thread.
class CrashEmitter : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    CrashEmitter(v8::Isolate* isolate, v8::Local<v8::Object> object);
    static common::js::MethodTable methods();

    /// Ends the process with a stack overflow.
    static void emitStackOverflow();
    /// Ends the process with an access violation: a write to address 0.
    static void emitAccessViolation();
};

}  // namespace zeb
