#pragma once

#include <v8.h>

namespace common::js {

/// Tells whether the engine runs script just now.
///
/// It does not inside the end of another environment on the same isolate: Node.js turns the loop they share there, and
/// has the engine refuse all script. Whoever comes with an event then keeps it and signals itself again. Even to open a
/// scope for a callback would do harm: the promise reactions that are waiting would be dropped.
///
/// Script thread only. Reset it before the engine ends.
class ScriptProbe {
public:
    /// True when `context` gets no script now but will later; false also when the thread is being terminated, for then
    /// no later comes. Inside a handle scope.
    bool isRefused(v8::Local<v8::Context> context);
    void reset() noexcept { m_nothing.Reset(); }

private:
    v8::Global<v8::Function> m_nothing;
};

}  // namespace common::js
