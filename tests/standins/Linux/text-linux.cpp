#include "common/utils/text.h"

#include <iconv.h>

#include <cstdint>
#include <new>

namespace common {

namespace {

constexpr char16_t kReplacement = 0xFFFD;

/// One conversion of the C library. The C library stops at what is ill-formed; what goes in its place is decided here.
class Converter {
public:
    Converter(const char* to, const char* from) : m_native(iconv_open(to, from)) {
        if (m_native == reinterpret_cast<iconv_t>(-1)) throw std::bad_alloc();  // both encodings always exist
    }
    ~Converter() { iconv_close(m_native); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    /// Appends to `out` what the well-formed start of `in` becomes and takes it off `in`.
    template <typename In, typename Out>
    void run(std::basic_string_view<In>& in, std::basic_string<Out>& out) {
        char* source = reinterpret_cast<char*>(const_cast<In*>(in.data()));
        std::size_t sourceLeft = in.size() * sizeof(In);
        // No unit of one form becomes more than three of the other.
        const std::size_t used = out.size();
        out.resize(used + in.size() * 3);
        char* target = reinterpret_cast<char*>(out.data() + used);
        std::size_t targetLeft = in.size() * 3 * sizeof(Out);
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

}  // namespace

std::wstring utf8ToUtf16(std::string_view text) {
    if (text.empty()) return {};
    Converter converter("UTF-16LE", "UTF-8");
    std::u16string units;
    for (;;) {
        converter.run(text, units);
        if (text.empty()) break;
        units.push_back(kReplacement);
        text.remove_prefix(illFormedLength(text));
    }
    return std::wstring(units.begin(), units.end());
}

std::string utf16ToUtf8(std::wstring_view text) {
    if (text.empty()) return {};
    std::u16string narrowed;  // wchar_t is wider than a unit here
    for (const wchar_t unit : text) narrowed.push_back(static_cast<char16_t>(unit));
    Converter converter("UTF-8", "UTF-16LE");
    std::u16string_view units(narrowed);
    std::string result;
    for (;;) {
        converter.run(units, result);
        if (units.empty()) break;
        result += "\xEF\xBF\xBD";  // U+FFFD
        units.remove_prefix(1);
    }
    return result;
}

}  // namespace common
