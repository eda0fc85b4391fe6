#include "bridge/components.h"
#include "bridge/key_state.h"
#include "control.h"

// The product's portable layers over a platform that tests feed and let fail.

namespace zeb {

bool isKeyDown(int virtualKey) noexcept { return virtualKey == 4; }

}  // namespace zeb

namespace harness {
namespace {

// There is no module record: the exported name alone leads the runtime here, for every context.
const zeb::ComponentRegistrations<zeb::NothingToRegister, zeb::NothingToRegister> registrations;

}  // namespace
}  // namespace harness

extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value> module,
                                                           v8::Local<v8::Context> context) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    const v8::HandleScope scope(isolate);
    harness::addControl(isolate, context, exports);  // first: it counts what the module makes
    zeb::initializeModule(exports, module, context, nullptr);
}
