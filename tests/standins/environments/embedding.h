#pragma once

#include <node.h>
#include <v8.h>

#include <string_view>

/// The part of Node.js's embedding interface that takes standard library types. On Windows, the host and the add-on
/// have different standard libraries, so each platform's source calls it in its own way.
namespace environments::embedding {

/// node::CreateEnvironment without arguments. Null if the host has no such function.
node::Environment* createEnvironment(node::IsolateData* data, v8::Local<v8::Context> context,
                                     node::EnvironmentFlags::Flags flags);

/// node::LoadEnvironment with a main script; returns what the script returns.
v8::MaybeLocal<v8::Value> loadEnvironment(node::Environment* environment, std::string_view mainScript);

}  // namespace environments::embedding
