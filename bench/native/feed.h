#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "native/mouse.h"

namespace zeb::bench {

/// How script makes a worker thread pass on pointer records; the same for every contender.
///
/// Batches measure what a record costs. Both sides spin while they wait, and script continues when the worker has
/// passed on all records, because the time that the system takes to wake a sleeping thread or event loop would hide
/// that cost.
/// A mouse measures what an application pays, wake-ups included; see mouse.h.
class Feed {
public:
    /// Returns when the worker has passed on `count` records.
    void ask(std::uint32_t count) noexcept {
        m_busy.store(true);
        m_wanted.store(count);
        while (m_busy.load() && !m_stopped.load()) std::this_thread::yield();
    }

    /// Returns at once; the worker passes on what such a mouse reports. One mouse until `restart`.
    void runMouse(std::uint32_t rate, std::uint32_t milliseconds) noexcept {
        m_milliseconds = milliseconds;
        m_rate.store(rate);
    }
    /// Null until the mouse has ended.
    const MouseTally* mouseTally() const noexcept { return m_mouseEnded.load() ? &m_tally : nullptr; }

    void stop() noexcept { m_stopped.store(true); }
    void restart() noexcept {
        m_wanted.store(0);
        m_rate.store(0);
        m_mouseEnded.store(false);
        m_stopped.store(false);
    }

    /// Runs the worker: calls `handOver(number)` for every record until it is stopped.
    template <typename HandOver>
    void serve(HandOver&& handOver) {
        while (!m_stopped.load()) {
            if (const std::uint32_t count = m_wanted.exchange(0)) {
                for (std::uint32_t n = 0; n < count; ++n) handOver(static_cast<std::int32_t>(n));
                if (m_wanted.load() == 0) m_busy.store(false);
            } else if (m_mouseEnded.load()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            } else if (const std::uint32_t rate = m_rate.load()) {
                m_tally = bench::runMouse(rate, m_milliseconds, [&](std::int32_t stamp, bool) { handOver(stamp); });
                m_mouseEnded.store(true);
            } else {
                std::this_thread::yield();
            }
        }
    }

private:
    std::atomic<std::uint32_t> m_wanted{0};
    std::atomic<bool> m_busy{false};
    std::atomic<bool> m_stopped{false};
    std::atomic<std::uint32_t> m_rate{0};  // stored after the next, loaded before it
    std::uint32_t m_milliseconds = 0;
    MouseTally m_tally;
    std::atomic<bool> m_mouseEnded{false};
};

}  // namespace zeb::bench
