#include "bridge/module_pin.h"

namespace zeb {

// The add-on is linked so that it is never unloaded.
void pinModule() noexcept {}

}  // namespace zeb
