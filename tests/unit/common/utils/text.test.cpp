#include "common/utils/text.h"

#include <gtest/gtest.h>

namespace {

using common::utf16ToUtf8;
using common::utf8ToUtf16;

/// Wide text by its units, because the compiler's wide literals depend on the width of wchar_t.
std::wstring units(std::initializer_list<unsigned> values) {
    std::wstring result;
    for (const unsigned value : values) result.push_back(static_cast<wchar_t>(value));
    return result;
}

TEST(DiagnosticText, isNeverConverted) {
    EXPECT_EQ(common::diagnosticUtf8(L"wide"), "UTF16->UTF8:NOT-CONVERTED");
    EXPECT_EQ(common::diagnosticUtf8({}), "UTF16->UTF8:NOT-CONVERTED");
    EXPECT_EQ(common::diagnosticUtf16("narrow"), L"UTF8->UTF16:NOT-CONVERTED");
    EXPECT_EQ(common::diagnosticUtf16({}), L"UTF8->UTF16:NOT-CONVERTED");
}

TEST(Text, emptyGivesEmpty) {
    EXPECT_EQ(utf8ToUtf16(""), L"");
    EXPECT_EQ(utf16ToUtf8(L""), "");
    EXPECT_EQ(utf8ToUtf16({}), L"");
    EXPECT_EQ(utf16ToUtf8({}), "");
}

TEST(Text, convertsBothWays) {
    const std::pair<std::string, std::wstring> samples[] = {
        {"ms-settings:windowsupdate", L"ms-settings:windowsupdate"},
        {"\x7F", units({0x7F})},
        {"\xC2\x80", units({0x80})},
        {"\xDF\xBF", units({0x7FF})},
        {"\xE0\xA0\x80", units({0x800})},
        {"\xED\x9F\xBF", units({0xD7FF})},
        {"\xEE\x80\x80", units({0xE000})},
        {"\xEF\xBF\xBD", units({0xFFFD})},
        {"\xEF\xBF\xBF", units({0xFFFF})},
        {"\xF0\x90\x80\x80", units({0xD800, 0xDC00})},
        {"\xF0\x9F\x98\x80", units({0xD83D, 0xDE00})},
        {"\xF4\x8F\xBF\xBF", units({0xDBFF, 0xDFFF})},
    };
    for (const auto& [narrow, wide] : samples) {
        EXPECT_EQ(utf8ToUtf16(narrow), wide) << narrow;
        EXPECT_EQ(utf16ToUtf8(wide), narrow);
        EXPECT_EQ(utf8ToUtf16("<" + narrow + narrow + ">"), L"<" + wide + wide + L">") << narrow;
        EXPECT_EQ(utf16ToUtf8(L"<" + wide + wide + L">"), "<" + narrow + narrow + ">");
    }
}

TEST(Text, nulsAndByteOrderMarksAreCharactersLikeOthers) {
    EXPECT_EQ(utf8ToUtf16(std::string_view("a\0b", 3)), units({'a', 0, 'b'}));
    EXPECT_EQ(utf16ToUtf8(units({'a', 0, 'b'})), std::string("a\0b", 3));
    EXPECT_EQ(utf8ToUtf16("\xEF\xBB\xBFx"), units({0xFEFF, 'x'}));
    EXPECT_EQ(utf16ToUtf8(units({0xFEFF, 'x'})), "\xEF\xBB\xBFx");
    EXPECT_EQ(utf16ToUtf8(units({0xFFFE})), "\xEF\xBF\xBE");
}

TEST(Text, longTexts) {
    std::string narrow;
    std::wstring wide;
    for (int turn = 0; turn < 20000; ++turn) {
        narrow += "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
        wide += units({'a', 0xE9, 0x20AC, 0xD83D, 0xDE00});
    }
    EXPECT_EQ(utf8ToUtf16(narrow), wide);
    EXPECT_EQ(utf16ToUtf8(wide), narrow);
}

TEST(Text, onlyTheViewIsRead) {
    EXPECT_EQ(utf8ToUtf16(std::string_view("abcdef").substr(1, 3)), L"bcd");
    EXPECT_EQ(utf16ToUtf8(std::wstring_view(L"abcdef").substr(1, 3)), "bcd");
}

TEST(Text, loneSurrogatesBecomeTheReplacementCharacter) {
    EXPECT_EQ(utf16ToUtf8(units({0xD800})), "\xEF\xBF\xBD");
    EXPECT_EQ(utf16ToUtf8(units({'a', 0xD800, 'b'})),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(utf16ToUtf8(units({'a', 0xDC00, 'b'})),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(utf16ToUtf8(units({0xDC00, 0xD800})), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(utf16ToUtf8(units({0xD800, 0xD83D, 0xDE00})), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
}

TEST(Text, illFormedBytesBecomeTheReplacementCharacter) {
    EXPECT_EQ(utf8ToUtf16("\xFF"), units({0xFFFD}));
    EXPECT_EQ(utf8ToUtf16("a\x80"
                          "b"),
              units({'a', 0xFFFD, 'b'}));
    EXPECT_EQ(utf8ToUtf16("\xC3"), units({0xFFFD}));
    EXPECT_EQ(utf8ToUtf16("\xC3"
                          "b"),
              units({0xFFFD, 'b'}));
    EXPECT_EQ(utf8ToUtf16("\xE2\x82"
                          "b"),
              units({0xFFFD, 'b'}));
    EXPECT_EQ(utf8ToUtf16("\xF0\x9F\x98"
                          "b"),
              units({0xFFFD, 'b'}));
    EXPECT_EQ(utf8ToUtf16("\xF0\x9F\x98"), units({0xFFFD}));
    EXPECT_EQ(utf8ToUtf16("\xC0\x80"), units({0xFFFD, 0xFFFD}));
    EXPECT_EQ(utf8ToUtf16("\xE2\x82\xF0\x9F\x98\x80"), units({0xFFFD, 0xD83D, 0xDE00}));
}

TEST(Text, howManyReplacementsStandForCodesBeyondUnicodeIsThePlatformsChoice) {
    for (const char* const ill : {"\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80"}) {
        const std::wstring wide = utf8ToUtf16("<" + std::string(ill) + ">");
        ASSERT_GT(wide.size(), 2u);
        EXPECT_EQ(wide, L"<" + std::wstring(wide.size() - 2, wchar_t{0xFFFD}) + L">");
        EXPECT_LE(wide.size() - 2, std::string_view(ill).size());
    }
}

}  // namespace
