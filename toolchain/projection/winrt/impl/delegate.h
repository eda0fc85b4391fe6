#pragma once

/// Callable objects that the runtime can hold and call.
///
/// Any thread may call a delegate: it has IAgileObject, and IMarshal through the free-threaded marshaler, so no
/// apartment gets in between. If an exception leaves the callable, the caller receives its code.

#include "winrt/impl/unknown.h"

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

namespace winrt::impl {
/// Counting for objects that are made here: they start with one reference and end with the last.
class ReferenceCount {
public:
    uint32_t increment() noexcept { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    uint32_t decrement() noexcept { return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<uint32_t> m_count{1};
};

/// A delegate's IMarshal: a separate object that keeps the delegate alive, forwards its identity, and forwards
/// marshalling to its own free-threaded marshaler. It is not aggregated, because an aggregated object would not keep
/// its outer object alive.
class DelegateMarshaler final : public MarshalAbi {
public:
    static int32_t make(UnknownAbi* delegate, void** result) noexcept {
        *result = nullptr;
        com_ptr<UnknownAbi> free;
        if (const hresult code = platform::calls.createMarshaler(nullptr, free.put_void()); code < 0) {
            return code;
        }
        com_ptr<MarshalAbi> marshal = free.try_as<MarshalAbi>();
        if (!marshal) {
            return error_no_interface;
        }
        auto* const made = new (std::nothrow) DelegateMarshaler(delegate, std::move(marshal));
        if (made == nullptr) {
            return error_bad_alloc;
        }
        *result = static_cast<MarshalAbi*>(made);
        return error_ok;
    }

    int32_t QueryInterface(const guid& id, void** object) noexcept override {
        if (id != guid_of<MarshalAbi>()) {
            return m_delegate->QueryInterface(id, object);
        }
        *object = static_cast<MarshalAbi*>(this);
        AddRef();
        return error_ok;
    }
    uint32_t AddRef() noexcept override { return m_references.increment(); }
    uint32_t Release() noexcept override {
        const uint32_t left = m_references.decrement();
        if (left == 0) {
            delete this;
        }
        return left;
    }

    int32_t GetUnmarshalClass(const guid& id, void* object, uint32_t context, void* contextData, uint32_t flags,
                              guid* unmarshaler) noexcept override {
        return m_marshal->GetUnmarshalClass(id, object, context, contextData, flags, unmarshaler);
    }
    int32_t GetMarshalSizeMax(const guid& id, void* object, uint32_t context, void* contextData, uint32_t flags,
                              uint32_t* size) noexcept override {
        return m_marshal->GetMarshalSizeMax(id, object, context, contextData, flags, size);
    }
    int32_t MarshalInterface(void* stream, const guid& id, void* object, uint32_t context, void* contextData,
                             uint32_t flags) noexcept override {
        return m_marshal->MarshalInterface(stream, id, object, context, contextData, flags);
    }
    int32_t UnmarshalInterface(void* stream, const guid& id, void** object) noexcept override {
        *object = nullptr;
        return m_marshal->UnmarshalInterface(stream, id, object);
    }
    int32_t ReleaseMarshalData(void* stream) noexcept override { return m_marshal->ReleaseMarshalData(stream); }
    int32_t DisconnectObject(uint32_t reserved) noexcept override { return m_marshal->DisconnectObject(reserved); }

private:
    DelegateMarshaler(UnknownAbi* delegate, com_ptr<MarshalAbi> marshal) noexcept : m_marshal(std::move(marshal)) {
        m_delegate.copy_from(delegate);
    }

    com_ptr<UnknownAbi> m_delegate;
    com_ptr<MarshalAbi> m_marshal;
    ReferenceCount m_references;
};

/// The binary layout of a handler that is told the end of an operation.
struct CompletedHandlerAbi : UnknownAbi {
    virtual int32_t Invoke(void* operation, int32_t status) noexcept = 0;
};

/// The handler of type `Handler` made from a callable that takes `const Sender&` and `Status`.
template <typename Handler, typename Sender, typename Status, typename F>
class CompletedDelegate final : public CompletedHandlerAbi {
public:
    explicit CompletedDelegate(F&& callable) : m_callable(std::move(callable)) {}

    int32_t QueryInterface(const guid& id, void** object) noexcept override {
        if (id == guid_of<Handler>() || id == guid_of<UnknownAbi>() || id == guid_of<AgileObjectAbi>()) {
            *object = static_cast<CompletedHandlerAbi*>(this);
            AddRef();
            return error_ok;
        }
        if (id == guid_of<MarshalAbi>()) {
            return DelegateMarshaler::make(this, object);
        }
        *object = nullptr;
        return error_no_interface;
    }
    uint32_t AddRef() noexcept override { return m_references.increment(); }
    uint32_t Release() noexcept override {
        const uint32_t left = m_references.decrement();
        if (left == 0) {
            delete this;
        }
        return left;
    }

    int32_t Invoke(void* operation, int32_t status) noexcept override {
        try {
            Sender sender{nullptr};
            copy_from_abi(sender, operation);
            m_callable(std::as_const(sender), static_cast<Status>(status));
            return error_ok;
        } catch (...) {
            return to_hresult();
        }
    }

private:
    F m_callable;
    ReferenceCount m_references;
};
}  // namespace winrt::impl
