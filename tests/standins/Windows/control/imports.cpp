#include <windows.h>

#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>

#include "../control_text.h"
#include "control.h"

// Shows the arguments with which the module calls the system: its import table is made to point here. Every call is
// recorded and then passed on, or answered as a test has said.
namespace control {

namespace {

using desktop::Arguments;
using standins::JsonObject;

struct Answer {
    std::int64_t result;
    DWORD lastError;
};

std::mutex g_mutex;
std::vector<std::string> g_calls;
std::map<std::string, Answer, std::less<>> g_answers;

// Records a call and returns the answer that a test has planned for it, if any.
std::optional<Answer> note(std::string_view name, JsonObject& call) {
    const std::lock_guard lock(g_mutex);
    g_calls.push_back(call.add("call", name).text());
    const auto found = g_answers.find(name);
    return found == g_answers.end() ? std::nullopt : std::optional(found->second);
}

template <typename Result, typename PassOn>
Result answer(std::string_view name, JsonObject call, PassOn passOn) {
    const std::optional<Answer> said = note(name, call);
    if (!said) return passOn();
    SetLastError(said->lastError);
    return static_cast<Result>(said->result);
}

JsonObject describe(HWND window, const WINDOWPLACEMENT& placement) {
    JsonObject call;
    call.add("window", reinterpret_cast<std::uintptr_t>(window)).add("length", placement.length);
    call.add("flags", placement.flags).add("showCommand", placement.showCmd);
    call.add("minimisedX", placement.ptMinPosition.x).add("minimisedY", placement.ptMinPosition.y);
    call.add("maximisedX", placement.ptMaxPosition.x).add("maximisedY", placement.ptMaxPosition.y);
    call.add("left", placement.rcNormalPosition.left).add("top", placement.rcNormalPosition.top);
    call.add("right", placement.rcNormalPosition.right).add("bottom", placement.rcNormalPosition.bottom);
    return call;
}

HRESULT WINAPI registerApplicationRestart(const wchar_t* commandLine, DWORD flags) {
    JsonObject call;
    call.add("commandLineIsNull", commandLine == nullptr).add("flags", flags);
    return answer<HRESULT>("RegisterApplicationRestart", call,
                           [&] { return RegisterApplicationRestart(commandLine, flags); });
}

LSTATUS WINAPI regGetValue(HKEY key, const wchar_t* path, const wchar_t* name, DWORD flags, DWORD* type, void* data,
                           DWORD* size) {
    JsonObject call;
    call.add("localMachine", key == HKEY_LOCAL_MACHINE).add("path", std::wstring_view(path));
    call.add("name", std::wstring_view(name)).add("flags", flags).add("typeWanted", type != nullptr);
    call.add("size", size != nullptr ? *size : 0);
    return answer<LSTATUS>("RegGetValueW", call,
                           [&] { return RegGetValueW(key, path, name, flags, type, data, size); });
}

BOOL WINAPI getWindowPlacement(HWND window, WINDOWPLACEMENT* placement) {
    return answer<BOOL>("GetWindowPlacement", describe(window, *placement),
                        [&] { return GetWindowPlacement(window, placement); });
}

BOOL WINAPI setWindowPlacement(HWND window, const WINDOWPLACEMENT* placement) {
    return answer<BOOL>("SetWindowPlacement", describe(window, *placement),
                        [&] { return SetWindowPlacement(window, placement); });
}

template <typename Function>
void* addressOf(Function* function) {
    return reinterpret_cast<void*>(function);
}

const std::map<std::string_view, void*> kWatched = {
    {"RegisterApplicationRestart", addressOf(&registerApplicationRestart)},
    {"RegGetValueW", addressOf(&regGetValue)},
    {"GetWindowPlacement", addressOf(&getWindowPlacement)},
    {"SetWindowPlacement", addressOf(&setWindowPlacement)},
};

void point(IMAGE_THUNK_DATA* slot, void* function) {
    DWORD before = 0;
    if (!VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &before)) desktop::throwLastError("VirtualProtect");
    slot->u1.Function = reinterpret_cast<ULONGLONG>(function);
    VirtualProtect(slot, sizeof *slot, before, &before);
}

// Points the watched imports of one loaded module here and returns how many it has.
int watch(std::byte* image) {
    const auto at = [image](DWORD offset) { return static_cast<void*>(image + offset); };
    const auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto headers = static_cast<const IMAGE_NT_HEADERS*>(at(static_cast<DWORD>(dos->e_lfanew)));
    const DWORD table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    int watched = 0;
    for (auto library = static_cast<const IMAGE_IMPORT_DESCRIPTOR*>(at(table)); library->Name != 0; ++library) {
        auto name = static_cast<const IMAGE_THUNK_DATA*>(at(library->OriginalFirstThunk));
        auto slot = static_cast<IMAGE_THUNK_DATA*>(at(library->FirstThunk));
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto entry = static_cast<const IMAGE_IMPORT_BY_NAME*>(at(static_cast<DWORD>(name->u1.AddressOfData)));
            const auto found = kWatched.find(&entry->Name[0]);
            if (found == kWatched.end()) continue;
            point(slot, found->second);
            ++watched;
        }
    }
    return watched;
}

