// Delegates: which interfaces they have, how they are called, how long they live.

#include "fakes.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <objidl.h>

namespace {
using namespace projection_tests;
namespace foundation = winrt::Windows::Foundation;
using foundation::AsyncStatus;
using winrt::com_ptr;
using winrt::guid_of;
using winrt::impl::CompletedHandlerAbi;
using winrt::impl::MarshalAbi;
using winrt::impl::UnknownAbi;
using Handler = foundation::AsyncOperationCompletedHandler<bool>;
using Operation = foundation::IAsyncOperation<bool>;

// Counts the copies of a callable's captures.
struct Captured {
    Captured() { ++aliveFakes; }
    Captured(const Captured&) { ++aliveFakes; }
    ~Captured() { --aliveFakes; }
};

CompletedHandlerAbi& abiOf(const Handler& handler) {
    return *static_cast<CompletedHandlerAbi*>(winrt::get_abi(handler));
}

TEST(Delegate, AnswersItsInterfacesOnly) {
    const Handler handler = [](const Operation&, AsyncStatus) {};
    com_ptr<UnknownAbi> answer;
    EXPECT_EQ(0, abiOf(handler).QueryInterface(guid_of<Handler>(), answer.put_void()));
    EXPECT_EQ(winrt::get_abi(handler), answer.get());
    EXPECT_EQ(0, abiOf(handler).QueryInterface(guid_of<UnknownAbi>(), answer.put_void()));
    EXPECT_EQ(0, abiOf(handler).QueryInterface(guid_of<winrt::impl::AgileObjectAbi>(), answer.put_void()));
    EXPECT_EQ(winrt::get_abi(handler), answer.get());
    for (const guid& other : {guid_of<winrt::impl::InspectableAbi>(), guid_of<foundation::IAsyncInfo>()}) {
        void* none = &answer;
        EXPECT_EQ(winrt::impl::error_no_interface, abiOf(handler).QueryInterface(other, &none));
        EXPECT_EQ(nullptr, none);
    }
}

TEST(Delegate, LivesAsLongAsItsReferences) {
    const LeakCheck leaks;
    {
        Handler handler = [captured = Captured()](const Operation&, AsyncStatus) {};
        EXPECT_EQ(1, leaks.leaked());
        const Handler copy = handler;
        handler = nullptr;
        EXPECT_FALSE(handler);
        EXPECT_EQ(1, leaks.leaked());
    }
    EXPECT_EQ(0, leaks.leaked());
}

TEST(Delegate, PassesTheOperationAndTheStatus) {
    const LeakCheck leaks;
    {
        FakeInspectable<winrt::impl::InspectableAbi> operation({guid_of<UnknownAbi>()});
        void* seen = nullptr;
        auto ended = AsyncStatus::Started;
        const Handler handler = [&](const Operation& sender, AsyncStatus status) {
            seen = winrt::get_abi(sender);
            ended = status;
            EXPECT_EQ(sender ? 2u : 1u, operation.references());
        };
        EXPECT_EQ(0, abiOf(handler).Invoke(&operation, 3));
        EXPECT_EQ(&operation, seen);
        EXPECT_EQ(AsyncStatus::Error, ended);
        EXPECT_EQ(1u, operation.references());
        handler(nullptr, AsyncStatus::Completed);
        EXPECT_EQ(nullptr, seen);
        EXPECT_EQ(AsyncStatus::Completed, ended);
    }
    EXPECT_EQ(0, leaks.leaked());
}

TEST(Delegate, GivesAnExceptionBackAsItsCode) {
    const Handler handler = [](const Operation&, AsyncStatus) { throw winrt::hresult_access_denied(); };
    EXPECT_EQ(winrt::impl::error_access_denied, abiOf(handler).Invoke(nullptr, 1));
    EXPECT_THROW(handler(nullptr, AsyncStatus::Completed), winrt::hresult_access_denied);
    const Handler other = [](const Operation&, AsyncStatus) { throw std::bad_alloc(); };
    EXPECT_EQ(winrt::impl::error_bad_alloc, abiOf(other).Invoke(nullptr, 1));
}

TEST(Delegate, MarshalerKeepsItAliveAndIsItsIdentity) {
    const LeakCheck leaks;
    {
        com_ptr<MarshalAbi> marshal;
        {
            const Handler handler = [captured = Captured()](const Operation&, AsyncStatus) {};
            ASSERT_EQ(0, abiOf(handler).QueryInterface(guid_of<MarshalAbi>(), marshal.put_void()));
            EXPECT_NE(winrt::get_abi(handler), static_cast<void*>(marshal.get()));
            EXPECT_EQ(winrt::get_abi(handler), marshal.as<UnknownAbi>().get());
            EXPECT_EQ(marshal.get(), marshal.as<MarshalAbi>().get());
        }
        EXPECT_EQ(1, leaks.leaked());
        EXPECT_TRUE(marshal.try_as<winrt::impl::AgileObjectAbi>());
        EXPECT_FALSE(marshal.try_as<winrt::impl::InspectableAbi>());
    }
    EXPECT_EQ(0, leaks.leaked());
}

// Marshalling inside the process returns the same delegate, without a proxy.
TEST(Delegate, SurvivesMarshallingAsItself) {
    constexpr uint32_t inProcess = 3;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const LeakCheck leaks;
    {
        const Handler handler = [captured = Captured()](const Operation&, AsyncStatus) {};
        com_ptr<MarshalAbi> marshal;
        ASSERT_EQ(0, abiOf(handler).QueryInterface(guid_of<MarshalAbi>(), marshal.put_void()));
        guid unmarshaler{};
        EXPECT_EQ(0, marshal->GetUnmarshalClass(guid_of<Handler>(), winrt::get_abi(handler), inProcess, nullptr, 0,
                                                &unmarshaler));
        EXPECT_NE(guid{}, unmarshaler);
        uint32_t size = 0;
        EXPECT_EQ(
            0, marshal->GetMarshalSizeMax(guid_of<Handler>(), winrt::get_abi(handler), inProcess, nullptr, 0, &size));
        EXPECT_GT(size, 0u);

        IStream* stream = nullptr;
        ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
        LARGE_INTEGER const start{};
        EXPECT_EQ(
            0, marshal->MarshalInterface(stream, guid_of<Handler>(), winrt::get_abi(handler), inProcess, nullptr, 0));
        stream->Seek(start, STREAM_SEEK_SET, nullptr);
        com_ptr<UnknownAbi> out;
        EXPECT_EQ(0, marshal->UnmarshalInterface(stream, guid_of<Handler>(), out.put_void()));
        EXPECT_EQ(winrt::get_abi(handler), out.get());

        stream->Seek(start, STREAM_SEEK_SET, nullptr);
        EXPECT_EQ(
            0, marshal->MarshalInterface(stream, guid_of<Handler>(), winrt::get_abi(handler), inProcess, nullptr, 0));
        stream->Seek(start, STREAM_SEEK_SET, nullptr);
        EXPECT_EQ(0, marshal->ReleaseMarshalData(stream));
        EXPECT_EQ(0, marshal->DisconnectObject(0));
        stream->Release();
    }
    EXPECT_EQ(0, leaks.leaked());
    CoUninitialize();
}

TEST(Delegate, ReportsAMarshalerThatCannotBeMade) {
    const LeakCheck leaks;
    {
        const CallsScope scope;
        const Handler handler = [captured = Captured()](const Operation&, AsyncStatus) {};
        void* none = winrt::get_abi(handler);
        winrt::impl::platform::calls.createMarshaler = [](void* outer, void** marshaler) noexcept -> int32_t {
            EXPECT_EQ(nullptr, outer);
            *marshaler = nullptr;
            return winrt::impl::error_bad_alloc;
        };
        EXPECT_EQ(winrt::impl::error_bad_alloc, abiOf(handler).QueryInterface(guid_of<MarshalAbi>(), &none));
        EXPECT_EQ(nullptr, none);
        winrt::impl::platform::calls.createMarshaler = [](void*, void** marshaler) noexcept -> int32_t {
            *marshaler = new Fake<UnknownAbi>({guid_of<UnknownAbi>()});
            return 0;
        };
        EXPECT_EQ(winrt::impl::error_no_interface, abiOf(handler).QueryInterface(guid_of<MarshalAbi>(), &none));
        EXPECT_EQ(nullptr, none);
    }
    EXPECT_EQ(0, leaks.leaked());
}
}  // namespace
