#include <windows.h>
// after windows.h
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../control_text.h"

// A host that is not Node.js. It takes the module record that the module passes while it is loaded; of the engine it
// has only what the module needs in order to load.
//
//   recording-host MODULE    prints what it received, as JSON
//   divided-host MODULE      the same, from a libnode.dll beside the program

using standins::JsonObject;

namespace {

/// A module record as the runtimes of all versions read it. The runtime's own headers declare it too. It is repeated
/// here so that the module and its test do not share a mistake.
struct ModuleRecord {
    int version;
    unsigned flags;
    void* library;
    const char* fileName;
    void (*registerFunction)(void* exports, void* module, void* data);
    void (*contextRegisterFunction)(void* exports, void* module, void* context, void* data);
    const char* moduleName;
    void* data;
    ModuleRecord* link;
};

std::vector<ModuleRecord> g_records;

/// Thrown to leave the module's entry again, because there is no engine to continue with.
struct EngineReached {};

HMODULE moduleOf(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<const wchar_t*>(address), &module);
    return module;
}

template <typename Call>
bool reachesEngine(Call call) {
    try {
        call();
        return false;
    } catch (const EngineReached&) {
        return true;
    }
}

JsonObject& addText(JsonObject& object, const char* name, const char* text) {
    return text == nullptr ? object.raw(name, "null") : object.add(name, text);
}

std::string describe(const ModuleRecord& record, HMODULE module) {
    JsonObject object;
    object.add("version", record.version).add("flags", record.flags);
    object.add("library", record.library != nullptr);
    addText(object, "fileName", record.fileName);
    object.add("registerFunction", record.registerFunction != nullptr);
    object.add("contextRegisterFunction", record.contextRegisterFunction != nullptr);
    addText(object, "moduleName", record.moduleName);
    object.add("data", record.data != nullptr).add("link", record.link != nullptr);
    object.add("entryInModule", moduleOf(reinterpret_cast<const void*>(record.contextRegisterFunction)) == module);
    object.add("entryReachesEngine",
               reachesEngine([&] { record.contextRegisterFunction(nullptr, nullptr, nullptr, nullptr); }));
    return object.text();
}

// The runtime finds the entry by the name of its export when a second context loads the module.
bool exportReachesEngine(HMODULE module, int version) {
    using Entry = void (*)(void* exports, void* module, void* context);
    const std::string name = "node_register_module_v" + std::to_string(version);
    const auto entry = reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(module, name.c_str())));
    return entry != nullptr && reachesEngine([&] { entry(nullptr, nullptr, nullptr); });
}

}  // namespace

extern "C" __declspec(dllexport) void node_module_register(void* record) {
    g_records.push_back(*static_cast<const ModuleRecord*>(record));
}

namespace v8 {

class Isolate {
public:
    __declspec(dllexport) static Isolate* GetCurrent();
};

Isolate* Isolate::GetCurrent() { throw EngineReached(); }

}  // namespace v8

// What else the module must find. None of it is called, because nothing gets past the function above.
#pragma comment( \
    linker,      \
    "/export:?NewFromUtf8@String@v8@@SA?AV?$MaybeLocal@VString@v8@@@2@PEAVIsolate@2@PEBDW4NewStringType@2@H@Z=engineFunction")
#pragma comment( \
    linker, "/export:?Error@Exception@v8@@SA?AV?$Local@VValue@v8@@@2@V?$Local@VString@v8@@@2@V32@@Z=engineFunction")
#pragma comment(linker, "/export:?ThrowException@Isolate@v8@@QEAA?AV?$Local@VValue@v8@@@2@V32@@Z=engineFunction")
extern "C" void engineFunction() { std::abort(); }

extern "C" __declspec(dllexport) int runRecordingHost() {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count != 2) return 2;
    const HMODULE module = LoadLibraryW(arguments[1]);
    JsonObject result;
    result.add("loadError", module == nullptr ? GetLastError() : 0);
    std::vector<std::string> records;
    bool exported = false;
    for (const ModuleRecord& record : g_records) {
        records.push_back(describe(record, module));
        exported = exportReachesEngine(module, record.version);
    }
    result.raw("records", standins::jsonArray(records)).add("exportReachesEngine", exported);
    result.add("unloaded", module != nullptr && FreeLibrary(module) && GetModuleHandleW(arguments[1]) == nullptr);
    std::puts(result.text().c_str());
    return 0;
}
