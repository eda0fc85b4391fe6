#include "bridge/crash_emitter.h"

#include <array>
#include <cstdint>
#include <functional>

#include "common/v8binding/v8binding.h"

namespace zeb {

common::js::MethodTable CrashEmitter::methods() {
    using common::js::methodEntry;
    static constexpr std::array table{
        methodEntry<CrashEmitter, &CrashEmitter::emitStackOverflow>("emitStackOverflow"),
        methodEntry<CrashEmitter, &CrashEmitter::emitAccessViolation>("emitAccessViolation"),
    };
    return table;
}

CrashEmitter::CrashEmitter(v8::Isolate* isolate, v8::Local<v8::Object> object) {
    common::js::bindMethods(isolate, object, methods());
}

void CrashEmitter::emitStackOverflow() {
    // Through the type-erased wrapper, each level has its own frame. An optimiser would turn plain recursion into a
    // loop.
    std::function<void(int)> recurse;
    recurse = [&recurse](int value) { recurse(value); };
    const int value = 42;
    recurse(value);
}

void CrashEmitter::emitAccessViolation() {
    volatile std::int32_t* volatile address = nullptr;
    *address = 42;  // NOLINT(clang-analyzer-core.NullDereference): the purpose of this method
}

}  // namespace zeb
