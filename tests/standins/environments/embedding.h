#pragma once

#include <node.h>
#include <v8.h>

#include <string_view>

/// The part of Node.js's embedding interface that takes types of the standard library. On Windows the host has another
/// standard library than the add-on, so each platform's source calls it in its own way.
namespace environments::embedding {

/// node::CreateEnvironment without arguments; null when the host has no such function.
node::Environment* createEnvironment(node::IsolateData* data, v8::Local<v8::Context> context,
                                     node::EnvironmentFlags::Flags flags);

/// node::LoadEnvironment with a main script; gives what the script returns.
v8::MaybeLocal<v8::Value> loadEnvironment(node::Environment* environment, std::string_view mainScript);

}  // namespace environments::embedding
