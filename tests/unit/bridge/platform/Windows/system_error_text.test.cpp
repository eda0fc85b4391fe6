#include "bridge/system_error_text.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace zeb {
namespace {

std::string textFromTheSystem(const DWORD code) {
    std::string text(1024, '\0');
    text.resize(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 1033,
                               text.data(), static_cast<DWORD>(text.size()), nullptr));
    return text;
}

TEST(SystemErrorText, isTheSystemsEnglishTextWithItsLineBreak) {
    for (const long known : {ERROR_SUCCESS, ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_OUTOFMEMORY,
                             ERROR_INSUFFICIENT_BUFFER, ERROR_NO_MORE_ITEMS, ERROR_INVALID_WINDOW_HANDLE}) {
        const DWORD code = static_cast<DWORD>(known);
        const std::string text = systemErrorText(code);
        EXPECT_EQ(text, textFromTheSystem(code)) << code;
        EXPECT_TRUE(text.ends_with("\r\n")) << code;
        EXPECT_EQ(systemErrorTextUtf8(code), text) << code;
    }
    EXPECT_NE(systemErrorText(ERROR_ACCESS_DENIED), systemErrorText(ERROR_FILE_NOT_FOUND));
}

TEST(SystemErrorText, insertsStayAsTheyAre) {
    // "%1 is not a valid Win32 application."
    EXPECT_NE(systemErrorText(ERROR_BAD_EXE_FORMAT).find("%1"), std::string::npos);
}

TEST(SystemErrorText, codeWithoutTextGivesNone) {
    EXPECT_EQ(systemErrorText(0x2FFFFFFF), "");
    EXPECT_EQ(systemErrorTextUtf8(0x2FFFFFFF), "");
}

}  // namespace
}  // namespace zeb
