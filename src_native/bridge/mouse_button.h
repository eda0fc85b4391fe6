#pragma once

#include <cstdint>

namespace zeb {

/// A logical button. Script may pass any number; see `virtualKeyOf`.
enum class MouseButton : std::int32_t { left = 0, middle = 1, right = 2 };

/// The Win32 virtual-key code of the physical button behind `button`: left and right follow the user's button swap, an
/// unknown button is the physical primary one. Any thread.
/// Failure: left and right throw std::bad_optional_access while nobody knows the swap: loud rather than a guess.
int virtualKeyOf(MouseButton button);

}  // namespace zeb
