// The runtime's string and the UTF-8 conversions.

#include <winrt/base.h>

#include <gtest/gtest.h>
#include <string>

namespace {
using winrt::hstring;

TEST(HString, IsEmptyByDefaultAndTerminated) {
    const hstring text;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(0u, text.size());
    EXPECT_EQ(nullptr, winrt::get_abi(text));
    EXPECT_EQ(L'\0', *text.c_str());
    EXPECT_EQ(nullptr, winrt::get_abi(hstring{std::wstring_view{}}));
}

TEST(HString, KeepsEveryUnit) {
    const std::wstring source(L"a\0b\xD800 \xFFE9", 6);
    const hstring text{std::wstring_view(source)};
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(6u, text.size());
    EXPECT_EQ(std::wstring_view(source), std::wstring_view(text));
    EXPECT_EQ(source, std::wstring(text.begin(), text.end()));
    EXPECT_EQ(L'\0', text.c_str()[6]);
    EXPECT_EQ(L'a', text.front());
    EXPECT_EQ(L'b', text[2]);
    EXPECT_EQ(L'\xFFE9', text.back());
}

TEST(HString, CopiesMovesAndClears) {
    hstring first = L"text";
    hstring second = first;
    EXPECT_EQ(first, second);
    hstring third = std::move(first);
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(third, L"text");
    const hstring& itself = third;
    third = itself;
    EXPECT_EQ(third, L"text");
    third.clear();
    EXPECT_TRUE(third.empty());
    EXPECT_EQ(second, L"text");
    second = L"other";
    EXPECT_EQ(second, std::wstring(L"other"));
    EXPECT_LT(second, L"text");
    EXPECT_NE(second, L"text");
}

TEST(HString, CrossesTheBinaryBoundary) {
    hstring source = L"handed over";
    hstring taken(winrt::detach_abi(source), winrt::take_ownership_from_abi);
    EXPECT_TRUE(source.empty());
    EXPECT_EQ(taken, L"handed over");
    EXPECT_EQ(nullptr, *winrt::put_abi(taken));
}

TEST(HString, ArgumentsTakeEveryKindOfText) {
    const auto text = [](const winrt::param::hstring& argument) { return hstring(argument); };
    EXPECT_EQ(text(L"literal"), L"literal");
    EXPECT_EQ(text(std::wstring(L"string")), L"string");
    EXPECT_EQ(text(std::wstring_view(L"view, cut").substr(0, 4)), L"view");
    EXPECT_EQ(text(hstring(L"own")), L"own");
}

TEST(HString, ConvertsToAndFromUtf8) {
    EXPECT_EQ("", winrt::to_string(hstring()));
    EXPECT_TRUE(winrt::to_hstring("").empty());
    const std::wstring_view wide = L"z\u00e9\u20ac\U0001F60A";
    const std::string narrow = "z\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x8A";
    EXPECT_EQ(narrow, winrt::to_string(wide));
    EXPECT_EQ(winrt::to_hstring(narrow), wide);
    EXPECT_EQ("\xEF\xBF\xBD", winrt::to_string(L"\xD800"));
    EXPECT_EQ(winrt::to_hstring("a\xFF"), L"a\xFFFD");
    EXPECT_EQ(3u, winrt::to_hstring(std::string_view("a\0b", 3)).size());
}
}  // namespace
