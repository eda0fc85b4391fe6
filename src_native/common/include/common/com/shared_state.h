#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <typeinfo>
#include <utility>

#include "common/com/allocator.h"
#include "common/com/comptr.h"
#include "common/com/interfaces.h"
#include "common/utils/functor.h"
#include "common/utils/platform_services.h"

namespace common {

// Counting policies. The weak count includes the strong references: the block lives while there is any reference, the
// object while there is a strong one.
//
// The `decrement...` functions return the count from before the call.

/// Plain counting, for objects that only the script thread counts.
class SingleThreadRC {
public:
    void addWeak() noexcept { ++m_weakCount; }
    void addStrong() noexcept { ++m_strongCount; }
    std::uint32_t decrementWeak() noexcept { return m_weakCount--; }
    std::uint32_t decrementStrong() noexcept { return m_strongCount--; }
    std::uint32_t strong() const noexcept { return m_strongCount; }
    /// Adds a strong reference unless the object is gone.
    bool tryAddStrong() noexcept {
        if (m_strongCount == 0) return false;
        ++m_strongCount;
        return true;
    }

private:
    std::uint32_t m_weakCount = 1;
    std::uint32_t m_strongCount = 1;
};

/// Atomic counting, for objects that several threads hold.
class ConcurrentRC {
public:
    void addWeak() noexcept { m_weakCount.fetch_add(1); }
    void addStrong() noexcept { m_strongCount.fetch_add(1); }
    std::uint32_t decrementWeak() noexcept { return m_weakCount.fetch_sub(1); }
    std::uint32_t decrementStrong() noexcept { return m_strongCount.fetch_sub(1); }
    std::uint32_t strong() const noexcept { return m_strongCount.load(); }
    /// Adds a strong reference unless the object is gone. A count that has reached zero never rises again.
    bool tryAddStrong() noexcept {
        std::uint32_t seen = m_strongCount.load();
        while (seen != 0) {
            if (m_strongCount.compare_exchange_weak(seen, seen + 1)) return true;
        }
        return false;
    }

private:
    std::atomic<std::uint32_t> m_weakCount{1};
    std::atomic<std::uint32_t> m_strongCount{1};
};

/// Plain counting that also records which thread made the object, for people who read a dump. Counting does not compare
/// that thread with the calling one.
class StrictSingleThreadRC {
public:
    StrictSingleThreadRC() noexcept : m_weak{1, platform::currentThreadId()}, m_strong{1, m_weak.owner} {}
    void addWeak() noexcept { ++m_weak.count; }
    void addStrong() noexcept { ++m_strong.count; }
    std::uint32_t decrementWeak() noexcept { return m_weak.count--; }
    std::uint32_t decrementStrong() noexcept { return m_strong.count--; }
    std::uint32_t strong() const noexcept { return m_strong.count; }
    bool tryAddStrong() noexcept {
        if (m_strong.count == 0) return false;
        ++m_strong.count;
        return true;
    }
    std::uint32_t ownerThread() const noexcept { return m_strong.owner; }

private:
    struct Count {
        std::uint32_t count;
        std::uint32_t owner;
    };
    Count m_weak;
    Count m_strong;
};

namespace com_internal {

/// The head of a block: an object's counts, and how to find, destroy and free it. Stands directly in front of the
/// object.
template <typename RC>
class alignas(std::max_align_t) ComClassSharedState final : public IWeakReference {
public:
    using Resolve = IRefCounted* (*)(void* storage) noexcept;
    using Destroy = void (*)(void* storage) noexcept;

    ComClassSharedState(ComPtr<Allocator> allocator, Resolve resolve, Destroy destroy, std::size_t blockSize) noexcept
        : m_allocator(std::move(allocator)), m_resolve(resolve), m_destroy(destroy), m_blockSize(blockSize) {}

    void addRef() noexcept override { m_counts.addWeak(); }

    void release() noexcept override {
        if (m_counts.decrementWeak() != 1) return;
        const ComPtr<Allocator> allocator = std::move(m_allocator);
        if (allocator) allocator.get()->deallocate(this, {m_blockSize, 1});
    }

    IRefCounted* lock() noexcept override {
        if (!m_counts.tryAddStrong()) return nullptr;
        m_counts.addWeak();
        return m_resolve(storage());
    }

    bool expired() const noexcept override { return m_counts.strong() == 0; }

    void addStrong() noexcept {
        m_counts.addStrong();
        m_counts.addWeak();
    }

    void releaseStrong() noexcept {
        if (m_counts.decrementStrong() == 1) m_destroy(storage());
        release();
    }

