#pragma once

/// Asynchronous operations: their status, their completed handlers and the blocking wait.

#include "winrt/impl/delegate.h"

#include <atomic>
#include <concepts>
#include <cstdint>
#include <memory>
#include <type_traits>

namespace winrt::Windows::Foundation {
enum class AsyncStatus : int32_t {
    Started = 0,
    Completed = 1,
    Canceled = 2,
    Error = 3,
};

template <typename TResult>
struct IAsyncOperation;
template <typename TResult, typename TProgress>
struct IAsyncOperationWithProgress;
}  // namespace winrt::Windows::Foundation

namespace winrt::impl {
struct AsyncInfoAbi : InspectableAbi {
    virtual int32_t get_Id(uint32_t* id) noexcept = 0;
    virtual int32_t get_Status(int32_t* status) noexcept = 0;
    virtual int32_t get_ErrorCode(int32_t* code) noexcept = 0;
    virtual int32_t Cancel() noexcept = 0;
    virtual int32_t Close() noexcept = 0;
};

/// GetResults writes a value of the result's size, or an interface pointer.
struct AsyncOperationAbi : InspectableAbi {
    virtual int32_t put_Completed(void* handler) noexcept = 0;
    virtual int32_t get_Completed(void** handler) noexcept = 0;
    virtual int32_t GetResults(void* result) noexcept = 0;
};

struct AsyncOperationWithProgressAbi : InspectableAbi {
    virtual int32_t put_Progress(void* handler) noexcept = 0;
    virtual int32_t get_Progress(void** handler) noexcept = 0;
    virtual int32_t put_Completed(void* handler) noexcept = 0;
    virtual int32_t get_Completed(void** handler) noexcept = 0;
    virtual int32_t GetResults(void* result) noexcept = 0;
};

/// A handler of type `Handler` for the end of a `Sender`: null, or made from any callable.
template <typename Handler, typename Sender>
struct CompletedHandler : Windows::Foundation::IUnknown {
    CompletedHandler(std::nullptr_t = nullptr) noexcept {}
    CompletedHandler(void* object, take_ownership_from_abi_t) noexcept : IUnknown(object, take_ownership_from_abi) {}

    template <std::invocable<const Sender&, Windows::Foundation::AsyncStatus> F>
        requires(!std::is_base_of_v<CompletedHandler, F>)
    CompletedHandler(F callable)
        : IUnknown(
              static_cast<CompletedHandlerAbi*>(
                  new CompletedDelegate<Handler, Sender, Windows::Foundation::AsyncStatus, F>(std::move(callable))),
              take_ownership_from_abi) {}

    /// Calls the handler as the runtime does; throws if it fails.
    void operator()(const Sender& operation, Windows::Foundation::AsyncStatus status) const {
        auto* const handler = static_cast<CompletedHandlerAbi*>(get_abi(*this));
        check_hresult(handler->Invoke(get_abi(operation), static_cast<int32_t>(status)));
    }
};

/// An event that is signalled once.
class CompletionEvent {
public:
    CompletionEvent() : m_event(platform::calls.createEvent()) {
        if (m_event == nullptr) {
            throw_last_error();
        }
    }
    ~CompletionEvent() { platform::closeHandle(m_event); }
    CompletionEvent(const CompletionEvent&) = delete;
    CompletionEvent& operator=(const CompletionEvent&) = delete;

    void set() noexcept { platform::setEvent(m_event); }
    void wait() noexcept { platform::waitForObject(m_event, platform::forever); }

private:
    void* m_event;
};

/// Blocks the calling thread until `operation` has ended, without a time limit and without pumping messages. Not for a
/// thread with a window or in a single-threaded apartment.
template <typename Operation>
Windows::Foundation::AsyncStatus waitForEnd(const Operation& operation) {
    using Windows::Foundation::AsyncStatus;
    auto status = operation.Status();
    if (status != AsyncStatus::Started) {
        return status;
    }
    /// The handler may still be inside set() when the waiter wakes up, and the operation may release it even later, so
    /// both hold the event.
    struct Shared {
        CompletionEvent ended;
        std::atomic<AsyncStatus> status{AsyncStatus::Started};
    };
    const auto shared = std::make_shared<Shared>();
    operation.Completed([shared](const Operation&, AsyncStatus ended) {
        shared->status = ended;
        shared->ended.set();
    });
    shared->ended.wait();
    return shared->status;
}
}  // namespace winrt::impl

namespace winrt::Windows::Foundation {
/// Every operation has this interface: it tells the progress and stops the operation.
struct IAsyncInfo : IInspectable {
    IAsyncInfo(std::nullptr_t = nullptr) noexcept {}
    IAsyncInfo(void* object, take_ownership_from_abi_t) noexcept : IInspectable(object, take_ownership_from_abi) {}

    uint32_t Id() const;
    AsyncStatus Status() const;
    hresult ErrorCode() const;  // of an operation that ended in AsyncStatus::Error
    void Cancel() const;        // a request: the operation may still end in another way
    void Close() const;
};
}  // namespace winrt::Windows::Foundation

