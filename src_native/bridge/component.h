#pragma once

#include <v8.h>

#include "common/com/comptr.h"
#include "common/com/shared_state.h"
#include "common/v8binding/v8binding.h"

namespace zeb {

/// The interface of every exported component. The module host only holds it.
struct Component : virtual IRefCounted {};

/// Makes a component for one script context and binds its methods to `object`. Empty if there is no memory.
using ComponentFactory = common::ComPtr<Component> (*)(v8::Isolate* isolate, v8::Local<v8::Object> object) noexcept;

/// The factory of a component class whose constructor takes (isolate, object) and binds the methods.
template <typename Class>
common::ComPtr<Component> makeComponent(v8::Isolate* isolate, v8::Local<v8::Object> object) noexcept {
    return common::makeInstance<Class, common::SingleThreadRC>(isolate, object);
}

}  // namespace zeb
