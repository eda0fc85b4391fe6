#pragma once

/// Windows.Foundation: addresses and asynchronous operations.

#include "winrt/base.h"
#include "winrt/impl/async.h"

namespace winrt::impl {
struct UriAbi : InspectableAbi {
    virtual int32_t get_AbsoluteUri(void** text) noexcept = 0;
    virtual int32_t get_DisplayUri(void** text) noexcept = 0;
    virtual int32_t get_Domain(void** text) noexcept = 0;
    virtual int32_t get_Extension(void** text) noexcept = 0;
    virtual int32_t get_Fragment(void** text) noexcept = 0;
    virtual int32_t get_Host(void** text) noexcept = 0;
    virtual int32_t get_Password(void** text) noexcept = 0;
    virtual int32_t get_Path(void** text) noexcept = 0;
    virtual int32_t get_Query(void** text) noexcept = 0;
    virtual int32_t get_QueryParsed(void** decoder) noexcept = 0;
    virtual int32_t get_RawUri(void** text) noexcept = 0;
    virtual int32_t get_SchemeName(void** text) noexcept = 0;
    virtual int32_t get_UserName(void** text) noexcept = 0;
    virtual int32_t get_Port(int32_t* port) noexcept = 0;
    virtual int32_t get_Suspicious(bool* suspicious) noexcept = 0;
    virtual int32_t Equals(void* other, bool* equal) noexcept = 0;
    virtual int32_t CombineUri(void* relative, void** combined) noexcept = 0;
};

struct UriFactoryAbi : InspectableAbi {
    virtual int32_t CreateUri(void* text, void** uri) noexcept = 0;
    virtual int32_t CreateWithRelativeUri(void* base, void* relative, void** uri) noexcept = 0;
};
}  // namespace winrt::impl

namespace winrt::Windows::Foundation {
struct IUriRuntimeClass : IInspectable {
    IUriRuntimeClass(std::nullptr_t = nullptr) noexcept {}
    IUriRuntimeClass(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}

    hstring AbsoluteUri() const;
    hstring RawUri() const;
};

struct IUriRuntimeClassFactory : IInspectable {
    IUriRuntimeClassFactory(std::nullptr_t = nullptr) noexcept {}
    IUriRuntimeClassFactory(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}

    struct Uri CreateUri(const param::hstring& text) const;
};

/// An absolute address. The constructor throws hresult_invalid_argument when the text is not one.
struct Uri : IUriRuntimeClass {
    Uri(std::nullptr_t) noexcept {}
    Uri(void* object, take_ownership_from_abi_t) noexcept : IUriRuntimeClass(object, take_ownership_from_abi) {}
    explicit Uri(const param::hstring& text);
};
}  // namespace winrt::Windows::Foundation

namespace winrt::impl {
template <>
struct abi<Windows::Foundation::IUriRuntimeClass> {
    using type = UriAbi;
};
template <>
struct abi<Windows::Foundation::Uri> {
    using type = UriAbi;
};
template <>
struct abi<Windows::Foundation::IUriRuntimeClassFactory> {
    using type = UriFactoryAbi;
};
template <>
inline constexpr guid guid_v<Windows::Foundation::IUriRuntimeClass>{"9e365e57-48b2-4160-956f-c7385120bbfc"};
template <>
inline constexpr guid guid_v<Windows::Foundation::IUriRuntimeClassFactory>{"44a9796f-723e-4fdf-a218-033e75b0c084"};
template <>
inline constexpr guid guid_v<Windows::Foundation::Uri> = guid_v<Windows::Foundation::IUriRuntimeClass>;
template <>
inline constexpr const wchar_t* name_v<Windows::Foundation::Uri> = L"Windows.Foundation.Uri";
}  // namespace winrt::impl

namespace winrt::Windows::Foundation {
inline hstring IUriRuntimeClass::AbsoluteUri() const {
    hstring text;
    check_hresult(impl::abiOf(*this).get_AbsoluteUri(put_abi(text)));
    return text;
}

inline hstring IUriRuntimeClass::RawUri() const {
    hstring text;
    check_hresult(impl::abiOf(*this).get_RawUri(put_abi(text)));
    return text;
}

inline Uri IUriRuntimeClassFactory::CreateUri(const param::hstring& text) const {
    Uri uri{nullptr};
    check_hresult(impl::abiOf(*this).CreateUri(get_abi(text), put_abi(uri)));
    return uri;
}

inline Uri::Uri(const param::hstring& text)
    : Uri(get_activation_factory<Uri, IUriRuntimeClassFactory>().CreateUri(text)) {}
}  // namespace winrt::Windows::Foundation
