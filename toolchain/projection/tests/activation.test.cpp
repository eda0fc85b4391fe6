// From the name of a class to its factory: the system, the apartment, the namespace libraries, the cache.

#include "fakes.h"

#include <windows.h>

#include <oleauto.h>

#include <gtest/gtest.h>
#include <cstring>
#include <thread>

namespace projection_tests {
// A class of a library that is beside this program and registered nowhere.
struct Thing {};
struct IThingFactory : winrt::Windows::Foundation::IInspectable {
    IThingFactory(void* object, winrt::take_ownership_from_abi_t) noexcept
        : IInspectable(object, winrt::take_ownership_from_abi) {}
};
// The library knows the class but not this interface of its factory.
struct IForeignFactory : winrt::Windows::Foundation::IInspectable {
    IForeignFactory(void* object, winrt::take_ownership_from_abi_t) noexcept
        : IInspectable(object, winrt::take_ownership_from_abi) {}
};
// A class that the library of its namespace refuses, and a class whose namespace has no library.
struct RefusedThing {};
struct Nowhere {};
}  // namespace projection_tests

namespace winrt::impl {
template <>
inline constexpr guid guid_v<projection_tests::IThingFactory>{"5b0f5b7c-6d4e-4f6b-9d1c-0c8a3f5f2a01"};
template <>
inline constexpr guid guid_v<projection_tests::IForeignFactory>{"5b0f5b7c-6d4e-4f6b-9d1c-0c8a3f5f2a02"};
template <>
inline constexpr const wchar_t* name_v<projection_tests::Thing> = L"Zeb.ProjectionTest.Inner.Thing";
template <>
inline constexpr const wchar_t* name_v<projection_tests::RefusedThing> = L"Zeb.ProjectionTest.RefusedThing";
template <>
inline constexpr const wchar_t* name_v<projection_tests::Nowhere> = L"Zeb.Nowhere.Thing";
}  // namespace winrt::impl

namespace {
using namespace projection_tests;
using winrt::guid_of;
using winrt::impl::AgileObjectAbi;
using winrt::impl::UnknownAbi;

constexpr int32_t notInitialized = static_cast<int32_t>(0x800401F0);
constexpr int32_t notRegistered = static_cast<int32_t>(0x80040154);
constexpr int32_t denied = static_cast<int32_t>(0x80070005);

// The system's side, scripted.
struct System {
    std::vector<int32_t> answers;  // of RoGetActivationFactory; the last one repeats
    bool agile = true;
    bool canJoin = true;
    int32_t joinAnswer = 0;
    std::size_t asked = 0;
    int joined = 0;
    std::wstring name;
    guid id{};
    void (*onAsk)() = nullptr;
};
System current;

int32_t ask(void* classId, const guid& id, void** factory) noexcept {
    current.name = textOf(classId);
    current.id = id;
    const int32_t answer = current.answers[std::min(current.asked++, current.answers.size() - 1)];
    *factory = nullptr;
    if (current.onAsk) {
        current.onAsk();
    }
    if (answer == 0) {
        *factory = current.agile ? new Fake<UnknownAbi>({guid_of<UnknownAbi>(), guid_of<AgileObjectAbi>(), id})
                                 : new Fake<UnknownAbi>({guid_of<UnknownAbi>(), id});
    } else {
        (new FakeErrorInfo(answer, L"", L"the system's reason"))->publish();
    }
    return answer;
}

int32_t join(void** cookie) noexcept {
    ++current.joined;
    *cookie = nullptr;
    return current.joinAnswer;
}

class Activation : public testing::Test {
protected:
    Activation() {
        current = System();
        winrt::impl::platform::calls.runtimeFunction = [](const char* name) noexcept -> void* {
            if (std::strcmp(name, "RoGetActivationFactory") == 0) {
                return current.answers.empty() ? nullptr : reinterpret_cast<void*>(ask);
            }
            if (std::strcmp(name, "CoIncrementMTAUsage") == 0 && current.canJoin) {
                return reinterpret_cast<void*>(join);
            }
            return nullptr;
        };
    }
    void TearDown() override {
        winrt::clear_factory_cache();
        SetErrorInfo(0, nullptr);
        EXPECT_EQ(0, m_leaks.leaked());
    }

