#include <pthread.h>

#include "bridge/thread_detach.h"

namespace zeb {

void detachThread(uv_thread_t thread) noexcept { pthread_detach(thread); }

}  // namespace zeb
