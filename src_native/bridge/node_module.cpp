#include "bridge/node_module.h"

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "bridge/module_pin.h"
#include "common/utils/lock.h"
#include "common/v8binding/environment.h"
#include "common/v8binding/v8binding.h"
#include "common/v8binding/v8utils.h"

namespace zeb {

namespace {

using common::ComPtr;
using common::Lock;
using common::LockGuard;
using common::js::Environment;
using common::js::makeStr;

/// A component that script can reach, and the environment whose thread it belongs to.
struct LiveComponent {
    ComPtr<Component> component;
    Environment* environment;
};

struct LiveComponents {
    Lock lock;
    std::list<LiveComponent> list ZEB_GUARDED_BY(lock);
};

// Never destroyed: each environment's end has emptied its part, and what an abrupt end of the process left must not be
// released without an engine.
LiveComponents& liveComponents() {
    static LiveComponents& instance = *new LiveComponents;
    return instance;
}

void releaseComponentsOf(Environment& environment) noexcept {
    std::list<LiveComponent> ours;
    {
        LiveComponents& live = liveComponents();
        const LockGuard guard(live.lock);
        for (auto next = live.list.begin(); next != live.list.end();) {
            const auto current = next++;
            if (current->environment == &environment) ours.splice(ours.end(), live.list, current);
        }
    }
    for (LiveComponent& live : ours) {
        // The script object outlives the component and must not keep its address.
        environment.cutOff(live.component.get());
        environment.retire(std::move(live.component));
    }
}

/// Releases an environment's components when it ends without `shutdown`. One per environment, however often the module
/// is loaded there.
class ComponentsOfEnvironment final : public common::js::Attachment, private common::js::EnvironmentObserver {
public:
    explicit ComponentsOfEnvironment(Environment& environment)
        : EnvironmentObserver(&environment), m_environment(environment) {}

private:
    void onEnvironmentEnd() noexcept override { releaseComponentsOf(m_environment); }

    Environment& m_environment;
};

// False when the engine makes no objects any more, for the thread is being terminated or its stack is used up. The
// exception that says so is pending.
bool addComponent(const RegistryEntry& entry, Environment& environment, v8::Local<v8::Context> context,
                  v8::Local<v8::ObjectTemplate> objectTemplate, v8::Local<v8::Object> exports) {
    v8::Isolate* const isolate = environment.isolate();
    v8::Local<v8::Object> object;
    if (!objectTemplate->NewInstance(context).ToLocal(&object)) return false;
    ComPtr<Component> component = entry.factory(isolate, object);
    auto* const native = static_cast<IRefCounted*>(component->query(typeid(IRefCounted)));
    {
        LiveComponents& all = liveComponents();
        const LockGuard guard(all.lock);
        all.list.push_back({std::move(component), &environment});
    }
    environment.link(object, native, false);
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
    if (environment == nullptr) throw std::runtime_error("zebbridge needs a context of Node.js");
    pinModule();
    static_cast<void>(environment->attachment<ComponentsOfEnvironment>());

    const v8::Local<v8::ObjectTemplate> objectTemplate = v8::ObjectTemplate::New(isolate);
    objectTemplate->SetInternalFieldCount(1);
    {
        v8::TryCatch tryCatch(isolate);  // what a setter or a proxy throws ends the load
        for (const RegistryEntry& entry : componentRegistry()) {
            if (addComponent(entry, *environment, context, objectTemplate, exports) && !tryCatch.HasCaught()) continue;
            common::js::keepTermination(isolate, tryCatch);
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
    // The runtime writes to the record (its library handle and list link).
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
    const v8::HandleScope scope(isolate);
    try {
        fillExports(isolate, exports, context);
    } catch (const std::exception& failure) {  // the engine's frames above know no exceptions
        common::js_internal::throwScriptError(isolate, failure);
    }
}

void releaseComponents(v8::Isolate* isolate) noexcept {
    std::vector<v8::Isolate*> others;
    {
        LiveComponents& live = liveComponents();
        const LockGuard guard(live.lock);
        for (const LiveComponent& component : live.list) {
            v8::Isolate* const owner = component.environment->isolate();
            if (owner != isolate && (others.empty() || others.back() != owner)) others.push_back(owner);
        }
    }
    for (v8::Isolate* const other : others) {
        Environment::post(other, [other] {
            if (Environment* const environment = Environment::of(other)) releaseComponentsOf(*environment);
        });
    }
    if (Environment* const environment = Environment::of(isolate)) releaseComponentsOf(*environment);
}

}  // namespace zeb
