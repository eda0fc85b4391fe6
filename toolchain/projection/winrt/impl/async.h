#pragma once

// Asynchronous operations: their status, their completed handlers and the blocking wait.

#include "winrt/impl/delegate.h"

#include <concepts>
#include <cstdint>
#include <type_traits>

namespace winrt::Windows::Foundation
{
enum class AsyncStatus : int32_t
{
    Started = 0,
    Completed = 1,
    Canceled = 2,
    Error = 3,
};

template <typename TResult> struct IAsyncOperation;
template <typename TResult, typename TProgress> struct IAsyncOperationWithProgress;
}

namespace winrt::impl
{
struct AsyncInfoAbi : InspectableAbi
{
    virtual int32_t get_Id(uint32_t* id) noexcept = 0;
    virtual int32_t get_Status(int32_t* status) noexcept = 0;
    virtual int32_t get_ErrorCode(int32_t* code) noexcept = 0;
    virtual int32_t Cancel() noexcept = 0;
    virtual int32_t Close() noexcept = 0;

protected:
    ~AsyncInfoAbi() = default;
};

// GetResults writes a value of the result's size, or an interface pointer.
struct AsyncOperationAbi : InspectableAbi
{
    virtual int32_t put_Completed(void* handler) noexcept = 0;
    virtual int32_t get_Completed(void** handler) noexcept = 0;
    virtual int32_t GetResults(void* result) noexcept = 0;

protected:
    ~AsyncOperationAbi() = default;
};

struct AsyncOperationWithProgressAbi : InspectableAbi
{
    virtual int32_t put_Progress(void* handler) noexcept = 0;
    virtual int32_t get_Progress(void** handler) noexcept = 0;
    virtual int32_t put_Completed(void* handler) noexcept = 0;
    virtual int32_t get_Completed(void** handler) noexcept = 0;
    virtual int32_t GetResults(void* result) noexcept = 0;

protected:
    ~AsyncOperationWithProgressAbi() = default;
};

// A handler type `Handler` for the end of a `Sender`: null, or made from any callable.
template <typename Handler, typename Sender> struct CompletedHandler : Windows::Foundation::IUnknown
{
    CompletedHandler(std::nullptr_t = nullptr) noexcept {}
    CompletedHandler(void* object, take_ownership_from_abi_t) noexcept : IUnknown(object, take_ownership_from_abi) {}

    template <std::invocable<Sender const&, Windows::Foundation::AsyncStatus> F>
        requires(!std::is_base_of_v<CompletedHandler, F>)
    CompletedHandler(F callable)
        : IUnknown(static_cast<CompletedHandlerAbi*>(
                       new CompletedDelegate<Handler, Sender, Windows::Foundation::AsyncStatus, F>(
                           std::move(callable))),
                   take_ownership_from_abi)
    {}

    // Calls it as the runtime does; throws when it fails.
    void operator()(Sender const& operation, Windows::Foundation::AsyncStatus status) const
    {
        auto* const handler = static_cast<CompletedHandlerAbi*>(get_abi(*this));
        check_hresult(handler->Invoke(get_abi(operation), static_cast<int32_t>(status)));
    }
};

// An event that is signalled once.
class CompletionEvent
{
public:
    CompletionEvent() : m_event(platform::calls.createEvent())
    {
        if (!m_event) {
            throw_last_error();
        }
    }
    ~CompletionEvent() { platform::closeHandle(m_event); }
    CompletionEvent(CompletionEvent const&) = delete;
    CompletionEvent& operator=(CompletionEvent const&) = delete;

    void set() noexcept { platform::setEvent(m_event); }
    void wait() noexcept { platform::waitForObject(m_event, platform::forever); }

private:
    void* m_event;
};

// Blocks the calling thread until `operation` has ended, without a time limit and without pumping messages: not for a
// thread with a window or a single-threaded apartment.
template <typename Operation> Windows::Foundation::AsyncStatus waitForEnd(Operation const& operation)
{
    using Windows::Foundation::AsyncStatus;
    auto status = operation.Status();
    if (status != AsyncStatus::Started) {
        return status;
    }
    // The handler may still be inside set() when the waiter wakes up, and the operation may let go of it later still:
    // both hold the event.
    struct Shared
    {
        CompletionEvent ended;
        std::atomic<AsyncStatus> status{AsyncStatus::Started};
    };
    auto const shared = std::make_shared<Shared>();
    operation.Completed([shared](Operation const&, AsyncStatus ended) {
        shared->status = ended;
        shared->ended.set();
    });
    shared->ended.wait();
    return shared->status;
}
}
