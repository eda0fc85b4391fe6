#pragma once

#include <cstdint>
#include <string>

namespace zeb {

/// The system's English text for one of its error codes, exactly as the system gives it: in its 8-bit code page, the
/// line break at the end included. Empty when the system has none. Any thread.
std::string systemErrorText(std::uint32_t code);

/// The same text as UTF-8.
std::string systemErrorTextUtf8(std::uint32_t code);

}  // namespace zeb
