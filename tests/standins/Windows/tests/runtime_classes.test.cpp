// The stand-in classes, reached by the projection through the system's own activation. Two independent declarations of
// the same binary contract meet here.

#include <windows.h>

#include <winrt/Windows.Foundation.h>
#include <winrt/Windows.Management.Deployment.h>
#include <winrt/Windows.System.h>

#include <gtest/gtest.h>
#include <chrono>
#include <functional>
#include <new>
#include <thread>

#include "standin_client.h"

namespace {

using standins::StandinClient;
using winrt::Windows::Foundation::AsyncStatus;
using winrt::Windows::Foundation::Uri;
using winrt::Windows::Management::Deployment::DeploymentOptions;
using winrt::Windows::Management::Deployment::DeploymentResult;
using winrt::Windows::Management::Deployment::PackageManager;
using winrt::Windows::System::Launcher;
using winrt::Windows::System::LauncherOptions;

constexpr std::int32_t code(std::uint32_t value) { return static_cast<std::int32_t>(value); }
constexpr std::int32_t denied = code(0x80070005);

class StandinClasses : public testing::Test {
protected:
    static void SetUpTestSuite() {
        const StandinClient server{L"standins\\runtime-classes.dll"};
        for (const auto name : {L"Windows.Foundation.Uri", L"Windows.System.LauncherOptions",
                                L"Windows.System.Launcher", L"Windows.Management.Deployment.PackageManager"}) {
            const std::wstring key = std::wstring(L"Software\\Microsoft\\WindowsRuntime\\ActivatableClassId\\") + name;
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"DllPath", REG_SZ, server.path().c_str(),
                            static_cast<DWORD>((server.path().size() + 1) * sizeof(wchar_t)));
        }
    }
    void SetUp() override {
        winrt::clear_factory_cache();
        server.command(L"reset");
    }
    void TearDown() override {
        winrt::clear_factory_cache();
        server.command(L"reset");
        // The thread that ends a deployment may be the last to release it.
        until("every object is gone", [&] { return server.report("live") == "{}"; });
    }

    static void until(const char* what, const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "not in time: " << what;
                return;
            }
            std::this_thread::yield();
        }
    }

    static auto update() {
        return PackageManager().UpdatePackageAsync(Uri(L"file:///C:/package.msix"), nullptr,
                                                   DeploymentOptions::ForceApplicationShutdown);
    }

    // The failure that an action throws.
    template <typename Action>
    static winrt::hresult_error failure(Action action) {
        try {
            action();
        } catch (const winrt::hresult_error& error) {
            return error;
        }
        ADD_FAILURE() << "nothing was thrown";
        return {};
    }

    bool saw(const char* topic, const char* part) { return server.report(topic).find(part) != std::string::npos; }

    StandinClient server{L"standins\\runtime-classes.dll"};
};

TEST_F(StandinClasses, UriTakesAbsoluteAddressesOnly) {
    for (const auto text : {L"https://host", L"file:///x", L"ms-app+x.1:y", L"x:"}) {
        EXPECT_EQ(Uri(text).AbsoluteUri(), text);
    }
    for (const auto text : {L"", L"host/page", L":x", L"1x:y", L"a b:c", L"https:", L"https:///page"}) {
        const auto error = failure([&] { Uri{text}; });
        EXPECT_EQ(code(0x80070057), error.code());
        EXPECT_EQ(error.message(), std::wstring(text) + L" is not a valid absolute URI.");
    }
    EXPECT_TRUE(saw("uris", R"({"text":"host/page","result":-2147024809})"));
    EXPECT_EQ(R"([{"class":"Windows.Foundation.Uri","result":0}])", server.report("activations"));
}

TEST_F(StandinClasses, LaunchesAreWrittenDown) {
    const LauncherOptions options;
    options.IgnoreAppUriHandlers(true);
    EXPECT_EQ(Launcher::LaunchUriAsync(Uri(L"https://host/"), options).Status(),
              winrt::Windows::Foundation::AsyncStatus::Started);
    EXPECT_TRUE(saw("launches", R"({"uri":"https://host/","uriIsDefaultInterface":true,)"
                                R"("optionsAreDefaultInterface":true,"ignoreAppUriHandlers":true,)"));
    EXPECT_EQ(R"([{"ignoreAppUriHandlers":true}])", server.report("options"));
    server.command(L"launch\t-2147024891\tno launch today\noptions\t-2147467259");
    EXPECT_EQ(failure([&] { Launcher::LaunchUriAsync(Uri(L"x:"), options); }).message(), L"no launch today");
    EXPECT_EQ(code(0x80004005), failure([&] { options.IgnoreAppUriHandlers(false); }).code());
    EXPECT_TRUE(options.IgnoreAppUriHandlers());
    server.command(L"options3\t0");
    EXPECT_THROW(options.IgnoreAppUriHandlers(false), winrt::hresult_no_interface);
}

TEST_F(StandinClasses, UpdatesAreWrittenDown) {
    {
        auto operation = update();
        EXPECT_EQ(AsyncStatus::Started, operation.Status());
        EXPECT_THROW(operation.GetResults(), winrt::hresult_illegal_method_call);
        EXPECT_TRUE(operation.get().ErrorText().empty());
        EXPECT_EQ(AsyncStatus::Completed, operation.Status());
        EXPECT_THROW(operation.Completed([](const auto&, AsyncStatus) {}), winrt::hresult_illegal_delegate_assignment);
    }
    until("the deployment is let go", [&] { return saw("updates", R"("gone":true)"); });
    for (const auto part :
         {R"("uri":"file:///C:/package.msix","uriIsDefaultInterface":true,"dependenciesAreNull":true,"options":1,)",
          R"("refused":false)", R"("progressHandlers":0)", R"("completedHandlers":2)", R"("handlerIsAgile":true)",
          R"("handlerMarshals":true)", R"("handlerKnowsItsId":true)", R"("resultReads":2)", R"("ended":true)"}) {
        EXPECT_TRUE(saw("updates", part)) << part;
    }
}

