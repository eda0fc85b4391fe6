#include "interposed.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <unordered_set>

#include "faults.h"

namespace harness {

namespace {

std::atomic<std::int64_t> g_threads{0};

/// Handles of all isolates. Never destroyed, because environments may end while the process runs its exit handlers.
struct Books {
    std::mutex mutex;
    std::unordered_map<uv_handle_t*, uv_close_cb> asyncHandles;
    // Without the handles that the engine clears itself when their object is collected.
    std::unordered_set<interposed::Address*> handles;
};

Books& books() {
    static Books& instance = *new Books;
    return instance;
}

struct ThreadStart {
    uv_thread_cb entry;
    void* argument;
};

void runThread(void* start) {
    const std::unique_ptr<ThreadStart> owned(static_cast<ThreadStart*>(start));
    owned->entry(owned->argument);
    --g_threads;
}

void closed(uv_handle_t* handle) {
    uv_close_cb callback = nullptr;
    {
        const OwnWork own;
        Books& all = books();
        const std::lock_guard guard(all.mutex);
        const auto found = all.asyncHandles.find(handle);
        callback = found->second;
        all.asyncHandles.erase(found);
    }
    if (callback != nullptr) callback(handle);
}

}  // namespace

Held held() noexcept {
    const OwnWork own;
    Books& all = books();
    const std::lock_guard guard(all.mutex);
    return {static_cast<std::int64_t>(all.asyncHandles.size()), g_threads,
            static_cast<std::int64_t>(all.handles.size())};
}

namespace interposed {

int asyncInit(uv_loop_t* loop, uv_async_t* handle, uv_async_cb callback) {
    if (shouldFail(Call::asyncInit)) return UV_EMFILE;
    const int status = real::asyncInit(loop, handle, callback);
    if (status == 0) {
        const OwnWork own;
        Books& all = books();
        const std::lock_guard guard(all.mutex);
        all.asyncHandles[reinterpret_cast<uv_handle_t*>(handle)] = nullptr;
    }
    return status;
}

void close(uv_handle_t* handle, uv_close_cb callback) {
    {
        const OwnWork own;
        Books& all = books();
        const std::lock_guard guard(all.mutex);
        all.asyncHandles[handle] = callback;
    }
    real::close(handle, &closed);
}

int threadCreate(uv_thread_t* thread, uv_thread_cb entry, void* argument) {
    if (shouldFail(Call::threadCreate)) return UV_EAGAIN;
    const OwnWork own;
    auto start = std::make_unique<ThreadStart>(ThreadStart{entry, argument});
    ++g_threads;
    const int status = real::threadCreate(thread, &runThread, start.get());
    if (status == 0) {
        static_cast<void>(start.release());
    } else {
        --g_threads;
    }
    return status;
}

Address* globalize(v8::internal::Isolate* isolate, Address value) {
    Address* const location = real::globalize(isolate, value);
    const OwnWork own;
    Books& all = books();
    const std::lock_guard guard(all.mutex);
    all.handles.insert(location);
    return location;
}

void disposeGlobal(Address* location) {
    {
        const OwnWork own;
        Books& all = books();
        const std::lock_guard guard(all.mutex);
        all.handles.erase(location);
    }
    real::disposeGlobal(location);
}

void makeSelfClearing(Address** location) {
    {
        const OwnWork own;
        Books& all = books();
        const std::lock_guard guard(all.mutex);
        all.handles.erase(*location);
    }
    real::makeSelfClearing(location);
}

}  // namespace interposed

}  // namespace harness
