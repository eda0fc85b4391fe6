// Converts the input as UTF-8 text, and as UTF-16 text of two bytes per unit.
#include "common/utils/text.h"

#include <cstdint>
#include <string>

#include "fuzz/check.h"

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool isHighSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(wchar_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// Only UTF-16 units, with surrogates in pairs.
bool isWellFormed(const std::wstring& text) {
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (static_cast<std::uint32_t>(text[index]) > 0xFFFF || isLowSurrogate(text[index])) return false;
        if (isHighSurrogate(text[index]) && (++index == text.size() || !isLowSurrogate(text[index]))) return false;
    }
    return true;
}

void checkNarrow(std::string_view narrow) {
    const std::wstring wide = common::utf8ToUtf16(narrow);
    fuzz::check(isWellFormed(wide));
    fuzz::check(wide.size() <= narrow.size() && narrow.empty() == wide.empty());
    const std::string back = common::utf16ToUtf8(wide);
    fuzz::check(common::utf8ToUtf16(back) == wide);
    if (wide.find(kReplacement) == std::wstring::npos) fuzz::check(back == narrow);
}

void checkWide(const std::wstring& wide) {
    const std::string narrow = common::utf16ToUtf8(wide);
    fuzz::check(wide.empty() == narrow.empty() && narrow.size() <= wide.size() * 3);
    const std::wstring back = common::utf8ToUtf16(narrow);
    fuzz::check(isWellFormed(back) && back.size() == wide.size());
    for (std::size_t index = 0; index < wide.size(); ++index) {
        const bool isSurrogate = isHighSurrogate(wide[index]) || isLowSurrogate(wide[index]);
        fuzz::check(back[index] == wide[index] || (isSurrogate && back[index] == kReplacement));
    }
    fuzz::check(!isWellFormed(wide) || back == wide);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view narrow(reinterpret_cast<const char*>(data), size);
    checkNarrow(narrow);
    std::wstring wide;
    for (std::size_t index = 0; index + 1 < size; index += 2) {
        wide.push_back(static_cast<wchar_t>(data[index] | (data[index + 1] << 8)));
    }
    checkWide(wide);
    fuzz::check(common::diagnosticUtf8(wide) == common::kWideTextNotConverted);
    fuzz::check(common::diagnosticUtf16(narrow) == common::kNarrowTextNotConverted);
    return 0;
}
