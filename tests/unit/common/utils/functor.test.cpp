#include "common/utils/functor.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using common::FunctorClass;
using common::makeFunctor;
using common::TypeList;

TEST(Functor, callsItsLambda) {
    using Sum = FunctorClass<1, int, TypeList<int, int>>;
    const std::unique_ptr<Sum> sum = makeFunctor<Sum>([](int a, int b) { return a + b; });
    EXPECT_EQ((*sum)(20, 22), 42);
}

TEST(Functor, ownsWhatItsLambdaCaptured) {
    using Action = FunctorClass<1, void, TypeList<>>;
    const auto captured = std::make_shared<int>(1);
    std::unique_ptr<Action> action = makeFunctor<Action>([captured] { ++*captured; });
    (*action)();
    EXPECT_EQ(*captured, 2);
    EXPECT_EQ(captured.use_count(), 2);
    action.reset();
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(Functor, keepsTheStateOfItsLambda) {
    using Count = FunctorClass<1, int, TypeList<>>;
    const std::unique_ptr<Count> count = makeFunctor<Count>([n = 0]() mutable { return ++n; });
    (*count)();
    EXPECT_EQ((*count)(), 2);
}

TEST(Functor, passesReferencesAndMovesValues) {
    using Action = FunctorClass<1, void, TypeList<std::string&, std::unique_ptr<int>>>;
    const std::unique_ptr<Action> action =
        makeFunctor<Action>([](std::string& text, std::unique_ptr<int> number) { text += std::to_string(*number); });
    std::string text = "n=";
    (*action)(text, std::make_unique<int>(7));
    EXPECT_EQ(text, "n=7");
}

TEST(Functor, theTwoFamiliesAreDifferentTypes) {
    static_assert(!std::is_convertible_v<FunctorClass<0, void, TypeList<>>*, FunctorClass<1, void, TypeList<>>*>);
    static_assert(!std::is_convertible_v<FunctorClass<1, void, TypeList<>>*, FunctorClass<0, void, TypeList<>>*>);
}

}  // namespace
