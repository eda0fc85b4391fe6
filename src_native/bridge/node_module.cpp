#include "bridge/node_module.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include "bridge/host_check.h"
#include "bridge/module_pin.h"
#include "common/v8binding/environment.h"
#include "common/v8binding/v8binding.h"
#include "common/v8binding/v8utils.h"

namespace zeb {

namespace {

using common::ComPtr;
using common::js::Environment;
using common::js::makeStr;

constexpr const char* kNoEnvironment = "zebbridge needs a context of Node.js";

// False if the engine makes no more objects because the thread is being terminated or its stack is used up. The
// exception that says so is pending.
bool addComponent(const RegistryEntry& entry, Environment& environment, v8::Local<v8::Context> context,
                  v8::Local<v8::ObjectTemplate> objectTemplate, v8::Local<v8::Object> exports) {
    v8::Isolate* const isolate = environment.isolate();
    v8::Local<v8::Object> object;
    if (!objectTemplate->NewInstance(context).ToLocal(&object)) return false;
    const ComPtr<Component> component = entry.factory(isolate, object);
    auto* const native = static_cast<IRefCounted*>(component->query(typeid(IRefCounted)));
    environment.linkComponent(object, ComPtr<IRefCounted>(native));
    common::js::setProperty(context, exports, makeStr(isolate, std::string_view(entry.name)), object);
    return true;
}

void shutdown(const v8::FunctionCallbackInfo<v8::Value>& info) {
    const v8::HandleScope scope(info.GetIsolate());
    releaseComponents(info.GetIsolate());
    info.GetReturnValue().SetUndefined();
}

void fillExports(v8::Isolate* isolate, v8::Local<v8::Object> exports, v8::Local<v8::Context> context) {
    Environment* const environment = Environment::open(context);
    if (environment == nullptr) throw std::runtime_error(kNoEnvironment);
    pinModule();
    const common::js::Receivers::CallScope loading(environment->receivers(), environment);

    const v8::Local<v8::ObjectTemplate> objectTemplate = v8::ObjectTemplate::New(isolate);
    objectTemplate->SetInternalFieldCount(1);
    {
        v8::TryCatch tryCatch(isolate);  // what a setter or a proxy throws ends the load
        for (const RegistryEntry& entry : componentRegistry()) {
            const bool isAdded = addComponent(entry, *environment, context, objectTemplate, exports);
            if (isAdded && !tryCatch.HasCaught()) {
                if (Environment::running(isolate) == environment) continue;
                throw std::runtime_error(kNoEnvironment);  // a setter has ended this environment
            }
            tryCatch.ReThrow();
            return;
        }
    }

    const v8::HandleScope shutdownScope(isolate);
    const v8::Local<v8::Context> current = isolate->GetCurrentContext();
    v8::Local<v8::Function> function;
    if (!v8::FunctionTemplate::New(isolate, &shutdown)->GetFunction(current).ToLocal(&function)) return;
    const v8::Local<v8::String> name = makeStr(isolate, std::string_view("shutdown"));
    function->SetName(name);
    common::js::setProperty(current, exports, name, function);
}

}  // namespace

std::list<RegistryEntry>& componentRegistry() {
    static std::list<RegistryEntry> registry;
    return registry;
}

ComponentRegistration::ComponentRegistration(std::string name, ComponentFactory factory) {
    componentRegistry().push_back({std::move(name), factory});
}

ModuleRegistration::ModuleRegistration() {
    // The runtime writes to the module record (its library handle and list link).
    node_module_register(const_cast<node::node_module*>(&moduleRecord()));
}

const node::node_module& moduleRecord() {
    static node::node_module record = {
        NODE_MODULE_VERSION, 0, nullptr, __FILE__, nullptr, &initializeModule, "NODE_GYP_MODULE_NAME", nullptr, nullptr,
    };
    return record;
}

void initializeModule(v8::Local<v8::Object> exports, v8::Local<v8::Value>, v8::Local<v8::Context> context, void*) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    if (!checkHost(isolate, context)) return;
    const v8::HandleScope scope(isolate);
    try {
        fillExports(isolate, exports, context);
    } catch (const std::exception& failure) {  // the engine's frames above cannot handle exceptions
        common::js::throwScriptError(isolate, failure);
    }
}

void releaseComponents(v8::Isolate* isolate) noexcept { Environment::releaseAllComponents(isolate); }

}  // namespace zeb
