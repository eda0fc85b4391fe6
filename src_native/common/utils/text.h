#pragma once

#include <string>
#include <string_view>

namespace common {

/// Stands in a diagnostic text in place of wide text. Diagnostics never convert wide text, so that a failure can be
/// reported even when nothing else works.
inline constexpr std::string_view kWideTextNotConverted = "UTF16->UTF8:NOT-CONVERTED";
inline constexpr std::wstring_view kNarrowTextNotConverted = L"UTF8->UTF16:NOT-CONVERTED";

/// The conversions that diagnostics use: they return the fixed notes, whatever the input.
std::string diagnosticUtf8(std::wstring_view text);
std::wstring diagnosticUtf16(std::string_view text);

/// Conversions for text that is exchanged with platform calls. Each unit of the wide text is one UTF-16 unit. The
/// platform defines these functions and decides what replaces an invalid sequence. Empty text gives empty text. May
/// throw `std::bad_alloc`.
std::wstring utf8ToUtf16(std::string_view text);
std::string utf16ToUtf8(std::wstring_view text);

}  // namespace common