TEST_F(StandinClasses, DeploymentsEndAsPlanned) {
    server.command(L"status\t3\nerror\t-2147009293\nextended\t-2147009293\ntext\tit failed");
    auto operation = update();
    const DeploymentResult result = operation.get();
    EXPECT_EQ(result.ErrorText(), L"it failed");
    EXPECT_EQ(code(0x80073CF3), result.ExtendedErrorCode());
    EXPECT_EQ(code(0x80073CF3), operation.ErrorCode());
    EXPECT_EQ(winrt::guid("11223344-5566-7788-0102-030405060708"), result.ActivityId());

    server.command(L"success\nstatus\t2");
    EXPECT_THROW(update().get(), winrt::hresult_canceled);

    server.command(L"success\nstatus\t3\nresults\t-2147024891\nreason\trestricted\tnot yours\\n");
    auto error = failure([] { update().get(); });
    EXPECT_EQ(denied, error.code());
    EXPECT_EQ(error.message(), L"not yours");
    const auto general = winrt::hresult_error(denied).message();
    server.command(L"reason\tnone\t");
    EXPECT_EQ(failure([] { update().get(); }).message(), general);

    server.command(L"success\nresults\t-2147024882");
    EXPECT_THROW(update().get(), std::bad_alloc);
    server.command(L"success");
    EXPECT_TRUE(update().get().ErrorText().empty());
}

TEST_F(StandinClasses, DeploymentsEndWhenPlanned) {
    server.command(L"end\tatReturn");
    EXPECT_EQ(AsyncStatus::Completed, update().Status());
    EXPECT_TRUE(update().get());
    EXPECT_FALSE(saw("updates", R"("completedHandlers":1)"));

    server.command(L"reset\nend\tafterStatus");
    auto operation = update();
    EXPECT_TRUE(operation.get()) << "the handler came after the end";
    EXPECT_TRUE(saw("updates", R"("statusReads":1,)"));

    server.command(L"reset\nend\theld");
    operation = update();
    EXPECT_EQ(AsyncStatus::Started, operation.Status());
    EXPECT_THROW(server.command(L"release\t1"), std::invalid_argument);
    server.command(L"release\t0");
    EXPECT_THROW(server.command(L"release\t0"), std::invalid_argument);
    EXPECT_TRUE(operation.get());

    operation = update();
    operation.Cancel();
    EXPECT_THROW(operation.get(), winrt::hresult_canceled);
}

TEST_F(StandinClasses, HandlersAreCalledOnAnotherThread) {
    server.command(L"end\theld");
    auto operation = update();
    std::atomic<DWORD> caller{0};
    operation.Completed([&](const auto&, AsyncStatus) { caller = GetCurrentThreadId(); });
    server.command(L"release\t0");
    until("the handler is called", [&] { return caller != 0; });
    EXPECT_NE(GetCurrentThreadId(), caller);
}

TEST_F(StandinClasses, SingleCallsFailAsPlanned) {
    server.command(L"member\tStatus\t-2147024891");
    EXPECT_THROW(update().get(), winrt::hresult_access_denied);
    server.command(L"success\nmember\tCompleted\t-2147024891");
    EXPECT_THROW(update().get(), winrt::hresult_access_denied);
    server.command(L"success\nmember\tAsyncInfo\t-2147024891");
    EXPECT_THROW(update().get(), winrt::hresult_no_interface);
    server.command(L"success\nmember\tErrorText\t-2147024891");
    const auto result = update().get();
    EXPECT_THROW(result.ErrorText(), winrt::hresult_access_denied);
}

TEST_F(StandinClasses, StartsFailAsPlanned) {
    server.command(L"refuse\t-2147024891\trefused at once");
    EXPECT_EQ(failure([] { update(); }).message(), L"refused at once");
    EXPECT_TRUE(saw("updates", R"("refused":true)"));
    server.command(L"reset\ninstance\tWindows.Management.Deployment.PackageManager\t-2147024891\tno manager");
    EXPECT_EQ(failure([] { PackageManager(); }).message(), L"no manager");
    winrt::clear_factory_cache();
    server.command(
        L"reset\nactivation\tWindows.Management.Deployment.PackageManager\t-2147221164\tnot registered here");
    EXPECT_THROW(PackageManager(), winrt::hresult_class_not_registered);
    EXPECT_TRUE(saw("activations", R"("result":-2147221164)"));
}

TEST_F(StandinClasses, FactoriesAreKeptWhenTheySayTheyMayBe) {
    Uri{L"x:1"};
    Uri{L"x:2"};
    EXPECT_EQ(R"([{"class":"Windows.Foundation.Uri","result":0}])", server.report("activations"));
    EXPECT_EQ(R"({"UriFactory":1})", server.report("live"));
    winrt::clear_factory_cache();
    server.command(L"reset\nagile\tWindows.Foundation.Uri\t0");
    Uri{L"x:1"};
    EXPECT_EQ("{}", server.report("live"));
    Uri{L"x:2"};
    EXPECT_EQ(R"([{"class":"Windows.Foundation.Uri","result":0},{"class":"Windows.Foundation.Uri","result":0}])",
              server.report("activations"));
}

// A thread that never initialised anything, as the module's worker thread.
TEST_F(StandinClasses, AreReachedFromAnyThread) {
    bool done = false;
    std::thread([&] { done = update().get().ErrorText().empty(); }).join();
    EXPECT_TRUE(done);
}

}  // namespace
