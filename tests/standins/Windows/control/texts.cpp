#include <windows.h>

#include "control.h"

namespace control {

namespace {

using desktop::Arguments;
using desktop::toScript;

constexpr DWORD allocateFromSystemIgnoringInserts = 0x1300;

// The system's English text for a Win32 error, with its line break; empty when it has none.
napi_value systemText(const Arguments& arguments) {
    char* buffer = nullptr;
    const DWORD length =
        FormatMessageA(allocateFromSystemIgnoringInserts, nullptr, static_cast<DWORD>(arguments.number(0)), 1033,
                       reinterpret_cast<char*>(&buffer), 0, nullptr);
    const std::string text(buffer != nullptr ? buffer : "", length);
    LocalFree(buffer);
    return toScript(arguments.env(), text);
}

// The system's text for an HRESULT in the user's language, without white space at its end.
napi_value systemMessage(const Arguments& arguments) {
    wchar_t* buffer = nullptr;
    const DWORD length =
        FormatMessageW(allocateFromSystemIgnoringInserts, nullptr, static_cast<DWORD>(arguments.number(0)), 0x0400,
                       reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text(buffer != nullptr ? buffer : L"", length);
    LocalFree(buffer);
    while (!text.empty() && text.back() <= L' ') text.pop_back();
    return toScript(arguments.env(), text);
}

}  // namespace

std::vector<desktop::NamedFunction> textFunctions() {
    return {{"systemText", &systemText}, {"systemMessage", &systemMessage}};
}

}  // namespace control
