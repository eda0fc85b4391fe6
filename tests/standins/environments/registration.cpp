#include <node.h>
#include <uv.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "environments.h"

namespace environments {

namespace {

using v8::FunctionCallbackInfo;
using v8::Local;
using v8::Value;

struct Entry {
    std::uint32_t id;
    std::unique_ptr<Environment> environment;
};

/// The environments of all threads, oldest first. Never destroyed: `process.exit` frees nothing.
struct Registry {
    std::mutex mutex;
    std::uint32_t lastId = 0;
    std::list<Entry> entries;
};

Registry& registry() {
    static Registry& instance = *new Registry;
    return instance;
}

template <typename Condition>
std::unique_ptr<Environment> takeNewest(const Condition& condition) {
    Registry& all = registry();
    const std::lock_guard guard(all.mutex);
    const auto found = std::find_if(all.entries.rbegin(), all.entries.rend(), condition);
    if (found == all.entries.rend()) return nullptr;
    std::unique_ptr<Environment> taken = std::move(found->environment);
    all.entries.erase(std::next(found).base());
    return taken;
}

Environment* find(std::uint32_t id) {
    Registry& all = registry();
    const std::lock_guard guard(all.mutex);
    const auto found = std::ranges::find(all.entries, id, &Entry::id);
    return found == all.entries.end() ? nullptr : found->environment.get();
}

// (main script, foreign, from a snapshot): makes an environment and returns its number.
void create(const FunctionCallbackInfo<Value>& info) {
    std::unique_ptr<Environment> created = Environment::create(
        info.GetIsolate(), info[0].As<v8::String>(), {.foreign = info[1]->IsTrue(), .fromSnapshot = info[2]->IsTrue()});
    if (created == nullptr) return;
    Registry& all = registry();
    const std::lock_guard guard(all.mutex);
    all.entries.push_back({++all.lastId, std::move(created)});
    info.GetReturnValue().Set(all.lastId);
}

// (number, argument): returns what the main script's function returns.
void call(const FunctionCallbackInfo<Value>& info) {
    Environment* const environment = find(info[0].As<v8::Uint32>()->Value());
    Local<Value> result;
    if (environment == nullptr) {
        info.GetIsolate()->ThrowError("the environment has been freed");
    } else if (environment->call(info[1]).ToLocal(&result)) {
        info.GetReturnValue().Set(result);
    }
}

// (number): tells the environment to stop, as the host of a worker does. Script of the others goes on.
void stop(const FunctionCallbackInfo<Value>& info) {
    if (const Environment* const environment = find(info[0].As<v8::Uint32>()->Value())) environment->stop();
}

// (number): frees the environment. True unless it was freed before.
void free(const FunctionCallbackInfo<Value>& info) {
    const std::uint32_t id = info[0].As<v8::Uint32>()->Value();
    info.GetReturnValue().Set(takeNewest([id](const Entry& entry) { return entry.id == id; }) != nullptr);
}

void freeChildren(void* creator) {
    while (takeNewest([creator](const Entry& entry) { return entry.environment->creator() == creator; })) {
    }
}

// (file): loads an add-on into a context that Node.js has not prepared, which no `require` would do, and returns its
// exports.
void loadInBareContext(const FunctionCallbackInfo<Value>& info) {
    using Initialize = void (*)(Local<v8::Object> exports, Local<Value> module, Local<v8::Context> context);
    v8::Isolate* const isolate = info.GetIsolate();
    const v8::String::Utf8Value file(isolate, info[0]);
    uv_lib_t library;
    void* initialize = nullptr;
    if (uv_dlopen(*file, &library) != 0 ||
        uv_dlsym(&library, NODE_STRINGIFY(NODE_MODULE_INITIALIZER), &initialize) != 0) {
        isolate->ThrowError("no add-on for this host");
        return;
    }
    const Local<v8::Context> current = isolate->GetCurrentContext();
    const Local<v8::Context> context = v8::Context::New(isolate);
    context->SetSecurityToken(current->GetSecurityToken());
    const v8::Context::Scope contextScope(context);
    const Local<v8::Object> exports = v8::Object::New(isolate);
    reinterpret_cast<Initialize>(initialize)(exports, v8::Undefined(isolate), context);
    info.GetReturnValue().Set(exports);
}

}  // namespace

}  // namespace environments

// There is no module record: the exported name alone leads the runtime here, for every context.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value>,
                                                           v8::Local<v8::Context> context) {
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    NODE_SET_METHOD(exports, "create", &environments::create);
    NODE_SET_METHOD(exports, "call", &environments::call);
    NODE_SET_METHOD(exports, "stop", &environments::stop);
    NODE_SET_METHOD(exports, "free", &environments::free);
    NODE_SET_METHOD(exports, "loadInBareContext", &environments::loadInBareContext);
    node::AddEnvironmentCleanupHook(isolate, &environments::freeChildren, node::GetCurrentEnvironment(context));
}
