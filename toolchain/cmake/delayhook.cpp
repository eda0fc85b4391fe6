// For Microsoft's linker, what sysroot/runtime/delay_load.cpp does for lld: imports from node.exe go to the program
// that hosts the module, whatever its name, or to the libnode.dll that this program has loaded. Imports from other DLLs
// go to the copy in the system's folder.
#include <windows.h>
// after windows.h
#include <delayimp.h>

static HMODULE host() {
    const HMODULE program = GetModuleHandleW(nullptr);
    if (GetProcAddress(program, "node_module_register")) return program;
    const HMODULE engine = GetModuleHandleW(L"libnode.dll");
    return engine ? engine : program;
}

extern "C" {

HMODULE zebDelayLoadedModule(const char* dll) {
    return _stricmp(dll, "node.exe") == 0 ? host() : LoadLibraryExA(dll, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

// With control-flow guard, this linker gives the table a section of its own, which only its helper can make writable.
bool zebProtectDelayLoaded() { return true; }

}  // extern "C"

static FARPROC WINAPI bind(unsigned event, PDelayLoadInfo info) {
    return event == dliNotePreLoadLibrary ? reinterpret_cast<FARPROC>(zebDelayLoadedModule(info->szDll)) : nullptr;
}

decltype(__pfnDliNotifyHook2) __pfnDliNotifyHook2 = bind;
