#include "common/utils/text.h"

namespace common {

std::string diagnosticUtf8(std::wstring_view) { return std::string(kWideTextNotConverted); }

std::wstring diagnosticUtf16(std::string_view) { return std::wstring(kNarrowTextNotConverted); }

}  // namespace common
