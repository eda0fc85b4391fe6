#pragma once

#include <string>
#include <string_view>

namespace common {

/// What stands in a diagnostic text in place of wide text: diagnostics never carry converted wide text, so that a
/// report can be written when nothing else works any more.
inline constexpr std::string_view kWideTextNotConverted = "UTF16->UTF8:NOT-CONVERTED";
inline constexpr std::wstring_view kNarrowTextNotConverted = L"UTF8->UTF16:NOT-CONVERTED";

/// The diagnostics' own conversions: fixed notes, whatever the input.
std::string diagnosticUtf8(std::wstring_view text);
std::wstring diagnosticUtf16(std::string_view text);

/// Conversions for text exchanged with platform calls; each unit of the wide text is one UTF-16 unit. Defined by the
/// platform. Invalid sequences become what the platform puts in their place; empty gives empty.
/// May throw std::bad_alloc.
std::wstring utf8ToUtf16(std::string_view text);
std::string utf16ToUtf8(std::wstring_view text);

}  // namespace common
