// Identifiers: parsing, layout, and equality with the ids that the system's own headers declare.

#define INITGUID  // makes the headers define the ids that they declare

#include <winrt/Windows.Foundation.h>

#include <windows.h>

#include <asyncinfo.h>
#include <inspectable.h>
#include <objidl.h>
#include <windows.foundation.h>

#include <gtest/gtest.h>
#include <oaidl.h>
#include <cstring>
#include <stdexcept>

namespace {
using winrt::guid;
using winrt::guid_of;

constexpr guid sample{"00112233-4455-6677-8899-AabBccDDeEff"};

TEST(Guid, ParsesItsText) {
    static_assert(sample.Data1 == 0x00112233 && sample.Data2 == 0x4455 && sample.Data3 == 0x6677);
    const uint8_t tail[] = {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
    EXPECT_EQ(0, std::memcmp(sample.Data4, tail, sizeof tail));
    EXPECT_EQ(sample, guid("00112233-4455-6677-8899-aabbccddeeff"));
    EXPECT_EQ(sample, guid(0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}));
    EXPECT_NE(sample, guid("00112233-4455-6677-8899-aabbccddeefe"));
    EXPECT_LT(guid("00112232-4455-6677-8899-aabbccddeeff"), sample);
}

TEST(Guid, RefusesOtherTexts) {
    for (const char* text : {"", "00112233-4455-6677-8899-aabbccddeef", "{00112233-4455-6677-8899-aabbccddeeff}",
                             "00112233+4455-6677-8899-aabbccddeeff", "00112233-4455-6677-8899-aabbccddeefg"}) {
        EXPECT_THROW(guid{std::string_view(text)}, std::invalid_argument) << text;
    }
}

bool same(const guid& id, const GUID& system) {
    static_assert(sizeof(guid) == sizeof(GUID));
    return std::memcmp(&id, &system, sizeof system) == 0;
}

TEST(Guid, AgreesWithTheSystemsHeaders) {
    namespace impl = winrt::impl;
    namespace foundation = winrt::Windows::Foundation;
    EXPECT_TRUE(same(guid_of<foundation::IInspectable>(), IID_IInspectable));
    EXPECT_TRUE(same(guid_of<foundation::IAsyncInfo>(), IID_IAsyncInfo));
    EXPECT_TRUE(same(guid_of<impl::AgileObjectAbi>(), IID_IAgileObject));
    EXPECT_TRUE(same(guid_of<impl::MarshalAbi>(), IID_IMarshal));
    EXPECT_TRUE(same(guid_of<impl::ErrorInfoAbi>(), IID_IErrorInfo));
    EXPECT_TRUE(same(guid_of<foundation::IAsyncOperation<bool>>(), IID___FIAsyncOperation_1_boolean));
    EXPECT_TRUE(same(guid_of<foundation::AsyncOperationCompletedHandler<bool>>(),
                     IID___FIAsyncOperationCompletedHandler_1_boolean));
}
}  // namespace
