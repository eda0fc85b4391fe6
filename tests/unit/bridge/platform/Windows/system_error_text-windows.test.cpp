// How the system is asked for a text, that its memory is freed, and what happens to letters beyond ASCII.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "bridge/system_error_text.h"

namespace zeb {
namespace {

struct Asked {
    DWORD flags;
    LPCVOID source;
    DWORD code;
    DWORD language;
    DWORD size;
    va_list* arguments;
};
Asked g_asked{};
std::string_view g_says;
std::array<char, 32> g_text{};
UINT g_codePage = 0;
HLOCAL g_freed = nullptr;

DWORD WINAPI formatMessage(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPSTR buffer, DWORD size,
                           va_list* arguments) {
    g_asked = {flags, source, code, language, size, arguments};
    char* const text = g_text.data();
    g_says.copy(text, g_text.size());
    std::memcpy(buffer, &text, sizeof(text));
    return static_cast<DWORD>(g_says.size());
}

// The system's code page depends on the machine; here each byte is the character with its number.
int WINAPI toWide(UINT codePage, DWORD, LPCCH text, int length, LPWSTR wide, int capacity) {
    g_codePage = codePage;
    for (int index = 0; index < std::min(length, capacity); ++index)
        wide[index] = static_cast<unsigned char>(text[index]);
    return length;
}

HLOCAL WINAPI localFree(HLOCAL block) {
    g_freed = block;
    return nullptr;
}

}  // namespace
}  // namespace zeb

// The pointers that the program's imports read. They replace the import library's own.
extern "C" {
extern decltype(&FormatMessageA) const __imp_FormatMessageA = &zeb::formatMessage;
extern decltype(&LocalFree) const __imp_LocalFree = &zeb::localFree;
extern decltype(&MultiByteToWideChar) const __imp_MultiByteToWideChar = &zeb::toWide;
}

namespace zeb {
namespace {

TEST(SystemErrorText, isAskedForInEnglishWithoutInsertsAndGivenBack) {
    g_says = "as it is\r\n";
    EXPECT_EQ(systemErrorText(1234), g_says);
    EXPECT_EQ(g_asked.flags, 0x1300u);
    EXPECT_EQ(g_asked.source, nullptr);
    EXPECT_EQ(g_asked.code, 1234u);
    EXPECT_EQ(g_asked.language, 1033u);
    EXPECT_EQ(g_asked.size, 0u);
    EXPECT_EQ(g_asked.arguments, nullptr);
    EXPECT_EQ(g_freed, g_text.data());
}

TEST(SystemErrorText, becomesUtf8FromTheSystemsCodePage) {
    g_says = "Acc\xE8s refus\xE9.\r\n";
    EXPECT_EQ(systemErrorText(5), g_says);
    EXPECT_EQ(systemErrorTextUtf8(5), "Acc\xC3\xA8s refus\xC3\xA9.\r\n");
    EXPECT_EQ(g_codePage, UINT{CP_ACP});
}

}  // namespace
}  // namespace zeb
