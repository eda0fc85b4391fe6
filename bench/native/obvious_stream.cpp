#include "native/obvious_stream.h"

#include <uv.h>

#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace zeb::bench {

namespace {

struct Record {
    std::int32_t offsetX, offsetY, screenX, screenY;
};

struct Stream {
    uv_async_t wake;
    v8::Global<v8::Function> callback;
    std::mutex mutex;
    std::vector<Record> pending;
    Feed feed;
    std::thread producer;
};

Stream* g_stream = nullptr;

v8::Local<v8::String> name(v8::Isolate* isolate, const char* text) {
    return v8::String::NewFromUtf8(isolate, text).ToLocalChecked();
}

v8::Local<v8::Object> point(v8::Isolate* isolate, v8::Local<v8::Context> context, std::int32_t x, std::int32_t y) {
    const v8::Local<v8::Object> object = v8::Object::New(isolate);
    object->Set(context, name(isolate, "x"), v8::Number::New(isolate, x)).Check();
    object->Set(context, name(isolate, "y"), v8::Number::New(isolate, y)).Check();
    return object;
}

void drain(uv_async_t* handle) {
    auto* const stream = static_cast<Stream*>(handle->data);
    std::vector<Record> records;
    {
        const std::lock_guard guard(stream->mutex);
        records.swap(stream->pending);
    }
    v8::Isolate* const isolate = v8::Isolate::GetCurrent();
    const v8::HandleScope outer(isolate);
    const v8::Local<v8::Context> context = isolate->GetCurrentContext();
    for (const Record& record : records) {
        const v8::HandleScope scope(isolate);
        const v8::Local<v8::Object> object = v8::Object::New(isolate);
        object->Set(context, name(isolate, "offset"), point(isolate, context, record.offsetX, record.offsetY)).Check();
        object->Set(context, name(isolate, "screenPoint"), point(isolate, context, record.screenX, record.screenY))
            .Check();
        const v8::TryCatch ignored(isolate);
        v8::Local<v8::Value> argument = object;
        static_cast<void>(stream->callback.Get(isolate)->Call(context, v8::Undefined(isolate), 1, &argument));
    }
}

void produce(Stream* stream) {
    stream->feed.serve([stream](std::int32_t n) {
        const std::lock_guard guard(stream->mutex);
        stream->pending.push_back({1, -1, n, n});
        uv_async_send(&stream->wake);
    });
}

}  // namespace

void ObviousStream::start(const v8::FunctionCallbackInfo<v8::Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    g_stream = new Stream;
    g_stream->callback.Reset(isolate, info[0].As<v8::Function>());
    g_stream->wake.data = g_stream;
    uv_async_init(node::GetCurrentEventLoop(isolate), &g_stream->wake, &drain);
    g_stream->producer = std::thread(&produce, g_stream);
}

Feed& ObviousStream::feed() { return g_stream->feed; }

void ObviousStream::stop(const v8::FunctionCallbackInfo<v8::Value>&) {
    g_stream->feed.stop();
    g_stream->producer.join();
    uv_close(reinterpret_cast<uv_handle_t*>(&g_stream->wake),
             [](uv_handle_t* handle) { delete static_cast<Stream*>(handle->data); });
    g_stream = nullptr;
}

}  // namespace zeb::bench
