// With Microsoft's linker: binds imports from node.exe to the program that hosts the module, whatever its name.
#include <windows.h>
// after windows.h
#include <delayimp.h>

static FARPROC WINAPI bindToHost(unsigned event, PDelayLoadInfo info) {
    if (event == dliNotePreLoadLibrary && _stricmp(info->szDll, "node.exe") == 0) {
        return reinterpret_cast<FARPROC>(GetModuleHandleW(nullptr));
    }
    return nullptr;
}

decltype(__pfnDliNotifyHook2) __pfnDliNotifyHook2 = bindToHost;
