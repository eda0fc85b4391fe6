#include "common/v8binding/v8marshal.h"

#include <string_view>

#include "common/utils/failure.h"
#include "common/v8binding/environment.h"
#include "common/v8binding/v8utils.h"

namespace common::js {

namespace {

template <typename Object>
v8::MaybeLocal<v8::Context> creationContext(v8::Isolate* isolate, Object object) {
    if constexpr (requires { object->GetCreationContext(isolate); }) {
        return object->GetCreationContext(isolate);
    } else {
        return object->GetCreationContext();
    }
}

}  // namespace

namespace marshal_internal {

bool isNodeFunction(v8::Isolate* isolate, v8::Local<v8::Value> function) {
    v8::Local<v8::Context> context;
    return function->IsObject() && creationContext(isolate, function.As<v8::Object>()).ToLocal(&context) &&
           node::GetCurrentEnvironment(context) != nullptr;
}

void callIgnoringExceptions(v8::Isolate* isolate, v8::Local<v8::Value> function, int count,
                            v8::Local<v8::Value>* arguments) {
    const v8::TryCatch ignored(isolate);
    const v8::Local<v8::Context> context = isolate->GetCurrentContext();
    // CallAsFunction also accepts values that are not functions, and then throws as a call in script would.
    if (function->IsObject()) {
        static_cast<void>(function.As<v8::Object>()->CallAsFunction(context, v8::Undefined(isolate), count, arguments));
    }
    keepTermination(isolate, ignored);
}

void raiseEmptyHandle(const std::string& types) {
    const std::string_view end = types.ends_with('>') ? " >::invoke" : ">::invoke";  // the compiler's spelling
    const std::string function = "common::js::FunctionMarshaller<" + types + std::string(end);
    raiseAssertionFailure({function, "src_native/common/include/common/v8binding/v8marshal", 170}, nullptr,
                          "!m_funcRef.IsEmpty()", "Underlying js object handle is empty");
}

}  // namespace marshal_internal

DrainScope::DrainScope(const Environment& environment)
    : m_handles(environment.isolate()),
      m_context(environment.context()),
      m_entered(m_context),
      m_callbacks(environment.isolate(), v8::Object::New(environment.isolate()), node::async_context{0, 0}) {}

}  // namespace common::js
