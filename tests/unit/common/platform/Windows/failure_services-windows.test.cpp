#include "common/utils/failure_services.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace common::platform {
namespace {

struct Box {
    HWND owner;
    std::string text;
    std::string caption;
    UINT style;
};
Box g_shown{};

int WINAPI messageBox(HWND owner, LPCSTR text, LPCSTR caption, UINT style) {
    g_shown = {owner, text, caption, style};
    return IDOK;
}

}  // namespace
}  // namespace common::platform

// The pointer that the program's import reads. It replaces the import library's own.
extern "C" {
extern decltype(&MessageBoxA) const __imp_MessageBoxA = &common::platform::messageBox;
}

namespace common::platform {
namespace {

TEST(FailureServices, theBoxHasNoOwnerAnErrorIconAndOneButton) {
    showErrorBox("the report", "FAILURE");
    EXPECT_EQ(g_shown.owner, nullptr);
    EXPECT_EQ(g_shown.text, "the report");
    EXPECT_EQ(g_shown.caption, "FAILURE");
    EXPECT_EQ(g_shown.style, 16u);
}

}  // namespace
}  // namespace common::platform
