#pragma once

#include <v8.h>

namespace common::js {

/// What an event of the loop may do.
enum class ScriptState {
    ready,    ///< call script
    refused,  ///< script may not be called now but will be later: keep the event, and signal it again
    stopped,  ///< script may not be called any more: drop the event
};

/// Tells whether an event of the loop may run script right now.
///
/// It may not while another environment on the same isolate ends: Node.js then turns the loop that they share and
/// makes the engine refuse all script. Code that is called with an event at such a time must keep the event and signal
/// itself again. Even opening a scope for a callback would do harm, because waiting promise reactions would be dropped.
///
/// It may not while the script that turns the loop is being ended, for example by a time limit. Then, too, the event
/// must be kept. A termination that ends nothing but the question is used up by it, and the question is asked again.
///
/// It may not either when its own environment has been told to stop (`worker.terminate()`, `process.exit` in a worker).
/// The engine ends the script that runs at that moment, and no other: a call that comes after it, but before the loop
/// ends, would run, and a callback that waits for the thread that ends the worker would wait forever. Only Node.js
/// knows about the stop, and refuses its own callbacks from the start.
///
/// Script thread only. Call `reset` before the engine ends.
class ScriptProbe {
public:
    /// True if `context` gets no script now but will later. Call inside a handle scope.
    bool isRefused(v8::Local<v8::Context> context);
    /// Whether script of `context` may be called back. Call inside a `node::CallbackScope`; without one, this would run
    /// what `process.nextTick` has queued.
    ScriptState state(v8::Local<v8::Context> context);
    void reset() noexcept {
        m_nothing.Reset();
        m_receiver.Reset();
    }

private:
    v8::MaybeLocal<v8::Function> nothing(v8::Isolate* isolate, v8::Local<v8::Context> context);

    v8::Global<v8::Function> m_nothing;
    v8::Global<v8::Object> m_receiver;
};

}  // namespace common::js
