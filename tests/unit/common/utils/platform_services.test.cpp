#include "common/utils/platform_services.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <thread>

#include "common/com/interfaces.h"
#include "unit/support/type_spelling.h"

namespace unit {

class Plain {};

template <typename T>
struct Holder {};

}  // namespace unit

namespace {

using common::platform::currentThreadId;
using common::platform::systemTimeTicks;
using common::platform::typeName;

TEST(PlatformServices, aThreadHasOneIdOfItsOwn) {
    const std::uint32_t mine = currentThreadId();
    EXPECT_NE(mine, 0u);
    EXPECT_EQ(currentThreadId(), mine);
    std::uint32_t other = 0;
    std::thread([&] { other = currentThreadId(); }).join();
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, mine);
}

TEST(PlatformServices, theSystemsTimeCountsFrom1970) {
    using Microseconds = std::chrono::duration<std::int64_t, std::micro>;
    const auto microsecondsNow = [] {
        return std::chrono::duration_cast<Microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    };
    const std::int64_t before = microsecondsNow() * 10;
    const std::int64_t ticks = systemTimeTicks();
    const std::int64_t after = (microsecondsNow() + 1) * 10;
    EXPECT_GE(ticks, before);
    EXPECT_LE(ticks, after);
}

TEST(PlatformServices, theSystemsTimeIsFinerThanMicroseconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (systemTimeTicks() % 10 == 0 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    EXPECT_LT(std::chrono::steady_clock::now(), deadline);
}

TEST(PlatformServices, typesHaveReadableNames) {
    EXPECT_EQ(typeName(typeid(int)), "int");
    EXPECT_EQ(typeName(typeid(IRefCounted)), unit::spelled("struct", "IRefCounted"));
    EXPECT_EQ(typeName(typeid(unit::Plain)), unit::spelled("class", "unit::Plain"));
    EXPECT_EQ(typeName(typeid(unit::Holder<unit::Plain>)),
              unit::spelled("struct", "unit::Holder<" + unit::spelled("class", "unit::Plain") + ">"));
}

TEST(PlatformServices, namesCarryNoInlineNamespaceOfTheStandardLibrary) {
    EXPECT_EQ(typeName(typeid(std::exception)), unit::spelled("class", "std::exception"));
    EXPECT_EQ(typeName(typeid(std::char_traits<char>)), unit::spelled("struct", "std::char_traits<char>"));
}

}  // namespace
