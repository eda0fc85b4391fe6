#pragma once

/// A counted pointer to a binary interface. Threads must not share one pointer variable.

#include "winrt/impl/abi.h"
#include "winrt/impl/hresult.h"

#include <cstddef>
#include <utility>

namespace winrt {
template <typename T>
struct com_ptr {
    using type = T;

    com_ptr(std::nullptr_t = nullptr) noexcept {}
    com_ptr(void* pointer, take_ownership_from_abi_t) noexcept : m_pointer(static_cast<T*>(pointer)) {}
    com_ptr(const com_ptr& other) noexcept { copy_from(other.m_pointer); }
    com_ptr(com_ptr&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr)) {}
    ~com_ptr() { release(); }

    com_ptr& operator=(com_ptr other) noexcept {
        std::swap(m_pointer, other.m_pointer);
        return *this;
    }

    explicit operator bool() const noexcept { return m_pointer != nullptr; }
    T* operator->() const noexcept { return m_pointer; }
    T& operator*() const noexcept { return *m_pointer; }
    T* get() const noexcept { return m_pointer; }

    /// A place for an out parameter. Releases what was held.
    T** put() noexcept {
        release();
        return &m_pointer;
    }
    void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

    void attach(T* pointer) noexcept {
        release();
        m_pointer = pointer;
    }
    T* detach() noexcept { return std::exchange(m_pointer, nullptr); }

    /// Another interface of the object. This one throws hresult_no_interface (or what the object returns) ...
    template <typename To>
    com_ptr<To> as() const {
        com_ptr<To> result;
        if (m_pointer) {
            check_hresult(m_pointer->QueryInterface(guid_of<To>(), result.put_void()));
        }
        return result;
    }

    /// ... and this one returns null if the object lacks it.
    template <typename To>
    com_ptr<To> try_as() const noexcept {
        com_ptr<To> result;
        if (m_pointer) {
            m_pointer->QueryInterface(guid_of<To>(), result.put_void());
        }
        return result;
    }

    void copy_from(T* other) noexcept {
        if (other) {
            other->AddRef();
        }
        attach(other);
    }

    template <typename U>
    void copy_to(U** other) const noexcept {
        if (m_pointer) {
            m_pointer->AddRef();
        }
        *other = m_pointer;
    }

private:
    void release() noexcept {
        if (T* const pointer = std::exchange(m_pointer, nullptr)) {
            pointer->Release();
        }
    }

    T* m_pointer = nullptr;
};
}  // namespace winrt
