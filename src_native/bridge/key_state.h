#pragma once

namespace zeb {

/// True while the key or button with this Win32 virtual-key code is down. Any thread.
bool isKeyDown(int virtualKey) noexcept;

}  // namespace zeb
