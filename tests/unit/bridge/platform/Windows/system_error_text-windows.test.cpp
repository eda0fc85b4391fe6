// How the system is asked for a text, and that its memory is given back.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstring>

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
std::array<char, 16> g_text{};
HLOCAL g_freed = nullptr;

DWORD WINAPI formatMessage(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPSTR buffer, DWORD size,
                           va_list* arguments) {
    g_asked = {flags, source, code, language, size, arguments};
    char* const text = g_text.data();
    std::strcpy(text, "as it is\r\n");
    std::memcpy(buffer, &text, sizeof(text));
    return 10;
}

HLOCAL WINAPI localFree(HLOCAL block) {
    g_freed = block;
    return nullptr;
}

}  // namespace
}  // namespace zeb

// Where the program's imports point: these take the place of the import library's own.
extern "C" {
extern decltype(&FormatMessageA) const __imp_FormatMessageA = &zeb::formatMessage;
extern decltype(&LocalFree) const __imp_LocalFree = &zeb::localFree;
}

namespace zeb {
namespace {

TEST(SystemErrorText, isAskedForInEnglishWithoutInsertsAndGivenBack) {
    EXPECT_EQ(systemErrorText(1234), "as it is\r\n");
    EXPECT_EQ(g_asked.flags, 0x1300u);
    EXPECT_EQ(g_asked.source, nullptr);
    EXPECT_EQ(g_asked.code, 1234u);
    EXPECT_EQ(g_asked.language, 1033u);
    EXPECT_EQ(g_asked.size, 0u);
    EXPECT_EQ(g_asked.arguments, nullptr);
    EXPECT_EQ(g_freed, g_text.data());
}

}  // namespace
}  // namespace zeb
