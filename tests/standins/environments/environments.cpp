#include "environments.h"

#include <string_view>

#include "embedding.h"
#include "paused_script.h"

namespace environments {

using v8::Local;

Environment::Environment(v8::Isolate* isolate, node::Environment* creator)
    : m_isolate(isolate), m_creator(creator), m_loop(node::GetCurrentEventLoop(isolate)) {}

Environment::~Environment() {
    const v8::HandleScope scope(m_isolate);
    if (m_environment != nullptr) {
        const PausedScript paused(m_loop);
        node::FreeEnvironment(m_environment);
    }
    m_entry.Reset();
    m_context.Reset();
}

std::unique_ptr<Environment> Environment::create(v8::Isolate* isolate, Local<v8::String> mainScript, Options options) {
    const Local<v8::Context> current = isolate->GetCurrentContext();
    std::unique_ptr<Environment> created(new Environment(isolate, node::GetCurrentEnvironment(current)));
    node::IsolateData* data = node::GetEnvironmentIsolateData(created->m_creator);
    Local<v8::Context> own;
    if (!options.fromSnapshot) {
        data = node::CreateIsolateData(isolate, created->m_loop, node::GetMultiIsolatePlatform(created->m_creator));
        created->m_data.reset(data);
        own = node::NewContext(isolate);
    }
    // An isolate has one inspector, and the process's state belongs to the first environment.
    created->m_environment = embedding::createEnvironment(data, own, node::EnvironmentFlags::kNoCreateInspector);
    if (created->m_environment == nullptr) {
        isolate->ThrowError("this host makes no environments");
        return nullptr;
    }
    const Local<v8::Context> context = node::GetMainContext(created->m_environment);
    created->m_context.Reset(isolate, context);
    if (!options.foreign) context->SetSecurityToken(current->GetSecurityToken());
    const v8::Context::Scope contextScope(context);
    // The queue of promises belongs to the isolate, and the creator's script has not ended yet.
    const v8::Isolate::SuppressMicrotaskExecutionScope later(isolate);
    const v8::String::Utf8Value script(isolate, mainScript);
    Local<v8::Value> entry;
    if (!embedding::loadEnvironment(created->m_environment,
                                    std::string_view(*script, static_cast<std::size_t>(script.length())))
             .ToLocal(&entry)) {
        return nullptr;
    }
    created->m_entry.Reset(isolate, entry.As<v8::Function>());
    return created;
}

v8::MaybeLocal<v8::Value> Environment::call(Local<v8::Value> argument) {
    const Local<v8::Context> context = m_context.Get(m_isolate);
    const v8::Context::Scope contextScope(context);
    return m_entry.Get(m_isolate)->Call(context, v8::Undefined(m_isolate), 1, &argument);
}

}  // namespace environments
