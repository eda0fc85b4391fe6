// Binds delay-loaded imports. Imports from node.exe go to the program that hosts the module, because applications
// rename their executable, or to the libnode.dll that the program has loaded. Imports from other DLLs go to the copy in
// the system's folder.
#include "runtime.h"

// after windows.h
#include <delayimp.h>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

template <class T>
T* at(ULONGLONG offset) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(&__ImageBase) + offset);
}

const char* fileName(HMODULE module, char (&path)[MAX_PATH]) {
    const DWORD length = GetModuleFileNameA(module, path, MAX_PATH);
    const char* name = path;
    for (DWORD i = 0; i < length && i < MAX_PATH - 1; ++i) {
        if (path[i] == '\\') {
            name = path + i + 1;
        }
    }
    path[MAX_PATH - 1] = '\0';
    return name;
}

// Writes to the error stream and to a debugger what is missing where.
void tell(const DelayLoadInfo& info) {
    char ownPath[MAX_PATH] = "";
    char hostPath[MAX_PATH] = "";
    const char* parts[] = {fileName(reinterpret_cast<HMODULE>(&__ImageBase), ownPath),
                           ": ",
                           info.hmodCur ? fileName(info.hmodCur, hostPath) : info.szDll,
                           info.hmodCur ? " has no " : " cannot be loaded, for ",
                           info.dlp.fImportByName ? info.dlp.szProcName : "an ordinal",
                           "\n"};
    for (const char* part : parts) {
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), part, static_cast<DWORD>(lstrlenA(part)), &written, nullptr);
        OutputDebugStringA(part);
    }
}

// Ends the call as Microsoft's helper does, with the exception record that debuggers and crash reporters can read.
[[noreturn]] void fail(const DelayLoadInfo& info) {
    tell(info);
    const LONG error = info.hmodCur ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
    const auto argument = reinterpret_cast<ULONG_PTR>(&info);
    RaiseException(static_cast<DWORD>(VcppException(ERROR_SEVERITY_ERROR, error)), EXCEPTION_NONCONTINUABLE, 1,
                   &argument);
    __builtin_unreachable();
}

HMODULE host() {
    const HMODULE program = GetModuleHandleW(nullptr);
    if (GetProcAddress(program, "node_module_register")) {
        return program;
    }
    const HMODULE engine = GetModuleHandleW(L"libnode.dll");
    return engine ? engine : program;
}

}  // namespace

extern "C" {

// The linker puts the table between the initialised data and the section named here. Both ends start a page, so the
// table has its pages for itself.
__attribute__((section(".data$zzz"), used, aligned(4096))) char zebTableBegin = 1;
__attribute__((section(".after"), used, aligned(4096))) char zebTableEnd = 1;

// For modules that bind everything before they call anything, so that a missing function is an error, not a crash.
// Returns the module that a DLL's functions are taken from; null if there is none.
HMODULE zebDelayLoadedModule(const char* dll) {
    return lstrcmpiA(dll, "node.exe") == 0 ? host() : LoadLibraryExA(dll, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

// Makes the table read-only. Everything must be bound by then, because the helper writes to the table.
bool zebProtectDelayLoaded() {
    DWORD before = 0;
    return VirtualProtect(&zebTableBegin, static_cast<SIZE_T>(&zebTableEnd - &zebTableBegin), PAGE_READONLY, &before) !=
           0;
}

__attribute__((used)) FARPROC zebBindDelayLoaded(PCImgDelayDescr descriptor, FARPROC* slot) {
    DelayLoadInfo info{};
    info.cb = sizeof info;
    info.pidd = descriptor;
    info.ppfn = slot;
    info.szDll = at<char>(descriptor->rvaDLLName);
    const auto& entry = at<IMAGE_THUNK_DATA>(descriptor->rvaINT)[slot - at<FARPROC>(descriptor->rvaIAT)];
    if (IMAGE_SNAP_BY_ORDINAL(entry.u1.Ordinal)) {
        info.dlp.dwOrdinal = static_cast<DWORD>(IMAGE_ORDINAL(entry.u1.Ordinal));
    } else {
        info.dlp.fImportByName = TRUE;
        info.dlp.szProcName = at<IMAGE_IMPORT_BY_NAME>(entry.u1.AddressOfData)->Name;
    }
    auto* const module = at<HMODULE>(descriptor->rvaHmod);
    if (!*module) {
        *module = zebDelayLoadedModule(info.szDll);
    }
    info.hmodCur = *module;
    if (*module) {
        info.pfnCur = GetProcAddress(
            *module, info.dlp.fImportByName ? info.dlp.szProcName : MAKEINTRESOURCEA(info.dlp.dwOrdinal));
    }
    if (!info.pfnCur) {
        info.dwLastError = GetLastError();
        fail(info);
    }
    return *slot = info.pfnCur;
}

}  // extern "C"

// The linker's thunks keep the caller's xmm0 to xmm3 at the bottom of their frame and call the helper from there. They
// leave it no home space: the 32 bytes above the return address, which a callee may overwrite, hold xmm0 and xmm1. The
// helper proper is therefore called from a frame that has home space.
__asm__(R"(
  .text
  .globl __delayLoadHelper2
  .def __delayLoadHelper2; .scl 2; .type 32; .endef
  .p2align 4
__delayLoadHelper2:
  .seh_proc __delayLoadHelper2
  subq $40, %rsp
  .seh_stackalloc 40
  .seh_endprologue
  callq zebBindDelayLoaded
  addq $40, %rsp
  retq
  .seh_endproc
)");
