#include "bridge/crash_emitter.h"
#include "bridge/diagnostics_component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/node_module.h"
#include "bridge/package_auto_updater.h"
#include "bridge/platform/Windows/window-component.h"

// The order of these objects is the order of the exports, and the runtime hears of the module where its record stands.

namespace zeb {
namespace {

const ComponentRegistration crashEmitter("crash_emitter", &makeComponent<CrashEmitter>);
const ComponentRegistration diagnostics("diagnostics", &makeComponent<DiagnosticsComponent>);
const ComponentRegistration hardware("hardware", &makeComponent<HwComponentComponent>);
const ModuleRegistration module;
const ComponentRegistration windows("windows", &makeComponent<WindowsComponent>);
const ComponentRegistration packageAutoUpdater("msix_auto_updater", &makeComponent<WindowsPackageAutoUpdater>);

}  // namespace
}  // namespace zeb

// The runtime also finds the entry by name: a second context that loads the module finds it already in the process, and
// static initialisation, which hands over the record, does not run again.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    zeb::initializeModule(exports, module, context, nullptr);
}
