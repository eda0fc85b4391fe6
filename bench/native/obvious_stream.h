#pragma once

#include <node.h>

#include "native/feed.h"

namespace zeb::bench {

/// The version of a pointer stream that everyone writes first, and that the product is measured against: an async
/// handle wakes the script thread, which makes each record with its property names anew and calls the callback.
struct ObviousStream {
    static void start(const v8::FunctionCallbackInfo<v8::Value>& info);  // (callback)
    static Feed& feed();                                                 // of the worker thread that makes the records
    static void stop(const v8::FunctionCallbackInfo<v8::Value>& info);
};

}  // namespace zeb::bench
