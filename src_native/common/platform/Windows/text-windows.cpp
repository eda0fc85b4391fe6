#include <windows.h>

#include "common/utils/text.h"

namespace common {

std::wstring utf8ToUtf16(std::string_view text) {
    const int length = static_cast<int>(text.size());
    const int needed = length == 0 ? 0 : MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(needed), L'\0');
    if (needed != 0) MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), needed);
    return result;
}

std::string utf16ToUtf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    const int needed =
        length == 0 ? 0 : WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(needed), '\0');
    if (needed != 0) {
        WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), needed, nullptr, nullptr);
    }
    return result;
}

}  // namespace common
