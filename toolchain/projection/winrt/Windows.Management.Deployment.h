#pragma once

/// Windows.Management.Deployment: updating an installed package.

#include "winrt/Windows.Foundation.h"

namespace winrt::param {
/// A list argument. It can only say "no list".
template <typename T>
struct async_iterable {
    async_iterable(std::nullptr_t) noexcept {}
    friend void* get_abi(const async_iterable&) noexcept { return nullptr; }
};
}  // namespace winrt::param

namespace winrt::impl {
struct DeploymentResultAbi : InspectableAbi {
    virtual int32_t get_ErrorText(void** text) noexcept = 0;
    virtual int32_t get_ActivityId(guid* id) noexcept = 0;
    virtual int32_t get_ExtendedErrorCode(int32_t* code) noexcept = 0;
};

struct PackageManagerAbi : InspectableAbi {
    virtual int32_t AddPackageAsync(void* uri, void* dependencies, uint32_t options, void** operation) noexcept = 0;
    virtual int32_t UpdatePackageAsync(void* uri, void* dependencies, uint32_t options, void** operation) noexcept = 0;
    virtual int32_t RemovePackageAsync(void* fullName, void** operation) noexcept = 0;
    virtual int32_t StagePackageAsync(void* uri, void* dependencies, void** operation) noexcept = 0;
    virtual int32_t RegisterPackageAsync(void* manifest, void* dependencies, uint32_t options,
                                         void** operation) noexcept = 0;
    virtual int32_t FindPackages(void** packages) noexcept = 0;
    virtual int32_t FindPackagesByUserSecurityId(void* user, void** packages) noexcept = 0;
    virtual int32_t FindPackagesByNamePublisher(void* name, void* publisher, void** packages) noexcept = 0;
    virtual int32_t FindPackagesByUserSecurityIdNamePublisher(void* user, void* name, void* publisher,
                                                              void** packages) noexcept = 0;
    virtual int32_t FindUsers(void* fullName, void** users) noexcept = 0;
    virtual int32_t SetPackageState(void* fullName, int32_t state) noexcept = 0;
    virtual int32_t FindPackageByPackageFullName(void* fullName, void** package) noexcept = 0;
    virtual int32_t CleanupPackageForUserAsync(void* name, void* user, void** operation) noexcept = 0;
    virtual int32_t FindPackagesByPackageFamilyName(void* family, void** packages) noexcept = 0;
    virtual int32_t FindPackagesByUserSecurityIdPackageFamilyName(void* user, void* family,
                                                                  void** packages) noexcept = 0;
    virtual int32_t FindPackageByUserSecurityIdPackageFullName(void* user, void* fullName, void** package) noexcept = 0;
};
}  // namespace winrt::impl

namespace winrt::Windows::Management::Deployment {
enum class DeploymentOptions : uint32_t {
    None = 0,
    ForceApplicationShutdown = 0x1,
    DevelopmentMode = 0x2,
    InstallAllResources = 0x20,
    ForceTargetApplicationShutdown = 0x40,
    RequiredContentGroupOnly = 0x100,
    ForceUpdateFromAnyVersion = 0x40000,
    RetainFilesOnFailure = 0x200000,
    StageInPlace = 0x400000,
};

constexpr DeploymentOptions operator|(DeploymentOptions left, DeploymentOptions right) noexcept {
    return static_cast<DeploymentOptions>(static_cast<uint32_t>(left) | static_cast<uint32_t>(right));
}

constexpr DeploymentOptions operator&(DeploymentOptions left, DeploymentOptions right) noexcept {
    return static_cast<DeploymentOptions>(static_cast<uint32_t>(left) & static_cast<uint32_t>(right));
}

enum class DeploymentProgressState : int32_t {
    Queued = 0,
    Processing = 1,
};

struct DeploymentProgress {
    DeploymentProgressState state;
    uint32_t percentage;

    friend bool operator==(const DeploymentProgress& left, const DeploymentProgress& right) noexcept = default;
};

struct IDeploymentResult : Foundation::IInspectable {
    IDeploymentResult(std::nullptr_t = nullptr) noexcept {}
    IDeploymentResult(void* object, take_ownership_from_abi_t) noexcept
        : IInspectable(object, take_ownership_from_abi) {}

