#include "bridge/host_imports.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

extern "C" {

const extern IMAGE_DOS_HEADER __ImageBase;  // NOLINT(bugprone-reserved-identifier): the linker's name

// From the start-up code: the module that provides a delay-loaded DLL's functions, and the end of all changes to the
// table. They are in toolchain/sysroot/runtime/delay_load.cpp or, for Microsoft's linker, in
// toolchain/cmake/delayhook.cpp.
HMODULE zebDelayLoadedModule(const char* dll);
bool zebProtectDelayLoaded();

}  // extern "C"

namespace zeb {

namespace {

// How the runtimes' names of the functions begin that the module's entry needs to throw an error, whatever their
// arguments are.
constexpr std::string_view kNeededToReport[] = {
    "node_module_",          "?GetCurrent@Isolate@v8@@",     "?NewFromUtf8@String@v8@@",
    "?Error@Exception@v8@@", "?ThrowException@Isolate@v8@@",
};

// The first function that could not be bound. Zero-initialised, because it is filled before constructors run.
struct Missing {
    const char* name;
    const char* library;
    HMODULE module;
};
Missing g_missing;
bool g_cannotReport;
bool g_isTableLocked;

template <typename T>
T* at(ULONGLONG offset) {
    return reinterpret_cast<T*>(reinterpret_cast<ULONG_PTR>(&__ImageBase) + offset);
}

const IMAGE_DELAYLOAD_DESCRIPTOR* descriptors() {
    const auto* const headers = at<IMAGE_NT_HEADERS>(static_cast<ULONGLONG>(__ImageBase.e_lfanew));
    return at<IMAGE_DELAYLOAD_DESCRIPTOR>(
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT].VirtualAddress);
}

bool isHost(const IMAGE_DELAYLOAD_DESCRIPTOR& descriptor) {
    return lstrcmpiA(at<char>(descriptor.DllNameRVA), "node.exe") == 0;
}

void note(const char* name, const char* library, HMODULE module) {
    if (g_missing.name == nullptr) g_missing = {name, library, module};
    g_cannotReport = g_cannotReport || std::ranges::any_of(kNeededToReport, [name](std::string_view start) {
                         return std::string_view(name).starts_with(start);
                     });
}

void bind(const IMAGE_DELAYLOAD_DESCRIPTOR& descriptor) {
    const char* const library = at<char>(descriptor.DllNameRVA);
    const HMODULE module = zebDelayLoadedModule(library);
    *at<HMODULE>(descriptor.ModuleHandleRVA) = module;
    const auto* const entries = at<IMAGE_THUNK_DATA>(descriptor.ImportNameTableRVA);
    auto* const slots = at<FARPROC>(descriptor.ImportAddressTableRVA);
    SIZE_T count = 0;
    while (entries[count].u1.AddressOfData != 0) ++count;
    DWORD before = 0;  // Microsoft's linker makes the table read-only from the start
    if (VirtualProtect(slots, count * sizeof *slots, PAGE_READWRITE, &before) == FALSE) {
        g_isTableLocked = true;
        return;
    }
    for (SIZE_T i = 0; i != count; ++i) {
        const char* const name = &at<IMAGE_IMPORT_BY_NAME>(entries[i].u1.AddressOfData)->Name[0];
        if (const FARPROC function = module != nullptr ? GetProcAddress(module, name) : nullptr) {
            slots[i] = function;
        } else {
            note(name, library, module);
        }
    }
    VirtualProtect(slots, count * sizeof *slots, before, &before);
}

template <typename Wanted>
void bindIf(Wanted wanted) {
    for (const auto* each = descriptors(); each->DllNameRVA != 0; ++each) {
        if (wanted(*each)) bind(*each);
    }
}

std::string fileName(HMODULE module) {
    char path[MAX_PATH];
    const std::string_view full(&path[0], GetModuleFileNameA(module, &path[0], MAX_PATH));
    return std::string(full.substr(full.find_last_of('\\') + 1));
}

std::string failureText() {
    const Missing& missing = g_missing;
    if (missing.name == nullptr) return "The system does not let zebbridge change the table of its imports";
    return missing.module != nullptr ? fileName(missing.module) + " has no " + missing.name + ", which zebbridge needs"
                                     : std::string(missing.library) + " cannot be loaded, which zebbridge needs";
}

// The program is already in the process, so its functions can be bound while the loader is at work. Other DLLs must be
// loaded first, which is not possible then.
int bindHost() {
    bindIf(&isHost);
    if (!g_cannotReport && !g_isTableLocked) return 0;
    const std::string text = failureText() + '\n';
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    OutputDebugStringA(text.c_str());
    return 1;
}

std::string bindOthers() {
    bindIf([](const IMAGE_DELAYLOAD_DESCRIPTOR& descriptor) { return !isHost(descriptor); });
    const bool isComplete = g_missing.name == nullptr && !g_isTableLocked;
    return isComplete && zebProtectDelayLoaded() ? std::string() : failureText();
}

}  // namespace

const std::string& missingImport() {
    static const std::string& text = *new std::string(bindOthers());
    return text;
}

}  // namespace zeb

// One of the initialisers that may refuse, which run before the constructors of static objects.
#pragma section(".CRT$XIU", long, read)
extern "C" __declspec(allocate(".CRT$XIU")) int (*const zebBindHost)() = &zeb::bindHost;
