#include <windows.h>

#include <cstdint>

#include "native/thread_time.h"

namespace zeb::bench {

namespace {

double seconds(const FILETIME& time) noexcept {
    return static_cast<double>((std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime) * 1e-7;
}

}  // namespace

double threadTime() noexcept {
    FILETIME created, ended, kernel, user;
    GetThreadTimes(GetCurrentThread(), &created, &ended, &kernel, &user);
    return seconds(kernel) + seconds(user);
}

}  // namespace zeb::bench
