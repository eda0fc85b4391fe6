#include <windows.h>

#include "bridge/key_state.h"

namespace zeb {

// The top bit is the current state. The lowest bit, "pressed since the last query", may have been read by another
// query.
bool isKeyDown(int virtualKey) noexcept { return (GetAsyncKeyState(virtualKey) & 0x8000) != 0; }

}  // namespace zeb
