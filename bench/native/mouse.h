#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>

#include "native/thread_time.h"

namespace zeb::bench {

/// Stamps count tenths of a microsecond. An int32 holds three and a half minutes of them, so every contender can carry
/// a stamp in a coordinate. All modules of a process use the same clock.
using Clock = std::chrono::steady_clock;
using Stamp = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
constexpr std::int64_t kStampMask = 0x7FFFFFFF;

inline std::int32_t toStamp(Clock::time_point time) noexcept {
    return static_cast<std::int32_t>(std::chrono::duration_cast<Stamp>(time.time_since_epoch()).count() & kStampMask);
}

/// What a mouse did, and the processor time that its thread took for it.
struct MouseTally {
    std::uint32_t reports = 0;
    double seconds = 0;
    double threadSeconds = 0;  ///< processor time
};

/// Calls `report(stamp, isLast)` as a mouse reports: `rate` times a second for `milliseconds`, from a thread that
/// sleeps in between. It wakes every millisecond, so a faster mouse has several reports ready at once; `isLast` marks
/// the last of them.
///
/// Reports are stamped when the thread wakes. If passing them on takes the thread past the next millisecond, the
/// reports that became ready meanwhile keep their true age, so a slow contender cannot hide that they waited.
template <typename Report>
MouseTally runMouse(std::uint32_t rate, std::uint32_t milliseconds, Report&& report) {
    using std::chrono::duration;
    using std::chrono::nanoseconds;
    constexpr std::chrono::milliseconds period{1};
    MouseTally tally;
    const double threadBegin = threadTime();
    const Clock::time_point begin = Clock::now();
    const Clock::time_point end = begin + std::chrono::milliseconds(milliseconds);
    for (Clock::time_point ready = begin; ready < end;) {
        ready = begin + std::chrono::floor<std::chrono::milliseconds>(ready - begin) + period;
        if (Clock::now() < ready) {
            std::this_thread::sleep_until(ready);
            ready = std::max(ready, Clock::now());
        }
        const std::int64_t elapsed = nanoseconds(std::min(ready, end) - begin).count();
        const auto due = static_cast<std::uint32_t>(elapsed * rate / 1'000'000'000);
        for (; tally.reports < due && Clock::now() < end + period; ++tally.reports) {
            report(toStamp(ready), tally.reports + 1 == due);
        }
    }
    tally.seconds = duration<double>(Clock::now() - begin).count();
    tally.threadSeconds = threadTime() - threadBegin;
    return tally;
}

}  // namespace zeb::bench
