#include "bridge/module_pin.h"

#include <dlfcn.h>

namespace zeb {

// Opening the module once more, by the name of the file that this function is in, keeps it for good.
void pinModule() noexcept {
    Dl_info self{};
    if (dladdr(reinterpret_cast<const void*>(&pinModule), &self) != 0) {
        dlopen(self.dli_fname, RTLD_LAZY | RTLD_NODELETE | RTLD_NOLOAD);
    }
}

}  // namespace zeb
