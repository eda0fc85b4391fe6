// The same jobs done with the C API for add-ons and with its C++ wrapper, which most modules are built on. Also what a
// foreign-function interface needs from native code: a thread that calls a function pointer.
#include <napi.h>
#include <node_api.h>

#include <array>
#include <cstdint>
#include <thread>

#include "native/feed.h"
#include "native/mouse_script.h"

namespace {

// ---- plain calls ------------------------------------------------------------------------------------------------

napi_value cEmpty(napi_env, napi_callback_info) { return nullptr; }

napi_value cIsOdd(napi_env env, napi_callback_info info) {
    std::size_t count = 1;
    napi_value argument = nullptr;
    napi_get_cb_info(env, info, &count, &argument, nullptr, nullptr);
    std::int32_t value = 0;
    napi_get_value_int32(env, argument, &value);
    napi_value result = nullptr;
    napi_get_boolean(env, (value & 1) != 0, &result);
    return result;
}

void wrapperEmpty(const Napi::CallbackInfo&) {}

Napi::Value wrapperIsOdd(const Napi::CallbackInfo& info) {
    return Napi::Boolean::New(info.Env(), (info[0].As<Napi::Number>().Int32Value() & 1) != 0);
}

// ---- the thread-safe function: one call into the queue per record --------------------------------------------------

struct Record {
    std::int32_t offsetX, offsetY, screenX, screenY;
};

struct Stream {
    napi_threadsafe_function function = nullptr;
    zeb::bench::Feed feed;
    std::thread producer;
};

Stream* g_stream = nullptr;

napi_value point(napi_env env, std::int32_t x, std::int32_t y) {
    napi_value object = nullptr;
    napi_value number = nullptr;
    napi_create_object(env, &object);
    napi_create_int32(env, x, &number);
    napi_set_named_property(env, object, "x", number);
    napi_create_int32(env, y, &number);
    napi_set_named_property(env, object, "y", number);
    return object;
}

void deliver(napi_env env, napi_value callback, void*, void* data) {
    auto* const record = static_cast<Record*>(data);
    if (env != nullptr) {
        napi_value object = nullptr;
        napi_create_object(env, &object);
        napi_set_named_property(env, object, "offset", point(env, record->offsetX, record->offsetY));
        napi_set_named_property(env, object, "screenPoint", point(env, record->screenX, record->screenY));
        napi_value undefined = nullptr;
        napi_get_undefined(env, &undefined);
        napi_call_function(env, undefined, callback, 1, &object, nullptr);
    }
    delete record;
}

void produce(Stream* stream) {
    stream->feed.serve([stream](std::int32_t n) {
        napi_call_threadsafe_function(stream->function, new Record{1, -1, n, n}, napi_tsfn_nonblocking);
    });
}

napi_value start(napi_env env, napi_callback_info info) {
    std::size_t count = 1;
    napi_value callback = nullptr;
    napi_get_cb_info(env, info, &count, &callback, nullptr, nullptr);
    napi_value name = nullptr;
    napi_create_string_utf8(env, "pointer stream", NAPI_AUTO_LENGTH, &name);
    g_stream = new Stream;
    napi_create_threadsafe_function(env, callback, nullptr, name, 0, 1, nullptr, nullptr, nullptr, &deliver,
                                    &g_stream->function);
    g_stream->producer = std::thread(&produce, g_stream);
    return nullptr;
}

// ---- a function pointer: what a foreign-function interface makes of a script function ------------------------------

using Callback = void (*)(std::int32_t offsetX, std::int32_t offsetY, std::int32_t screenX, std::int32_t screenY);

void produceForCallback(Stream* stream, Callback callback) {
    stream->feed.serve([callback](std::int32_t n) {
        if (callback != nullptr) callback(1, -1, n, n);
    });
}

// (address of a Callback): 0 means that nobody listens
napi_value startCallback(napi_env env, napi_callback_info info) {
    std::size_t count = 1;
    napi_value argument = nullptr;
    napi_get_cb_info(env, info, &count, &argument, nullptr, nullptr);
    std::uint64_t address = 0;
    bool isLossless = false;
    napi_get_value_bigint_uint64(env, argument, &address, &isLossless);
    g_stream = new Stream;
    g_stream->producer = std::thread(&produceForCallback, g_stream, reinterpret_cast<Callback>(address));
    return nullptr;
}

// ---- both ----------------------------------------------------------------------------------------------------------

napi_value push(napi_env env, napi_callback_info info) {
    std::size_t count = 1;
    napi_value argument = nullptr;
    napi_get_cb_info(env, info, &count, &argument, nullptr, nullptr);
    std::uint32_t wanted = 0;
    napi_get_value_uint32(env, argument, &wanted);
    g_stream->feed.ask(wanted);
    return nullptr;
}

// (reports a second, milliseconds)
napi_value runMouse(napi_env env, napi_callback_info info) {
    std::size_t count = 2;
    std::array<napi_value, 2> arguments{};
    napi_get_cb_info(env, info, &count, arguments.data(), nullptr, nullptr);
    std::uint32_t rate = 0;
    std::uint32_t milliseconds = 0;
    napi_get_value_uint32(env, arguments[0], &rate);
    napi_get_value_uint32(env, arguments[1], &milliseconds);
    g_stream->feed.runMouse(rate, milliseconds);
    return nullptr;
}

napi_value mouseTally(napi_env env, napi_callback_info) {
    const zeb::bench::MouseTally* const tally = g_stream->feed.mouseTally();
    return tally == nullptr ? nullptr : zeb::bench::toScript(env, *tally);
}

napi_value stop(napi_env, napi_callback_info) {
    g_stream->feed.stop();
    g_stream->producer.join();
    if (g_stream->function != nullptr) napi_release_threadsafe_function(g_stream->function, napi_tsfn_release);
    delete g_stream;
    g_stream = nullptr;
    return nullptr;
}

void add(napi_env env, napi_value exports, const char* name, napi_callback callback) {
    napi_value function = nullptr;
    napi_create_function(env, name, NAPI_AUTO_LENGTH, callback, nullptr, &function);
    napi_set_named_property(env, exports, name, function);
}

Napi::Object initialize(Napi::Env env, Napi::Object exports) {
    add(env, exports, "cEmpty", &cEmpty);
    add(env, exports, "cIsOdd", &cIsOdd);
    exports.Set("wrapperEmpty", Napi::Function::New(env, &wrapperEmpty));
    exports.Set("wrapperIsOdd", Napi::Function::New(env, &wrapperIsOdd));
    add(env, exports, "start", &start);
    add(env, exports, "push", &push);
    add(env, exports, "stop", &stop);
    add(env, exports, "startCallback", &startCallback);
    add(env, exports, "runMouse", &runMouse);
    add(env, exports, "mouseTally", &mouseTally);
    add(env, exports, "now", &zeb::bench::now);
    add(env, exports, "threadTime", &zeb::bench::scriptThreadTime);
    return exports;
}

}  // namespace

NODE_API_MODULE(zebbridge_peers, initialize)
