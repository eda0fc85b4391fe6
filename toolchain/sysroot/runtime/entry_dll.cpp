// Entry point of a DLL. Compiled code registers static objects with atexit; they are destroyed when the DLL is
// unloaded, not when the host calls exit(). They are not destroyed at the end of the process: by then the system has
// ended the other threads wherever they were, so a destructor could wait for a lock for ever or find a list half
// changed.
#include "runtime.h"

extern "C" {

struct OnexitTable {
    FallibleProcedure *first, *last, *end;
};
int __cdecl _initialize_onexit_table(OnexitTable*);
int __cdecl _register_onexit_function(OnexitTable*, FallibleProcedure);
int __cdecl _execute_onexit_table(OnexitTable*);

static OnexitTable atexitTable;
static bool attached = false;  // the loader reports the end of a DLL even if its start failed

int __cdecl atexit(Procedure procedure) {
    return _register_onexit_function(&atexitTable, reinterpret_cast<FallibleProcedure>(procedure));
}

// The module may define its own.
BOOL WINAPI __attribute__((weak)) DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }

static void detach() {
    if (attached) {
        attached = false;
        endThread();
        _execute_onexit_table(&atexitTable);
        freeTypeNames();
    }
}

BOOL WINAPI _DllMainCRTStartup(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        if (_initialize_onexit_table(&atexitTable) != 0 || !runInitializers()) {
            return FALSE;
        }
        attached = true;
        if (DllMain(instance, reason, reserved)) {
            return TRUE;
        }
        detach();
        return FALSE;
    }
    if (!attached) {
        return FALSE;
    }
    const BOOL result = DllMain(instance, reason, reserved);
    if (reason == DLL_PROCESS_DETACH && !reserved) {  // reserved is set when the process ends
        detach();
    }
    return result;
}

}  // extern "C"
