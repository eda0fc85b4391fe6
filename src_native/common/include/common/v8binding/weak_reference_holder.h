#pragma once

#include <v8.h>

#include "common/com/interfaces.h"

namespace common::js {

/// Base of native classes whose life a script wrapper decides; the class answers it in its interface query.
/// Holds the weak handle to the wrapper. Script thread only.
class V8WeakReferenceHolder {
public:
    V8WeakReferenceHolder() = default;
    V8WeakReferenceHolder(const V8WeakReferenceHolder&) = delete;
    V8WeakReferenceHolder& operator=(const V8WeakReferenceHolder&) = delete;
    /// Disposes nothing: only `unbind` gives the handle back to the engine.
    virtual ~V8WeakReferenceHolder() = default;

    /// Makes the native object in internal field 0 of `wrapper` end with it. Once per object.
    void bind(v8::Isolate* isolate, v8::Local<v8::Object> wrapper);

    /// Disposes the handle, after which the wrapper's garbage collection has no effect.
    void unbind() noexcept;

    bool isBound() const noexcept { return m_bound; }

private:
    v8::Persistent<v8::Object> m_handle;  // not Global: its destructor would dispose it
    bool m_bound = false;
};

/// The holder of `native`, or null when its class has none.
V8WeakReferenceHolder* weakReferenceHolderOf(IRefCounted& native) noexcept;

/// Disposes a native object whose wrapper has gone, if it is `Disposable`, and frees its weak handle. The caller then
/// drops the wrapper's reference.
void disposeWrapped(IRefCounted& native);

/// Marks the calling thread as being where script must not be called: inside a wrapper's weak callback, which runs
/// during a garbage collection, or at the end of an environment.
class WeakCallbackScope {
public:
    WeakCallbackScope() noexcept;
    ~WeakCallbackScope();
    WeakCallbackScope(const WeakCallbackScope&) = delete;
    WeakCallbackScope& operator=(const WeakCallbackScope&) = delete;
};

/// True while a `WeakCallbackScope` lives on the calling thread.
bool insideWeakCallback() noexcept;

}  // namespace common::js
