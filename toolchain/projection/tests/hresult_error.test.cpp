// Failures as exceptions: the type for each code, the source of the text, and the way back to a code.

#include "fakes.h"

#include <windows.h>

#include <oleauto.h>

#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {
using namespace projection_tests;
using winrt::hresult;
using winrt::hresult_error;
using winrt::hstring;

static_assert(!std::is_base_of_v<std::exception, hresult_error>);

constexpr int32_t code(uint32_t value) { return static_cast<int32_t>(value); }
constexpr int32_t denied = code(0x80070005);

// The system's own text, for comparison, because the test does not know the language it runs in.
std::wstring systemText(int32_t value) {
    wchar_t* buffer = nullptr;
    DWORD const length = FormatMessageW(0x1300, nullptr, static_cast<DWORD>(value), 0x0400,
                                        reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text(buffer ? buffer : L"", length);
    LocalFree(buffer);
    while (!text.empty() && text.back() <= L' ') {
        text.pop_back();
    }
    return text;
}

// The error that a call returning `value` throws on this thread, with this error information in place.
hresult_error thrown(int32_t value, FakeErrorInfo* info) {
    if (info) {
        info->publish();
    }
    try {
        winrt::check_hresult(value);
    } catch (const hresult_error& error) {
        return error;
    }
    ADD_FAILURE() << "nothing was thrown for " << std::hex << value;
    return {};
}

class HResultError : public testing::Test {
protected:
    void TearDown() override {
        SetErrorInfo(0, nullptr);
        EXPECT_EQ(0, m_leaks.leaked());
    }

private:
    LeakCheck m_leaks;
};

template <typename Error>
void expectThrown(uint32_t value) {
    try {
        winrt::check_hresult(code(value));
        ADD_FAILURE() << std::hex << value;
    } catch (const Error& error) {
        EXPECT_EQ(typeid(Error), typeid(error)) << std::hex << value;
        EXPECT_EQ(code(value), error.code());
    }
    try {
        throw Error();
    } catch (const hresult_error& error) {
        EXPECT_EQ(code(value), error.code());
    }
}

TEST_F(HResultError, EveryCodeThrowsItsType) {
    expectThrown<winrt::hresult_access_denied>(0x80070005);
    expectThrown<winrt::hresult_wrong_thread>(0x8001010E);
    expectThrown<winrt::hresult_not_implemented>(0x80004001);
    expectThrown<winrt::hresult_invalid_argument>(0x80070057);
    expectThrown<winrt::hresult_out_of_bounds>(0x8000000B);
    expectThrown<winrt::hresult_no_interface>(0x80004002);
    expectThrown<winrt::hresult_class_not_available>(0x80040111);
    expectThrown<winrt::hresult_class_not_registered>(0x80040154);
    expectThrown<winrt::hresult_changed_state>(0x8000000C);
    expectThrown<winrt::hresult_illegal_method_call>(0x8000000E);
    expectThrown<winrt::hresult_illegal_state_change>(0x8000000D);
    expectThrown<winrt::hresult_illegal_delegate_assignment>(0x80000018);
    expectThrown<winrt::hresult_canceled>(0x800704C7);
    expectThrown<hresult_error>(0x80004005);
    EXPECT_THROW(winrt::check_hresult(code(0x80073CF3)), hresult_error);
    EXPECT_THROW(winrt::check_hresult(code(0x8007000E)), std::bad_alloc);
}

TEST_F(HResultError, SuccessCodesPass) {
    EXPECT_EQ(0, winrt::check_hresult(0));
    EXPECT_EQ(1, winrt::check_hresult(1));
    EXPECT_EQ(-2147467259, hresult_error().code());
}

TEST_F(HResultError, LastErrorBecomesItsCode) {
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_THROW(winrt::throw_last_error(), winrt::hresult_access_denied);
    SetLastError(ERROR_CANCELLED);
    EXPECT_THROW(winrt::throw_last_error(), winrt::hresult_canceled);
}

TEST_F(HResultError, AttachedTextWinsAndLosesItsEnd) {
    const auto error = thrown(denied, new FakeErrorInfo(denied, L"description", L"inner\r\nline. \t\r\n"));
    EXPECT_EQ(error.message(), L"inner\r\nline.");
    EXPECT_EQ(error.code(), denied);
}

TEST_F(HResultError, EmptyAttachedTextStillWins) {
    EXPECT_TRUE(thrown(denied, new FakeErrorInfo(denied, L"description", L"")).message().empty());
    EXPECT_TRUE(thrown(denied, new FakeErrorInfo(denied, L"description", L" \r\n")).message().empty());
}

TEST_F(HResultError, WithoutAttachedTextTheDescriptionIsTaken) {
    EXPECT_EQ(thrown(denied, new FakeErrorInfo(denied, L"description\r\n", nullptr)).message(), L"description");
    EXPECT_TRUE(thrown(denied, new FakeErrorInfo(denied, nullptr, nullptr)).message().empty());
}

TEST_F(HResultError, TextOfAnotherCodeIsNotTaken) {
    const auto error = thrown(denied, new FakeErrorInfo(code(0x80070057), L"description", L"other failure"));
    EXPECT_EQ(error.message(), systemText(denied));
    EXPECT_FALSE(error.message().empty());
}

TEST_F(HResultError, UnreadableDetailsGiveTheSystemsText) {
    for (int32_t result : {1, code(0x80004005)}) {
        auto* const info = new FakeErrorInfo(denied, L"description", L"attached");
        info->detailsResult = result;
        EXPECT_EQ(thrown(denied, info).message(), systemText(denied));
    }
}

TEST_F(HResultError, WithoutInformationTheSystemsTextIsTaken) {
    EXPECT_EQ(thrown(denied, nullptr).message(), systemText(denied));
    EXPECT_EQ(winrt::hresult_canceled().message(), systemText(code(0x800704C7)));
}

TEST_F(HResultError, PlaceholdersInTheSystemsTextStay) {
    const int32_t badFormat = code(0x800700C1);  // its text has a place for a file's name, which nobody knows here
    ASSERT_NE(std::wstring::npos, systemText(badFormat).find(L"%1"));
    EXPECT_EQ(thrown(badFormat, nullptr).message(), systemText(badFormat));
}

TEST_F(HResultError, UnknownCodeHasAnEmptyText) {
    const int32_t unknown = code(0xA1234567);
    ASSERT_TRUE(systemText(unknown).empty());
    EXPECT_TRUE(thrown(unknown, nullptr).message().empty());
}

TEST_F(HResultError, TakingEmptiesTheThreadsSlotAndRecordsTheOrigin) {
    auto* const info = new FakeErrorInfo(denied, L"description", L"attached");
    info->AddRef();
    {
        const auto error = thrown(denied, info);
        EXPECT_FALSE(winrt::impl::takeErrorInfo());
        EXPECT_EQ(1, info->references_asked);
        EXPECT_EQ(1, info->contexts_captured);
        const auto copy = error;
        EXPECT_EQ(copy.message(), L"attached");
    }
    EXPECT_EQ(1u, info->references());
    info->Release();
}

TEST_F(HResultError, ReturnsItsInformationToTheThread) {
    const auto error = thrown(denied, new FakeErrorInfo(denied, L"description", L"attached"));
    EXPECT_EQ(denied, error.to_abi());
    EXPECT_EQ(thrown(denied, nullptr).message(), L"attached");
    EXPECT_EQ(code(0x80073CF3), hresult_error(code(0x80073CF3)).to_abi());
}

TEST_F(HResultError, PlainDescriptionIsHandedToTheSystem) {
    const OriginateScope system;
    auto* const info = new FakeErrorInfo(denied, L"plain text \r\n", nullptr);
    info->isRestricted = false;
    EXPECT_EQ(thrown(denied, info).message(), L"plain text");
    ASSERT_EQ(1u, OriginateScope::calls.size());
    EXPECT_EQ(denied, OriginateScope::calls[0].code);
    EXPECT_TRUE(OriginateScope::calls[0].hasText);
    EXPECT_EQ(L"plain text", OriginateScope::calls[0].text);
}

TEST_F(HResultError, MissingInformationIsAskedOfTheSystem) {
    const OriginateScope system;
    EXPECT_EQ(thrown(denied, nullptr).message(), L"general text");
    ASSERT_EQ(1u, OriginateScope::calls.size());
    EXPECT_FALSE(OriginateScope::calls[0].hasText);
}

TEST_F(HResultError, SystemThatKeepsNothingIsFine) {
    const OriginateScope system(false);
    EXPECT_EQ(thrown(denied, nullptr).message(), systemText(denied));
    EXPECT_EQ(hresult_error(denied, L"own text").message(), systemText(denied));
    EXPECT_EQ(2u, OriginateScope::calls.size());
}

TEST_F(HResultError, SystemWithoutTheFunctionIsFine) {
    const CallsScope scope;
    winrt::impl::platform::calls.runtimeFunction = [](const char*) noexcept -> void* { return nullptr; };
    EXPECT_EQ(hresult_error(denied, L"own text").message(), systemText(denied));
}

TEST_F(HResultError, OwnErrorsCarryTheirText) {
    const OriginateScope system;
    EXPECT_EQ(hresult_error(denied, L"own text\n").message(), L"own text");
    EXPECT_EQ(winrt::hresult_canceled(L"stopped").message(), L"stopped");
    EXPECT_EQ(winrt::hresult_canceled().message(), L"general text");
    ASSERT_EQ(3u, OriginateScope::calls.size());
    EXPECT_EQ(L"own text\n", OriginateScope::calls[0].text);
    EXPECT_EQ(code(0x800704C7), OriginateScope::calls[1].code);
    EXPECT_FALSE(OriginateScope::calls[2].hasText);
}

template <typename Exception>
std::pair<hresult, hstring> translated(Exception&& exception) {
    std::pair<hresult, hstring> result;
    try {
        throw std::forward<Exception>(exception);
    } catch (...) {
        result = {winrt::to_hresult(), winrt::to_message()};
    }
    return result;
}

TEST_F(HResultError, EveryExceptionHasACode) {
    const OriginateScope system;
    using Pair = std::pair<hresult, hstring>;
    EXPECT_EQ(translated(hresult_error(denied, L"text")), Pair(denied, L"text"));
    EXPECT_EQ(translated(std::bad_alloc()).first, code(0x8007000E));
    EXPECT_EQ(translated(std::out_of_range("out")), Pair(code(0x8000000B), L"out"));
    EXPECT_EQ(translated(std::invalid_argument("invalid")), Pair(code(0x80070057), L"invalid"));
    EXPECT_EQ(translated(std::runtime_error("other")), Pair(code(0x80004005), L"other"));
    EXPECT_EQ(OriginateScope::calls.back().text, L"other");
}
}  // namespace
