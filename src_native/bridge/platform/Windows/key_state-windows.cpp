#include <windows.h>

#include "bridge/key_state.h"

namespace zeb {

// The top bit is the state now; the lowest, "pressed since somebody asked", belongs to whoever asked last.
bool isKeyDown(int virtualKey) noexcept { return (GetAsyncKeyState(virtualKey) & 0x8000) != 0; }

}  // namespace zeb
