#pragma once

#include <uv.h>

namespace zeb {

/// Gives up a thread that nobody will join: the system frees what it holds for the thread when the thread has ended.
/// libuv does not have this call in all supported runtimes. Any thread. `thread` must not be used afterwards.
void detachThread(uv_thread_t thread) noexcept;

}  // namespace zeb