namespace winrt::impl {
template <>
struct abi<Windows::Foundation::IAsyncInfo> {
    using type = AsyncInfoAbi;
};
template <>
inline constexpr guid guid_v<Windows::Foundation::IAsyncInfo>{"00000036-0000-0000-c000-000000000046"};

/// What every operation offers, based on its own `Completed` and `GetResults`. Each call asks the object for the
/// interface that has the function, and throws if the object lacks it.
template <typename Derived>
struct OperationMembers {
    uint32_t Id() const { return info().Id(); }
    Windows::Foundation::AsyncStatus Status() const { return info().Status(); }
    hresult ErrorCode() const { return info().ErrorCode(); }
    void Cancel() const { info().Cancel(); }
    void Close() const { info().Close(); }

    /// Waits for the end and returns the result. A cancelled operation throws hresult_canceled. For every other end, a
    /// failure included, GetResults decides what happens.
    auto get() const {
        if (waitForEnd(self()) == Windows::Foundation::AsyncStatus::Canceled) {
            throw hresult_canceled();
        }
        return self().GetResults();
    }

private:
    const Derived& self() const noexcept { return static_cast<const Derived&>(*this); }
    Windows::Foundation::IAsyncInfo info() const { return self().template as<Windows::Foundation::IAsyncInfo>(); }
};

/// Reads a result: a plain value, or an object whose reference the caller receives.
template <typename TResult, typename Abi>
TResult resultsOf(Abi& operation) {
    if constexpr (std::is_arithmetic_v<TResult>) {
        TResult result{};
        check_hresult(operation.GetResults(&result));
        return result;
    } else {
        void* result = nullptr;
        check_hresult(operation.GetResults(&result));
        return TResult{result, take_ownership_from_abi};
    }
}

template <typename TResult>
struct abi<Windows::Foundation::IAsyncOperation<TResult>> {
    using type = AsyncOperationAbi;
};
template <typename TResult, typename TProgress>
struct abi<Windows::Foundation::IAsyncOperationWithProgress<TResult, TProgress>> {
    using type = AsyncOperationWithProgressAbi;
};
}  // namespace winrt::impl

namespace winrt::Windows::Foundation {
inline uint32_t IAsyncInfo::Id() const {
    uint32_t id = 0;
    check_hresult(impl::abiOf(*this).get_Id(&id));
    return id;
}

inline AsyncStatus IAsyncInfo::Status() const {
    int32_t status = 0;
    check_hresult(impl::abiOf(*this).get_Status(&status));
    return static_cast<AsyncStatus>(status);
}

inline hresult IAsyncInfo::ErrorCode() const {
    int32_t code = 0;
    check_hresult(impl::abiOf(*this).get_ErrorCode(&code));
    return code;
}

inline void IAsyncInfo::Cancel() const { check_hresult(impl::abiOf(*this).Cancel()); }

inline void IAsyncInfo::Close() const { check_hresult(impl::abiOf(*this).Close()); }

template <typename TResult>
struct AsyncOperationCompletedHandler
    : impl::CompletedHandler<AsyncOperationCompletedHandler<TResult>, IAsyncOperation<TResult>> {
    using impl::CompletedHandler<AsyncOperationCompletedHandler, IAsyncOperation<TResult>>::CompletedHandler;
};

template <typename TResult, typename TProgress>
struct AsyncOperationWithProgressCompletedHandler
    : impl::CompletedHandler<AsyncOperationWithProgressCompletedHandler<TResult, TProgress>,
                             IAsyncOperationWithProgress<TResult, TProgress>> {
    using impl::CompletedHandler<AsyncOperationWithProgressCompletedHandler,
                                 IAsyncOperationWithProgress<TResult, TProgress>>::CompletedHandler;
};

/// An operation that yields a TResult. `Completed` may be set once. If the operation has already ended, the handler is
/// called at once or soon afterwards, on any thread.
template <typename TResult>
struct IAsyncOperation : IInspectable, impl::OperationMembers<IAsyncOperation<TResult>> {
    IAsyncOperation(std::nullptr_t = nullptr) noexcept {}
    IAsyncOperation(void* object, take_ownership_from_abi_t) noexcept : IInspectable(object, take_ownership_from_abi) {}

    void Completed(const AsyncOperationCompletedHandler<TResult>& handler) const {
        check_hresult(impl::abiOf(*this).put_Completed(get_abi(handler)));
    }
    TResult GetResults() const { return impl::resultsOf<TResult>(impl::abiOf(*this)); }
};

template <typename TResult, typename TProgress>
struct IAsyncOperationWithProgress : IInspectable,
                                     impl::OperationMembers<IAsyncOperationWithProgress<TResult, TProgress>> {
    IAsyncOperationWithProgress(std::nullptr_t = nullptr) noexcept {}
    IAsyncOperationWithProgress(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}

    void Completed(const AsyncOperationWithProgressCompletedHandler<TResult, TProgress>& handler) const {
        check_hresult(impl::abiOf(*this).put_Completed(get_abi(handler)));
    }
    TResult GetResults() const { return impl::resultsOf<TResult>(impl::abiOf(*this)); }
};
}  // namespace winrt::Windows::Foundation

/// The identifiers of parameterised types are computed from their parameters. These are the ones in use.
namespace winrt::impl {
template <>
inline constexpr guid guid_v<Windows::Foundation::IAsyncOperation<bool>>{"cdb5efb3-5788-509d-9be1-71ccb8a3362a"};
template <>
inline constexpr guid guid_v<Windows::Foundation::AsyncOperationCompletedHandler<bool>>{
    "c1d3d1a2-ae17-5a5f-b5a2-bdcc8844889a"};
}  // namespace winrt::impl
