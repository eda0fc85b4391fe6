// The binary layout of the capture interface.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "bridge/pointercapture.h"
#include "common/com/shared_state.h"
#include "unit/support/vtable-windows.h"

namespace zeb {
namespace {

using unit::slot;

class RecordingCapture : public PointerCapture {
public:
    using Interfaces = common::TypeList<PointerCapture>;

    void setButtonsEventCallback(std::unique_ptr<ButtonsCallback>) override { m_calls += "buttons "; }
    void setMotionEventCallback(std::unique_ptr<MotionCallback>) override { m_calls += "motion "; }
    void startCapturing() override { m_calls += "start "; }
    void stopCapturing() override { m_calls += "stop "; }

    std::string m_calls;
};

TEST(PointerCaptureSlots, areSetButtonsSetMotionStartStop) {
    const common::ComPtr<RecordingCapture> capture =
        common::makeInstance<RecordingCapture, common::StrictSingleThreadRC>();
    PointerCapture* const base = capture.get();
    std::unique_ptr<PointerCapture::ButtonsCallback> buttons;
    std::unique_ptr<PointerCapture::MotionCallback> motion;
    slot<void (*)(void*, void*)>(base, 0)(base, &buttons);
    slot<void (*)(void*, void*)>(base, 1)(base, &motion);
    slot<void (*)(void*)>(base, 2)(base);
    slot<void (*)(void*)>(base, 3)(base);
    EXPECT_EQ(capture->m_calls, "buttons motion start stop ");
}

TEST(PointerCaptureCallbacks, areOfTheFamilyThatCallsScript) {
    static_assert(std::is_same_v<PointerCapture::ButtonsCallback,
                                 common::FunctorClass<0, void, common::TypeList<ButtonsEventData>>>);
    static_assert(std::is_same_v<PointerCapture::MotionCallback,
                                 common::FunctorClass<0, void, common::TypeList<MotionEventData>>>);
    static_assert(std::is_same_v<RawInputDriver::Handler,
                                 common::FunctorClass<1, void, common::TypeList<RawInputDriver::PointerData>>>);
}

}  // namespace
}  // namespace zeb
