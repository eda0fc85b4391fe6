#include "control.h"

#include <node.h>
#include <uv.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bridge/package_deployment.h"
#include "bridge/rawinputdriver.h"
#include "bridge/record_traits.h"
#include "common/com/allocator.h"
#include "common/com/shared_state.h"
#include "common/utils/log.h"
#include "common/utils/text.h"
#include "common/v8binding/environment.h"
#include "faults.h"
#include "interposed.h"
#include "standins/event_log.h"
#include "standins/package_deployment.h"
#include "standins/synthetic_input.h"
#include "termination.h"

namespace harness {

namespace {

using v8::FunctionCallbackInfo;
using v8::Local;
using v8::Value;

std::uint32_t number(const FunctionCallbackInfo<Value>& info, int index) {
    return info[index]->Uint32Value(info.GetIsolate()->GetCurrentContext()).FromMaybe(0);
}

std::string text(const FunctionCallbackInfo<Value>& info, int index) {
    const v8::String::Utf8Value value(info.GetIsolate(), info[index]);
    return *value == nullptr ? std::string() : std::string(*value, static_cast<std::size_t>(value.length()));
}

Local<v8::String> string(v8::Isolate* isolate, const char* value) {
    return v8::String::NewFromUtf8(isolate, value).ToLocalChecked();
}

// ---- memory of objects

std::atomic<std::int64_t> g_blocks{0};

/// Counts the blocks that objects hold, and has no memory when a test says so.
class CountingAllocator : public common::Allocator {
public:
    using Interfaces = common::TypeList<common::Allocator>;

    void* reallocate(void* block, std::size_t size) noexcept override {
        if (shouldFail(Call::allocate)) return nullptr;
        void* const result = std::realloc(block, size);
        if (block == nullptr && result != nullptr) ++g_blocks;
        return result;
    }
    void deallocate(void* block, const common::BlockDescriptor&) noexcept override {
        --g_blocks;
        std::free(block);
    }
};

// ---- input

// (count, first, pressEvery)
void burst(const FunctionCallbackInfo<Value>& info) {
    zeb::standins::SyntheticInput::shared().burst(number(info, 0), number(info, 1), number(info, 2));
}

std::vector<zeb::RawInputDriver::PointerData> records(const FunctionCallbackInfo<Value>& info) {
    const auto numbers = info[0].As<v8::Int32Array>();
    std::vector<zeb::RawInputDriver::PointerData> result(numbers->ByteLength() /
                                                         sizeof(zeb::RawInputDriver::PointerData));
    numbers->CopyContents(result.data(), result.size() * sizeof(zeb::RawInputDriver::PointerData));
    return result;
}

// (Int32Array of pointer records: offset, screen point, left, middle, right)
void push(const FunctionCallbackInfo<Value>& info) { zeb::standins::SyntheticInput::shared().push(records(info)); }

// (the same): the two events of the first pointer record, as the binding layer converts them.
void pointerEvents(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const zeb::RawInputDriver::PointerData record = records(info).at(0);
    Local<Value> events[] = {common::js::toScript(isolate, record.motion),
                             common::js::toScript(isolate, record.buttons)};
    info.GetReturnValue().Set(v8::Array::New(isolate, events, std::size(events)));
}

// How many pointer records the input threads have passed on.
void dispatched(const FunctionCallbackInfo<Value>& info) {
    info.GetReturnValue().Set(static_cast<double>(zeb::standins::SyntheticInput::shared().dispatched()));
}

// ---- faults and counts

std::optional<Call> callNamed(const std::string& name) {
    if (name == "asyncInit") return Call::asyncInit;
    if (name == "threadCreate") return Call::threadCreate;
    if (name == "allocate") return Call::allocate;
    if (name == "operatorNew") return Call::operatorNew;
    return std::nullopt;
}

// (name, first, length, caller)
void fail(const FunctionCallbackInfo<Value>& info) {
    const OwnWork own;
    if (const auto call = callNamed(text(info, 0))) {
        planFault(*call, number(info, 1), number(info, 2), static_cast<Caller>(number(info, 3)));
    }
}

void calls(const FunctionCallbackInfo<Value>& info) {
    const OwnWork own;
    if (const auto call = callNamed(text(info, 0))) {
        info.GetReturnValue().Set(static_cast<double>(callsSincePlan(*call)));
    }
}

void counts(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const Local<v8::Context> context = isolate->GetCurrentContext();
    const Held now = held();
    const Local<v8::Object> result = v8::Object::New(isolate);
    const auto set = [&](const char* name, std::int64_t count) {
        result->Set(context, string(isolate, name), v8::Number::New(isolate, static_cast<double>(count))).Check();
    };
    set("blocks", g_blocks);
    set("asyncHandles", now.asyncHandles);
    set("threads", now.threads);
    set("handles", now.handles);
    set("deployments", standins::livingDeployments());
    info.GetReturnValue().Set(result);
}

// ---- the loop and the log

// Runs the event loop inside script until nothing is due, as a host with a modal window does.
void turnLoop(const FunctionCallbackInfo<Value>& info) {
    uv_run(node::GetCurrentEventLoop(info.GetIsolate()), UV_RUN_NOWAIT);
}

// (level, message)
void writeLog(const FunctionCallbackInfo<Value>& info) {
    common::diagnostics::Log::write(static_cast<common::diagnostics::Log::Level>(number(info, 0)),
                                    common::SourceLocation{"harness", "harness", 1}, text(info, 1));
}

// ---- deployments

/// Holds deployments until they are released.
struct Gate {
    std::mutex mutex;
    std::condition_variable opened;
    bool open = true;
};

Gate& gate() {
    static Gate& instance = *new Gate;
    return instance;
}

void openGate(bool open) {
    {
        const std::lock_guard guard(gate().mutex);
        gate().open = open;
    }
    gate().opened.notify_all();
}

// (outcome, held): how deployments end from now on. "" is success, "failure" a failure that the platform reports,
// "unknown" an exception, anything else the error text. Held deployments wait for `releaseDeployments`.
void planDeployments(const FunctionCallbackInfo<Value>& info) {
    openGate(!info[1]->IsTrue());
    const std::string outcome = text(info, 0);
    standins::planDeployments({{}, [outcome]() -> std::optional<std::string> {
                                   {
                                       std::unique_lock lock(gate().mutex);
                                       gate().opened.wait(lock, [] { return gate().open; });
                                   }
                                   if (outcome == "failure") throw zeb::DeploymentFailure{"refused", -2147024891};
                                   if (outcome == "unknown") throw std::runtime_error("");
                                   return outcome.empty() ? std::nullopt : std::optional<std::string>(outcome);
                               }});
}

void releaseDeployments(const FunctionCallbackInfo<Value>&) { openGate(true); }

// The addresses of the deployments since the plan, with line breaks in between.
void startedDeployments(const FunctionCallbackInfo<Value>& info) {
    std::string addresses;
    for (const std::string& address : standins::startedDeployments()) {
        addresses += (addresses.empty() ? "" : "\n") + address;
    }
    info.GetReturnValue().Set(string(info.GetIsolate(), addresses.c_str()));
}

// ---- the event log

// (event records, length of their texts, kind of call that fails or -1, at, code); the records as a number or an array
// of texts
void planEventLog(const FunctionCallbackInfo<Value>& info) {
    standins::eventLog() = {};
    standins::EventLog& log = standins::eventLog();
    if (info[0]->IsArray()) {
        const Local<v8::Context> context = info.GetIsolate()->GetCurrentContext();
        const auto texts = info[0].As<v8::Array>();
        for (std::uint32_t index = 0; index < texts->Length(); ++index) {
            const v8::String::Utf8Value value(info.GetIsolate(), texts->Get(context, index).ToLocalChecked());
            log.records.push_back(common::utf8ToUtf16({*value, static_cast<std::size_t>(value.length())}));
        }
    } else {
        log.records.assign(number(info, 0), std::wstring(number(info, 1), L'x'));
    }
    if (info[2]->IsUint32()) {
        log.faults.push_back(
            {static_cast<standins::EventLogCall>(number(info, 2)), static_cast<int>(number(info, 3)), number(info, 4)});
    }
}

void eventLogQuery(const FunctionCallbackInfo<Value>& info) {
    info.GetReturnValue().Set(string(info.GetIsolate(), common::utf16ToUtf8(standins::eventLog().query).c_str()));
}

void isEventLogClosed(const FunctionCallbackInfo<Value>& info) {
    info.GetReturnValue().Set(standins::eventLog().isClosed());
}

// ---- the end of an environment

/// Runs a garbage collection in the middle of an environment's end, where the engine may run one at any time.
class CollectionAtEnd final : private common::js::EnvironmentObserver {
public:
    explicit CollectionAtEnd(common::js::Environment& environment)
        : EnvironmentObserver(&environment), m_isolate(environment.isolate()) {}

private:
    void onEnvironmentEnd() noexcept override {
        m_isolate->LowMemoryNotification();
        delete this;
    }

