#include "embedding.h"

#include <windows.h>

#include <array>
#include <cstddef>

namespace environments::embedding {

namespace {

#define STRINGS                                                                                         \
    "AEBV?$vector@V?$basic_string@DU?$char_traits@D@std@@V?$allocator@D@2@@std@@V?$allocator@V?$basic_" \
    "string@DU?$char_traits@D@std@@V?$allocator@D@2@@std@@@2@@std@@"

constexpr auto kCreateEnvironment =
    "?CreateEnvironment@node@@YAPEAVEnvironment@1@PEAVIsolateData@1@V?$Local@VContext@v8@@@v8@@" STRINGS
    "2W4Flags@EnvironmentFlags@1@UThreadId@1@V?$unique_ptr@UInspectorParentHandle@node@@U?$default_delete@"
    "UInspectorParentHandle@node@@@std@@@7@@Z";
constexpr auto kLoadEnvironment =
    "?LoadEnvironment@node@@YA?AV?$MaybeLocal@VValue@v8@@@v8@@PEAVEnvironment@1@V?$basic_string_view@DU?$char_traits@"
    "D@std@@@std@@V?$function@$$A6AXPEAVEnvironment@node@@V?$Local@VValue@v8@@@v8@@1@Z@6@@Z";

template <typename Function>
Function hostFunction(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(nullptr), name)));
}

// What the host's library accepts as empty objects: there, an empty vector, pointer or function is all zeroes, and a
// class with a destructor is passed by address.
struct alignas(std::max_align_t) Empty {
    std::array<std::byte, 64> bytes{};
};

}  // namespace

node::Environment* createEnvironment(node::IsolateData* data, v8::Local<v8::Context> context,
                                     node::EnvironmentFlags::Flags flags) {
    using Create = node::Environment* (*)(node::IsolateData*, v8::Local<v8::Context>, const Empty* arguments,
                                          const Empty* executableArguments, node::EnvironmentFlags::Flags,
                                          node::ThreadId, Empty* inspector);
    const auto create = hostFunction<Create>(kCreateEnvironment);
    if (create == nullptr) return nullptr;
    const Empty arguments;
    Empty inspector;
    return create(data, context, &arguments, &arguments, flags, {}, &inspector);
}

v8::MaybeLocal<v8::Value> loadEnvironment(node::Environment* environment, std::string_view mainScript) {
    using Load = v8::MaybeLocal<v8::Value> (*)(node::Environment*, std::string_view, Empty* preload);
    const auto load = hostFunction<Load>(kLoadEnvironment);
    if (load == nullptr) return {};
    Empty preload;
    return load(environment, mainScript, &preload);
}

}  // namespace environments::embedding
