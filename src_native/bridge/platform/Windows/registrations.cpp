#include "bridge/components.h"
#include "bridge/platform/Windows/window-component.h"

namespace zeb {
namespace {

struct WindowsComponents {
    ComponentRegistration windows{"windows", &makeComponent<WindowsComponent>};
};

const ComponentRegistrations<ModuleRegistration, WindowsComponents> registrations;

}  // namespace
}  // namespace zeb

// The runtime also finds the entry by name: when a second context loads the module, the module is already in the
// process, and static initialisation, which passes on the module record, does not run again.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    zeb::initializeModule(exports, module, context, nullptr);
}
