#pragma once

#include <v8.h>

namespace zeb {

/// Whether the program that loads the module is one that it was built for: the program has every function that the
/// module takes from it, and its engine keeps references and small integers as the inlined accessors of the module's
/// headers read them. If not, a script `Error` that says what is wrong is pending.
///
/// The module's entry calls this before anything else, on the script thread inside a handle scope of the engine.
bool checkHost(v8::Isolate* isolate, v8::Local<v8::Context> context) noexcept;

}  // namespace zeb
