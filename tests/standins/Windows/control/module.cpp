#include "control.h"

// Test-only add-on "standin-control.node"; see tests/script/support/standins.js for what its functions do.
NAPI_MODULE_INIT() {
    using namespace control;
    desktop::define(env, exports, standinFunctions());
    desktop::define(env, exports, registryFunctions());
    desktop::define(env, exports, windowFunctions());
    desktop::define(env, exports, textFunctions());
    desktop::define(env, exports, importFunctions());
    return exports;
}
