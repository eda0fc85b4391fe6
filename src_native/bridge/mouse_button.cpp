#include "bridge/mouse_button.h"

#include "bridge/button_swap_state.h"

namespace zeb {

namespace {

// https://learn.microsoft.com/windows/win32/inputdev/virtual-key-codes
constexpr int kLeftButtonKey = 0x01;
constexpr int kRightButtonKey = 0x02;
constexpr int kMiddleButtonKey = 0x04;

}  // namespace

int virtualKeyOf(MouseButton button) {
    switch (button) {
        case MouseButton::left:
            return g_buttonSwapState.load().value() ? kRightButtonKey : kLeftButtonKey;
        case MouseButton::middle:
            return kMiddleButtonKey;
        case MouseButton::right:
            return g_buttonSwapState.load().value() ? kLeftButtonKey : kRightButtonKey;
    }
    return kLeftButtonKey;
}

}  // namespace zeb
