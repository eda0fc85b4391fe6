#include "bridge/hwsupport_component.h"

#include <array>
#include <utility>

#include "bridge/key_state.h"
#include "common/utils/failure.h"
#include "common/v8binding/v8binding.h"

namespace zeb {

common::js::MethodTable HwComponentComponent::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<HwComponentComponent, &HwComponentComponent::getButtonState>("getButtonState"),
        methodEntry<HwComponentComponent, &HwComponentComponent::capturePointer>("capturePointer"),
    };
    return table;
}

HwComponentComponent::HwComponentComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, methods());
}

bool HwComponentComponent::getButtonState(MouseButton button) { return isKeyDown(virtualKeyOf(button)); }

common::ComPtr<PointerCapture> HwComponentComponent::capturePointer() {
    if (!m_driver) m_driver = makeRawInputDriver();
    if (!m_driver) {
        throw common::common_internal::DefaultException(
            {"zeb::HwComponentComponent::capturePointer", "src_native/bridge/hwsupport_component", 54},
            "Fail to create raw input driver", 0);
    }
    if (!m_deliveries) m_deliveries = std::make_shared<PointerDeliveries>();
    return common::makeInstance<PointerCaptureImpl, common::StrictSingleThreadRC>(
        common::ComPtr<RawInputDriver>(m_driver), m_deliveries);
}

}  // namespace zeb
