#include "common/utils/format.h"

#include <gtest/gtest.h>

#include <locale>
#include <ostream>
#include <stdexcept>
#include <streambuf>

#include "common/com/crt_allocator.h"
#include "common/com/interfaces.h"
#include "common/utils/failure.h"
#include "unit/support/type_spelling.h"

namespace {

TEST(Format, withoutArgumentsTheTextIsCopied) {
    EXPECT_EQ(common::format("{0} %1 %% {:x} {abc}"), "{0} %1 %% {:x} {abc}");
    EXPECT_EQ(common::format("{0} %%", static_cast<const common::FormatArgument*>(nullptr), std::size_t{0}), "{0} %%");
}

TEST(Format, anEmptyTextGivesAnEmptyText) {
    EXPECT_EQ(common::format("", 1), "");
    EXPECT_EQ(common::format(""), "");
}

TEST(Format, bracesCountFromZeroAndPercentFromOne) {
    EXPECT_EQ(common::format("{0} {1}", "a", "b"), "a b");
    EXPECT_EQ(common::format("%1 %2", "a", "b"), "a b");
    EXPECT_EQ(common::format("%1 and {0}", "a"), "a and a");
    EXPECT_EQ(common::format("{1}%1{0}%2", 1, 2), "2112");
}

TEST(Format, tenthArgumentIsReadAsOneNumber) {
    EXPECT_EQ(common::format("%10{9}%1", 0, 1, 2, 3, 4, 5, 6, 7, 8, 9), "990");
}

TEST(Format, aMissingArgumentIsEmptyParentheses) {
    EXPECT_EQ(common::format("{1}", 1), "()");
    EXPECT_EQ(common::format("a%2b{7}c", 1), "a()b()c");
    EXPECT_EQ(common::format("{2147483647} %2147483647", 1), "() ()");
}

TEST(Format, optionsOfAMissingArgumentAreIgnored) { EXPECT_EQ(common::format("{1:f}{1:x}{0}", 255), "()()255"); }

TEST(Format, lonePercentSignsStay) {
    EXPECT_EQ(common::format("100%", 1), "100%");
    EXPECT_EQ(common::format("%x", 1), "%x");
    EXPECT_EQ(common::format("% 1 %-1", 1), "% 1 %-1");
    EXPECT_EQ(common::format("%", 1), "%");
}

TEST(Format, aPercentPairIsOneSignAndDropsTheLiteralBeforeIt) {
    EXPECT_EQ(common::format("%%", 1), "%");
    EXPECT_EQ(common::format("50%% done {0}", 7), "% done 7");
    EXPECT_EQ(common::format("a%%b{0}", 7), "%b7");
    EXPECT_EQ(common::format("{0}a%%b", 7), "7%b");
    EXPECT_EQ(common::format("a%%b%%c", 7), "%%c");
    EXPECT_EQ(common::format("%%%", 7), "%%");
    EXPECT_EQ(common::format("%%1", 7), "%1");
}

TEST(Format, bracesThatHoldNothingAreText) {
    EXPECT_EQ(common::format("{", 1), "{");
    EXPECT_EQ(common::format("{}", 1), "{}");
    EXPECT_EQ(common::format("}", 1), "}");
    EXPECT_EQ(common::format("a{0", 1), "a{0");
    EXPECT_EQ(common::format("{0}}", 1), "1}");
    EXPECT_EQ(common::format("{}{0}", 1), "{}1");
}

TEST(Format, theSpecReachesToTheNextClosingBrace) {
    EXPECT_EQ(common::format("{{0}", 1), "ERROR:(invalid stoi argument)");
    EXPECT_EQ(common::format("{%1}", 1), "ERROR:(invalid stoi argument)");
    EXPECT_EQ(common::format("{a%%b}", 1), "ERROR:(invalid stoi argument)");
}

TEST(Format, aFaultyIndexIsReportedInPlace) {
    EXPECT_EQ(common::format("{abc}", 1), "ERROR:(invalid stoi argument)");
    EXPECT_EQ(common::format("a{abc}b{0}", 1), "aERROR:(invalid stoi argument)b1");
    EXPECT_EQ(common::format("{2147483648}", 1), "ERROR:(stoi argument out of range)");
    EXPECT_EQ(common::format("{-2147483649}", 1), "ERROR:(stoi argument out of range)");
    EXPECT_EQ(common::format("{99999999999999999999}", 1), "ERROR:(stoi argument out of range)");
    EXPECT_EQ(common::format("%2147483648", 1), "ERROR:(stoi argument out of range)");
}

TEST(Format, theIndexIsReadLikeANumberAtTheStartOfAText) {
    EXPECT_EQ(common::format("{0abc}{+1}{01}", 1, 2), "122");
    EXPECT_EQ(common::format("{\t1}{1\t}", 1, 2), "22");
}

TEST(Format, blanksAroundIndexAndOptionsAreIgnored) {
    EXPECT_EQ(common::format("{ 0 }", 255), "255");
    EXPECT_EQ(common::format("{  0  :  x  }", 255), "ff");
    EXPECT_EQ(common::format("{ :x}{0}", 255), "ff");
}

TEST(Format, onlyTheBlankCountsAsBlank) {
    EXPECT_EQ(common::format("{0:\tx}", 255), "255");
    EXPECT_EQ(common::format("{0:d: x}", 255), "255");
}

TEST(Format, optionsOfOneArgumentHoldForItAlone) {
    EXPECT_EQ(common::format("{0:x} {0}", 255), "ff 255");
    EXPECT_EQ(common::format("{0:X} {0:x} {0}", 255), "FF ff 255");
    EXPECT_EQ(common::format("{0:f.2} {0}", 0.5), "0.50 0.5");
}

TEST(Format, optionsWithoutIndexHoldUntilTheNextSuch) {
    EXPECT_EQ(common::format("{:x}{0} {0}", 255), "ff ff");
    EXPECT_EQ(common::format("{:x}{0} {:X}{0} {:d}{0}", 255), "ff FF 255");
    EXPECT_EQ(common::format("{:f.1}{0} {:x}{0} {1}", 0.26, 255), "0.3 0.26 ff");
    EXPECT_EQ(common::format("{:x}{0} { }{0}", 255), "ff 255");
}

TEST(Format, lastingOptionsAreUndoneBeforeTheNextAreApplied) {
    EXPECT_EQ(common::format("{:X}{0} {:x}{0}", 255), "FF ff");
}

TEST(Format, optionsOfOneArgumentStandOnTheLastingOnes) {
    EXPECT_EQ(common::format("{:x}{0:d} {0}", 255), "255 ff");
    EXPECT_EQ(common::format("{:X}{0:x}", 255), "FF");
    EXPECT_EQ(common::format("{:D}{0:x}", 255), "FF");
}

TEST(Format, anIndexBelowZeroIsOptionsOnly) {
    EXPECT_EQ(common::format("{-1:x}{0}", 255), "ff");
    EXPECT_EQ(common::format("{-7:x}{0}", 255), "ff");
    EXPECT_EQ(common::format("a%0b{0}", 255), "ab255");
    EXPECT_EQ(common::format("{:x}{0}%0{0}", 255), "ff255");
}

TEST(Format, baseOptions) {
    EXPECT_EQ(common::format("{0:x} {0:d} {0:X} {0:D}", 171), "ab 171 AB 171");
    EXPECT_EQ(common::format("{0:xyz}", 171), "ab");
    EXPECT_EQ(common::format("{0:x}", std::int32_t{-1}), "ffffffff");
}

TEST(Format, optionsAreSplitAtEveryColonAndAppliedInOrder) {
    EXPECT_EQ(common::format("{0:x:d}", 255), "255");
    EXPECT_EQ(common::format("{0:d:x}", 255), "ff");
    EXPECT_EQ(common::format("{0::x}", 255), "ff");
    EXPECT_EQ(common::format("{0:D:x}", 255), "FF");
    EXPECT_EQ(common::format("{0:x:f.1} {1:x:f.1}", 255, 0.5), "ff 0.5");
}

TEST(Format, unknownOptionsAreIgnored) {
    EXPECT_EQ(common::format("{0:}", 255), "255");
    EXPECT_EQ(common::format("{0:q}", 255), "255");
    EXPECT_EQ(common::format("{0:q:x}", 255), "ff");
}

TEST(Format, fixedPoint) {
    EXPECT_EQ(common::format("{0:f.2}", 3.14159), "3.14");
    EXPECT_EQ(common::format("{0:F.2}", 3.14159), "3.14");
    EXPECT_EQ(common::format("{0:f.0}", 2.0), "2");
    EXPECT_EQ(common::format("{0:f.10}", 0.5), "0.5000000000");
    EXPECT_EQ(common::format("{0:f_2}", 3.14159), "3.14");
    EXPECT_EQ(common::format("{0:f.2:f.4}", 3.14159), "3.1416");
    EXPECT_EQ(common::format("{0:f.2:x:f.3} {0}", 255), "ff 255");  // a later precision undoes nothing
    EXPECT_EQ(common::format("{:f.2:X:f.1}{0} {1}", 255, 0.5), "FF 0.5");
    EXPECT_EQ(common::format("{0:f.1:f.3} {0}", 3.14159), "3.142 3.14159");
    EXPECT_EQ(common::format("{0:f.2}", 1e10), "10000000000.00");
}

/// As soon as a stream ties itself to this one and writes, it is switched to scientific notation.
class TiedToScientific : public std::streambuf {
public:
    static void render(std::ostream& out, const void* value) {
        auto* const self = static_cast<TiedToScientific*>(const_cast<void*>(value));
        self->m_out = &out;
        out.tie(&self->m_tied);
    }

private:
    int sync() override {
        m_out->tie(nullptr);
        m_out->setf(std::ios_base::scientific);
        return 0;
    }

