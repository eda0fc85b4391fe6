#include "bridge/crash_emitter.h"
#include "bridge/diagnostics_component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/key_state.h"
#include "bridge/node_module.h"
#include "bridge/package_auto_updater.h"
#include "control.h"

// The product's portable layers over a platform that tests feed and let fail.

namespace zeb {

bool isKeyDown(int virtualKey) noexcept { return virtualKey == 4; }

}  // namespace zeb

namespace harness {
namespace {

const zeb::ComponentRegistration crashEmitter("crash_emitter", &zeb::makeComponent<zeb::CrashEmitter>);
const zeb::ComponentRegistration diagnostics("diagnostics", &zeb::makeComponent<zeb::DiagnosticsComponent>);
const zeb::ComponentRegistration hardware("hardware", &zeb::makeComponent<zeb::HwComponentComponent>);
const zeb::ComponentRegistration updater("msix_auto_updater", &zeb::makeComponent<zeb::WindowsPackageAutoUpdater>);

}  // namespace
}  // namespace harness

// There is no module record: the exported name alone leads the runtime here, for every context.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    const v8::HandleScope scope(isolate);
    harness::addControl(isolate, context, exports);  // first: it counts what the module makes
    zeb::initializeModule(exports, module, context, nullptr);
}
