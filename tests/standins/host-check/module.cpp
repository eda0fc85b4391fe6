#include <node.h>

#include "bridge/host_check.h"

extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object>, v8::Local<v8::Value>,
                                                           v8::Local<v8::Context> context) {
    zeb::checkHost(v8::Isolate::GetCurrent(), context);
}
