#pragma once

#include <v8.h>

#include <cstdint>

#include "bridge/component.h"

namespace zeb::standins {

/// Pointer and keyboard for scripts, instead of a desktop. Exported as "__input". Script thread.
class InputComponent : public Component {
public:
    using Interfaces = common::TypeList<Component>;

    InputComponent(v8::Isolate* isolate, v8::Local<v8::Object> object);
    static common::js::MethodTable methods();

    /// The input thread of the capture that runs delivers this pointer record `count` times, as fast as it can.
    static void push(std::int32_t offsetX, std::int32_t offsetY, std::int32_t screenX, std::int32_t screenY,
                     std::int32_t left, std::int32_t middle, std::int32_t right, std::uint32_t count);
    /// It delivers `count` pointer records that number themselves; see `SyntheticInput::burst`.
    static void burst(std::uint32_t count, std::uint32_t first, std::uint32_t pressEvery);

    static void setKey(std::int32_t virtualKey, bool down);
    static void setButtonSwap(bool swapped);
};

}  // namespace zeb::standins