    std::ostream m_tied{this};
    std::ostream* m_out = nullptr;
};

TEST(Format, fixedPointTakesThePlaceOfScientificNotation) {
    // Fixed and scientific together would mean hexadecimal notation. Only the literal text between two arguments is
    // written while no argument's options apply.
    TiedToScientific tied;
    const double number = 1.5;
    const common::FormatArgument arguments[] = {
        {&tied, &TiedToScientific::render},
        {&number, &common::format_internal::renderStreamable<double>},
    };
    EXPECT_EQ(common::format("{0}: {1:f.2} {1}", &arguments[0], std::size_t{2}), ": 1.50 1.500000e+00");
}

TEST(Format, aListOfArgumentsMayBeWritable) {
    const std::int32_t number = 7;
    common::FormatArgument arguments[] = {common::format_internal::argument(number)};
    EXPECT_EQ(common::format("{0}", arguments, std::size_t{1}), "7");
    EXPECT_EQ(common::format("{0}", &arguments[0], std::size_t{1}), "7");
}

TEST(Format, fixedPointWithoutPrecisionIsABadFormat) {
    EXPECT_EQ(common::format("{0:f}", 1.5), "ERROR:(Bad format)");
    EXPECT_EQ(common::format("{0:f2}", 1.5), "ERROR:(Bad format)");
    EXPECT_EQ(common::format("{0:F}", 1.5), "ERROR:(Bad format)");
    EXPECT_EQ(common::format("a{0:f}b{0}", 1.5), "aERROR:(Bad format)b1.5");
}

TEST(Format, aFaultyPrecisionIsReportedLikeAFaultyIndex) {
    EXPECT_EQ(common::format("{0:fixed}", 1.5), "ERROR:(invalid stoi argument)");
    EXPECT_EQ(common::format("{0:f.}", 1.5), "ERROR:(Bad format)");
    EXPECT_EQ(common::format("{0:f.x}", 1.5), "ERROR:(invalid stoi argument)");
    EXPECT_EQ(common::format("{0:f.9999999999}", 1.5), "ERROR:(stoi argument out of range)");
}

TEST(Format, optionsBeforeAFaultAreUndone) {
    EXPECT_EQ(common::format("{0:x:f} {0}", 255), "ERROR:(Bad format) 255");
    EXPECT_EQ(common::format("{:x:f}{0}", 255), "ERROR:(Bad format)255");
    EXPECT_EQ(common::format("{:x}{0} {:f}{0}", 255), "ff ERROR:(Bad format)255");
}

TEST(Format, textArguments) {
    const char* text = "pointer";
    const char* none = nullptr;
    const std::string_view view("view");
    const std::string owned("owned");
    EXPECT_EQ(common::format("{0} {1} {2} {3}", text, view, owned, "literal"), "pointer view owned literal");
    EXPECT_EQ(common::format("<{0}>", none), "<>");
    EXPECT_EQ(common::format("<{0:x}>", none), "<>");
    EXPECT_EQ(common::format("{0}|{1}", std::string_view("a\0b", 3), std::string("c\0d", 3)),
              std::string("a\0b|c\0d", 7));
    EXPECT_EQ(common::format("{0}", std::string("{0} %1 %%")), "{0} %1 %%");
}

TEST(Format, textArgumentsEndWhereTheirViewEnds) {
    EXPECT_EQ(common::format("{0}", std::string_view("abcdef").substr(1, 3)), "bcd");
    EXPECT_EQ(common::format(std::string_view("{0}x", 3), 1), "1");
    EXPECT_EQ(common::format(std::string_view("{0}", 2), 1), "{0");
}

TEST(Format, numberArguments) {
    EXPECT_EQ(common::format("{0} {1}", std::int32_t{-2147483647 - 1}, std::uint32_t{4294967295}),
              "-2147483648 4294967295");
    EXPECT_EQ(common::format("{0} {1}", std::int64_t{-9223372036854775807 - 1}, std::uint64_t{18446744073709551615u}),
              "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(common::format("{0}", 0.1), "0.1");
}

TEST(Format, truthValuesAreWords) {
    EXPECT_EQ(common::format("{0} {1}", true, false), "true false");
    EXPECT_EQ(common::format("{:x}{0}", true), "true");
}

TEST(Format, wideTextIsNeverConverted) {
    EXPECT_EQ(common::format("[{0}]", std::wstring(L"wide")), "[UTF16->UTF8:NOT-CONVERTED]");
    EXPECT_EQ(common::format("[{0}]", std::wstring_view()), "[UTF16->UTF8:NOT-CONVERTED]");
    EXPECT_EQ(common::format("[{0}]", std::u16string(u"wide")), "[UTF16->UTF8:NOT-CONVERTED]");
    EXPECT_EQ(common::format("[{0}]", std::u16string_view()), "[UTF16->UTF8:NOT-CONVERTED]");
}

TEST(Format, typesAreWrittenAsThePlatformSpellsThem) {
    EXPECT_EQ(common::format("{0}", typeid(IRefCounted)), unit::spelled("struct", "IRefCounted"));
    EXPECT_EQ(common::format("{0}", typeid(common::CrtAllocator)), unit::spelled("class", "common::CrtAllocator"));
}

template <typename T>
concept Renderable = requires(const T& value) { common::format_internal::argument(value); };

// A conversion would make a temporary that is gone before it is rendered.
TEST(Format, argumentsAreNotConverted) {
    static_assert(Renderable<bool> && Renderable<const char*> && Renderable<double>);
    static_assert(!Renderable<int*> && !Renderable<const wchar_t*> && !Renderable<char*> && !Renderable<float>);
}

struct Custom {
    void (*render)(std::ostream& out);
};

std::string formatCustom(std::string_view text, void (*render)(std::ostream& out)) {
    const Custom custom{render};
    const common::FormatArgument arguments[] = {
        {&custom, [](std::ostream& out, const void* value) { static_cast<const Custom*>(value)->render(out); }}};
    return common::format(text, std::data(arguments), std::size(arguments));
}

TEST(Format, aFailureOfTheArgumentIsReportedInPlace) {
    EXPECT_EQ(formatCustom("a{0:x}b", [](std::ostream&) { throw std::runtime_error("boom"); }), "aERROR:(boom)b");
    EXPECT_EQ(
        formatCustom("{0}",
                     [](std::ostream&) { throw common::common_internal::DefaultException({"f", "g", 1}, "own", 0); }),
        "ERROR:(own)");
}

TEST(Format, whatTheArgumentWroteBeforeItFailedStays) {
    EXPECT_EQ(formatCustom("{0}|",
                           [](std::ostream& out) {
                               out << "half";
                               throw std::runtime_error("boom");
                           }),
              "halfERROR:(boom)|");
}

TEST(Format, otherExceptionsPassThrough) {
    EXPECT_THROW(formatCustom("{:x}{0}", [](std::ostream&) { throw 42; }), int);
}

TEST(Format, theHostsLocaleHasNoSay) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '_'; }
        std::string do_grouping() const override { return "\3"; }
        char do_decimal_point() const override { return ','; }
        std::string do_truename() const override { return "wahr"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const std::string text = common::format("{0} {1:f.1} {2}", 1234567, 0.5, true);
    std::locale::global(before);
    EXPECT_EQ(text, "1234567 0.5 true");
}

TEST(Format, longTexts) {
    const std::string filler(100000, 'x');
    EXPECT_EQ(common::format("{0}" + filler + "{0}", filler), filler + filler + filler);
}

}  // namespace
