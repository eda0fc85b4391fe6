#include "bridge/module_pin.h"

#include <dlfcn.h>

namespace zeb {

// Opens the module once more, by the name of the file that contains this function, which keeps it loaded for good.
void pinModule() noexcept {
    Dl_info self{};
    if (dladdr(reinterpret_cast<const void*>(&pinModule), &self) != 0) {
        dlopen(self.dli_fname, RTLD_LAZY | RTLD_NODELETE | RTLD_NOLOAD);
    }
}

}  // namespace zeb
