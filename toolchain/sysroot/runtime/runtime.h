#pragma once

#include <windows.h>

// Shared by the units of the runtime support; nothing else includes it. The units supply what a compiler for the
// Microsoft ABI expects in every image. Names with two leading underscores are fixed by the compiler, the linker or the
// C runtime.
extern "C" {

using Procedure = void(__cdecl*)();
using FallibleProcedure = int(__cdecl*)();

// Runs the image's static initialisers: C's (which may refuse), C++'s, then this thread's thread_locals. Returns false
// if an initialiser of C refused.
bool runInitializers();

// Frees the names that type_info::name() has returned.
void freeTypeNames();

void __cdecl __dyn_tls_on_demand_init();

// Destroys the calling thread's thread_locals.
void endThread();

}  // extern "C"
