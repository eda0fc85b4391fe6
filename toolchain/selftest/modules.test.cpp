#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstring>
#include <future>
#include <stdexcept>
#include <thread>

#include "probe.h"

using namespace selftest;

// The program is its own host: it imports this function, delay-loaded, under the other name.
extern "C" __declspec(dllexport) double zebSelftestJoin(double first, double second, double third, double fourth) {
    return first * 1000 + second * 100 + third * 10 + fourth;
}
extern "C" __declspec(dllimport) double zebSelftestOfHost(double, double, double, double);
extern "C" void __delayLoadHelper2();  // what the linker's thunks call

// Replaces the C runtime's function, which returns none when it has no memory.
static bool namesAreRefused = false;
extern "C" const char* __cdecl __std_type_info_name(void* record, void* list) {
    using Function = decltype(&__std_type_info_name);
    static const auto real = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ucrtbase.dll"), "__std_type_info_name")));
    return namesAreRefused ? nullptr : real(record, list);
}

namespace {

void expectAll(const Checks& checks) {
    EXPECT_GT(checks.size(), 40u);
    for (const Check& check : checks) {
        EXPECT_EQ(check.actual, check.expected) << check.name;
    }
}

class LoadedProbe {
public:
    LoadedProbe() : m_module(LoadLibraryW(L"probe.dll")) {
        if (m_module) {
            m_get = reinterpret_cast<GetProbe>(reinterpret_cast<void*>(GetProcAddress(m_module, "getProbe")));
        }
    }
    ~LoadedProbe() { FreeLibrary(m_module); }
    LoadedProbe(const LoadedProbe&) = delete;
    LoadedProbe& operator=(const LoadedProbe&) = delete;
    Probe* operator->() const { return m_get(); }

private:
    HMODULE m_module;
    GetProbe m_get = nullptr;
};

TEST(Program, LanguageAndLibrary) { expectAll(allChecks()); }

// The linker's thunk stores them where the helper, like any function, may have its home space.
TEST(Program, FloatingPointArgumentsSurviveTheFirstCallOfADelayLoadedFunction) {
    EXPECT_EQ(zebSelftestOfHost(1, 2, 3, 4), 1234);
    EXPECT_EQ(zebSelftestOfHost(5, 6, 7, 8), 5678);
}

// The test above notices nothing as long as the compiler has no use for the home space of what the helper calls.
TEST(Program, TheHelperThatBindsDelayLoadedFunctionsMakesHomeSpace) {
    constexpr std::array<unsigned char, 4> frame{0x48, 0x83, 0xec, 0x28};  // sub rsp, 40
    EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(&__delayLoadHelper2), frame.data(), frame.size()), 0);
}

TEST(Program, ATypeHasANameWithoutMemoryToo) {
    namesAreRefused = true;
    const char* const name = typeid(Square).name();
    namesAreRefused = false;
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(name, "?AUSquare@selftest@@");
    EXPECT_STREQ(typeid(Square).name(), "struct selftest::Square");
}

TEST(Dll, LanguageAndLibrary) {
    LoadedProbe probe;
    expectAll(probe->checks());
}

TEST(Dll, TypesAreIdenticalByName) {
    LoadedProbe probe;
    std::unique_ptr<Shape> shape(probe->makeSquare());
    Shape& object = *shape;
    EXPECT_TRUE(typeid(object) == typeid(Square));
    EXPECT_NE(&typeid(object), &typeid(Square)) << "two modules, two records: otherwise this test shows nothing";
    EXPECT_EQ(typeid(object).hash_code(), typeid(Square).hash_code());
    Named* named = dynamic_cast<Named*>(shape.get());
    ASSERT_NE(named, nullptr);
    EXPECT_EQ(named->name(), "square");
}

TEST(Dll, ExceptionsCrossTheBoundary) {
    LoadedProbe probe;
    int code = 0;
    try {
        probe->refuse(31);
    } catch (const Refusal& refusal) {
        code = refusal.code;
    }
    EXPECT_EQ(code, 31);
    EXPECT_THROW(probe->callBack([] { throw std::out_of_range("from the program"); }), std::logic_error);
    const int before = probe->unwound();
    EXPECT_THROW(probe->throughFrame([] { throw 1; }), int);
    EXPECT_EQ(probe->unwound(), before + 1);
}

// Another module's throw holds addresses relative to that module, so a kept exception must remember which one.
TEST(Dll, ExceptionPointerKeepsAForeignException) {
    LoadedProbe probe;
    std::exception_ptr kept;
    try {
        probe->refuse(32);
    } catch (...) {
        kept = std::current_exception();
    }
    int code = 0;
    try {
        std::rethrow_exception(kept);
    } catch (const Refusal& refusal) {
        code = refusal.code;
    }
    EXPECT_EQ(code, 32);
}

TEST(Dll, ThreadLocalOnAThreadOlderThanTheDll) {
    std::promise<Probe*> ready;
    std::promise<std::string> name;
    std::thread older([&] { name.set_value(ready.get_future().get()->threadName()); });
    {
        LoadedProbe probe;
        ready.set_value(probe.operator->());
        EXPECT_EQ(name.get_future().get(), "made on demand");
        older.join();
    }
}

std::string unloadTrail;

TEST(Dll, StaticsEndInReverseOrderWhenTheDllIsFreed) {
    unloadTrail.clear();
    {
        LoadedProbe probe;
        probe->onUnload([](const char* what) { unloadTrail += std::string(what) + ", "; });
    }
    EXPECT_EQ(unloadTrail, "local static, second static, first static, ");
    EXPECT_EQ(GetModuleHandleW(L"probe.dll"), nullptr);
}

TEST(Dll, CanBeLoadedAgain) {
    for (int i = 0; i < 3; ++i) {
        LoadedProbe probe;
        EXPECT_STREQ(probe->threadName(), "made on demand");
    }
}

}  // namespace
