// The module under measurement: the product's own binding layer and pointer capture over a driver that a benchmark
// feeds. Beside them, the same jobs are done directly with the engine, as the lower bound and as the obvious version.
#include <node.h>

#include <array>
#include <cstdint>

#include "bridge/component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/node_module.h"
#include "common/v8binding/v8binding.h"
#include "native/feed_driver.h"
#include "native/obvious_stream.h"

namespace zeb::bench {
namespace {

/// Methods that do nothing, to measure calls through the binding layer.
class Methods : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    Methods(v8::Isolate* isolate, v8::Local<v8::Object> object) { common::js::bindMethods(isolate, object, methods()); }
    static common::js::MethodTable methods();

    void empty() {}
    bool isOdd(std::int32_t value) { return (value & 1) != 0; }
};

common::js::MethodTable Methods::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<Methods, &Methods::empty>("empty"),
        methodEntry<Methods, &Methods::isOdd>("isOdd"),
    };
    return table;
}

void rawEmpty(const v8::FunctionCallbackInfo<v8::Value>&) {}

void rawIsOdd(const v8::FunctionCallbackInfo<v8::Value>& info) {
    if (info.Length() < 1 || !info[0]->IsInt32()) return;
    info.GetReturnValue().Set((info[0].As<v8::Int32>()->Value() & 1) != 0);
}

/// What script asks of a contender's worker thread.
template <Feed& (*feed)()>
void push(const v8::FunctionCallbackInfo<v8::Value>& info) {  // (count): in one batch
    feed().ask(info[0].As<v8::Uint32>()->Value());
}

template <Feed& (*feed)()>
void runMouse(const v8::FunctionCallbackInfo<v8::Value>& info) {  // (reports a second, milliseconds)
    feed().runMouse(info[0].As<v8::Uint32>()->Value(), info[1].As<v8::Uint32>()->Value());
}

template <Feed& (*feed)()>
void mouseTally(const v8::FunctionCallbackInfo<v8::Value>& info) {  // [reports, seconds, processor seconds] at its end
    v8::Isolate* const isolate = info.GetIsolate();
    const MouseTally* const tally = feed().mouseTally();
    if (tally == nullptr) return;
    std::array<v8::Local<v8::Value>, 3> figures{v8::Number::New(isolate, tally->reports),
                                                v8::Number::New(isolate, tally->seconds),
                                                v8::Number::New(isolate, tally->threadSeconds)};
    info.GetReturnValue().Set(v8::Array::New(isolate, figures.data(), figures.size()));
}

/// The engine's own functions, on the same exports as the components.
class Baselines : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    Baselines(v8::Isolate* isolate, v8::Local<v8::Object> object) {
        add(isolate, object, "empty", &rawEmpty);
        add(isolate, object, "isOdd", &rawIsOdd);
        add(isolate, object, "push", &push<driverFeed>);
        add(isolate, object, "runMouse", &runMouse<driverFeed>);
        add(isolate, object, "mouseTally", &mouseTally<driverFeed>);
        add(isolate, object, "startObvious", &ObviousStream::start);
        add(isolate, object, "pushObvious", &push<ObviousStream::feed>);
        add(isolate, object, "runMouseObvious", &runMouse<ObviousStream::feed>);
        add(isolate, object, "mouseTallyObvious", &mouseTally<ObviousStream::feed>);
        add(isolate, object, "stopObvious", &ObviousStream::stop);
    }

private:
    static void add(v8::Isolate* isolate, v8::Local<v8::Object> object, const char* name,
                    v8::FunctionCallback callback) {
        const v8::Local<v8::Context> context = isolate->GetCurrentContext();
        const v8::Local<v8::Function> function =
            v8::FunctionTemplate::New(isolate, callback)->GetFunction(context).ToLocalChecked();
        object->Set(context, common::js::makeStr(isolate, std::string_view(name)), function).Check();
    }
};

const ComponentRegistration hardware("hardware", &makeComponent<HwComponentComponent>);
const ComponentRegistration methods("methods", &makeComponent<Methods>);
const ComponentRegistration raw("raw", &makeComponent<Baselines>);
const ModuleRegistration module;

}  // namespace
}  // namespace zeb::bench

extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    zeb::initializeModule(exports, module, context, nullptr);
}