    v8::Isolate* const m_isolate;
};

void collectAtEnd(const FunctionCallbackInfo<Value>& info) {
    if (auto* const environment = common::js::Environment::open(info.GetIsolate()->GetCurrentContext())) {
        new CollectionAtEnd(*environment);
    }
}

}  // namespace

void addControl(v8::Isolate* isolate, v8::Local<v8::Context> context, v8::Local<v8::Object> exports) {
    static const bool counting = [] {
        zeb::standins::SyntheticInput::shared();  // made now, so that it never needs memory during a fault
        common::setCurrentAllocator(common::makeInstance<CountingAllocator, common::ConcurrentRC>());
        return true;
    }();
    static_cast<void>(counting);
    const Local<v8::Object> control = v8::Object::New(isolate);
    NODE_SET_METHOD(control, "burst", &burst);
    NODE_SET_METHOD(control, "push", &push);
    NODE_SET_METHOD(control, "pointerEvents", &pointerEvents);
    NODE_SET_METHOD(control, "dispatched", &dispatched);
    NODE_SET_METHOD(control, "fail", &fail);
    NODE_SET_METHOD(control, "calls", &calls);
    NODE_SET_METHOD(control, "counts", &counts);
    NODE_SET_METHOD(control, "turnLoop", &turnLoop);
    NODE_SET_METHOD(control, "collectAtEnd", &collectAtEnd);
    NODE_SET_METHOD(control, "writeLog", &writeLog);
    NODE_SET_METHOD(control, "planDeployments", &planDeployments);
    NODE_SET_METHOD(control, "releaseDeployments", &releaseDeployments);
    NODE_SET_METHOD(control, "planEventLog", &planEventLog);
    NODE_SET_METHOD(control, "startedDeployments", &startedDeployments);
    NODE_SET_METHOD(control, "eventLogQuery", &eventLogQuery);
    NODE_SET_METHOD(control, "isEventLogClosed", &isEventLogClosed);
    addTerminations(isolate, control);
    static_cast<void>(exports->CreateDataProperty(context, string(isolate, "harness"), control));
}

}  // namespace harness
