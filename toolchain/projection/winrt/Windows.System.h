#pragma once

/// Windows.System: starting the user's programs.

#include "winrt/Windows.Foundation.h"

namespace winrt::impl {
struct LauncherOptionsAbi : InspectableAbi {
    virtual int32_t get_TreatAsUntrusted(bool* value) noexcept = 0;
    virtual int32_t put_TreatAsUntrusted(bool value) noexcept = 0;
    virtual int32_t get_DisplayApplicationPicker(bool* value) noexcept = 0;
    virtual int32_t put_DisplayApplicationPicker(bool value) noexcept = 0;
    virtual int32_t get_UI(void** value) noexcept = 0;
    virtual int32_t get_PreferredApplicationPackageFamilyName(void** value) noexcept = 0;
    virtual int32_t put_PreferredApplicationPackageFamilyName(void* value) noexcept = 0;
    virtual int32_t get_PreferredApplicationDisplayName(void** value) noexcept = 0;
    virtual int32_t put_PreferredApplicationDisplayName(void* value) noexcept = 0;
    virtual int32_t get_FallbackUri(void** value) noexcept = 0;
    virtual int32_t put_FallbackUri(void* value) noexcept = 0;
    virtual int32_t get_ContentType(void** value) noexcept = 0;
    virtual int32_t put_ContentType(void* value) noexcept = 0;
};

struct LauncherOptions3Abi : InspectableAbi {
    virtual int32_t get_IgnoreAppUriHandlers(bool* value) noexcept = 0;
    virtual int32_t put_IgnoreAppUriHandlers(bool value) noexcept = 0;
};

struct LauncherStaticsAbi : InspectableAbi {
    virtual int32_t LaunchFileAsync(void* file, void** operation) noexcept = 0;
    virtual int32_t LaunchFileWithOptionsAsync(void* file, void* options, void** operation) noexcept = 0;
    virtual int32_t LaunchUriAsync(void* uri, void** operation) noexcept = 0;
    virtual int32_t LaunchUriWithOptionsAsync(void* uri, void* options, void** operation) noexcept = 0;
};
}  // namespace winrt::impl

namespace winrt::Windows::System {
struct ILauncherOptions : Foundation::IInspectable {
    ILauncherOptions(std::nullptr_t = nullptr) noexcept {}
    ILauncherOptions(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}
};

struct ILauncherOptions3 : Foundation::IInspectable {
    ILauncherOptions3(std::nullptr_t = nullptr) noexcept {}
    ILauncherOptions3(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}

    bool IgnoreAppUriHandlers() const;
    void IgnoreAppUriHandlers(bool value) const;
};

struct ILauncherStatics : Foundation::IInspectable {
    ILauncherStatics(std::nullptr_t = nullptr) noexcept {}
    ILauncherStatics(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}

    Foundation::IAsyncOperation<bool> LaunchUriAsync(const Foundation::Uri& uri,
                                                     const struct LauncherOptions& options) const;
};

struct LauncherOptions : ILauncherOptions {
    LauncherOptions();
    LauncherOptions(std::nullptr_t) noexcept {}
    LauncherOptions(void* object, take_ownership_from_abi_t) noexcept
        : ILauncherOptions(object, take_ownership_from_abi) {}

    /// Whether to skip the applications that have claimed an address. Throws hresult_no_interface where the system does
    /// not offer the choice.
    bool IgnoreAppUriHandlers() const { return as<ILauncherOptions3>().IgnoreAppUriHandlers(); }
    void IgnoreAppUriHandlers(bool value) const { as<ILauncherOptions3>().IgnoreAppUriHandlers(value); }
};

struct Launcher {
    Launcher() = delete;

    /// Opens an address in its handler. The operation's result tells whether a handler was started. Releasing the
    /// operation does not stop the launch.
    static Foundation::IAsyncOperation<bool> LaunchUriAsync(const Foundation::Uri& uri, const LauncherOptions& options);
};
}  // namespace winrt::Windows::System

namespace winrt::impl {
template <>
struct abi<Windows::System::ILauncherOptions3> {
    using type = LauncherOptions3Abi;
};
template <>
struct abi<Windows::System::ILauncherStatics> {
    using type = LauncherStaticsAbi;
};
template <>
inline constexpr guid guid_v<Windows::System::ILauncherOptions>{"bafa21d8-b071-4cd8-853e-341203e557d3"};
template <>
inline constexpr guid guid_v<Windows::System::ILauncherOptions3>{"f0770655-4b63-4e3a-9107-4e687841923a"};
template <>
inline constexpr guid guid_v<Windows::System::ILauncherStatics>{"277151c3-9e3e-42f6-91a4-5dfdeb232451"};
template <>
inline constexpr guid guid_v<Windows::System::LauncherOptions> = guid_v<Windows::System::ILauncherOptions>;
template <>
inline constexpr const wchar_t* name_v<Windows::System::LauncherOptions> = L"Windows.System.LauncherOptions";
template <>
inline constexpr const wchar_t* name_v<Windows::System::Launcher> = L"Windows.System.Launcher";
}  // namespace winrt::impl

namespace winrt::Windows::System {
inline bool ILauncherOptions3::IgnoreAppUriHandlers() const {
    bool value = false;
    check_hresult(impl::abiOf(*this).get_IgnoreAppUriHandlers(&value));
    return value;
}

inline void ILauncherOptions3::IgnoreAppUriHandlers(bool value) const {
    check_hresult(impl::abiOf(*this).put_IgnoreAppUriHandlers(value));
}

inline Foundation::IAsyncOperation<bool> ILauncherStatics::LaunchUriAsync(const Foundation::Uri& uri,
                                                                          const LauncherOptions& options) const {
    Foundation::IAsyncOperation<bool> operation;
    check_hresult(impl::abiOf(*this).LaunchUriWithOptionsAsync(get_abi(uri), get_abi(options), put_abi(operation)));
    return operation;
}

inline LauncherOptions::LauncherOptions()
    : LauncherOptions(get_activation_factory<LauncherOptions>().ActivateInstance<LauncherOptions>()) {}

inline Foundation::IAsyncOperation<bool> Launcher::LaunchUriAsync(const Foundation::Uri& uri,
                                                                  const LauncherOptions& options) {
    return get_activation_factory<Launcher, ILauncherStatics>().LaunchUriAsync(uri, options);
}
}  // namespace winrt::Windows::System
