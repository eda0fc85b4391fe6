#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <vector>

#include "bridge/key_state.h"

namespace zeb {
namespace {

SHORT g_state = 0;
std::vector<int> g_asked;

SHORT WINAPI keyState(int key) {
    g_asked.push_back(key);
    return g_state;
}

}  // namespace
}  // namespace zeb

// The pointer that the program's import reads. It replaces the import library's own.
extern "C" {
extern decltype(&GetAsyncKeyState) const __imp_GetAsyncKeyState = &zeb::keyState;
}

namespace zeb {
namespace {

bool isDown(unsigned state) {
    g_state = static_cast<SHORT>(state);
    return isKeyDown(VK_LBUTTON);
}

TEST(KeyState, theTopBitAloneSaysThatAKeyIsDown) {
    EXPECT_TRUE(isDown(0x8000));
    EXPECT_TRUE(isDown(0x8001));
    EXPECT_TRUE(isDown(0xFFFF));
    EXPECT_FALSE(isDown(0x0000));
    EXPECT_FALSE(isDown(0x0001));  // pressed since the last query
    EXPECT_FALSE(isDown(0x7FFF));
}

TEST(KeyState, theSystemIsAskedOnceForThatKey) {
    g_asked.clear();
    for (const int key : {VK_LBUTTON, VK_RBUTTON, VK_MBUTTON}) isKeyDown(key);
    EXPECT_THAT(g_asked, testing::ElementsAre(1, 2, 4));
}

}  // namespace
}  // namespace zeb
