#include "common/v8binding/v8binding.h"

#include <cstdint>
#include <string>

#include "common/utils/failure.h"
#include "common/utils/format.h"
#include "common/utils/log.h"
#include "common/utils/system_exception.h"
#include "common/v8binding/environment.h"
#include "common/v8binding/weak_reference_holder.h"

namespace common {

namespace {

constexpr std::string_view kFile = "src_native/common/include/common/v8binding/v8binding";

void logAt(std::uint32_t line, const std::string& message) {
    diagnostics::Log::write(diagnostics::Log::Level::error, SourceLocation{"common::js::toValue", kFile, line},
                            message);
}

v8::Local<v8::String> internalizedName(v8::Isolate* isolate, const char* name) {
    return v8::String::NewFromUtf8(isolate, name, v8::NewStringType::kInternalized).ToLocalChecked();
}

}  // namespace

namespace js_internal {

void throwTooFewArguments(std::size_t expected, int actual) {
    throw common_internal::DefaultException(
        {"common::js_internal::initializeArguments::<lambda_1>::operator ()", kFile, 53},
        common::format("Expected ({0}) arguments, but only ({1})", static_cast<std::uint64_t>(expected), actual), 0);
}

void throwIllegalInvocation(const v8::FunctionCallbackInfo<v8::Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const v8::Local<v8::Object> receiver = info.This();
    bool released = false;
    if (receiver->InternalFieldCount() == 1) {
        const v8::Local<v8::Data> field = receiver->GetInternalField(0);
        released = field->IsValue() && field.As<v8::Value>()->IsExternal() &&
                   js::externalValue(field.As<v8::Value>().As<v8::External>()) == nullptr;
    }
    const std::string_view message =
        released ? "Illegal invocation: shutdown() has released this object" : "Illegal invocation";
    isolate->ThrowException(v8::Exception::TypeError(js::makeStr(isolate, message)));
}

void* queryReceiver(js::Receiver& receiver, const std::type_info& type) noexcept {
    void* const found = receiver.native.get()->query(type);
    if (found != nullptr) {
        receiver.askedClass = &type;
        receiver.asClass = found;
    }
    return found;
}

void raiseUnexpectedException() {
    raiseAssertionFailure({"common::js::getFunctionTemplate::<lambda_1>::operator ()", kFile, 197}, nullptr,
                          "RUNTIME_FAILURE", "Unexpected exception type");
}

v8::Local<v8::Value> wrap(v8::Isolate* isolate, ComPtr<IRefCounted> native, js::MethodTable methods,
                          const std::type_info& type) {
    if (!native) {
        logAt(293, common::format("Return null instance where expected ComPtr<{0}>", type));
        return v8::Undefined(isolate);
    }
    v8::EscapableHandleScope scope(isolate);
    js::Environment* const environment = js::Environment::running(isolate);
    if (environment == nullptr) return v8::Undefined(isolate);  // it has ended: nothing would ever release the object
    v8::Local<v8::Object> object;
    v8::TryCatch tryCatch(isolate);  // for the log handler, which may run script
    if (!environment->wrapperTemplate()->NewInstance(isolate->GetCurrentContext()).ToLocal(&object) ||
        !js::bindCollectableMethods(isolate, object, methods)) {
        logAt(321, common::format("Fail to create object-wrapper for types instance:  ComPtr<{0}>", type));
        tryCatch.ReThrow();
        return v8::Undefined(isolate);
    }
    js::V8WeakReferenceHolder* const holder = js::weakReferenceHolderOf(*native.get());
    environment->linkWrapper(object, std::move(native));
    if (holder != nullptr) {
        holder->bind(isolate, object);
    } else {
        logAt(315,
              common::format("({0}) does not expose js::V8WeakReferenceHolder api, so underlying native object will "
                             "never been destroyed",
                             type));
    }
    return scope.Escape(object);
}

}  // namespace js_internal

namespace js {

// The handlers find out what kind of failure it is, because dynamic_cast would be one more import of the C runtime.
void throwScriptError(v8::Isolate* isolate, const std::exception& failure) {
    const v8::Local<v8::Value> error = v8::Exception::Error(makeStr(isolate, std::string_view(failure.what())));
    try {
        throw;
    } catch (const common_internal::SystemException& refusal) {
        static_cast<void>(
            error.As<v8::Object>()->CreateDataProperty(isolate->GetCurrentContext(), internalizedName(isolate, "code"),
                                                       v8::Integer::NewFromUnsigned(isolate, refusal.systemError())));
        isolate->ThrowException(error);
    } catch (...) {
        isolate->ThrowException(error);  // an `Error` with only its text
    }
}

void bindMethods(v8::Isolate* isolate, v8::Local<v8::Object> object, MethodTable methods) {
    const v8::Local<v8::Context> context = isolate->GetCurrentContext();
    for (const MethodEntry& method : methods) {
        const v8::HandleScope scope(isolate);
        const v8::Local<v8::String> name = makeStr(isolate, std::string_view(method.name));
        v8::Local<v8::Function> function;
        if (!method.makeTemplate(isolate)->GetFunction(context).ToLocal(&function)) return;  // an exception is pending
        function->SetName(name);
        setProperty(context, object, name, function);
    }
}

bool bindCollectableMethods(v8::Isolate* isolate, v8::Local<v8::Object> object, MethodTable methods) {
    const v8::Local<v8::Context> context = isolate->GetCurrentContext();
    for (const MethodEntry& method : methods) {
        const v8::HandleScope scope(isolate);
        const v8::Local<v8::String> name = internalizedName(isolate, method.name);
        v8::Local<v8::Function> function;
        if (!v8::Function::New(context, method.callback).ToLocal(&function)) return false;
        function->SetName(name);
        if (!object->CreateDataProperty(context, name, function).FromMaybe(false)) return false;
    }
    return true;
}

}  // namespace js

}  // namespace common
