#pragma once

#include <v8.h>

namespace probe {

/// Adds the functions that look behind the binding layer to `exports`, as "control".
void addControl(v8::Isolate* isolate, v8::Local<v8::Context> context, v8::Local<v8::Object> exports);

}  // namespace probe