napi_value watchImports(const Arguments& arguments) {
    const HMODULE image = GetModuleHandleW(arguments.wideText(0).c_str());
    if (image == nullptr) desktop::throwLastError("GetModuleHandleW");
    return desktop::toScript(arguments.env(), watch(reinterpret_cast<std::byte*>(image)));
}

bool isReadOnly(const void* address) {
    MEMORY_BASIC_INFORMATION memory{};
    return VirtualQuery(address, &memory, sizeof memory) != 0 && memory.Protect == PAGE_READONLY;
}

// For each library whose functions a module binds late, as JSON: how many functions there are, how many are bound, and
// how many of their places cannot be written to.
napi_value lateImports(const Arguments& arguments) {
    const HMODULE module = GetModuleHandleW(arguments.wideText(0).c_str());
    if (module == nullptr) desktop::throwLastError("GetModuleHandleW");
    auto* const image = reinterpret_cast<std::byte*>(module);
    const auto at = [image](DWORD offset) { return static_cast<void*>(image + offset); };
    const auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto headers = static_cast<const IMAGE_NT_HEADERS*>(at(static_cast<DWORD>(dos->e_lfanew)));
    const DWORD table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT].VirtualAddress;
    std::vector<std::string> libraries;
    for (auto each = static_cast<const IMAGE_DELAYLOAD_DESCRIPTOR*>(at(table)); each->DllNameRVA != 0; ++each) {
        int functions = 0;
        int bound = 0;
        int readOnly = 0;
        auto name = static_cast<const IMAGE_THUNK_DATA*>(at(each->ImportNameTableRVA));
        auto slot = static_cast<std::byte* const*>(at(each->ImportAddressTableRVA));
        for (; name->u1.AddressOfData != 0; ++name, ++slot, ++functions) {
            if (*slot < image || *slot >= image + headers->OptionalHeader.SizeOfImage) ++bound;
            if (isReadOnly(slot)) ++readOnly;
        }
        JsonObject library;
        library.add("library", static_cast<const char*>(at(each->DllNameRVA))).add("functions", functions);
        libraries.push_back(library.add("bound", bound).add("readOnly", readOnly).text());
    }
    return desktop::toScript(arguments.env(), standins::jsonArray(libraries));
}

// Name, result, last error.
napi_value answerImport(const Arguments& arguments) {
    const std::string name = arguments.text(0);
    if (!kWatched.contains(name)) throw std::invalid_argument("not watched: " + name);
    const std::lock_guard lock(g_mutex);
    g_answers[name] = {arguments.number(1), static_cast<DWORD>(arguments.number(2))};
    return nullptr;
}

// The calls since the last time, as JSON. Forgets the answers.
napi_value takeImportCalls(const Arguments& arguments) {
    const std::lock_guard lock(g_mutex);
    const std::string json = standins::jsonArray(g_calls);
    g_calls.clear();
    g_answers.clear();
    return desktop::toScript(arguments.env(), json);
}

}  // namespace

std::vector<desktop::NamedFunction> importFunctions() {
    return {{"watchImports", &watchImports},
            {"answerImport", &answerImport},
            {"takeImportCalls", &takeImportCalls},
            {"lateImports", &lateImports}};
}

}  // namespace control
