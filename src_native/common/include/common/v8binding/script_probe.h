#pragma once

#include <v8.h>

namespace common::js {

/// Tells whether the engine runs script right now.
///
/// It does not while another environment on the same isolate ends: Node.js then turns the loop that they share and
/// makes the engine refuse all script. Code that is called with an event at such a time must keep the event and signal
/// itself again. Even opening a scope for a callback would do harm, because waiting promise reactions would be dropped.
///
/// Script thread only. Call `reset` before the engine ends.
class ScriptProbe {
public:
    /// True if `context` gets no script now but will later. False also when the thread is being terminated, because
    /// then there is no later. Call inside a handle scope.
    bool isRefused(v8::Local<v8::Context> context);
    void reset() noexcept { m_nothing.Reset(); }

private:
    v8::Global<v8::Function> m_nothing;
};

}  // namespace common::js
