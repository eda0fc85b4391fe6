// The toolchain's own Node add-on: raw V8 and libuv linked against the host, the language checks inside the host's
// process, thread-locals on threads that the module did not make, and raw pointer input from the desktop session.
#include <node.h>
#include <uv.h>
#include <windows.h>
// after windows.h
#include <delayimp.h>

#include <memory>
#include <string>

#include "checks.h"
#include "pointer_window.h"

// No host exports this: it shows what a user sees when a runtime lacks a function that the module needs.
extern "C" __declspec(dllimport) void zebSelftestMissing();

namespace selftest {
namespace {

using v8::Context;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::String;
using v8::Value;

thread_local std::string threadName = "fresh";

Local<String> text(Isolate* isolate, const std::string& utf8) {
    return String::NewFromUtf8(isolate, utf8.data(), v8::NewStringType::kNormal, static_cast<int>(utf8.size()))
        .ToLocalChecked();
}

// [name, expected, actual] of every check.
void checks(const FunctionCallbackInfo<Value>& info) {
    Isolate* isolate = info.GetIsolate();
    std::vector<Local<Value>> rows;
    for (const Check& check : allChecks()) {
        Local<Value> row[] = {text(isolate, check.name), text(isolate, check.expected), text(isolate, check.actual)};
        rows.push_back(v8::Array::New(isolate, row, 3));
    }
    info.GetReturnValue().Set(v8::Array::New(isolate, rows.data(), rows.size()));
}

// A C++ exception never leaves a callback; it becomes a script error.
void translated(const FunctionCallbackInfo<Value>& info) {
    try {
        throw std::runtime_error("from C++");
    } catch (const std::exception& error) {
        info.GetIsolate()->ThrowException(v8::Exception::TypeError(text(info.GetIsolate(), error.what())));
    }
}

void onLoopThread(const FunctionCallbackInfo<Value>& info) {
    uv_thread_t thread;
    std::string seen;
    threadName = "main";
    uv_thread_create(&thread, [](void* argument) { *static_cast<std::string*>(argument) = threadName; }, &seen);
    uv_thread_join(&thread);
    info.GetReturnValue().Set(text(info.GetIsolate(), seen + ' ' + threadName));
}

// libuv's pool threads are older than the module if script used the pool before it loaded the module.
void onPoolThread(const FunctionCallbackInfo<Value>& info) {
    struct Work {
        uv_work_t request{};
        Isolate* isolate = nullptr;
        v8::Global<v8::Promise::Resolver> resolver;
        std::string seen;
    };
    Isolate* isolate = info.GetIsolate();
    auto resolver = v8::Promise::Resolver::New(isolate->GetCurrentContext()).ToLocalChecked();
    auto work = std::make_unique<Work>();
    work->request.data = work.get();
    work->isolate = isolate;
    work->resolver.Reset(isolate, resolver);
    info.GetReturnValue().Set(resolver->GetPromise());
    Work* running = work.release();
    uv_queue_work(
        node::GetCurrentEventLoop(isolate), &running->request,
        [](uv_work_t* request) { static_cast<Work*>(request->data)->seen = threadName; },
        [](uv_work_t* request, int) {
            std::unique_ptr<Work> done(static_cast<Work*>(request->data));
            v8::HandleScope handles(done->isolate);
            Local<v8::Promise::Resolver> promise = done->resolver.Get(done->isolate);
            Local<Context> context = promise->GetCreationContextChecked();
            node::CallbackScope scope(done->isolate, promise, {0, 0});
            promise->Resolve(context, text(done->isolate, done->seen)).Check();
        });
}

// Two V8 functions whose mangled names contain std::string_view, called under libc++'s name for it.
void dictionary(const FunctionCallbackInfo<Value>& info) {
    Isolate* isolate = info.GetIsolate();
    constexpr std::string_view names[] = {"first", "second"};
    auto shape = v8::DictionaryTemplate::New(isolate, v8::MemorySpan<const std::string_view>(names, 2));
    v8::MaybeLocal<Value> values[] = {text(isolate, "one"), v8::Number::New(isolate, 2)};
    info.GetReturnValue().Set(
        shape->NewInstance(isolate->GetCurrentContext(), v8::MemorySpan<v8::MaybeLocal<Value>>(values, 2)));
}

// Also works while the process ends.
void say(const std::string& text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

// Reads what a crash reporter would read if it knew the exception.
LONG CALLBACK decode(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& exception = *pointers->ExceptionRecord;
    if (exception.ExceptionCode == 0xC06D007F && exception.NumberParameters == 1) {
        const auto& info = *reinterpret_cast<const DelayLoadInfo*>(exception.ExceptionInformation[0]);
        const bool sound = info.cb == sizeof info && info.dlp.fImportByName && !info.pfnCur && info.pidd &&
                           *info.ppfn && info.hmodCur == GetModuleHandleW(nullptr);
        say(std::string("record: ") + (sound ? "sound " : "broken ") + info.szDll + ' ' + info.dlp.szProcName + ' ' +
            std::to_string(info.dwLastError) + '\n');
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

void callMissing(const FunctionCallbackInfo<Value>&) {
    AddVectoredExceptionHandler(1, decode);
    zebSelftestMissing();
}

bool endIsTold = false;

struct Ending {
    const char* what;
    ~Ending() {
        if (endIsTold) say(what);
    }
};
Ending staticObject{"a static object ends\n"};
thread_local Ending threadObject{"a thread's object ends\n"};

void tellEnd(const FunctionCallbackInfo<Value>&) { endIsTold = threadObject.what != nullptr; }

std::unique_ptr<PointerWindow> window;

void openWindow(const FunctionCallbackInfo<Value>&) { window = std::make_unique<PointerWindow>(); }
void closeWindow(const FunctionCallbackInfo<Value>&) { window.reset(); }

// [in the foreground, sum of x, sum of y, button flags in order]
void pointer(const FunctionCallbackInfo<Value>& info) {
    Isolate* isolate = info.GetIsolate();
    const PointerWindow::Sum sum = window->sum();
    Local<Value> row[] = {v8::Boolean::New(isolate, sum.foreground), v8::Integer::New(isolate, sum.x),
                          v8::Integer::New(isolate, sum.y), text(isolate, sum.buttons)};
    info.GetReturnValue().Set(v8::Array::New(isolate, row, 4));
}

}  // namespace
}  // namespace selftest

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_DETACH && selftest::endIsTold) {
        selftest::say(reserved ? "the process ends\n" : "the module is unloaded\n");
    }
    return TRUE;
}

// The exported name alone registers the module: node_register_module_v<module version>.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports, v8::Local<v8::Value>,
                                                           v8::Local<v8::Context>) {
    using namespace selftest;
    NODE_SET_METHOD(exports, "checks", checks);
    NODE_SET_METHOD(exports, "translated", translated);
    NODE_SET_METHOD(exports, "onLoopThread", onLoopThread);
    NODE_SET_METHOD(exports, "onPoolThread", onPoolThread);
    NODE_SET_METHOD(exports, "dictionary", dictionary);
    NODE_SET_METHOD(exports, "callMissing", callMissing);
    NODE_SET_METHOD(exports, "tellEnd", tellEnd);
    NODE_SET_METHOD(exports, "openWindow", openWindow);
    NODE_SET_METHOD(exports, "closeWindow", closeWindow);
    NODE_SET_METHOD(exports, "pointer", pointer);
}
