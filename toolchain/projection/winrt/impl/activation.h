#pragma once

/// From the name of a class to its factory.
///
/// The system is asked first. If the thread has no apartment, it joins the process-wide multithreaded one for good, and
/// the system is asked again. A class that the system does not know is looked for in libraries named after its
/// namespace, so that an application can ship classes without registering them. Failures are not remembered.
///
/// A factory that any thread may call is cached for the life of the module, one per class and interface. Other
/// factories are asked for each time. Any thread may call anything here.

#include "winrt/impl/unknown.h"

#include <atomic>
#include <cstdint>
#include <string>

/// If set, replaces the whole search: returns S_OK and a factory, or a failure. Set it before the first activation, and
/// call winrt::clear_factory_cache() afterwards. It is meant for tests and for hosts with their own loader.
inline int32_t (*winrt_activation_handler)(void* classId, const winrt::guid& iid, void** factory) noexcept = nullptr;

namespace winrt::impl {
/// Asks libraries named after the class's namespaces, the longest first. A library that has the class stays loaded.
inline bool findFactoryByNamespace(std::wstring path, void* name, const guid& id, void** factory) {
    using Entry = int32_t (*)(void* classId, void** factory) noexcept;
    for (auto dot = path.rfind(L'.'); dot != std::wstring::npos; dot = path.rfind(L'.')) {
        path.resize(dot);
        void* const library = platform::loadLibrary((path + L".dll").c_str(), nullptr, platform::searchDefaultFolders);
        if (library == nullptr) {
            continue;
        }
        const auto entry = reinterpret_cast<Entry>(platform::functionOf(library, "DllGetActivationFactory"));
        com_ptr<ActivationFactoryAbi> basic;
        if (entry != nullptr && entry(name, basic.put_void()) == 0 && basic->QueryInterface(id, factory) == 0) {
            return true;
        }
        basic = nullptr;
        platform::freeLibrary(library);
    }
    return false;
}

inline hresult askSystemForFactory(void* name, const guid& id, void** factory) noexcept {
    using Ask = int32_t (*)(void* classId, const guid& id, void** factory) noexcept;
    const auto ask = reinterpret_cast<Ask>(platform::calls.runtimeFunction("RoGetActivationFactory"));
    if (ask == nullptr) {
        return error_class_not_available;
    }
    const hresult result = ask(name, id, factory);
    if (result != error_not_initialized) {
        return result;
    }
    using Join = int32_t (*)(void** cookie) noexcept;
    const auto join = reinterpret_cast<Join>(platform::calls.runtimeFunction("CoIncrementMTAUsage"));
    if (join == nullptr) {
        return result;
    }
    void* cookie = nullptr;  // never given back, because the apartment must outlive every object
    join(&cookie);
    return ask(name, id, factory);
}

inline hresult findFactory(const hstring& name, const guid& id, void** factory) {
    if (winrt_activation_handler != nullptr) {
        return winrt_activation_handler(get_abi(name), id, factory);
    }
    const hresult result = askSystemForFactory(get_abi(name), id, factory);
    if (result == 0) {
        return result;
    }
    /// The search must not replace the system's information about its own failure.
    const auto info = takeErrorInfo();
    if (findFactoryByNamespace(std::wstring(name), get_abi(name), id, factory)) {
        return error_ok;
    }
    platform::setErrorInfo(0, info.get());
    return result;
}

/// The cached factories. They are not released at the end of the process, because their libraries may be gone by then.
struct FactorySlot {
    UnknownAbi* factory = nullptr;
    FactorySlot* next = nullptr;
};

struct FactoryCache {
    void* lock = nullptr;
    FactorySlot* filled = nullptr;
};
inline FactoryCache factoryCache;

class FactoryCacheLock {
public:
    FactoryCacheLock() noexcept { platform::lockExclusive(&factoryCache.lock); }
    ~FactoryCacheLock() { platform::unlockExclusive(&factoryCache.lock); }
    FactoryCacheLock(const FactoryCacheLock&) = delete;
    FactoryCacheLock& operator=(const FactoryCacheLock&) = delete;
};

template <typename Class, typename Interface>
inline FactorySlot factorySlot;

inline com_ptr<UnknownAbi> keptFactory(const FactorySlot& slot) noexcept {
    const FactoryCacheLock lock;
    com_ptr<UnknownAbi> factory;
    factory.copy_from(slot.factory);
    return factory;
}

/// If two threads find the same factory at the same time, the one that is cached first stays.
inline void keepFactory(FactorySlot& slot, com_ptr<UnknownAbi> factory) noexcept {
    const FactoryCacheLock lock;
    if (slot.factory == nullptr) {
        slot.factory = factory.detach();
        slot.next = std::exchange(factoryCache.filled, &slot);
    }
}
}  // namespace winrt::impl

namespace winrt {
/// The factory of `Class`, as `Interface`. Throws if there is none.
template <typename Class, typename Interface = Windows::Foundation::IActivationFactory>
Interface get_activation_factory() {
    auto& slot = impl::factorySlot<Class, Interface>;
    if (auto kept = impl::keptFactory(slot)) {
        return Interface{kept.detach(), take_ownership_from_abi};
    }
    com_ptr<impl::UnknownAbi> factory;
    check_hresult(impl::findFactory(hstring{name_of<Class>()}, guid_of<Interface>(), factory.put_void()));
    if (factory.try_as<impl::AgileObjectAbi>()) {
        impl::keepFactory(slot, factory);
    }
    return Interface{factory.detach(), take_ownership_from_abi};
}

/// Releases every cached factory. A factory that is in use elsewhere lives until that call ends.
inline void clear_factory_cache() noexcept {
    impl::FactorySlot* slot = nullptr;
    {
        const impl::FactoryCacheLock lock;
        slot = std::exchange(impl::factoryCache.filled, nullptr);
    }
    while (slot != nullptr) {
        com_ptr<impl::UnknownAbi> factory;
        {
            const impl::FactoryCacheLock lock;
            factory.attach(std::exchange(slot->factory, nullptr));
            slot = std::exchange(slot->next, nullptr);
        }
    }
}
}  // namespace winrt
