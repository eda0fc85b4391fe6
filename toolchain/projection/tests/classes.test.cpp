// The projected classes against objects in this process: which factory, which interface, which slot, which arguments.

#include "fakes.h"

#include <winrt/Windows.Management.Deployment.h>
#include <winrt/Windows.System.h>

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace {
using namespace projection_tests;
using winrt::guid_of;
using winrt::impl::UnknownAbi;
using namespace winrt::Windows::Foundation;
using namespace winrt::Windows::System;
using namespace winrt::Windows::Management::Deployment;

constexpr int32_t denied = static_cast<int32_t>(0x80070005);
constexpr int32_t notHere = static_cast<int32_t>(0x80004001);

// ---- the factories the activation hook hands out --------------------------------------------------------------------
std::map<std::wstring, winrt::com_ptr<UnknownAbi>> factories;

int32_t activate(void* classId, const guid& id, void** factory) noexcept {
    const auto found = factories.find(textOf(classId));
    if (found == factories.end()) {
        *factory = nullptr;
        return winrt::impl::error_class_not_registered;
    }
    return found->second->QueryInterface(id, factory);
}

// Makes one kind of object. It is agile, so that it is cached.
class ObjectFactory final : public FakeInspectable<winrt::impl::ActivationFactoryAbi> {
public:
    explicit ObjectFactory(winrt::com_ptr<UnknownAbi> product, int32_t result = 0)
        : FakeInspectable(
              {guid_of<UnknownAbi>(), guid_of<IActivationFactory>(), guid_of<winrt::impl::AgileObjectAbi>()}),
          m_product(std::move(product)),
          m_result(result) {}
    int32_t ActivateInstance(void** instance) noexcept override {
        m_product.copy_to(instance);
        return m_result;
    }

private:
    winrt::com_ptr<UnknownAbi> m_product;
    int32_t m_result;
};

// ---- Uri ------------------------------------------------------------------------------------------------------------
class FakeUri final : public FakeInspectable<winrt::impl::UriAbi> {
public:
    explicit FakeUri(std::wstring text)
        : FakeInspectable({guid_of<UnknownAbi>(), guid_of<IUriRuntimeClass>()}), m_text(std::move(text)) {}
    int32_t get_AbsoluteUri(void** text) noexcept override {
        *text = handedOver(winrt::hstring(m_text + L"/"));
        return 0;
    }
    int32_t get_DisplayUri(void**) noexcept override { return notHere; }
    int32_t get_Domain(void**) noexcept override { return notHere; }
    int32_t get_Extension(void**) noexcept override { return notHere; }
    int32_t get_Fragment(void**) noexcept override { return notHere; }
    int32_t get_Host(void**) noexcept override { return notHere; }
    int32_t get_Password(void**) noexcept override { return notHere; }
    int32_t get_Path(void**) noexcept override { return notHere; }
    int32_t get_Query(void**) noexcept override { return notHere; }
    int32_t get_QueryParsed(void**) noexcept override { return notHere; }
    int32_t get_RawUri(void** text) noexcept override {
        *text = handedOver(winrt::hstring(m_text));
        return m_text == L"x:unreadable" ? denied : 0;
    }
    int32_t get_SchemeName(void**) noexcept override { return notHere; }
    int32_t get_UserName(void**) noexcept override { return notHere; }
    int32_t get_Port(int32_t*) noexcept override { return notHere; }
    int32_t get_Suspicious(bool*) noexcept override { return notHere; }
    int32_t Equals(void*, bool*) noexcept override { return notHere; }
    int32_t CombineUri(void*, void**) noexcept override { return notHere; }

private:
    static void* handedOver(winrt::hstring text) { return winrt::detach_abi(text); }
    std::wstring m_text;
};

class FakeUriFactory final : public FakeInspectable<winrt::impl::UriFactoryAbi> {
public:
    FakeUriFactory() : FakeInspectable({guid_of<UnknownAbi>(), guid_of<IUriRuntimeClassFactory>()}) {}
    int32_t CreateUri(void* text, void** uri) noexcept override {
        if (textOf(text).find(L':') == std::wstring::npos) {
            *uri = nullptr;
            return winrt::impl::error_invalid_argument;
        }
        *uri = new FakeUri(textOf(text));
        return 0;
    }
    int32_t CreateWithRelativeUri(void*, void*, void**) noexcept override { return notHere; }
};

// ---- launcher -------------------------------------------------------------------------------------------------------
class FakeOptions final : public FakeInspectable<winrt::impl::InspectableAbi> {
public:
    class Third final : public FakeInspectable<winrt::impl::LauncherOptions3Abi> {
    public:
        Third() : FakeInspectable({}) {}
        int32_t get_IgnoreAppUriHandlers(bool* value) noexcept override {
            *value = ignore;
            return result;
        }
        int32_t put_IgnoreAppUriHandlers(bool value) noexcept override {
            ignore = value;
            return result;
        }
        bool ignore = false;
        int32_t result = 0;
    };
    explicit FakeOptions(bool hasThird)
        : FakeInspectable({guid_of<UnknownAbi>(), guid_of<ILauncherOptions>()}), m_hasThird(hasThird) {}
    int32_t QueryInterface(const guid& id, void** object) noexcept override {
        if (m_hasThird && id == guid_of<ILauncherOptions3>()) {
            third.AddRef();
            *object = &third;
            return 0;
        }
        return FakeInspectable::QueryInterface(id, object);
    }
    Third third;

private:
    bool m_hasThird;
};

class FakeLauncher final : public FakeInspectable<winrt::impl::LauncherStaticsAbi> {
public:
    FakeLauncher() : FakeInspectable({guid_of<UnknownAbi>(), guid_of<ILauncherStatics>()}) {}
    int32_t LaunchFileAsync(void*, void**) noexcept override { return notHere; }
    int32_t LaunchFileWithOptionsAsync(void*, void*, void**) noexcept override { return notHere; }
    int32_t LaunchUriAsync(void*, void**) noexcept override { return notHere; }
    int32_t LaunchUriWithOptionsAsync(void* uri, void* options, void** operation) noexcept override {
        launched = {uri, options};
        *operation = result < 0 ? nullptr : new FakeInspectable<winrt::impl::InspectableAbi>({guid_of<UnknownAbi>()});
        return result;
    }
    static inline std::pair<void*, void*> launched;
    static inline int32_t result = 0;
};

// ---- deployment -----------------------------------------------------------------------------------------------------
class FakeResult final : public FakeInspectable<winrt::impl::DeploymentResultAbi> {
public:
    explicit FakeResult(int32_t result)
        : FakeInspectable({guid_of<UnknownAbi>(), guid_of<IDeploymentResult>()}), m_result(result) {}
    int32_t get_ErrorText(void** text) noexcept override {
        winrt::hstring made = L"the deployment failed";
        *text = winrt::detach_abi(made);
        return m_result;
    }
    int32_t get_ActivityId(guid* id) noexcept override {
        *id = guid("11223344-5566-7788-0102-030405060708");
        return m_result;
    }
    int32_t get_ExtendedErrorCode(int32_t* code) noexcept override {
        *code = denied;
        return m_result;
    }

private:
    int32_t m_result;
};

class FakeDeployment final : public FakeInspectable<winrt::impl::AsyncOperationWithProgressAbi> {
public:
    FakeDeployment() : FakeInspectable({guid_of<UnknownAbi>(), guid_of<DeploymentOperation>()}) {}
    int32_t put_Progress(void*) noexcept override { return notHere; }
    int32_t get_Progress(void**) noexcept override { return notHere; }
    int32_t put_Completed(void* handler) noexcept override {
        void* answer = nullptr;
        auto& unknown = *static_cast<UnknownAbi*>(handler);
        using Handler = AsyncOperationWithProgressCompletedHandler<DeploymentResult, DeploymentProgress>;
        handlerKnown = unknown.QueryInterface(guid_of<Handler>(), &answer) == 0;
        if (answer) {
            unknown.Release();
        }
        return 0;
    }
    int32_t get_Completed(void**) noexcept override { return notHere; }
    int32_t GetResults(void* result) noexcept override {
        *static_cast<void**>(result) = new FakeResult(0);
        return 0;
    }
    static inline bool handlerKnown = false;
};

class FakeManager final : public FakeInspectable<winrt::impl::PackageManagerAbi> {
public:
    FakeManager() : FakeInspectable({guid_of<UnknownAbi>(), guid_of<IPackageManager>()}) {}
    int32_t AddPackageAsync(void*, void*, uint32_t, void**) noexcept override { return notHere; }
    int32_t UpdatePackageAsync(void* uri, void* dependencies, uint32_t options, void** operation) noexcept override {
        given = {uri, dependencies, options};
        *operation = result < 0 ? nullptr : new FakeDeployment();
        return result;
    }
    int32_t RemovePackageAsync(void*, void**) noexcept override { return notHere; }
    int32_t StagePackageAsync(void*, void*, void**) noexcept override { return notHere; }
    int32_t RegisterPackageAsync(void*, void*, uint32_t, void**) noexcept override { return notHere; }
    int32_t FindPackages(void**) noexcept override { return notHere; }
    int32_t FindPackagesByUserSecurityId(void*, void**) noexcept override { return notHere; }
    int32_t FindPackagesByNamePublisher(void*, void*, void**) noexcept override { return notHere; }
    int32_t FindPackagesByUserSecurityIdNamePublisher(void*, void*, void*, void**) noexcept override { return notHere; }
    int32_t FindUsers(void*, void**) noexcept override { return notHere; }
    int32_t SetPackageState(void*, int32_t) noexcept override { return notHere; }
    int32_t FindPackageByPackageFullName(void*, void**) noexcept override { return notHere; }
    int32_t CleanupPackageForUserAsync(void*, void*, void**) noexcept override { return notHere; }
    int32_t FindPackagesByPackageFamilyName(void*, void**) noexcept override { return notHere; }
    int32_t FindPackagesByUserSecurityIdPackageFamilyName(void*, void*, void**) noexcept override { return notHere; }
    int32_t FindPackageByUserSecurityIdPackageFullName(void*, void*, void**) noexcept override { return notHere; }

    struct Given {
        void* uri;
        void* dependencies;
        uint32_t options;
    };
    static inline Given given{};
    static inline int32_t result = 0;
};

class Classes : public testing::Test {
protected:
    Classes() {
        winrt_activation_handler = activate;
        offer(L"Windows.Foundation.Uri", new FakeUriFactory());
        FakeLauncher::result = 0;
        FakeManager::result = 0;
    }
    void TearDown() override {
        winrt::clear_factory_cache();
        factories.clear();
        EXPECT_EQ(0, m_leaks.leaked());
    }
    template <typename T>
    static void offer(const wchar_t* name, T* factory) {
        factories[name] = winrt::com_ptr<UnknownAbi>(factory, winrt::take_ownership_from_abi);
    }
    template <typename T>
    static winrt::com_ptr<UnknownAbi> owned(T* object) {
        return {object, winrt::take_ownership_from_abi};
    }

private:
    LeakCheck m_leaks;
    ActivationScope m_activation;
};

TEST_F(Classes, UriIsMadeFromItsText) {
    const Uri uri{L"app:page"};
    EXPECT_EQ(uri.RawUri(), L"app:page");
    EXPECT_EQ(uri.AbsoluteUri(), L"app:page/");
    EXPECT_THROW(Uri{L"x:unreadable"}.RawUri(), winrt::hresult_access_denied);
    EXPECT_FALSE(Uri{nullptr});
}

TEST_F(Classes, TextThatIsNotAUriThrows) {
    EXPECT_THROW(Uri{L"page"}, winrt::hresult_invalid_argument);
    factories.clear();
    winrt::clear_factory_cache();
    EXPECT_THROW(Uri{L"app:page"}, winrt::hresult_class_not_registered);
}

TEST_F(Classes, OptionsReachTheirLaterInterface) {
    auto* const fake = new FakeOptions(true);
    offer(L"Windows.System.LauncherOptions", new ObjectFactory(owned(fake)));
    const LauncherOptions options;
    EXPECT_EQ(fake, winrt::get_abi(options));
    EXPECT_FALSE(options.IgnoreAppUriHandlers());
    options.IgnoreAppUriHandlers(true);
    EXPECT_TRUE(fake->third.ignore);
    EXPECT_TRUE(options.IgnoreAppUriHandlers());
    EXPECT_EQ(1u, fake->third.references());
    fake->third.result = denied;
    EXPECT_THROW(options.IgnoreAppUriHandlers(), winrt::hresult_access_denied);
    EXPECT_THROW(options.IgnoreAppUriHandlers(false), winrt::hresult_access_denied);
    EXPECT_FALSE(LauncherOptions{nullptr});
}

TEST_F(Classes, OptionsWithoutTheLaterInterfaceThrow) {
    offer(L"Windows.System.LauncherOptions", new ObjectFactory(owned(new FakeOptions(false))));
    EXPECT_THROW(LauncherOptions().IgnoreAppUriHandlers(true), winrt::hresult_no_interface);
}

TEST_F(Classes, LauncherIsGivenTheDefaultInterfaces) {
    offer(L"Windows.System.LauncherOptions", new ObjectFactory(owned(new FakeOptions(true))));
    offer(L"Windows.System.Launcher", new FakeLauncher());
    const Uri uri{L"app:page"};
    const LauncherOptions options;
    EXPECT_TRUE(Launcher::LaunchUriAsync(uri, options));
    EXPECT_EQ(winrt::get_abi(uri), FakeLauncher::launched.first);
    EXPECT_EQ(winrt::get_abi(options), FakeLauncher::launched.second);
    FakeLauncher::result = denied;
    EXPECT_THROW(Launcher::LaunchUriAsync(uri, options), winrt::hresult_access_denied);
}

TEST_F(Classes, PackageManagerIsGivenTheArgumentsAsTheyAre) {
    offer(L"Windows.Management.Deployment.PackageManager", new ObjectFactory(owned(new FakeManager())));
    const Uri uri{L"file:///package.msix"};
    const PackageManager manager;
    const auto operation = manager.UpdatePackageAsync(uri, nullptr, DeploymentOptions::ForceApplicationShutdown);
    EXPECT_TRUE(operation);
    EXPECT_EQ(winrt::get_abi(uri), FakeManager::given.uri);
    EXPECT_EQ(nullptr, FakeManager::given.dependencies);
    EXPECT_EQ(1u, FakeManager::given.options);
    operation.Completed([](const auto&, AsyncStatus) {});
    EXPECT_TRUE(FakeDeployment::handlerKnown);

    const DeploymentResult result = operation.GetResults();
    EXPECT_EQ(result.ErrorText(), L"the deployment failed");
    EXPECT_EQ(result.ExtendedErrorCode(), denied);
    EXPECT_EQ(result.ActivityId(), guid("11223344-5566-7788-0102-030405060708"));

    manager.UpdatePackageAsync(uri, nullptr, DeploymentOptions::DevelopmentMode | DeploymentOptions::StageInPlace);
    EXPECT_EQ(0x400002u, FakeManager::given.options);
    FakeManager::result = denied;
    EXPECT_THROW(manager.UpdatePackageAsync(uri, nullptr, DeploymentOptions::None), winrt::hresult_access_denied);
}

TEST_F(Classes, ResultsThatCannotBeReadThrow) {
    const DeploymentResult result(new FakeResult(denied), winrt::take_ownership_from_abi);
    EXPECT_THROW(result.ErrorText(), winrt::hresult_access_denied);
    EXPECT_THROW(result.ExtendedErrorCode(), winrt::hresult_access_denied);
    EXPECT_THROW(result.ActivityId(), winrt::hresult_access_denied);
}

TEST_F(Classes, ObjectThatCannotBeMadeThrows) {
    offer(L"Windows.Management.Deployment.PackageManager", new ObjectFactory(nullptr, denied));
    EXPECT_THROW(PackageManager(), winrt::hresult_access_denied);
    EXPECT_FALSE(PackageManager{nullptr});
}

// An object whose kind is not what its class promises gives null, not a failure.
TEST_F(Classes, ObjectWithoutItsDefaultInterfaceIsNull) {
    offer(L"Windows.Management.Deployment.PackageManager", new ObjectFactory(owned(new FakeUri(L"x:"))));
    EXPECT_FALSE(PackageManager());
}

TEST(DeploymentTypes, HaveTheirBinaryShape) {
    static_assert(sizeof(DeploymentProgress) == 8 && alignof(DeploymentProgress) == 4);
    static_assert(static_cast<uint32_t>(DeploymentOptions::ForceUpdateFromAnyVersion) == 0x40000);
    EXPECT_EQ(
        DeploymentOptions::DevelopmentMode,
        DeploymentOptions::DevelopmentMode & (DeploymentOptions::DevelopmentMode | DeploymentOptions::StageInPlace));
}
}  // namespace
