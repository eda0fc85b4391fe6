#pragma once

namespace zeb {

/// Keeps the module's code in the process until the process ends. The runtime unloads an add-on when the last worker
/// that loaded it is gone, but the system still has our window procedure, and the loop may still have our close
/// callbacks. Any thread. May be called again.
void pinModule() noexcept;

}  // namespace zeb
