#include <windows.h>

#include "bridge/thread_detach.h"

namespace zeb {

void detachThread(uv_thread_t thread) noexcept { CloseHandle(thread); }

}  // namespace zeb
