#pragma once

#include <v8.h>

#include <memory>

#include "bridge/component.h"
#include "bridge/mouse_button.h"
#include "bridge/pointercapture.h"
#include "bridge/rawinputdriver.h"

namespace zeb {

/// Mouse input for script. Exported as "hardware". Script thread.
///
/// All capture objects of one component share one driver, so at most one of them captures at a time.
class HwComponentComponent : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    HwComponentComponent(v8::Isolate* isolate, v8::Local<v8::Object> object);
    static common::js::MethodTable methods();

    /// Whether the button is held down now. Left and right follow the user's button swap as the last capture read it.
    /// An unknown button means the physical primary button.
    bool getButtonState(MouseButton button);

    /// A new, idle capture object. Throws "Fail to create raw input driver" if there is no memory for the driver. Empty
    /// if there is none for the capture object.
    common::ComPtr<PointerCapture> capturePointer();

private:
    common::ComPtr<RawInputDriver> m_driver;  // this and the next are made at the first capture
    std::shared_ptr<PointerDeliveries> m_deliveries;
};

}  // namespace zeb
