#include "bridge/system_error_text.h"

namespace zeb {

// Every code has its own text. It ends as the Windows texts do, which is all that callers may rely on.
std::string systemErrorText(std::uint32_t code) { return "System text for " + std::to_string(code) + ".\r\n"; }

std::string systemErrorTextUtf8(std::uint32_t code) { return systemErrorText(code); }

}  // namespace zeb
