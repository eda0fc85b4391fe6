#pragma once

#include <v8.h>

#include "common/com/interfaces.h"

namespace common::js {

/// Base of native classes whose objects live as long as their wrapper. The class's interface query returns it. Holds
/// the weak handle to the wrapper. Script thread only.
class V8WeakReferenceHolder {
public:
    V8WeakReferenceHolder() = default;
    V8WeakReferenceHolder(const V8WeakReferenceHolder&) = delete;
    V8WeakReferenceHolder& operator=(const V8WeakReferenceHolder&) = delete;
    /// Does not free the handle; only `unbind` does.
    virtual ~V8WeakReferenceHolder() = default;

    /// Ties the native object in internal field 0 of `wrapper` to the wrapper's life. Once per object.
    void bind(v8::Isolate* isolate, v8::Local<v8::Object> wrapper);

    /// Frees the handle. The wrapper's garbage collection then has no effect.
    void unbind() noexcept;

    bool isBound() const noexcept { return m_bound; }

private:
    v8::Persistent<v8::Object> m_handle;  // not Global, whose destructor would free it
    bool m_bound = false;
};

/// The holder of `native`, or null if its class has none.
V8WeakReferenceHolder* weakReferenceHolderOf(IRefCounted& native) noexcept;

/// Disposes a native object whose wrapper is gone, if it is `Disposable`, and frees its weak handle. The caller then
/// drops the wrapper's reference.
void disposeWrapped(IRefCounted& native);

/// Marks that the calling thread must not call script: inside a wrapper's weak callback, which runs during a garbage
/// collection, or during the end of an environment.
class WeakCallbackScope {
public:
    WeakCallbackScope() noexcept;
    ~WeakCallbackScope();
    WeakCallbackScope(const WeakCallbackScope&) = delete;
    WeakCallbackScope& operator=(const WeakCallbackScope&) = delete;
};

/// True while the calling thread has a `WeakCallbackScope`.
bool insideWeakCallback() noexcept;

}  // namespace common::js
