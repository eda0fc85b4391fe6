#include <cstdlib>

#include "bridge/crash_emitter.h"
#include "bridge/diagnostics_component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/node_module.h"
#include "probe_component.h"
#include "probe_control.h"

// The product's layers with the tests' own components, which reach what the product's exports cannot.

namespace probe {
namespace {

/// Makes no component if the environment variable asks for the failure.
common::ComPtr<zeb::Component> makeUnlessTold(v8::Isolate* isolate, v8::Local<v8::Object> object) noexcept {
    if (std::getenv("ZEB_PROBE_EMPTY_FACTORY") != nullptr) return {};
    return zeb::makeComponent<zeb::CrashEmitter>(isolate, object);
}

const zeb::ComponentRegistration diagnostics("diagnostics", &zeb::makeComponent<zeb::DiagnosticsComponent>);
const zeb::ComponentRegistration hardware("hardware", &zeb::makeComponent<zeb::HwComponentComponent>);
const zeb::ComponentRegistration probe("probe", &zeb::makeComponent<Probe>);
const zeb::ComponentRegistration nameless("", &zeb::makeComponent<zeb::CrashEmitter>);
const zeb::ComponentRegistration fragile("fragile", &makeUnlessTold);

}  // namespace
}  // namespace probe

// There is no module record: the exported name alone leads the runtime here, for every context.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    zeb::initializeModule(exports, module, context, nullptr);
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    const v8::HandleScope scope(isolate);
    probe::addControl(isolate, context, exports);
}
