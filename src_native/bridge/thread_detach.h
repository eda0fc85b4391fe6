#pragma once

#include <uv.h>

namespace zeb {

/// Gives up a thread that nobody will join: the system frees what it holds for the thread once that has ended. libuv
/// has no such call in all supported runtimes. Any thread; `thread` is not to be used any more.
void detachThread(uv_thread_t thread) noexcept;

}  // namespace zeb
