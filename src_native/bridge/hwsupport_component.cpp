#include "bridge/hwsupport_component.h"

#include <array>
#include <utility>

#include "bridge/buttonswapstate.h"
#include "bridge/keystate.h"
#include "common/utils/failure.h"
#include "common/v8binding/v8binding.h"

namespace zeb {

namespace {

// https://learn.microsoft.com/windows/win32/inputdev/virtual-key-codes
constexpr int kLeftButtonKey = 0x01;
constexpr int kRightButtonKey = 0x02;
constexpr int kMiddleButtonKey = 0x04;

// GetAsyncKeyState speaks of physical buttons. A state that nobody has set throws std::bad_optional_access: a loud
// failure rather than a guess.
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

constexpr std::array kMethods{
    common::js::methodEntry<HwComponentComponent, &HwComponentComponent::getButtonState>("getButtonState"),
    common::js::methodEntry<HwComponentComponent, &HwComponentComponent::capturePointer>("capturePointer"),
};

}  // namespace

HwComponentComponent::HwComponentComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, kMethods);
}

bool HwComponentComponent::getButtonState(MouseButton button) { return isKeyDown(virtualKeyOf(button)); }

common::ComPtr<PointerCapture> HwComponentComponent::capturePointer() {
    if (!m_driver) m_driver = makeRawInputDriver();
    if (!m_driver) {
        throw common::common_internal::DefaultException(
            {"zeb::HwComponentComponent::capturePointer", "src_native/bridge/hwsupport_component", 54},
            "Fail to create raw input driver", 0);
    }
    return common::makeInstance<PointerCaptureImpl, common::StrictSingleThreadRC>(
        common::ComPtr<RawInputDriver>(m_driver));
}

}  // namespace zeb
