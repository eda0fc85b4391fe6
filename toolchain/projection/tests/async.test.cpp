// Operations: their members, the completed handler and the blocking wait, for every way an operation can end.

#include "fakes.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <chrono>
#include <thread>

namespace {
using namespace projection_tests;
namespace foundation = winrt::Windows::Foundation;
using foundation::AsyncStatus;
using winrt::guid_of;
using winrt::impl::AsyncInfoAbi;
using winrt::impl::AsyncOperationAbi;
using winrt::impl::CompletedHandlerAbi;
using winrt::impl::UnknownAbi;
using Operation = foundation::IAsyncOperation<bool>;
using Handler = foundation::AsyncOperationCompletedHandler<bool>;

constexpr int32_t denied = static_cast<int32_t>(0x80070005);

// An operation that has already ended or, once somebody waits for it, ends on its own thread.
class FakeOperation final : public FakeInspectable<AsyncOperationAbi> {
public:
    explicit FakeOperation(AsyncStatus status)
        : FakeInspectable({guid_of<UnknownAbi>(), guid_of<Operation>()}), m_status(status) {}

    int32_t QueryInterface(const guid& id, void** object) noexcept override {
        if (hasInfo && id == guid_of<foundation::IAsyncInfo>()) {
            AddRef();
            *object = &m_info;
            return 0;
        }
        return FakeInspectable::QueryInterface(id, object);
    }
    int32_t put_Completed(void* handler) noexcept override {
        ++handlersPut;
        if (putResult < 0) {
            return putResult;
        }
        winrt::com_ptr<CompletedHandlerAbi> kept;
        kept.copy_from(static_cast<CompletedHandlerAbi*>(handler));
        winrt::com_ptr<UnknownAbi> self;
        self.copy_from(this);
        std::thread([this, self, kept] {
            m_status = endsAs;
            kept->Invoke(this, static_cast<int32_t>(endsAs));
        }).detach();
        return 0;
    }
    int32_t get_Completed(void**) noexcept override { return winrt::impl::error_not_implemented; }
    int32_t GetResults(void* result) noexcept override {
        ++resultsTaken;
        *static_cast<bool*>(result) = true;
        return getResult;
    }

    bool hasInfo = true;
    AsyncStatus endsAs = AsyncStatus::Completed;
    int32_t putResult = 0;
    int32_t getResult = 0;
    int32_t infoResult = 0;
    int32_t errorCode = 0;
    int handlersPut = 0;
    int resultsTaken = 0;
    int cancelled = 0;
    int closed = 0;

private:
    class Info final : public AsyncInfoAbi {
    public:
        explicit Info(FakeOperation& owner) : m_owner(owner) {}
        int32_t QueryInterface(const guid& id, void** object) noexcept override {
            return m_owner.QueryInterface(id, object);
        }
        uint32_t AddRef() noexcept override { return m_owner.AddRef(); }
        uint32_t Release() noexcept override { return m_owner.Release(); }
        int32_t GetIids(uint32_t*, guid**) noexcept override { return winrt::impl::error_not_implemented; }
        int32_t GetRuntimeClassName(void**) noexcept override { return winrt::impl::error_not_implemented; }
        int32_t GetTrustLevel(int32_t*) noexcept override { return winrt::impl::error_not_implemented; }
        int32_t get_Id(uint32_t* id) noexcept override {
            *id = 7;
            return m_owner.infoResult;
        }
        int32_t get_Status(int32_t* status) noexcept override {
            *status = static_cast<int32_t>(m_owner.m_status.load());
            return m_owner.infoResult;
        }
        int32_t get_ErrorCode(int32_t* code) noexcept override {
            *code = m_owner.errorCode;
            return m_owner.infoResult;
        }
        int32_t Cancel() noexcept override {
            ++m_owner.cancelled;
            return m_owner.infoResult;
        }
        int32_t Close() noexcept override {
            ++m_owner.closed;
            return m_owner.infoResult;
        }

    private:
        FakeOperation& m_owner;
    };

    std::atomic<AsyncStatus> m_status;
    Info m_info{*this};
};

class Async : public testing::Test {
protected:
    FakeOperation& start(AsyncStatus status) {
        fake = new FakeOperation(status);
        operation = Operation(static_cast<AsyncOperationAbi*>(fake), winrt::take_ownership_from_abi);
        return *fake;
    }
    void TearDown() override {
        operation = nullptr;
        expectNothingLeft();
    }
    // The thread that ends an operation may be the last to release it.
    void expectNothingLeft() const {
        waitFor([&] { return m_leaks.leaked() == 0; });
        EXPECT_EQ(0, m_leaks.leaked());
    }
    template <typename Condition>
    static void waitFor(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    }

