#include "input_component.h"

#include <array>
#include <atomic>
#include <optional>
#include <vector>

#include "bridge/button_swap_state.h"
#include "bridge/key_state.h"
#include "common/v8binding/v8binding.h"
#include "standins/synthetic_input.h"

namespace zeb {

namespace {

constexpr int kKeys = 256;
std::array<std::atomic<bool>, kKeys> g_keys;

}  // namespace

bool isKeyDown(int virtualKey) noexcept {
    return virtualKey >= 0 && virtualKey < kKeys && g_keys[static_cast<std::size_t>(virtualKey)];
}

namespace standins {

common::js::MethodTable InputComponent::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<InputComponent, &InputComponent::push>("push"),
        methodEntry<InputComponent, &InputComponent::burst>("burst"),
        methodEntry<InputComponent, &InputComponent::setKey>("setKey"),
        methodEntry<InputComponent, &InputComponent::setButtonSwap>("setButtonSwap"),
    };
    return table;
}

InputComponent::InputComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, methods());
}

void InputComponent::push(std::int32_t offsetX, std::int32_t offsetY, std::int32_t screenX, std::int32_t screenY,
                          std::int32_t left, std::int32_t middle, std::int32_t right, std::uint32_t count) {
    const RawInputDriver::PointerData record{{{offsetX, offsetY}, {screenX, screenY}}, {left, middle, right}};
    SyntheticInput::shared().push(std::vector<RawInputDriver::PointerData>(count, record));
}

void InputComponent::burst(std::uint32_t count, std::uint32_t first, std::uint32_t pressEvery) {
    SyntheticInput::shared().burst(count, first, pressEvery);
}

void InputComponent::setKey(std::int32_t virtualKey, bool down) {
    g_keys.at(static_cast<std::size_t>(virtualKey)) = down;
}

void InputComponent::setButtonSwap(bool swapped) { g_buttonSwapState.store(std::optional<bool>(swapped)); }

}  // namespace standins

}  // namespace zeb
