#include "common/utils/failure.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "standins/recording_failure_services.h"
#include "unit/support/assertion_recorder.h"

namespace {

using common::Exception;
using common::raiseAssertionFailure;
using common::setAssertionHandler;
using common::SourceLocation;
using common::common_internal::DefaultException;
using standins::ErrorBoxShown;
using standins::failureServices;

constexpr SourceLocation kSite{"zeb::Thing::run", "src_native/bridge/thing", 12};

TEST(Exception, carriesItsFields) {
    const DefaultException failure(kSite, "It failed", 1400);
    EXPECT_STREQ(failure.message(), "It failed");
    EXPECT_EQ(failure.code(), 1400u);
    EXPECT_EQ(failure.location().function, "zeb::Thing::run");
    EXPECT_EQ(failure.location().file, "src_native/bridge/thing");
    EXPECT_EQ(failure.location().line, 12u);
}

TEST(Exception, whatIsTheMessage) {
    const DefaultException failure(kSite, "It failed", 0);
    EXPECT_STREQ(failure.what(), "It failed");
    EXPECT_STREQ(static_cast<const std::exception&>(failure).what(), "It failed");
}

TEST(Exception, keepsItsOwnCopiesOfTheTexts) {
    std::string function = "zeb::aFunctionNameThatIsTooLongToStayInside";
    std::string file = "src_native/bridge/aFileNameThatIsTooLongToStayInside";
    std::string message = "a message that is too long to stay inside of a string";
    const DefaultException failure({function, file, 1}, message, 0);
    function.assign(100, '?');
    file.assign(100, '?');
    message.assign(100, '?');
    EXPECT_EQ(failure.location().function, "zeb::aFunctionNameThatIsTooLongToStayInside");
    EXPECT_EQ(failure.location().file, "src_native/bridge/aFileNameThatIsTooLongToStayInside");
    EXPECT_STREQ(failure.message(), "a message that is too long to stay inside of a string");
}

TEST(Exception, fullTextNamesFileAndLine) {
    EXPECT_STREQ(DefaultException(kSite, "It failed", 0).fullText(), "src_native/bridge/thing(12):It failed");
}

TEST(Exception, fullTextShowsLineZeroWhenThereIsNone) {
    const DefaultException failure({"f", "g", std::nullopt}, "It failed", 0);
    EXPECT_STREQ(failure.fullText(), "g(0):It failed");
    EXPECT_FALSE(failure.location().line.has_value());
}

TEST(Exception, fullTextIsTheMessageOnlyWhenNeitherFunctionNorFileIsKnown) {
    EXPECT_STREQ(DefaultException({"", "", 12}, "It failed", 0).fullText(), "It failed");
    EXPECT_STREQ(DefaultException({"f", "", 12}, "It failed", 0).fullText(), "(12):It failed");
    EXPECT_STREQ(DefaultException({"", "g", 12}, "It failed", 0).fullText(), "g(12):It failed");
}

TEST(Exception, fullTextIsMadeOnce) {
    const DefaultException failure(kSite, "It failed", 0);
    const char* const first = failure.fullText();
    EXPECT_EQ(failure.fullText(), first);
    EXPECT_STREQ(failure.fullText(), "src_native/bridge/thing(12):It failed");
}

TEST(Exception, itsTextsAreNotFormats) {
    EXPECT_STREQ(DefaultException({"{0}", "%1", 3}, "{1}%%{abc}", 0).fullText(), "%1(3):{1}%%{abc}");
}

TEST(Exception, copiesCarryEverything) {
    DefaultException original({"f", "g", 5}, "It failed", 87);
    const DefaultException before(original);
    original.fullText();
    const DefaultException after(original);
    for (const DefaultException* copy : {&before, &after}) {
        EXPECT_STREQ(copy->fullText(), "g(5):It failed");
        EXPECT_STREQ(copy->message(), "It failed");
        EXPECT_EQ(copy->location().function, "f");
        EXPECT_EQ(copy->code(), 87u);
    }
    EXPECT_NE(after.fullText(), original.fullText());  // the copy has its own text
    original = DefaultException({"a", "b", 6}, "Other", 1);
    EXPECT_STREQ(original.fullText(), "b(6):Other");
    EXPECT_STREQ(after.fullText(), "g(5):It failed");
}

TEST(Exception, isCaughtByEachOfItsBases) {
    const auto fail = [] { throw DefaultException(kSite, "It failed", 0); };
    EXPECT_THROW(fail(), DefaultException);
    EXPECT_THROW(fail(), common::ExceptionImpl<Exception>);
    try {
        fail();
    } catch (const Exception& failure) {
        EXPECT_STREQ(failure.fullText(), "src_native/bridge/thing(12):It failed");
    }
    try {
        fail();
    } catch (const std::exception& failure) {
        EXPECT_STREQ(failure.what(), "It failed");
        EXPECT_NE(dynamic_cast<const Exception*>(&failure), nullptr);
    }
}

TEST(Exception, mayShareItsStandardBase) {
    struct Both : DefaultException, virtual std::exception {
        using DefaultException::DefaultException;
        using DefaultException::what;
    };
    const Both both(kSite, "It failed", 0);
    EXPECT_STREQ(static_cast<const std::exception&>(both).what(), "It failed");
}

/// Every test starts and ends without a handler and with the services reset.
class Assertion : public testing::Test {
protected:
    Assertion() { failureServices() = {}; }
    ~Assertion() override {
        setAssertionHandler(nullptr);
        failureServices() = {};
    }

