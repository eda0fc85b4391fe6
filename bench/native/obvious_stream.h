#pragma once

#include <node.h>

#include "native/feed.h"

namespace zeb::bench {

/// The version of a pointer stream that everyone writes first: an async handle wakes the script thread, which makes
/// each record with its property names anew and calls the callback. What the product is measured against.
struct ObviousStream {
    static void start(const v8::FunctionCallbackInfo<v8::Value>& info);  // (callback)
    static Feed& feed();  // of its worker thread, which makes the records
    static void stop(const v8::FunctionCallbackInfo<v8::Value>& info);
};

}  // namespace zeb::bench
