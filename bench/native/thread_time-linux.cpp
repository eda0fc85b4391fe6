#include <ctime>

#include "native/thread_time.h"

namespace zeb::bench {

double threadTime() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + (static_cast<double>(time.tv_nsec) * 1e-9);
}

}  // namespace zeb::bench
