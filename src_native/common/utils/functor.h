#pragma once

#include <memory>
#include <utility>

namespace common {

/// A compile-time list of types.
template <typename... Args>
struct TypeList {};

/// An abstract callable. One owner holds it through `std::unique_ptr` and deletes it through the virtual destructor.
///
/// `K` separates two families that must never be mixed, even when their signatures are equal: 0 calls into script
/// (script thread only), 1 wraps native code (any thread that its maker allows). The order of the virtual functions is
/// fixed: destructor, call.
template <int K, typename R, typename List>
class FunctorClass;

template <int K, typename R, typename... Args>
class FunctorClass<K, R, TypeList<Args...>> {
public:
    FunctorClass() = default;
    FunctorClass(const FunctorClass&) = delete;
    FunctorClass& operator=(const FunctorClass&) = delete;
    virtual ~FunctorClass() = default;
    virtual R operator()(Args... args) = 0;
};

/// A native lambda as a functor of family 1. Owns the lambda and therefore everything it captured.
template <typename Lambda, int K, typename R, typename... Args>
class DefaultFunctor final : public FunctorClass<K, R, TypeList<Args...>> {
public:
    explicit DefaultFunctor(Lambda lambda) : m_lambda(std::move(lambda)) {}
    R operator()(Args... args) override { return m_lambda(std::forward<Args>(args)...); }

private:
    Lambda m_lambda;
};

namespace functor_internal {

template <typename Functor>
struct MakeDefaultFunctor;

template <typename R, typename... Args>
struct MakeDefaultFunctor<FunctorClass<1, R, TypeList<Args...>>> {
    template <typename Lambda>
    static auto make(Lambda lambda) {
        return std::make_unique<DefaultFunctor<Lambda, 1, R, Args...>>(std::move(lambda));
    }
};

}  // namespace functor_internal

/// Wraps `lambda` as the native functor type `Functor`, for example
/// `makeFunctor<FunctorClass<1, void, TypeList<int>>>([](int) {})`.
template <typename Functor, typename Lambda>
std::unique_ptr<Functor> makeFunctor(Lambda lambda) {
    return functor_internal::MakeDefaultFunctor<Functor>::make(std::move(lambda));
}

}  // namespace common
