// Binds delay-loaded imports at their first call. Imports from node.exe go to the program that hosts the module,
// because applications rename their executable; imports from other DLLs go to the system's copy.
#include "runtime.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

// As the linker writes it; all addresses are relative to the image.
struct DelayDescriptor {
    DWORD attributes, name, module, addressTable, nameTable, boundTable, unloadTable, time;
};

template <class T>
T* at(ULONGLONG offset) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(&__ImageBase) + offset);
}

bool isHost(const char* dll) { return lstrcmpiA(dll, "node.exe") == 0; }

HMODULE load(const char* dll) {
    return isHost(dll) ? GetModuleHandleW(nullptr) : LoadLibraryExA(dll, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
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

// Says on the error stream and to a debugger what is missing where, then ends the call as Microsoft's helper does.
[[noreturn]] void fail(HMODULE module, const char* dll, const char* name) {
    char ownPath[MAX_PATH] = "";
    char hostPath[MAX_PATH] = "";
    const char* parts[] = {fileName(reinterpret_cast<HMODULE>(&__ImageBase), ownPath),
                           ": ",
                           module ? fileName(module, hostPath) : dll,
                           module ? " has no " : " cannot be loaded, for ",
                           name,
                           "\n"};
    for (const char* part : parts) {
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), part, static_cast<DWORD>(lstrlenA(part)), &written, nullptr);
        OutputDebugStringA(part);
    }
    constexpr DWORD kModuleNotFound = 0xC06D007E;
    constexpr DWORD kProcedureNotFound = 0xC06D007F;
    const ULONG_PTR arguments[] = {reinterpret_cast<ULONG_PTR>(dll), reinterpret_cast<ULONG_PTR>(name)};
    RaiseException(module ? kProcedureNotFound : kModuleNotFound, EXCEPTION_NONCONTINUABLE, 2, arguments);
    __builtin_unreachable();
}

}  // namespace

extern "C" FARPROC WINAPI __delayLoadHelper2(const DelayDescriptor* descriptor, FARPROC* slot) {
    const char* dll = at<char>(descriptor->name);
    HMODULE* module = at<HMODULE>(descriptor->module);
    if (!*module) {
        *module = load(dll);
    }
    const ULONGLONG entry = at<ULONGLONG>(descriptor->nameTable)[slot - at<FARPROC>(descriptor->addressTable)];
    const bool byOrdinal = (entry >> 63) != 0;
    const char* name = byOrdinal ? reinterpret_cast<const char*>(entry & 0xFFFF) : at<char>(entry + 2);  // 2: the hint
    const FARPROC procedure = *module ? GetProcAddress(*module, name) : nullptr;
    if (!procedure) {
        fail(*module, dll, byOrdinal ? "an ordinal" : name);
    }
    return *slot = procedure;
}
