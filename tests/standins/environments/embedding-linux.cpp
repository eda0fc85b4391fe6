#include "embedding.h"

namespace environments::embedding {

node::Environment* createEnvironment(node::IsolateData* data, v8::Local<v8::Context> context,
                                     node::EnvironmentFlags::Flags flags) {
    return node::CreateEnvironment(data, context, {}, {}, flags);
}

v8::MaybeLocal<v8::Value> loadEnvironment(node::Environment* environment, std::string_view mainScript) {
    return node::LoadEnvironment(environment, mainScript);
}

}  // namespace environments::embedding
