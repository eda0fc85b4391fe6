#include "common/v8binding/weak_reference_holder.h"

#include "common/com/comptr.h"
#include "common/com/disposable.h"
#include "common/v8binding/receivers.h"
#include "common/v8binding/v8utils.h"

namespace common::js {

namespace {

thread_local int t_weakCallbackDepth = 0;

void onWrapperCollected(const v8::WeakCallbackInfo<IRefCounted>& info) {
    const WeakCallbackScope scope;
    // The receiver is found as long as the handle is bound, because an environment that ends frees its weak handles
    // first.
    const ComPtr<IRefCounted> native = Receivers::of(info.GetIsolate())->takeCollected(info.GetParameter());
    disposeWrapped(*native.get());
}

}  // namespace

WeakCallbackScope::WeakCallbackScope() noexcept { ++t_weakCallbackDepth; }

WeakCallbackScope::~WeakCallbackScope() { --t_weakCallbackDepth; }

bool insideWeakCallback() noexcept { return t_weakCallbackDepth > 0; }

V8WeakReferenceHolder* weakReferenceHolderOf(IRefCounted& native) noexcept {
    return static_cast<V8WeakReferenceHolder*>(native.query(typeid(V8WeakReferenceHolder)));
}

void disposeWrapped(IRefCounted& native) {
    if (auto* const disposable = static_cast<Disposable*>(native.query(typeid(Disposable)))) disposable->dispose();
    if (V8WeakReferenceHolder* const holder = weakReferenceHolderOf(native)) holder->unbind();
}

void V8WeakReferenceHolder::bind(v8::Isolate* isolate, v8::Local<v8::Object> wrapper) {
    auto* const native =
        static_cast<IRefCounted*>(externalValue(wrapper->GetInternalField(0).As<v8::Value>().As<v8::External>()));
    m_bound = false;
    m_handle.Reset(isolate, wrapper);
    m_bound = true;
    m_handle.SetWeak(native, &onWrapperCollected, v8::WeakCallbackType::kParameter);
}

void V8WeakReferenceHolder::unbind() noexcept {
    m_handle.Reset();
    m_bound = false;
}

}  // namespace common::js
