#pragma once

#include <v8.h>

namespace harness {

/// Adds the functions that feed, let fail and count to `exports`, as "harness"; see tests/script/support/harness.js.
void addControl(v8::Isolate* isolate, v8::Local<v8::Context> context, v8::Local<v8::Object> exports);

}  // namespace harness
