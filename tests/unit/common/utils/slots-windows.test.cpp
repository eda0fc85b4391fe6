// The binary layout of the foundation's abstract classes, on which another module of this ABI relies.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>

#include "common/utils/failure.h"
#include "common/utils/functor.h"
#include "common/utils/log.h"
#include "unit/support/vtable-windows.h"

namespace {

using common::Exception;
using common::SourceLocation;
using common::common_internal::DefaultException;
using common::diagnostics::Log;
using common::diagnostics::LogContext;
using unit::slot;

TEST(ExceptionSlots, areMessageFullTextLocationCode) {
    using Text = const char* (*)(const void*);
    using Location = SourceLocation* (*)(const void*, SourceLocation* result);
    using Code = std::uint32_t (*)(const void*);
    const DefaultException failure({"f", "g", 5}, "It failed", 1400);
    const Exception* const base = &failure;
    EXPECT_STREQ(slot<Text>(base, 0)(base), "It failed");
    EXPECT_STREQ(slot<Text>(base, 1)(base), "g(5):It failed");
    SourceLocation location;
    slot<Location>(base, 2)(base, &location);
    EXPECT_EQ(location.function, "f");
    EXPECT_EQ(location.file, "g");
    EXPECT_EQ(location.line, 5u);
    EXPECT_EQ(slot<Code>(base, 3)(base), 1400u);
}

// Short texts are stored inside their strings, so their addresses show the order of the fields.
TEST(ExceptionFields, areFunctionFileLineMessageCodeFullText) {
    const DefaultException failure({"f", "g", 0x12345678}, "m", 0x87654321);
    const auto at = [](const void* address) { return reinterpret_cast<std::uintptr_t>(address); };
    const auto find = [&](std::uint32_t value) {
        for (std::size_t offset = 0; offset + 4 <= sizeof failure; offset += 4) {
            if (unit::field<std::uint32_t>(&failure, offset) == value) return at(&failure) + offset;
        }
        return std::uintptr_t{0};
    };
    const std::uintptr_t addresses[] = {at(failure.location().function.data()),
                                        at(failure.location().file.data()),
                                        find(0x12345678),
                                        at(failure.message()),
                                        find(0x87654321),
                                        at(failure.fullText())};
    for (std::size_t index = 0; index + 1 < std::size(addresses); ++index) {
        EXPECT_LT(addresses[index], addresses[index + 1]) << index;
    }
    EXPECT_GT(addresses[0], at(&failure));
    EXPECT_LT(addresses[5], at(&failure) + sizeof failure) << "the full text is too long for this test";
}

TEST(AssertionHandlerSlots, areDestructorAndOnAssertionFailure) {
    using OnFailure = void (*)(void*, const SourceLocation&, const char*, const char*, const char*);
    struct Handler : common::AssertionHandler {
        explicit Handler(std::string& seen) : m_seen(seen) {}
        ~Handler() override { m_seen += "end"; }
        void onAssertionFailure(const SourceLocation& location, const char* module, const char* expression,
                                const char* message) override {
            m_seen += std::string(location.function) + module + expression + message;
        }
        std::string& m_seen;
    };
    std::string seen;
    common::AssertionHandler* const handler = new Handler(seen);
    slot<OnFailure>(handler, 1)(handler, {"a", "", std::nullopt}, "b", "c", "d");
    EXPECT_EQ(seen, "abcd");
    slot<unit::DeletingDestructor>(handler, 0)(handler, 1);
    EXPECT_EQ(seen, "abcdend");
}

TEST(FunctorSlots, areDestructorAndCall) {
    using Sum = common::FunctorClass<1, int, common::TypeList<int, int>>;
    using Call = int (*)(void*, int, int);
    const auto captured = std::make_shared<int>(0);
    Sum* const sum = common::makeFunctor<Sum>([captured](int a, int b) { return a + b; }).release();
    EXPECT_EQ(slot<Call>(sum, 1)(sum, 20, 22), 42);
    slot<unit::DeletingDestructor>(sum, 0)(sum, 1);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(LogHandlerSlots, areDestructorAndCall) {
    using Call = void (*)(void*, Log::Level, const LogContext&, const char*);
    std::string seen;
    const std::unique_ptr<Log::Handler> handler =
        common::makeFunctor<Log::Handler>([&](Log::Level level, const LogContext& context, const char* message) {
            seen = std::to_string(static_cast<int>(level)) + std::string(context.function) + message;
        });
    slot<Call>(handler.get(), 1)(handler.get(), Log::Level::error, {0, "f", "g", std::nullopt}, "m");
    EXPECT_EQ(seen, "2fm");
}

}  // namespace
