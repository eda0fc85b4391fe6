#pragma once

/// The two roots of every projected interface and class.
///
/// A projected object is one counted pointer to its default binary interface, or null. Calling through null is a
/// programming error and faults. Copies share the object; the object decides whether several threads may call it.

#include "winrt/impl/hresult_error.h"

#include <cstddef>
#include <utility>

namespace winrt::Windows::Foundation {
struct IUnknown;
}

namespace winrt {
/// The raw pointer: borrowed, as a place for an out parameter (which releases what was held), or detached.
void* get_abi(const Windows::Foundation::IUnknown& object) noexcept;
void** put_abi(Windows::Foundation::IUnknown& object) noexcept;
void* detach_abi(Windows::Foundation::IUnknown& object) noexcept;
}  // namespace winrt

namespace winrt::Windows::Foundation {
struct IUnknown {
    IUnknown(std::nullptr_t = nullptr) noexcept {}
    IUnknown(void* object, take_ownership_from_abi_t) noexcept : m_object(object, take_ownership_from_abi) {}

    explicit operator bool() const noexcept { return static_cast<bool>(m_object); }

    /// Another interface of the object, or a class by its default interface. If the object lacks it, the first throws
    /// what the object returns, and the second returns null. Null stays null.
    template <typename To>
    To as() const {
        void* result = nullptr;
        if (m_object) {
            check_hresult(m_object->QueryInterface(guid_of<To>(), &result));
        }
        return To{result, take_ownership_from_abi};
    }

    template <typename To>
    To try_as() const noexcept {
        void* result = nullptr;
        if (m_object) {
            m_object->QueryInterface(guid_of<To>(), &result);
        }
        return To{result, take_ownership_from_abi};
    }

    friend void* winrt::get_abi(const IUnknown& object) noexcept;
    friend void** winrt::put_abi(IUnknown& object) noexcept;
    friend void* winrt::detach_abi(IUnknown& object) noexcept;

    /// Compares the objects' identities: two interfaces of one object are equal.
    friend bool operator==(const IUnknown& left, const IUnknown& right) noexcept {
        return left.m_object.try_as<impl::UnknownAbi>().get() == right.m_object.try_as<impl::UnknownAbi>().get();
    }

private:
    com_ptr<impl::UnknownAbi> m_object;
};

struct IInspectable : IUnknown {
    IInspectable(std::nullptr_t = nullptr) noexcept {}
    IInspectable(void* object, take_ownership_from_abi_t) noexcept : IUnknown(object, take_ownership_from_abi) {}
};

struct IActivationFactory : IInspectable {
    IActivationFactory(std::nullptr_t = nullptr) noexcept {}
    IActivationFactory(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}

    /// A new object of the factory's class. Null, without an exception, if the object lacks the wanted interface.
    template <typename T>
    T ActivateInstance() const {
        IInspectable instance;
        check_hresult(static_cast<impl::ActivationFactoryAbi*>(get_abi(*this))->ActivateInstance(put_abi(instance)));
        return instance.try_as<T>();
    }
};
}  // namespace winrt::Windows::Foundation

namespace winrt::impl {
template <>
struct abi<Windows::Foundation::IUnknown> {
    using type = UnknownAbi;
};
template <>
struct abi<Windows::Foundation::IInspectable> {
    using type = InspectableAbi;
};
template <>
struct abi<Windows::Foundation::IActivationFactory> {
    using type = ActivationFactoryAbi;
};
template <>
inline constexpr guid guid_v<Windows::Foundation::IUnknown> = guid_v<UnknownAbi>;
template <>
inline constexpr guid guid_v<Windows::Foundation::IInspectable> = guid_v<InspectableAbi>;
template <>
inline constexpr guid guid_v<Windows::Foundation::IActivationFactory> = guid_v<ActivationFactoryAbi>;

/// The binary interface of a projected object, for one call.
template <typename T>
abi_t<T>& abiOf(const T& object) noexcept {
    return *static_cast<abi_t<T>*>(get_abi(object));
}

/// The name of a class as the runtime knows it. Specialised next to each class.
template <typename T>
inline constexpr const wchar_t* name_v = T::no_class_name_is_known_for_this_type;
}  // namespace winrt::impl

namespace winrt {
template <typename T>
constexpr std::wstring_view name_of() noexcept {
    return impl::name_v<T>;
}

inline void* get_abi(const Windows::Foundation::IUnknown& object) noexcept { return object.m_object.get(); }
inline void** put_abi(Windows::Foundation::IUnknown& object) noexcept { return object.m_object.put_void(); }
inline void* detach_abi(Windows::Foundation::IUnknown& object) noexcept { return object.m_object.detach(); }

/// Replaces what `object` holds with a borrowed binary pointer, and adds a reference.
template <typename T>
void copy_from_abi(T& object, void* value) noexcept {
    if (value) {
        static_cast<impl::UnknownAbi*>(value)->AddRef();
    }
    object = T{value, take_ownership_from_abi};
}

template <typename T>
void attach_abi(T& object, void* value) noexcept {
    object = T{value, take_ownership_from_abi};
}
}  // namespace winrt
