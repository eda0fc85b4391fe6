#pragma once

#include <v8.h>

namespace zeb {

/// Whether the program that loads the module is one that the module was built for: it has every function that the
/// module needs from it, and its engine stores references and small integers as the inlined accessors of the module's
/// headers read them. If not, a script `Error` that says what is wrong is pending.
///
/// The module's entry calls this first, on the script thread, inside one of the engine's handle scopes.
bool checkHost(v8::Isolate* isolate, v8::Local<v8::Context> context) noexcept;

}  // namespace zeb