    static ErrorBoxShown raise(const SourceLocation& location, const char* module, const char* expression,
                               const std::string& message) {
        try {
            raiseAssertionFailure(location, module, expression, message);
        } catch (const ErrorBoxShown& box) {
            return box;
        }
        ADD_FAILURE() << "no box";
        return {};
    }
};

TEST_F(Assertion, aHandlerGetsItAndTheSiteGoesOn) {
    const unit::AssertionRecorder recorder;
    raiseAssertionFailure(kSite, nullptr, "m_thing", "It broke");
    raiseAssertionFailure({"f", "g", std::nullopt}, "module", "", "");
    ASSERT_EQ(recorder.failures().size(), 2u);
    const unit::AssertionFailure& first = recorder.failures()[0];
    EXPECT_EQ(first.function, "zeb::Thing::run");
    EXPECT_EQ(first.file, "src_native/bridge/thing");
    EXPECT_EQ(first.line, 12u);
    EXPECT_FALSE(first.hasModule);
    EXPECT_EQ(first.expression, "m_thing");
    EXPECT_EQ(first.message, "It broke");
    const unit::AssertionFailure& second = recorder.failures()[1];
    EXPECT_FALSE(second.line.has_value());
    EXPECT_TRUE(second.hasModule);
    EXPECT_EQ(second.message, "");
    EXPECT_TRUE(failureServices().debuggerCalls.empty());
}

TEST_F(Assertion, replacingAHandlerDestroysItOnce) {
    struct Handler : common::AssertionHandler {
        explicit Handler(int& ends) : m_ends(ends) {}
        ~Handler() override { ++m_ends; }
        void onAssertionFailure(const SourceLocation&, const char*, const char*, const char*) override {}
        int& m_ends;
    };
    int first = 0;
    int second = 0;
    setAssertionHandler(std::make_unique<Handler>(first));
    EXPECT_EQ(first, 0);
    setAssertionHandler(std::make_unique<Handler>(second));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    setAssertionHandler(nullptr);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
    setAssertionHandler(nullptr);
    EXPECT_EQ(second, 1);
}

TEST_F(Assertion, withoutAHandlerTheReportIsShown) {
    const ErrorBoxShown box = raise(kSite, nullptr, "m_thing", "It broke");
    EXPECT_EQ(box.text,
              "\n"
              "ASSERTION FAILURE: m_thing\n"
              "\n"
              "Callee:(zeb::Thing::run) in module:()\n"
              "src_native/bridge/thing(12):It broke\n");
    EXPECT_EQ(box.caption, "FAILURE");
}

TEST_F(Assertion, aNamedModuleIsUnknown) {
    EXPECT_EQ(raise(kSite, "zebbridge.node", "m_thing", "It broke").text,
              "\nASSERTION FAILURE: m_thing\n\nCallee:(zeb::Thing::run) in module:(unknown)\n"
              "src_native/bridge/thing(12):It broke\n");
}

TEST_F(Assertion, aLocationWithoutLineShowsZero) {
    EXPECT_EQ(raise({"f", "g", std::nullopt}, nullptr, "x", "y").text,
              "\nASSERTION FAILURE: x\n\nCallee:(f) in module:()\ng(0):y\n");
}

TEST_F(Assertion, emptyTextsLeaveTheFrame) {
    EXPECT_EQ(raise({}, nullptr, "", "").text, "\nASSERTION FAILURE: \n\nCallee:() in module:()\n(0):\n");
    EXPECT_EQ(raise({}, nullptr, nullptr, "").text, "\nASSERTION FAILURE: \n\nCallee:() in module:()\n(0):\n");
}

TEST_F(Assertion, itsTextsAreNotFormats) {
    EXPECT_EQ(raise({"%1", "{0}", 1}, nullptr, "{abc}", "100%% {").text,
              "\nASSERTION FAILURE: {abc}\n\nCallee:(%1) in module:()\n{0}(1):100%% {\n");
}

TEST_F(Assertion, withoutADebuggerNothingIsSentToIt) {
    raise(kSite, nullptr, "m_thing", "It broke");
    EXPECT_TRUE(failureServices().debuggerCalls.empty());
}

TEST_F(Assertion, anAttachedDebuggerGetsTheReportThenABreakThenTheBoxIsShown) {
    failureServices().debuggerAttached = true;
    const ErrorBoxShown box = raise(kSite, nullptr, "m_thing", "It broke");
    EXPECT_EQ(failureServices().debuggerCalls, (std::vector<std::string>{"output: " + box.text, "break"}));
}

TEST_F(Assertion, aRemovedHandlerBringsTheReportBack) {
    {
        const unit::AssertionRecorder recorder;
    }
    EXPECT_EQ(raise(kSite, nullptr, "x", "y").caption, "FAILURE");
}

using AssertionDeathTest = Assertion;

TEST_F(AssertionDeathTest, afterTheBoxTheProcessEnds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            std::set_terminate([] {
                std::fputs("terminate was called\n", stderr);
                std::abort();
            });
            failureServices().boxReturns = true;
            raiseAssertionFailure(kSite, nullptr, "m_thing", "It broke");
        },
        "terminate was called");
}

TEST_F(AssertionDeathTest, aHandlerEndsWithTheProcess) {
    struct Handler : common::AssertionHandler {
        ~Handler() override { std::fputs("the handler ended\n", stderr); }
        void onAssertionFailure(const SourceLocation&, const char*, const char*, const char*) override {}
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            setAssertionHandler(std::make_unique<Handler>());
            std::exit(0);
        },
        testing::ExitedWithCode(0), "the handler ended");
}

}  // namespace
