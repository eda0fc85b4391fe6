#include "bridge/crash_emitter.h"
#include "bridge/diagnostics_component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/node_module.h"
#include "bridge/package_auto_updater.h"
#include "input_component.h"
#include "updates_component.h"

// The portable components in the product's order, and the components that feed them.

namespace zeb {
namespace {

const ComponentRegistration crashEmitter("crash_emitter", &makeComponent<CrashEmitter>);
const ComponentRegistration diagnostics("diagnostics", &makeComponent<DiagnosticsComponent>);
const ComponentRegistration hardware("hardware", &makeComponent<HwComponentComponent>);
const ModuleRegistration module;
const ComponentRegistration packageAutoUpdater("msix_auto_updater", &makeComponent<WindowsPackageAutoUpdater>);
const ComponentRegistration input("__input", &makeComponent<standins::InputComponent>);
const ComponentRegistration updates("__updates", &makeComponent<standins::UpdatesComponent>);

}  // namespace
}  // namespace zeb

extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    zeb::initializeModule(exports, module, context, nullptr);
}
