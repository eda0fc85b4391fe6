#include <windows.h>

#include <unknwn.h>

#include <bit>
#include <stdexcept>

#include "control.h"

namespace control {

namespace {

using desktop::Arguments;
using desktop::toScript;

constexpr DWORD allocateFromSystemIgnoringInserts = 0x1300;

// The system's English text for a Win32 error, with its line break; empty if there is none.
napi_value systemText(const Arguments& arguments) {
    char* buffer = nullptr;
    const DWORD length =
        FormatMessageA(allocateFromSystemIgnoringInserts, nullptr, static_cast<DWORD>(arguments.number(0)), 1033,
                       reinterpret_cast<char*>(&buffer), 0, nullptr);
    const std::string text(buffer != nullptr ? buffer : "", length);
    LocalFree(buffer);
    return toScript(arguments.env(), text);
}

// The system's text for an HRESULT in the user's language, without trailing white space.
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

// The HRESULT of the system's own address parser for a text. Its library is loaded on first use.
napi_value parseAddress(const Arguments& arguments) {
    using CreateUri = HRESULT(STDMETHODCALLTYPE*)(const wchar_t*, DWORD, DWORD_PTR, IUnknown**);
    const HMODULE library = LoadLibraryW(L"urlmon.dll");
    const auto createUri =
        library == nullptr ? nullptr : std::bit_cast<CreateUri>(GetProcAddress(library, "CreateUri"));
    if (createUri == nullptr) throw std::runtime_error("urlmon.dll has no CreateUri");
    IUnknown* uri = nullptr;
    const HRESULT result = createUri(arguments.wideText(0).c_str(), 0, 0, &uri);
    if (uri != nullptr) uri->Release();
    return toScript(arguments.env(), result);
}

}  // namespace

std::vector<desktop::NamedFunction> textFunctions() {
    return {{"systemText", &systemText}, {"systemMessage", &systemMessage}, {"parseAddress", &parseAddress}};
}

}  // namespace control
