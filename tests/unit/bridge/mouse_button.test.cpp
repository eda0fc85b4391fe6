#include "bridge/mouse_button.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

#include "bridge/button_swap_state.h"

namespace zeb {
namespace {

class MouseButtonTest : public testing::Test {
protected:
    ~MouseButtonTest() override { g_buttonSwapState = false; }
};

// Buttons as script passes them.
int keyOf(std::int32_t button) { return virtualKeyOf(static_cast<MouseButton>(button)); }

TEST_F(MouseButtonTest, untilACaptureHasLookedTheButtonsAreNotSwapped) {
    ASSERT_EQ(g_buttonSwapState.load(), std::optional<bool>(false));
    EXPECT_EQ(keyOf(0), 1);
    EXPECT_EQ(keyOf(1), 4);
    EXPECT_EQ(keyOf(2), 2);
}

TEST_F(MouseButtonTest, aSwapExchangesLeftAndRightOnly) {
    g_buttonSwapState = true;
    EXPECT_EQ(keyOf(0), 2);
    EXPECT_EQ(keyOf(1), 4);
    EXPECT_EQ(keyOf(2), 1);
}

TEST_F(MouseButtonTest, unknownButtonsAreThePhysicalPrimaryOneWhateverTheSwap) {
    for (const std::optional<bool> swapped :
         {std::optional<bool>(false), std::optional<bool>(true), std::optional<bool>()}) {
        g_buttonSwapState = swapped;
        for (const std::int32_t button :
             {-1, 3, 7, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
            EXPECT_EQ(keyOf(button), 1) << button;
        }
    }
}

TEST_F(MouseButtonTest, aSwapThatNobodyKnowsIsAnErrorForLeftAndRight) {
    g_buttonSwapState = std::nullopt;
    EXPECT_THROW(keyOf(0), std::bad_optional_access);
    EXPECT_THROW(keyOf(2), std::bad_optional_access);
    EXPECT_EQ(keyOf(1), 4);
}

}  // namespace
}  // namespace zeb
