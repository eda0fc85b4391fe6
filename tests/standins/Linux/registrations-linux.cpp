#include "bridge/components.h"
#include "input_component.h"
#include "updates_component.h"

// The portable components, and the components that feed them.

namespace zeb {
namespace {

const ComponentRegistrations<ModuleRegistration, NothingToRegister> registrations;
const ComponentRegistration input("__input", &makeComponent<standins::InputComponent>);
const ComponentRegistration updates("__updates", &makeComponent<standins::UpdatesComponent>);

}  // namespace
}  // namespace zeb

extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    zeb::initializeModule(exports, module, context, nullptr);
}
