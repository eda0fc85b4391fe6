#include "desktop.h"

// Test-only add-on "desktop-control.node"; see tests/script/support/desktop.js for what its functions do.
NAPI_MODULE_INIT() {
    using namespace desktop;
    define(env, exports, inputFunctions());
    define(env, exports, windowFunctions());
    define(env, exports, processFunctions());
    define(env, exports, debugOutputFunctions());
    return exports;
}
