#include "termination.h"

#include <node.h>
#include <uv.h>

#include <utility>

namespace harness {

namespace {

using v8::FunctionCallbackInfo;
using v8::Local;
using v8::Value;

/// Script ends when native code is about to enter it for the time with this number, from 0. Below 0, it does not.
struct Plan {
    int entry = -1;
    node::Environment* stopped = nullptr;  ///< is told to stop in the same moment, as by `worker.terminate()`
};

thread_local Plan t_plan;

void onEntry(v8::Isolate* isolate) {
    if (t_plan.entry < 0) return;
    --t_plan.entry;
    if (t_plan.entry >= 0) return;
    if (t_plan.stopped != nullptr) node::Stop(t_plan.stopped, node::StopFlags::kDoNotTerminateIsolate);
    isolate->TerminateExecution();
}

void plan(v8::Isolate* isolate, Plan next) {
    t_plan = next;
    isolate->AddBeforeCallEnteredCallback(&onEntry);  // once, however often it is added
}

int entryOf(const FunctionCallbackInfo<Value>& info) {
    return info[0]->Int32Value(info.GetIsolate()->GetCurrentContext()).FromMaybe(-1);
}

// (entry): ends script there; -1 takes that back. Returns whether an earlier plan is still waiting.
void terminateAt(const FunctionCallbackInfo<Value>& info) {
    info.GetReturnValue().Set(t_plan.entry >= 0);
    plan(info.GetIsolate(), {entryOf(info), nullptr});
}

// (entry, stops): the same in the next turn of the loop, from the moment at which it waits for events, with no script
// further down the stack. Told so, it also stops the environment.
void terminateInLoop(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    struct Turn {
        uv_prepare_t handle{};
        v8::Isolate* isolate = nullptr;
        Plan plan;
    };
    auto* const turn = new Turn;
    turn->isolate = isolate;
    turn->plan = {entryOf(info),
                  info[1]->IsTrue() ? node::GetCurrentEnvironment(isolate->GetCurrentContext()) : nullptr};
    turn->handle.data = turn;
    uv_prepare_init(node::GetCurrentEventLoop(isolate), &turn->handle);
    uv_prepare_start(&turn->handle, [](uv_prepare_t* handle) {
        const auto* const due = static_cast<Turn*>(handle->data);
        plan(due->isolate, due->plan);
        uv_close(reinterpret_cast<uv_handle_t*>(handle),
                 [](uv_handle_t* closed) { delete static_cast<Turn*>(closed->data); });
    });
}

// (work): calls a function, and returns whether a termination has ended it.
void isTerminated(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const v8::TryCatch tryCatch(isolate);
    static_cast<void>(
        info[0].As<v8::Function>()->Call(isolate->GetCurrentContext(), v8::Undefined(isolate), 0, nullptr));
    info.GetReturnValue().Set(tryCatch.HasTerminated());
    isolate->CancelTerminateExecution();  // the engine also clears what the line above reads
}

}  // namespace

void addTerminations(v8::Isolate* isolate, v8::Local<v8::Object> control) {
    const v8::HandleScope scope(isolate);
    NODE_SET_METHOD(control, "terminateAt", &terminateAt);
    NODE_SET_METHOD(control, "terminateInLoop", &terminateInLoop);
    NODE_SET_METHOD(control, "isTerminated", &isTerminated);
}

}  // namespace harness