    /// Gives up the first references of an object whose constructor has thrown; without weak ones, frees the block.
    void abandon() noexcept {
        m_counts.decrementStrong();
        release();
    }

    std::uint32_t strong() const noexcept { return m_counts.strong(); }
    const RC& counts() const noexcept { return m_counts; }

    void* storage() noexcept { return this + 1; }
    static ComClassSharedState& of(const void* storage) noexcept {
        return *(static_cast<ComClassSharedState*>(const_cast<void*>(storage)) - 1);
    }

private:
    ComPtr<Allocator> m_allocator;
    Resolve m_resolve;
    Destroy m_destroy;
    std::size_t m_blockSize;
    RC m_counts;
};

/// Looks an id up among the interfaces of `Class`, also when another module names the interface.
template <typename... Interfaces>
struct InterfaceTable {
    template <typename Class>
    static void* find(Class* object, const InterfaceId& id) noexcept {
        void* found = nullptr;
        static_cast<void>(((typeid(Interfaces) == id && (found = static_cast<Interfaces*>(object), true)) || ...));
        return found;
    }
    static bool contains(const InterfaceId& id) noexcept { return ((typeid(Interfaces) == id) || ...); }
};

/// Completes `Class` with interface lookup and with counting in the shared state in front of the object.
///
/// `Class::Interfaces` is the `TypeList` of the interfaces that the class exposes besides the two roots. `query` also
/// finds the class itself; `supports` does not, because a class is not an interface.
template <typename Class, typename RC, typename List = typename Class::Interfaces>
class ComObject;

template <typename Class, typename RC, typename... Interfaces>
class ComObject<Class, RC, TypeList<Interfaces...>> final : public Class {
public:
    using State = ComClassSharedState<RC>;

    using Class::Class;

    bool supports(const InterfaceId& id) const noexcept override {
        return InterfaceTable<IAnything, IRefCounted, Interfaces...>::contains(id);
    }
    void* query(const InterfaceId& id) noexcept override {
        return InterfaceTable<IAnything, IRefCounted, Interfaces..., Class>::find(this, id);
    }
    void addRef() noexcept override { state().addStrong(); }
    void release() noexcept override { state().releaseStrong(); }
    IWeakReference* getWeakReference() noexcept override {
        state().addRef();
        return &state();
    }
    std::uint32_t refCount() const noexcept override { return state().strong(); }

    State& state() const noexcept { return State::of(this); }

    static IRefCounted* resolve(void* storage) noexcept { return static_cast<ComObject*>(storage); }
    static void destroy(void* storage) noexcept { static_cast<ComObject*>(storage)->~ComObject(); }
};

/// The size of one object with its shared state.
template <typename Class, typename RC>
inline constexpr std::size_t kBlockSize = sizeof(ComClassSharedState<RC>) + sizeof(ComObject<Class, RC>);

/// Constructs the state and the object in `block`. If the object's constructor throws, the exception passes through
/// after the block has gone back to `allocator`.
template <typename Class, typename RC, typename... Args>
Class* constructInBlock(void* block, ComPtr<Allocator> allocator, Args&&... args) {
    using Object = ComObject<Class, RC>;
    using State = ComClassSharedState<RC>;
    static_assert(alignof(Object) <= alignof(std::max_align_t), "allocators give no stronger alignment");
    auto* const state =
        ::new (block) State(std::move(allocator), &Object::resolve, &Object::destroy, kBlockSize<Class, RC>);
    try {
        return ::new (state->storage()) Object(std::forward<Args>(args)...);
    } catch (...) {
        state->abandon();
        throw;
    }
}

}  // namespace com_internal

/// Makes an object of `Class`, counted by the policy `RC`, in memory from the current allocator. Returns an empty
/// pointer when the allocator has no memory. If a constructor throws, the memory is freed and the exception passes
/// through.
///
///     struct Counter : virtual IRefCounted { using Interfaces = TypeList<>; int value = 0; };
///     const ComPtr<Counter> counter = makeInstance<Counter, ConcurrentRC>();
///     if (counter) ++counter->value;
template <typename Class, typename RC, typename... Args>
[[nodiscard]] ComPtr<Class> makeInstance(Args&&... args) {
    constexpr std::size_t size = com_internal::kBlockSize<Class, RC>;
    ComPtr<Allocator> allocator = currentAllocator();
    void* const block = allocator->reallocate(nullptr, size);
    if (block == nullptr) return {};
    return ComPtr<Class>::attach(
        com_internal::constructInBlock<Class, RC>(block, std::move(allocator), std::forward<Args>(args)...));
}

}  // namespace common
