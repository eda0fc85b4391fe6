#pragma once

#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "common/com/interfaces.h"

namespace common {

namespace com_internal {

/// Reports that an empty `ComPtr` to the type `pointee` was dereferenced. Returns only if an assertion handler is
/// installed.
void raiseNotDereferencible(const std::type_info& pointee);

/// Logs a conversion to an interface that the source does not implement.
void logApiNotExposed(const std::type_info& source, const std::type_info& target);

}  // namespace com_internal

/// Owns one strong reference to an object through its interface `T`, or nothing.
///
/// Threads: those that the object's counting policy allows. The pointer itself needs a lock when several threads use
/// it.
/// Failure: dereferencing an empty pointer is an assertion failure. A failed conversion gives an empty pointer and
/// writes one log record; the caller tests the pointer.
///
///     ComPtr<zeb::RawInputDriver> driver = zeb::makeRawInputDriver();
///     if (driver) driver->releasePointerCapture();
///     const auto same = ComPtr<IRefCounted>::acquire(driver);  // one more reference to the same object
template <typename T>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(std::nullptr_t) noexcept {}
    /// Adds a reference to `instance`.
    explicit ComPtr(T* instance) noexcept : m_instance(instance) { addReference(); }
    ComPtr(const ComPtr& other) noexcept : m_instance(other.m_instance) { addReference(); }
    ComPtr(ComPtr&& other) noexcept : m_instance(std::exchange(other.m_instance, nullptr)) {}
    /// Converts a pointer to a derived interface or class.
    template <typename U>
        requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>)
    ComPtr(ComPtr<U>&& other) noexcept : m_instance(other.detach()) {}
    ~ComPtr() { reset(); }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the copy is swapped in
    ComPtr& operator=(const ComPtr& other) noexcept {
        ComPtr(other).swap(*this);
        return *this;
    }
    ComPtr& operator=(ComPtr&& other) noexcept {
        ComPtr(std::move(other)).swap(*this);
        return *this;
    }

    /// Takes over a reference that the caller owns.
    [[nodiscard]] static ComPtr attach(T* instance) noexcept {
        ComPtr result;
        result.m_instance = instance;
        return result;
    }

    /// Asks `source` for the interface `T` and adds a reference. Returns an empty pointer when `source` is null, or
    /// when it does not implement `T`; the second case is logged.
    template <typename Source>
    [[nodiscard]] static ComPtr acquire(Source* source) {
        if (source == nullptr) return {};
        IAnything* const anything = source;
        if (void* const found = anything->query(typeid(T))) return ComPtr(static_cast<T*>(found));
        com_internal::logApiNotExposed(typeid(Source), typeid(T));
        return {};
    }
    template <typename Source>
    [[nodiscard]] static ComPtr acquire(const ComPtr<Source>& source) {
        return acquire(source.get());
    }

    T* operator->() const {
        if (m_instance == nullptr) com_internal::raiseNotDereferencible(typeid(T));
        return m_instance;
    }
    T* get() const noexcept { return m_instance; }
    explicit operator bool() const noexcept { return m_instance != nullptr; }

    /// Passes the reference to the caller.
    [[nodiscard]] T* detach() noexcept { return std::exchange(m_instance, nullptr); }
    /// Empties the pointer before it releases the object, so code that the release runs finds the pointer empty.
    void reset() noexcept {
        if (T* const instance = std::exchange(m_instance, nullptr)) instance->release();
    }
    void swap(ComPtr& other) noexcept { std::swap(m_instance, other.m_instance); }

private:
    void addReference() const noexcept {
        if (m_instance != nullptr) m_instance->addRef();
    }

    T* m_instance = nullptr;
};

}  // namespace common
