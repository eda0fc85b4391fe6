#include <windows.h>

#include "bridge/module_pin.h"

namespace zeb {

void pinModule() noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<const wchar_t*>(&pinModule), &module);
}

}  // namespace zeb
