#pragma once

#include <cstdint>
#include <string>

namespace zeb {

/// The system's English text for an error code, exactly as the system gives it: in its 8-bit code page, with the line
/// break at the end. Empty if the system has no text. Any thread.
std::string systemErrorText(std::uint32_t code);

/// The same text as UTF-8.
std::string systemErrorTextUtf8(std::uint32_t code);

}  // namespace zeb
