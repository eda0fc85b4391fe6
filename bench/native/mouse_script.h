#pragma once

#include <node_api.h>

#include "native/mouse.h"

/// What script sees of a mouse, for add-ons.
namespace zeb::bench {

napi_value toScript(napi_env env, const MouseTally& tally);  ///< [reports, seconds, processor seconds]

// Functions for script.
napi_value now(napi_env env, napi_callback_info info);  ///< the current stamp
napi_value scriptThreadTime(napi_env env, napi_callback_info info);

}  // namespace zeb::bench
