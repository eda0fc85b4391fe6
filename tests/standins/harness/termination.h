#pragma once

#include <v8.h>

namespace harness {

/// Adds the functions that end script at a chosen moment to the harness's `control`; see
/// tests/script/terminations.test.js.
void addTerminations(v8::Isolate* isolate, v8::Local<v8::Object> control);

}  // namespace harness
