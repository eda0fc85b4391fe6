#pragma once

#include <cstdint>

namespace zeb {

/// A logical button. Script may pass any number; see `virtualKeyOf`.
enum class MouseButton : std::int32_t { left = 0, middle = 1, right = 2 };

/// The Win32 virtual-key code of the physical button behind `button`. Left and right follow the user's button swap; an
/// unknown button is the physical primary one. Any thread.
/// Failure: left and right throw `std::bad_optional_access` if the swap is unknown, because a guess could be wrong.
int virtualKeyOf(MouseButton button);

}  // namespace zeb
