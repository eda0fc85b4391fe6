#include <windows.h>

#include <stdexcept>

#include "control.h"

namespace control {

namespace {

using desktop::Arguments;
using desktop::toScript;

template <typename Function>
Function* exportOf(HMODULE library, const char* name) {
    const auto address = GetProcAddress(library, name);
    if (address == nullptr) throw std::runtime_error(std::string("no stand-in: it does not export ") + name);
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(address));
}

HMODULE libraryArgument(const Arguments& arguments) {
    return reinterpret_cast<HMODULE>(static_cast<std::uintptr_t>(arguments.number(0)));
}

// Loads a stand-in from its path, or finds it loaded from there by the module.
napi_value loadStandin(const Arguments& arguments) {
    const HMODULE library = LoadLibraryExW(arguments.wideText(0).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr) desktop::throwLastError("LoadLibraryExW");
    return toScript(arguments.env(), reinterpret_cast<std::uintptr_t>(library));
}

napi_value commandStandin(const Arguments& arguments) {
    const auto command =
        exportOf<const char*(const wchar_t*, std::size_t)>(libraryArgument(arguments), "standinCommand");
    const std::wstring script = arguments.wideText(1);
    if (const char* const wrong = command(script.data(), script.size())) throw std::invalid_argument(wrong);
    return nullptr;
}

// JSON text.
napi_value reportStandin(const Arguments& arguments) {
    const auto report = exportOf<const char*(const char*)>(libraryArgument(arguments), "standinReport");
    const std::string topic = arguments.text(1);
    const char* const json = report(topic.c_str());
    if (json == nullptr) throw std::invalid_argument("no such topic: " + topic);
    return toScript(arguments.env(), std::string(json));
}

// The path of a loaded library of that name; empty if none is loaded.
napi_value loadedFrom(const Arguments& arguments) {
    wchar_t path[MAX_PATH] = L"";
    if (const HMODULE library = GetModuleHandleW(arguments.wideText(0).c_str())) {
        GetModuleFileNameW(library, &path[0], MAX_PATH);
    }
    return toScript(arguments.env(), std::wstring(&path[0]));
}

napi_value currentThreadId(const Arguments& arguments) { return toScript(arguments.env(), GetCurrentThreadId()); }

}  // namespace

std::vector<desktop::NamedFunction> standinFunctions() {
    return {{"loadStandin", &loadStandin},
            {"commandStandin", &commandStandin},
            {"reportStandin", &reportStandin},
            {"loadedFrom", &loadedFrom},
            {"currentThreadId", &currentThreadId}};
}

}  // namespace control