    hstring ErrorText() const;  // empty if the deployment succeeded
    guid ActivityId() const;
    hresult ExtendedErrorCode() const;
};

/// How a deployment ended. A failed deployment has a result too; only one that could not start throws instead.
struct DeploymentResult : IDeploymentResult {
    DeploymentResult(std::nullptr_t) noexcept {}
    DeploymentResult(void* object, take_ownership_from_abi_t) noexcept
        : IDeploymentResult(object, take_ownership_from_abi) {}
};

using DeploymentOperation = Foundation::IAsyncOperationWithProgress<DeploymentResult, DeploymentProgress>;

struct IPackageManager : Foundation::IInspectable {
    IPackageManager(std::nullptr_t = nullptr) noexcept {}
    IPackageManager(void* object, take_ownership_from_abi_t) noexcept : IInspectable(object, take_ownership_from_abi) {}

    /// Starts to update an installed package from `packageUri`. Throws when the deployment cannot start.
    DeploymentOperation UpdatePackageAsync(const Foundation::Uri& packageUri,
                                           const param::async_iterable<Foundation::Uri>& dependencyPackageUris,
                                           const DeploymentOptions& deploymentOptions) const;
};

struct PackageManager : IPackageManager {
    PackageManager();
    PackageManager(std::nullptr_t) noexcept {}
    PackageManager(void* object, take_ownership_from_abi_t) noexcept
        : IPackageManager(object, take_ownership_from_abi) {}
};
}  // namespace winrt::Windows::Management::Deployment

namespace winrt::impl {
template <>
struct abi<Windows::Management::Deployment::IDeploymentResult> {
    using type = DeploymentResultAbi;
};
template <>
struct abi<Windows::Management::Deployment::IPackageManager> {
    using type = PackageManagerAbi;
};
template <>
inline constexpr guid guid_v<Windows::Management::Deployment::IDeploymentResult>{
    "2563b9ae-b77d-4c1f-8a7b-20e6ad515ef3"};
template <>
inline constexpr guid guid_v<Windows::Management::Deployment::IPackageManager>{"9a7d4b65-5e8f-4fc7-a2e5-7f6925cb8b53"};
template <>
inline constexpr guid guid_v<Windows::Management::Deployment::DeploymentResult> =
    guid_v<Windows::Management::Deployment::IDeploymentResult>;
template <>
inline constexpr guid guid_v<Windows::Management::Deployment::PackageManager> =
    guid_v<Windows::Management::Deployment::IPackageManager>;
template <>
inline constexpr guid guid_v<Windows::Management::Deployment::DeploymentOperation>{
    "5a97aab7-b6ea-55ac-a5dc-d5b164d94e94"};
template <>
inline constexpr guid guid_v<Windows::Foundation::AsyncOperationWithProgressCompletedHandler<
    Windows::Management::Deployment::DeploymentResult, Windows::Management::Deployment::DeploymentProgress>>{
    "6e1c7129-61e0-5d88-9fd4-f3ce65a05719"};
template <>
inline constexpr const wchar_t* name_v<Windows::Management::Deployment::PackageManager> =
    L"Windows.Management.Deployment.PackageManager";
}  // namespace winrt::impl

namespace winrt::Windows::Management::Deployment {
inline hstring IDeploymentResult::ErrorText() const {
    hstring text;
    check_hresult(impl::abiOf(*this).get_ErrorText(put_abi(text)));
    return text;
}

inline guid IDeploymentResult::ActivityId() const {
    guid id{};
    check_hresult(impl::abiOf(*this).get_ActivityId(&id));
    return id;
}

inline hresult IDeploymentResult::ExtendedErrorCode() const {
    int32_t code = 0;
    check_hresult(impl::abiOf(*this).get_ExtendedErrorCode(&code));
    return code;
}

inline DeploymentOperation IPackageManager::UpdatePackageAsync(
    const Foundation::Uri& packageUri, const param::async_iterable<Foundation::Uri>& dependencyPackageUris,
    const DeploymentOptions& deploymentOptions) const {
    DeploymentOperation operation;
    check_hresult(impl::abiOf(*this).UpdatePackageAsync(get_abi(packageUri), get_abi(dependencyPackageUris),
                                                        static_cast<uint32_t>(deploymentOptions), put_abi(operation)));
    return operation;
}

inline PackageManager::PackageManager()
    : PackageManager(get_activation_factory<PackageManager>().ActivateInstance<PackageManager>()) {}
}  // namespace winrt::Windows::Management::Deployment
