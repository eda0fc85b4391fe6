#pragma once

namespace probe {

/// While set, the engine makes no instance of any object template for this module, as if its memory were used up. With
/// `throwing`, it throws a RangeError "refused" each time.
void refuseInstances(bool refuse, bool throwing) noexcept;

/// While set, the engine makes no string for this module.
void refuseStrings(bool refuse) noexcept;

}  // namespace probe
