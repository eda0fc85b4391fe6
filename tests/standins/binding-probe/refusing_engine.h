#pragma once

namespace probe {

/// While set, the engine makes no instance of any object template for this module, as when its memory is used up.
void refuseInstances(bool refuse) noexcept;

/// While set, the engine makes no string for this module.
void refuseStrings(bool refuse) noexcept;

}  // namespace probe
