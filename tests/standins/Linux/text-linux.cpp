#include "common/utils/text.h"

#include <iconv.h>

#include <cstdint>
#include <new>

namespace common {

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

/// One conversion of the C library, between UTF-8 and whole characters. The library has these two built in, while
/// UTF-16 is a file that small systems lack. The conversion stops at ill-formed text; this file decides what replaces
/// it.
class Converter {
public:
    Converter(const char* to, const char* from) : m_native(iconv_open(to, from)) {
        if (m_native == reinterpret_cast<iconv_t>(-1)) throw std::bad_alloc();  // both encodings always exist
    }
    ~Converter() { iconv_close(m_native); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    /// Converts the well-formed start of `in`, appends the result to `out` and removes that start from `in`.
    template <typename In, typename Out>
    void run(std::basic_string_view<In>& in, std::basic_string<Out>& out) {
        char* source = reinterpret_cast<char*>(const_cast<In*>(in.data()));
        std::size_t sourceLeft = in.size() * sizeof(In);
        // No unit of one form becomes more than four units of the other.
        const std::size_t used = out.size();
        out.resize(used + in.size() * 4);
        char* target = reinterpret_cast<char*>(out.data() + used);
        std::size_t targetLeft = in.size() * 4 * sizeof(Out);
        iconv(m_native, &source, &sourceLeft, &target, &targetLeft);
        iconv(m_native, nullptr, nullptr, nullptr, nullptr);
        out.resize(out.size() - targetLeft / sizeof(Out));
        in.remove_prefix(in.size() - sourceLeft / sizeof(In));
    }

private:
    iconv_t m_native;
};

/// How many bytes at the start of ill-formed UTF-8 share one replacement character: as many as a well-formed sequence
/// could have started with, at least one.
/// https://www.unicode.org/versions/Unicode15.0.0/ch03.pdf, table 3-7 and "U+FFFD Substitution of Maximal Subparts"
std::size_t illFormedLength(std::string_view text) {
    const auto byte = [&](std::size_t index) { return static_cast<std::uint8_t>(text[index]); };
    const std::uint8_t lead = byte(0);
    if (lead < 0xC2 || lead > 0xF4) return 1;
    const std::size_t needed = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    std::uint8_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    std::uint8_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    std::size_t length = 1;
    while (length < needed && length < text.size() && byte(length) >= low && byte(length) <= high) {
        ++length;
        low = 0x80;
        high = 0xBF;
    }
    return length;
}

bool isHighSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(wchar_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// The C library accepts characters beyond Unicode's last.
std::wstring unitsOf(std::wstring_view characters) {
    std::wstring units;
    for (const wchar_t character : characters) {
        if (character < 0x10000) {
            units.push_back(character);
        } else if (character > 0x10FFFF) {
            units.push_back(kReplacement);
        } else {
            units.push_back(0xD800 + ((character - 0x10000) >> 10));
            units.push_back(0xDC00 + (character & 0x3FF));
        }
    }
    return units;
}

/// Lone surrogates stay, so that the C library stops at them.
std::wstring charactersOf(std::wstring_view units) {
    std::wstring characters;
    for (const wchar_t unit : units) {
        if (isLowSurrogate(unit) && !characters.empty() && isHighSurrogate(characters.back())) {
            characters.back() = 0x10000 + ((characters.back() & 0x3FF) << 10) + (unit & 0x3FF);
        } else {
            characters.push_back(unit);
        }
    }
    return characters;
}

}  // namespace

std::wstring utf8ToUtf16(std::string_view text) {
    if (text.empty()) return {};
    Converter converter("WCHAR_T", "UTF-8");
    std::wstring characters;
    for (;;) {
        converter.run(text, characters);
        if (text.empty()) break;
        characters.push_back(kReplacement);
        text.remove_prefix(illFormedLength(text));
    }
    return unitsOf(characters);
}

std::string utf16ToUtf8(std::wstring_view text) {
    if (text.empty()) return {};
    Converter converter("UTF-8", "WCHAR_T");
    const std::wstring whole = charactersOf(text);
    std::wstring_view characters(whole);
    std::string result;
    for (;;) {
        converter.run(characters, result);
        if (characters.empty()) break;
        result += "\xEF\xBF\xBD";  // U+FFFD
        characters.remove_prefix(1);
    }
    return result;
}

}  // namespace common
