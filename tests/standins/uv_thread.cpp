#include "standins/uv_thread.h"

#include <uv.h>

#include <atomic>
#include <memory>
#include <thread>

#include "bridge/thread_detach.h"

namespace standins {

namespace {

std::atomic<bool> g_failCreation{false};
std::atomic<int> g_unjoined{0};
std::atomic<int> g_joinCalls{0};

}  // namespace

void failThreadCreation(bool fail) { g_failCreation = fail; }

int unjoinedThreads() { return g_unjoined; }

int joinCalls() { return g_joinCalls; }

}  // namespace standins

// A thread handle is as wide as a pointer on every system that libuv supports.
static_assert(sizeof(uv_thread_t) == sizeof(std::thread*));

extern "C" int uv_thread_create(uv_thread_t* handle, uv_thread_cb entry, void* argument) {
    if (standins::g_failCreation) {
        *handle = reinterpret_cast<uv_thread_t>(&standins::g_failCreation);  // some platforms leave a value here
        return UV_EAGAIN;
    }
    ++standins::g_unjoined;
    *handle = reinterpret_cast<uv_thread_t>(new std::thread(entry, argument));
    return 0;
}

extern "C" int uv_thread_join(uv_thread_t* handle) {
    ++standins::g_joinCalls;
    auto* const thread = reinterpret_cast<std::thread*>(*handle);
    thread->join();
    delete thread;
    --standins::g_unjoined;
    return 0;
}

namespace zeb {

void detachThread(uv_thread_t thread) noexcept {
    const std::unique_ptr<std::thread> owned(reinterpret_cast<std::thread*>(thread));
    owned->detach();
    --standins::g_unjoined;
}

}  // namespace zeb