    FakeOperation* fake = nullptr;
    Operation operation;

private:
    LeakCheck m_leaks;
};

TEST_F(Async, MembersReachTheOperation) {
    start(AsyncStatus::Error).errorCode = denied;
    EXPECT_EQ(7u, operation.Id());
    EXPECT_EQ(AsyncStatus::Error, operation.Status());
    EXPECT_EQ(denied, operation.ErrorCode());
    operation.Cancel();
    operation.Close();
    EXPECT_EQ(1, fake->cancelled);
    EXPECT_EQ(1, fake->closed);
    EXPECT_TRUE(operation.GetResults());
}

TEST_F(Async, FailingMembersThrow) {
    start(AsyncStatus::Started).infoResult = denied;
    EXPECT_THROW(operation.Id(), winrt::hresult_access_denied);
    EXPECT_THROW(operation.Status(), winrt::hresult_access_denied);
    EXPECT_THROW(operation.ErrorCode(), winrt::hresult_access_denied);
    EXPECT_THROW(operation.Cancel(), winrt::hresult_access_denied);
    EXPECT_THROW(operation.Close(), winrt::hresult_access_denied);
    EXPECT_THROW(operation.get(), winrt::hresult_access_denied);
    EXPECT_EQ(0, fake->handlersPut);
}

TEST_F(Async, OperationWithoutItsInfoInterfaceThrows) {
    start(AsyncStatus::Started).hasInfo = false;
    EXPECT_THROW(operation.Status(), winrt::hresult_no_interface);
    EXPECT_THROW(operation.get(), winrt::hresult_no_interface);
}

TEST_F(Async, GetOfAnEndedOperationAttachesNothing) {
    start(AsyncStatus::Completed);
    EXPECT_TRUE(operation.get());
    EXPECT_EQ(0, fake->handlersPut);
    EXPECT_EQ(1, fake->resultsTaken);
}

TEST_F(Async, GetWaitsForTheHandler) {
    start(AsyncStatus::Started);
    EXPECT_TRUE(operation.get());
    EXPECT_EQ(1, fake->handlersPut);
    EXPECT_EQ(1, fake->resultsTaken);
}

TEST_F(Async, GetOfACancelledOperationThrowsAndAsksForNoResult) {
    for (AsyncStatus first : {AsyncStatus::Canceled, AsyncStatus::Started}) {
        start(first).endsAs = AsyncStatus::Canceled;
        EXPECT_THROW(operation.get(), winrt::hresult_canceled);
        EXPECT_EQ(0, fake->resultsTaken);
        EXPECT_EQ(first == AsyncStatus::Started ? 1 : 0, fake->handlersPut);
    }
}

// The operation chooses how a failure looks: an exception from GetResults, or a result that describes it.
TEST_F(Async, GetOfAFailedOperationIsWhatItsResultsSay) {
    for (AsyncStatus first : {AsyncStatus::Error, AsyncStatus::Started}) {
        start(first).endsAs = AsyncStatus::Error;
        EXPECT_TRUE(operation.get());
        EXPECT_EQ(first == AsyncStatus::Started ? 1 : 0, fake->handlersPut);
        start(first).endsAs = AsyncStatus::Error;
        fake->getResult = denied;
        EXPECT_THROW(operation.get(), winrt::hresult_access_denied);
        start(first).endsAs = AsyncStatus::Error;
        fake->getResult = winrt::impl::error_bad_alloc;
        EXPECT_THROW(operation.get(), std::bad_alloc);
    }
}

TEST_F(Async, HandlerThatIsRefusedThrows) {
    start(AsyncStatus::Started).putResult = winrt::impl::error_illegal_delegate_assignment;
    EXPECT_THROW(operation.get(), winrt::hresult_illegal_delegate_assignment);
    EXPECT_THROW(operation.Completed([](const Operation&, AsyncStatus) {}), winrt::hresult_illegal_delegate_assignment);
    EXPECT_EQ(0, fake->resultsTaken);
}

TEST_F(Async, WaitWithoutAnEventThrowsTheLastError) {
    const CallsScope scope;
    winrt::impl::platform::calls.createEvent = []() noexcept -> void* {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    };
    start(AsyncStatus::Started);
    EXPECT_THROW(operation.get(), winrt::hresult_access_denied);
    EXPECT_EQ(0, fake->handlersPut);
}

TEST_F(Async, HandlerHearsTheOperationItWasPutOn) {
    start(AsyncStatus::Started).endsAs = AsyncStatus::Error;
    HANDLE const heard = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    operation.Completed([&](const Operation& sender, AsyncStatus status) {
        EXPECT_EQ(operation, sender);
        EXPECT_EQ(AsyncStatus::Error, status);
        SetEvent(heard);
    });
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(heard, 30000));
    CloseHandle(heard);
}

// The wait leaves neither the event nor the operation behind. The thread that ends an operation may be the last to hold
// both.
TEST_F(Async, WaitLeavesNothingBehind) {
    static HANDLE event;
    const CallsScope scope;
    winrt::impl::platform::calls.createEvent = []() noexcept -> void* {
        return event = winrt::impl::platform::createManualEvent();
    };
    start(AsyncStatus::Started);
    EXPECT_TRUE(operation.get());
    operation = nullptr;
    expectNothingLeft();
    DWORD flags = 0;
    waitFor([&] { return !GetHandleInformation(event, &flags); });
    EXPECT_FALSE(GetHandleInformation(event, &flags));
}
}  // namespace