    template <typename Class, typename Interface = IThingFactory>
    static winrt::hresult_error failure() {
        try {
            winrt::get_activation_factory<Class, Interface>();
        } catch (const winrt::hresult_error& error) {
            return error;
        }
        ADD_FAILURE() << "activation succeeded";
        return {};
    }

private:
    LeakCheck m_leaks;
    ActivationScope m_activation;
    CallsScope m_calls;
};

TEST_F(Activation, AsksTheSystemForTheClassAndTheInterface) {
    current.answers = {0};
    EXPECT_TRUE((winrt::get_activation_factory<Nowhere, IThingFactory>()));
    EXPECT_EQ(L"Zeb.Nowhere.Thing", current.name);
    EXPECT_EQ(guid_of<IThingFactory>(), current.id);
    EXPECT_EQ(0, current.joined);
}

TEST_F(Activation, JoinsTheMultithreadedApartmentAndAsksAgain) {
    current.answers = {notInitialized, 0};
    current.joinAnswer = denied;  // the answer to joining does not matter
    EXPECT_TRUE((winrt::get_activation_factory<Nowhere, IThingFactory>()));
    EXPECT_EQ(1, current.joined);
    EXPECT_EQ(2u, current.asked);
}

TEST_F(Activation, JoinsOnlyOncePerAttempt) {
    current.answers = {notInitialized};
    EXPECT_EQ(notInitialized, (failure<Nowhere>().code()));
    EXPECT_EQ(1, current.joined);
    EXPECT_EQ(2u, current.asked);
}

TEST_F(Activation, WithoutAWayToJoinTheFailureStands) {
    current.answers = {notInitialized};
    current.canJoin = false;
    EXPECT_EQ(notInitialized, (failure<Nowhere>().code()));
    EXPECT_EQ(1u, current.asked);
}

TEST_F(Activation, FailureKeepsTheSystemsCodeAndReason) {
    current.answers = {denied};
    const auto error = failure<Nowhere>();
    EXPECT_EQ(denied, error.code());
    EXPECT_EQ(error.message(), L"the system's reason");
    current.answers = {notRegistered};
    EXPECT_THROW((winrt::get_activation_factory<Nowhere, IThingFactory>()), winrt::hresult_class_not_registered);
}

TEST_F(Activation, SystemWithoutActivationIsAFailure) {
    EXPECT_THROW((winrt::get_activation_factory<Nowhere, IThingFactory>()), winrt::hresult_class_not_available);
}

TEST_F(Activation, FailuresAreNotRemembered) {
    current.answers = {denied, 0};
    EXPECT_EQ(denied, (failure<Nowhere>().code()));
    EXPECT_TRUE((winrt::get_activation_factory<Nowhere, IThingFactory>()));
}

TEST_F(Activation, AgileFactoriesAreKept) {
    current.answers = {0};
    const auto first = winrt::get_activation_factory<Nowhere, IThingFactory>();
    const auto second = winrt::get_activation_factory<Nowhere, IThingFactory>();
    EXPECT_EQ(winrt::get_abi(first), winrt::get_abi(second));
    EXPECT_EQ(1u, current.asked);
    winrt::get_activation_factory<Nowhere, IForeignFactory>();  // another interface is cached separately
    EXPECT_EQ(2u, current.asked);
    winrt::clear_factory_cache();
    const auto third = winrt::get_activation_factory<Nowhere, IThingFactory>();
    EXPECT_NE(winrt::get_abi(first), winrt::get_abi(third));
    EXPECT_EQ(3u, current.asked);
}

TEST_F(Activation, OtherFactoriesAreUsedOnce) {
    current.answers = {0};
    current.agile = false;
    const LeakCheck leaks;
    winrt::get_activation_factory<Nowhere, IThingFactory>();
    EXPECT_EQ(0, leaks.leaked());
    winrt::get_activation_factory<Nowhere, IThingFactory>();
    EXPECT_EQ(2u, current.asked);
}

// While the first caller is still asking, a second caller stores its factory first; that one stays.
TEST_F(Activation, FirstFactoryKeptStays) {
    static void* early = nullptr;
    current.answers = {0};
    current.onAsk = [] {
        current.onAsk = nullptr;
        std::thread([] { early = winrt::get_abi(winrt::get_activation_factory<Nowhere, IThingFactory>()); }).join();
    };
    const auto late = winrt::get_activation_factory<Nowhere, IThingFactory>();
    EXPECT_NE(early, winrt::get_abi(late));
    EXPECT_EQ(early, winrt::get_abi(winrt::get_activation_factory<Nowhere, IThingFactory>()));
    EXPECT_EQ(2u, current.asked);
}

TEST_F(Activation, LooksForALibraryNamedAfterTheNamespace) {
    current.answers = {notRegistered};
    const auto factory = winrt::get_activation_factory<Thing, IThingFactory>();
    EXPECT_TRUE(factory);
    HMODULE const library = GetModuleHandleW(L"Zeb.ProjectionTest.dll");
    ASSERT_NE(nullptr, library);
    const auto asked =
        reinterpret_cast<const wchar_t* (*)()>(reinterpret_cast<void*>(GetProcAddress(library, "lastClass")));
    EXPECT_STREQ(L"Zeb.ProjectionTest.Inner.Thing", asked());
    EXPECT_FALSE(winrt::impl::takeErrorInfo()) << "the system's failure was made up for";
}

TEST_F(Activation, LibraryThatDoesNotDeliverIsLetGo) {
    // The library's reason is the last on the thread, yet the caller gets the system's.
    while (HMODULE const loaded = GetModuleHandleW(L"Zeb.ProjectionTest.dll")) {
        FreeLibrary(loaded);
    }
    current.answers = {denied};
    for (const auto& error : {failure<RefusedThing>(), failure<Thing, IForeignFactory>()}) {
        EXPECT_EQ(denied, error.code());
        EXPECT_EQ(error.message(), L"the system's reason");
    }
    EXPECT_EQ(nullptr, GetModuleHandleW(L"Zeb.ProjectionTest.dll"));
}

TEST_F(Activation, HookReplacesTheWholeSearch) {
    static std::wstring name;
    static guid id;
    winrt_activation_handler = [](void* classId, const guid& iid, void** factory) noexcept -> int32_t {
        name = textOf(classId);
        id = iid;
        *factory = nullptr;
        return notInitialized;
    };
    EXPECT_EQ(notInitialized, (failure<Thing>().code()));
    EXPECT_EQ(L"Zeb.ProjectionTest.Inner.Thing", name);
    EXPECT_EQ(guid_of<IThingFactory>(), id);
    EXPECT_EQ(0u, current.asked);
    EXPECT_EQ(0, current.joined);
}

// Nothing is replaced: this system's own activation answers for a class that it does not know.
TEST(SystemActivation, KnowsNoSuchClass) {
    EXPECT_THROW((winrt::get_activation_factory<Nowhere, IThingFactory>()), winrt::hresult_class_not_registered);
}
}  // namespace
